#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <iterator>
#include <string>
#include <thread>

#include "ostrel/core/SignalBlock.h"
#include "ostrel/core/SignalWatch.h"
#include "ostrel/core/TerminalLine.h"
#include "tests/support/Emulated.h"
#include "tests/support/ProcessEnd.h"
#include "tests/support/Sanitized.h"
#include "tests/support/TerminalStderr.h"

namespace ostrel::core {
namespace {

void hang() {
    for (;;) pause();
}

constexpr int SIGNALS[] = {SIGINT, SIGTERM, SIGHUP};
constexpr const char* LINES[] = {"SIGINT: words\n", "SIGTERM: words\n", "SIGHUP: words\n"};

TEST(SignalWatch, WritesTheLineAndEndsTheProcessByTheSignal) {
    for (size_t i = 0; i < std::size(SIGNALS); ++i) {
        const End end = endOf([i] {
            const SignalWatch watch("words");
            kill(getpid(), SIGNALS[i]);
            hang();
        });
        EXPECT_EQ(end.said, LINES[i]);
        EXPECT_TRUE(WIFSIGNALED(end.status) && WTERMSIG(end.status) == SIGNALS[i]) << end.status;
    }
}

TEST(SignalWatch, TakesALineOfProgressAwayFromATerminal) {
    TerminalStderr terminal;
    const pid_t child = fork();
    if (child == 0) {
        const SignalWatch watch("words");
        (void)drawTerminalLine(STDERR_FILENO, "37 %");
        kill(getpid(), SIGINT);
        hang();
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGINT) << status;
    EXPECT_EQ(terminal.output(), "\r\033[K37 %\r\r\033[KSIGINT: words\r\n\r\033[K");
}

TEST(SignalWatch, LeavesSignalsAsTheyWereWhenItEnds) {
    const End end = endOf([] {
        {
            const SignalWatch watch("words");
        }
        kill(getpid(), SIGTERM);
        hang();
    });
    EXPECT_EQ(end.said, "");
    EXPECT_TRUE(WIFSIGNALED(end.status) && WTERMSIG(end.status) == SIGTERM) << end.status;
}

TEST(SignalWatch, LeavesIgnoredHandledAndBlockedSignalsAlone) {
    const End end = endOf([] {
        signal(SIGHUP, SIG_IGN);
        signal(SIGINT, [](int) {});
        sigset_t blocked;
        sigemptyset(&blocked);
        sigaddset(&blocked, SIGTERM);
        sigprocmask(SIG_BLOCK, &blocked, nullptr);
        const SignalWatch watch("words");
        for (const int number : SIGNALS) kill(getpid(), number);
    });
    EXPECT_EQ(end.said, "");
    EXPECT_EQ(end.status, 0);
}

TEST(SignalWatch, GoesWithoutTheLineWhereNoThreadCanBeMade) {
    if (SANITIZED || isEmulated()) GTEST_SKIP() << "sanitizers and emulators need the address space for themselves";
    const End end = endOf([] {
        pthread_attr_t large;  // larger than any stack that is left of another thread
        pthread_attr_init(&large);
        pthread_attr_setstacksize(&large, size_t{64} << 20);
        pthread_setattr_default_np(&large);
        const rlimit none{1, 1};
        setrlimit(RLIMIT_AS, &none);
        const SignalWatch watch("words");
        kill(getpid(), SIGTERM);
        hang();
    });
    EXPECT_EQ(end.said, "");
    EXPECT_TRUE(WIFSIGNALED(end.status) && WTERMSIG(end.status) == SIGTERM) << end.status;
}

TEST(SignalWatch, ManyInARowEndWhateverComesMeanwhile) {
    for (int i = 0; i < 200; ++i) {
        const End end = endOf([] {
            std::thread sender([] { kill(getpid(), SIGTERM); });
            for (;;) const SignalWatch watch("words");
        });
        EXPECT_TRUE(end.said.empty() || end.said == "SIGTERM: words\n") << end.said;
        EXPECT_TRUE(WIFSIGNALED(end.status) && WTERMSIG(end.status) == SIGTERM) << end.status;
    }
}

TEST(SignalBlock, HoldsTheEndBackUntilItsSectionIsOver) {
    const End end = endOf([] {
        const SignalWatch watch("words");
        {
            const SignalBlock section;
            kill(getpid(), SIGTERM);
            // Time for the line, which does not wait for the section.
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            (void)!write(STDERR_FILENO, "section over\n", 13);
        }
        hang();
    });
    EXPECT_EQ(end.said, "SIGTERM: words\nsection over\n");
    EXPECT_TRUE(WIFSIGNALED(end.status) && WTERMSIG(end.status) == SIGTERM) << end.status;
}

TEST(SignalBlock, WithoutAWatchHoldsTheSignalItself) {
    const End end = endOf([] {
        {
            const SignalBlock section;
            kill(getpid(), SIGINT);
            (void)!write(STDERR_FILENO, "section over\n", 13);
        }
        (void)!write(STDERR_FILENO, "too late\n", 9);
    });
    EXPECT_EQ(end.said, "section over\n");
    EXPECT_TRUE(WIFSIGNALED(end.status) && WTERMSIG(end.status) == SIGINT) << end.status;
}

TEST(SignalBlock, ReportsASignalThatWillEndTheProcess) {
    const auto report = [](const SignalBlock& section) {
        (void)!write(STDERR_FILENO, section.isEndPending() ? "pending\n" : "none\n", section.isEndPending() ? 8 : 5);
    };
    const End plain = endOf([&] {
        const SignalBlock section;
        report(section);
        kill(getpid(), SIGWINCH);
        report(section);
        kill(getpid(), SIGINT);
        report(section);
    });
    EXPECT_EQ(plain.said, "none\nnone\npending\n") << "the size of a window ends nothing";
    EXPECT_TRUE(WIFSIGNALED(plain.status) && WTERMSIG(plain.status) == SIGINT) << plain.status;

    const End watched = endOf([&] {
        const SignalWatch watch("words");
        const SignalBlock section;
        kill(getpid(), SIGTERM);
        while (!section.isEndPending()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        report(section);
    });
    EXPECT_EQ(watched.said, "SIGTERM: words\npending\n");
}

}  // namespace
}  // namespace ostrel::core
