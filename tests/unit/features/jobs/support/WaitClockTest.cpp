#include <gtest/gtest.h>

#include "features/jobs/support/WaitClock.h"

namespace features::jobs {
namespace {

TEST(WaitClock, TimePassesDuringAWait) {
    const auto clock = systemWaitClock();
    const uint64_t before = clock->nowMs();
    clock->sleepMs(2);
    EXPECT_GE(clock->nowMs(), before + 2);
}

}  // namespace
}  // namespace features::jobs
