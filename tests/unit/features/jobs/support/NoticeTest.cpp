#include <gtest/gtest.h>

#include <cstdlib>

#include "features/jobs/support/Notice.h"
#include "tests/support/LogCapture.h"

namespace features::jobs {
namespace {

std::string shown(const char* wish) {
    setenv("NIMBREL_PROGRESS", wish, 1);
    testing::internal::CaptureStderr();
    Notice().show("The drive gets a password.");
    unsetenv("NIMBREL_PROGRESS");
    return testing::internal::GetCapturedStderr();
}

TEST(Notice, ComesAtOnceWhereTheCallerLetsTheLibraryWrite) {
    EXPECT_EQ(shown("stderr"), "The drive gets a password.\n");
    EXPECT_EQ(shown("none"), "");
}

TEST(Notice, IsInTheDebugLogInAnyCase) {
    LogCapture log;
    EXPECT_EQ(shown("none"), "");
    EXPECT_EQ(log.lines(), "[warning] The drive gets a password.\n");
}

}  // namespace
}  // namespace features::jobs
