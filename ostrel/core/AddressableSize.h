#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>

namespace ostrel::core {

/// A number of bytes that are to be in memory, as a container takes it. More than a process can address, which a 32-bit
/// one meets at 4 GiB, ends as an allocation of so many would: std::bad_alloc.
constexpr size_t addressableSize(uint64_t bytes) {
    if (bytes > std::numeric_limits<size_t>::max()) throw std::bad_alloc();
    return static_cast<size_t>(bytes);
}

}  // namespace ostrel::core
