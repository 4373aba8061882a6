#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "exporter/ReaderLock.h"

namespace exporter {

/// Work for a process of its own.
struct ChildTask {
    std::string lock;  ///< name of the ReaderLock that the process has while it lives
    /// Runs in the child, whose result it is. What it throws fails the task.
    std::function<std::string()> work;
};

enum class ChildEnd {
    ANSWERED,
    FAILED,     ///< it ended without a result
    TIMED_OUT,  ///< it took too long, and was killed
    STUCK,      ///< it took too long, and is in the kernel, where it cannot be killed
    BUSY,       ///< another process has the lock: the work was not begun
};

struct ChildOutcome {
    ChildEnd end = ChildEnd::FAILED;
    std::string text{};  ///< the result, or words of why there is none
};

struct ChildLimits {
    std::chrono::milliseconds time{20000};  ///< of each child
    std::size_t parallel = 64;              ///< children at a time
    std::size_t resultBytes = 1 << 20;
};

/// Runs tasks in processes of their own, bounded in time, number, memory and the length of their results. A child that
/// hangs costs its own result alone; it stays, with its lock. Once it has ended, the next call reaps it.
///
/// The calling process has one thread: a child of several would begin with the locks of those that it does not have.
std::vector<ChildOutcome> runChildren(const std::vector<ChildTask>& tasks, const PrivateFolder& locks,
                                      const ChildLimits& limits);

}  // namespace exporter
