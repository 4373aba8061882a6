#pragma once

#include <cstdint>
#include <memory>

namespace features::jobs {

/// The clock by which a job waits for a drive: that of the system. In a test time passes without a wait.
///
/// Units:   milliseconds.
/// Threads: any number at once.
class WaitClock {
public:
    virtual ~WaitClock() = default;

    /// Never goes back; where it began means nothing.
    virtual uint64_t nowMs() const;
    virtual void sleepMs(uint64_t milliseconds) const;
};

/// The clock of the system.
std::shared_ptr<const WaitClock> systemWaitClock();

}  // namespace features::jobs
