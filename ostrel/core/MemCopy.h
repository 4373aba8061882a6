#pragma once

#include <cstddef>

namespace ostrel::core {

/// Copies `count` bytes into a buffer of `destinationSize` bytes. Returns 0; 22 (EINVAL) when a pointer is null; 34
/// (ERANGE), with a fatal line in the debug log, when the bytes do not fit. Nothing is copied in these cases.
int memCopy(void* destination, size_t destinationSize, const void* source, size_t count);

}  // namespace ostrel::core
