#pragma once

#include <vector>

#include "features/jobs/support/WaitClock.h"

namespace features::jobs {

/// A clock that goes on only when code waits by it.
class FakeClock : public WaitClock {
public:
    uint64_t nowMs() const override { return now_; }
    void sleepMs(uint64_t milliseconds) const override {
        now_ += milliseconds;
        sleeps_.push_back(milliseconds);
    }

    /// The waits so far, in milliseconds.
    const std::vector<uint64_t>& sleeps() const { return sleeps_; }

private:
    mutable uint64_t now_ = 5000;
    mutable std::vector<uint64_t> sleeps_;
};

}  // namespace features::jobs
