#pragma once

#include <chrono>
#include <cstdint>

namespace features::simulator {

/// The time that a drive goes by: power-on hours, timestamps, the progress of sanitize and self-test.
///
/// Units: milliseconds since 1970, UTC. It is the wall clock, since a drive lives on while no process looks at it.
class Clock {
public:
    virtual ~Clock() = default;
    virtual uint64_t nowMs() const = 0;
};

class SystemClock : public Clock {
public:
    uint64_t nowMs() const override {
        using namespace std::chrono;
        return static_cast<uint64_t>(duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count());
    }
};

/// A clock that is stopped until a test advances it.
class ManualClock : public Clock {
public:
    explicit ManualClock(uint64_t nowMs) : nowMs_(nowMs) {}
    uint64_t nowMs() const override { return nowMs_; }
    void advanceMs(uint64_t ms) { nowMs_ += ms; }

private:
    uint64_t nowMs_;
};

}  // namespace features::simulator
