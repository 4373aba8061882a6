#pragma once

#include <cstddef>
#include <functional>

namespace features::jobs {

/// Calls `work` with each number from 0 to `count` - 1, on up to `bound` threads at once (0 is taken as 1), and returns
/// when all calls have returned. One call runs on the calling thread without any other. An exception out of a call is
/// thrown again here after the others have ended.
void parallelFor(std::size_t count, std::size_t bound, const std::function<void(std::size_t)>& work);

}  // namespace features::jobs
