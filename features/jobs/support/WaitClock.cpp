#include "features/jobs/support/WaitClock.h"

#include <chrono>
#include <thread>

namespace features::jobs {

uint64_t WaitClock::nowMs() const {
    using namespace std::chrono;
    return static_cast<uint64_t>(duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count());
}

void WaitClock::sleepMs(uint64_t milliseconds) const {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

std::shared_ptr<const WaitClock> systemWaitClock() {
    return std::make_shared<WaitClock>();
}

}  // namespace features::jobs
