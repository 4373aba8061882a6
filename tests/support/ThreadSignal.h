#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

/// A count that threads raise and other threads wait for: what tests of threads await in the place of sleeping.
class ThreadSignal {
public:
    void raise() {
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            ++count_;
        }
        raised_.notify_all();
    }

    /// Waits until the count is at least `count`. False after two minutes: something hangs.
    bool await(unsigned count = 1) { return awaitFor(count, std::chrono::minutes(2)); }

    /// Whether the count stays below `count` for a while: the thread that would raise it is held up. This can pass by
    /// chance, but never fail by chance.
    bool staysBelow(unsigned count) { return !awaitFor(count, std::chrono::milliseconds(100)); }

    unsigned count() {
        const std::lock_guard<std::mutex> lock(mutex_);
        return count_;
    }

private:
    template <typename Duration>
    bool awaitFor(unsigned count, Duration limit) {
        std::unique_lock<std::mutex> lock(mutex_);
        // By the system's clock: the wait by the monotonic one is unknown to the thread sanitizer of g++ 12.
        return raised_.wait_until(lock, std::chrono::system_clock::now() + limit, [&] { return count_ >= count; });
    }

    std::mutex mutex_;
    std::condition_variable raised_;
    unsigned count_ = 0;
};
