#include <gtest/gtest.h>

#include <string>

#include "ostrel/core/MemCopy.h"
#include "tests/support/LogCapture.h"

namespace ostrel::core {
namespace {

TEST(MemCopy, CopiesUpToTheWholeDestination) {
    LogCapture log;
    char destination[4] = {'.', '.', '.', '\0'};
    EXPECT_EQ(memCopy(destination, 3, "ab", 2), 0);
    EXPECT_STREQ(destination, "ab.");
    EXPECT_EQ(memCopy(destination, 3, "xyz", 3), 0);
    EXPECT_STREQ(destination, "xyz");
    EXPECT_EQ(memCopy(destination, 3, "k", 0), 0);
    EXPECT_STREQ(destination, "xyz");
    EXPECT_EQ(log.lines(), "");
}

TEST(MemCopy, RefusesANullPointer) {
    LogCapture log;
    char destination[4] = "abc";
    EXPECT_EQ(memCopy(destination, sizeof destination, nullptr, 1), 22);
    EXPECT_STREQ(destination, "abc");
    EXPECT_EQ(memCopy(nullptr, 4, "x", 1), 22);
    EXPECT_EQ(memCopy(nullptr, 0, "x", 5), 22) << "the pointers are looked at before the sizes";
    EXPECT_EQ(log.lines(), "");
}

TEST(MemCopy, CopiesNothingThatDoesNotFit) {
    LogCapture log;
    char destination[8] = "abcdefg";
    EXPECT_EQ(memCopy(destination, 3, "1234", 4), 34);
    EXPECT_STREQ(destination, "abcdefg");
    EXPECT_EQ(log.lines(), "[fatal] Invalid call to memCopy: source size (4) is greater than destination size (3)\n");
}

}  // namespace
}  // namespace ostrel::core
