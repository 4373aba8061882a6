#pragma once

#include <cstddef>
#include <cstdint>
#include <numeric>

namespace features::ata {

/// Whether the sum of all bytes of a page is 0, as its last byte makes it.
inline bool isChecksumGood(const uint8_t* bytes, std::size_t size) {
    return std::accumulate(bytes, bytes + size, 0U) % 0x100 == 0;
}

}  // namespace features::ata
