#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <thread>

#include "exporter/Children.h"

namespace exporter {
namespace {

using namespace std::chrono_literals;

class Children : public ::testing::Test {
protected:
    Children() {
        char name[] = "/tmp/nimbrel-children-XXXXXX";
        folder_ = ::mkdtemp(name);
        EXPECT_EQ(locks_.open(folder_ + "/locks"), "");
    }
    ~Children() override { std::filesystem::remove_all(folder_); }

    std::string folder_;
    PrivateFolder locks_;
};

std::string sleepForever() {
    std::this_thread::sleep_for(1h);
    return "";
}

TEST_F(Children, ReturnResultsInTheOrderOfTheirTasks) {
    std::vector<ChildTask> tasks;
    for (int i = 0; i < 8; ++i)
        tasks.push_back({std::to_string(i), [i] { return std::string(static_cast<std::size_t>(i) * 50000, 'x'); }});
    ChildLimits limits;
    limits.parallel = 3;
    const auto outcomes = runChildren(tasks, locks_, limits);
    ASSERT_EQ(outcomes.size(), 8U);
    for (std::size_t i = 0; i < outcomes.size(); ++i) {
        EXPECT_EQ(outcomes[i].end, ChildEnd::ANSWERED);
        EXPECT_EQ(outcomes[i].text.size(), i * 50000);
    }
}

TEST_F(Children, CostTheirOwnResultAloneWhenTheyHang) {
    ChildLimits limits;
    limits.time = 300ms;
    const auto start = std::chrono::steady_clock::now();
    const auto outcomes =
        runChildren({{"a", sleepForever}, {"b", [] { return "b"; }}, {"c", sleepForever}}, locks_, limits);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 20s);
    EXPECT_EQ(outcomes[0].end, ChildEnd::TIMED_OUT);
    EXPECT_EQ(outcomes[0].text, "no answer within 300 ms");
    EXPECT_EQ(outcomes[1].end, ChildEnd::ANSWERED);
    EXPECT_EQ(outcomes[1].text, "b");
    EXPECT_EQ(outcomes[2].end, ChildEnd::TIMED_OUT);
}

TEST_F(Children, AreNoZombiesAfterTheNextRunWhenTheyEndedLate) {
    const auto outcomes = runChildren({{"a",
                                        []() -> std::string {
                                            for (int file = 3; file < 64; ++file) (void)::close(file);
                                            std::this_thread::sleep_for(600ms);
                                            return "";
                                        }}},
                                      locks_, {});
    ASSERT_EQ(outcomes[0].end, ChildEnd::STUCK);
    siginfo_t ended{};
    ASSERT_EQ(::waitid(P_ALL, 0, &ended, WEXITED | WNOWAIT), 0);
    EXPECT_EQ(outcomes[0].text, "its process " + std::to_string(ended.si_pid) + " does not end");
    EXPECT_TRUE(runChildren({}, locks_, {}).empty());
    EXPECT_EQ(::waitid(P_ALL, 0, &ended, WEXITED | WNOHANG | WNOWAIT), -1);
    EXPECT_EQ(errno, ECHILD);
}

TEST_F(Children, FailWithWhatWasThrown) {
    const auto outcomes =
        runChildren({{"a", []() -> std::string { throw std::runtime_error("no library"); }}}, locks_, {});
    EXPECT_EQ(outcomes[0].end, ChildEnd::FAILED);
    EXPECT_EQ(outcomes[0].text, "no library");
}

TEST_F(Children, FailWithTheSignalThatEndedThem) {
    const auto outcomes = runChildren({{"a",
                                        []() -> std::string {
                                            (void)::kill(::getpid(), SIGKILL);
                                            return "";
                                        }}},
                                      locks_, {});
    EXPECT_EQ(outcomes[0].end, ChildEnd::FAILED);
    EXPECT_EQ(outcomes[0].text, "its process was ended by signal 9");
}

TEST_F(Children, AreKilledWhenTheirResultIsTooLong) {
    ChildLimits limits;
    limits.resultBytes = 1000;
    const auto outcomes = runChildren({{"a", [] { return std::string(1 << 22, 'x'); }}}, locks_, limits);
    EXPECT_EQ(outcomes[0].end, ChildEnd::TIMED_OUT);
    EXPECT_EQ(outcomes[0].text, "its result is too long");
}

TEST_F(Children, DoNotRunWhileAnotherProcessHasTheirLock) {
    ReaderLock other;
    ASSERT_EQ(other.open(locks_, "a"), "");
    ASSERT_TRUE(other.acquire());
    EXPECT_EQ(other.owner(), ::getpid());
    const auto outcomes = runChildren({{"a", [] { return "read twice"; }}, {"b", [] { return "b"; }}}, locks_, {});
    EXPECT_EQ(outcomes[0].end, ChildEnd::BUSY);
    EXPECT_EQ(outcomes[1].text, "b");
}

}  // namespace
}  // namespace exporter
