#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "ostrel/core/Globals.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/LogCapture.h"

namespace ostrel::core {
namespace {

TEST(Globals, ReportsTheDirectoryOfTheRunningProgram) {
    const std::string path = getExecutablePath();
    EXPECT_EQ(path.front(), '/');
    EXPECT_EQ(path.back(), '/');
    EXPECT_NE(path[path.size() - 2], '/');
    EXPECT_EQ(access((path + program_invocation_short_name).c_str(), X_OK), 0) << path;
}

TEST(Globals, AppendsWhatACommandPrints) {
    LogCapture log;
    std::string output = "before ";
    EXPECT_EQ(callCommand("printf 'a\\nb\\0c'", output), 1);
    EXPECT_EQ(output, std::string("before a\nb\0c", 12));
    EXPECT_EQ(log.lines(), "[info] Making system call: printf 'a\\nb\\0c'\n");
}

TEST(Globals, AnswersOneWhateverTheCommandsOwnResult) {
    std::string output;
    EXPECT_EQ(callCommand("exit 3", output), 1);
    EXPECT_EQ(callCommand("kill -9 $$", output), 1);
    EXPECT_EQ(output, "");
}

TEST(Globals, ReadsMoreThanOneChunk) {
    std::string output;
    EXPECT_EQ(callCommand("head -c 100000 /dev/zero | tr '\\0' x", output), 1);
    EXPECT_EQ(output, std::string(100000, 'x'));
}

TEST(Globals, TakesStandardErrorInOnRequest) {
    LogCapture log;
    EXPECT_EQ(callCommandWithStderr("(echo out; echo err >&2)"), "out\nerr\n");
    EXPECT_EQ(log.lines(), "[info] Making system call: (echo out; echo err >&2) 2>&1\n");
}

TEST(Globals, DropsStandardErrorOnRequest) {
    LogCapture log;
    EXPECT_EQ(callCommandQuiet("(echo out; echo err >&2)"), "out\n");
    EXPECT_EQ(log.lines(), "[info] Making system call: (echo out; echo err >&2) 2>/dev/null\n");
}

TEST(Globals, SaysWhenNoShellCanBeStarted) {
    const bool held = holdsInAChild([] {
        const rlimit none = {0, 0};
        if (!dropPrivileges() || setrlimit(RLIMIT_NPROC, &none) != 0) return false;
        LogCapture log;
        std::string output = "kept";
        EXPECT_EQ(callCommand("echo x", output), 0);
        EXPECT_EQ(output, "kept");
        EXPECT_EQ(callCommandQuiet("echo x"), "");
        EXPECT_EQ(log.lines(),
                  "[info] Making system call: echo x\n"
                  "[error] Unable to start a shell for the system call\n"
                  "[info] Making system call: echo x 2>/dev/null\n"
                  "[error] Unable to start a shell for the system call\n");
        return !testing::Test::HasFailure();
    });
    EXPECT_TRUE(held);
}

}  // namespace
}  // namespace ostrel::core
