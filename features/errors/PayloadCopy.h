#pragma once

#include <cstdint>
#include <new>

#include "ostrel/core/Payload.h"

namespace features {

/// A copy of `size` bytes at `data`. Throws std::bad_alloc where there is no memory for it: the constructor of a
/// Payload makes an empty one, which a decoder takes for a page without fields.
inline ostrel::core::Payload copyOf(const void* data, uint64_t size) {
    ostrel::core::Payload copy(data, size);
    if (copy.getSize() != size) throw std::bad_alloc();
    return copy;
}

}  // namespace features
