#pragma once

#include <algorithm>
#include <cstdint>
#include <string>

#include "features/nvme/structures/Fields.h"

namespace features::simulator {

/// Width of a firmware revision.
inline constexpr size_t REVISION_BYTES = 8;

/// A text as structures hold it: cut to `width` bytes, or filled up with blanks.
inline void putText(uint8_t* at, size_t width, const std::string& text) {
    std::fill_n(at, width, uint8_t{' '});
    std::copy_n(text.begin(), std::min(width, text.size()), at);
}
template <size_t COUNT>
void putText(nvme::ByteArray<COUNT>& bytes, const std::string& text) {
    putText(bytes.data(), COUNT, text);
}

}  // namespace features::simulator
