#pragma once

#include <mutex>
#include <utility>

namespace ostrel::core {

/// Work that is done once, by the first thread that needs it; the others wait. Not the standard library's: that runs
/// the work below a function of the C library, through which an exception cannot pass where the compiler's run-time
/// library is linked in, and the process ends.
///
/// Threads: any number at once.
class Once {
public:
    /// Returns after the work was done, by this call or an earlier one. What the work throws leaves this call, and the
    /// next call does the work from its start.
    template <typename Work>
    void run(Work&& work) {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (isDone_) return;
        std::forward<Work>(work)();
        isDone_ = true;
    }

private:
    std::mutex mutex_;
    bool isDone_ = false;
};

}  // namespace ostrel::core
