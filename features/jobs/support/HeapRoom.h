#pragma once

#include <cstddef>

namespace features::jobs {

/// Lets the C library's memory of the calling thread grow by so many bytes at once, where it has not got them: that of
/// other threads than the first one otherwise grows by a page or two at a time, with a system call each. Less than
/// 128 KiB, or what is not used goes back at once.
void makeHeapRoom(std::size_t bytes);

}  // namespace features::jobs
