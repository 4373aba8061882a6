#include <gtest/gtest.h>
#include <sys/utsname.h>

#include "ostrel/core/System.h"
#include "tests/support/LogCapture.h"
#include "tests/support/VirtualSlots.h"

using ostrel::core::System;

TEST(System, HasItsOperationsInTheOrderThatTheFeatureLibraryKnows) {
    EXPECT_EQ(virtualSlot(&System::getName), 0U);
    EXPECT_EQ(virtualSlot(&System::getVersion), 1U);
    EXPECT_EQ(virtualSlot(&System::callCommand), 2U);
}

TEST(System, HasTheNameOfItsHost) {
    EXPECT_EQ(System().getName(), "ESXi");
}

TEST(System, ReportsAndLogsTheKernelsVersion) {
    utsname kernel = {};
    ASSERT_EQ(uname(&kernel), 0);
    const LogCapture log;
    EXPECT_EQ(System().getVersion(), kernel.release);
    EXPECT_EQ(log.lines(), std::string("[info] Making system call: uname -r 2>/dev/null\n[info] Kernel Version = ") +
                               kernel.release + "\n");
}

TEST(System, CallsCommands) {
    std::string output = "before ";
    EXPECT_EQ(System().callCommand("echo one; echo two", output), 1);
    EXPECT_EQ(output, "before one\ntwo\n");
}

TEST(System, NormalizesPathsInPlace) {
    const struct {
        const char* path;
        const char* normalized;
    } CASES[] = {
        {"/mnt/remote/dev/nvme0", "/dev/nvme0"},   {"/a/mnt/remote/b/mnt/remote", "/a/b"},
        {"/mnt/mnt/remote/remote", "/mnt/remote"},  // one pass
        {"/MNT/remote/a", "/MNT/remote/a"},        {"", ""},
    };
    for (const auto& c : CASES) {
        std::string path = c.path;
        System::normalizePath(path);
        EXPECT_EQ(path, c.normalized) << c.path;
    }
}

TEST(System, IsNotWindows) {
    EXPECT_FALSE(System::isWindows());
    EXPECT_EQ(System::pathSeparator(), "/");
}

TEST(System, RecognizesDevicePathsCaseByCase) {
    const struct {
        const char* path;
        bool isDevicePath;
    } CASES[] = {
        {"/dev/nvme0", true}, {"/DEV/nvme0", true}, {"somewhere/dev/", true}, {"lsi:0:1", true},
        {"talsima", true},    {"/dev", false},      {"nvme0", false},         {"", false},
    };
    for (const auto& c : CASES) EXPECT_EQ(System::isDevicePath(c.path), c.isDevicePath) << c.path;
}
