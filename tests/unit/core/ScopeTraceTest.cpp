#include "ostrel/core/ScopeTrace.h"

#include <gtest/gtest.h>

TEST(ScopeTrace, IsSilentWithoutALog) {
    testing::internal::CaptureStdout();
    { OSTREL_TRACE(); }
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}
