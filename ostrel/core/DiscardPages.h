#pragma once

#include <cstddef>

namespace ostrel::core {

/// Returns the memory of the whole pages within a range to the system, while its owner keeps the addresses: for a large
/// buffer that is used up from its beginning, or is not filled yet. Their contents are zeros afterwards, or what they
/// were where the system refuses (locked memory); those of pages that the range covers in part stay.
///
/// The range belongs to the caller, of the heap or mapped privately. A system call: for megabytes at a time.
void discardPages(void* begin, std::size_t bytes);

}  // namespace ostrel::core
