#include <gtest/gtest.h>

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

#include "features/jobs/support/ParallelFor.h"

namespace features::jobs {
namespace {

/// What is known of the calls: which numbers came, on which threads, and how many at once.
class Calls {
public:
    void enter(std::size_t number) {
        const std::lock_guard<std::mutex> lock(mutex_);
        numbers_.push_back(number);
        threads_.insert(std::this_thread::get_id());
        most_ = std::max(most_, ++now_);
        changed_.notify_all();
    }
    void leave() {
        const std::lock_guard<std::mutex> lock(mutex_);
        --now_;
    }
    /// Returns when `count` calls were under way at once.
    void await(std::size_t count) {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [&] { return most_ >= count; });
    }
    std::vector<std::size_t> numbers() {
        std::sort(numbers_.begin(), numbers_.end());
        return numbers_;
    }
    std::size_t most() const { return most_; }
    const std::set<std::thread::id>& threads() const { return threads_; }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::size_t> numbers_;
    std::set<std::thread::id> threads_;
    std::size_t now_ = 0;
    std::size_t most_ = 0;
};

std::vector<std::size_t> upTo(std::size_t count) {
    std::vector<std::size_t> numbers;
    for (std::size_t i = 0; i < count; ++i) numbers.push_back(i);
    return numbers;
}

TEST(ParallelFor, CallsEachNumberOnce) {
    for (const std::size_t count : {0U, 1U, 2U, 7U, 8U, 9U, 100U}) {
        for (const std::size_t bound : {0U, 1U, 2U, 8U}) {
            Calls calls;
            parallelFor(count, bound, [&](std::size_t number) {
                calls.enter(number);
                calls.leave();
            });
            EXPECT_EQ(calls.numbers(), upTo(count)) << count << " with at most " << bound;
            EXPECT_LE(calls.most(), std::max<std::size_t>(bound, 1)) << count;
        }
    }
}

TEST(ParallelFor, OneCallStaysOnTheCallersThread) {
    Calls calls;
    parallelFor(1, 8, [&](std::size_t number) { calls.enter(number); });
    EXPECT_EQ(calls.threads(), std::set<std::thread::id>{std::this_thread::get_id()});
}

TEST(ParallelFor, ABoundOfOneStaysOnTheCallersThread) {
    Calls calls;
    parallelFor(5, 1, [&](std::size_t number) { calls.enter(number); });
    EXPECT_EQ(calls.threads(), std::set<std::thread::id>{std::this_thread::get_id()});
}

TEST(ParallelFor, AsManyRunAtOnceAsTheBoundAllows) {
    Calls calls;
    // Each of the first three waits for the others: fewer at once would never end.
    parallelFor(9, 3, [&](std::size_t number) {
        calls.enter(number);
        calls.await(3);
        calls.leave();
    });
    EXPECT_EQ(calls.most(), 3U);
    EXPECT_EQ(calls.threads().size(), 3U);
    EXPECT_EQ(calls.numbers(), upTo(9));
}

TEST(ParallelFor, AnExceptionComesOutAfterTheOthersHaveEnded) {
    for (const std::size_t bound : {1U, 4U}) {
        Calls calls;
        try {
            parallelFor(20, bound, [&](std::size_t number) {
                calls.enter(number);
                calls.leave();
                if (number == 5) throw std::runtime_error("number 5");
            });
            FAIL() << "no exception";
        } catch (const std::runtime_error& error) {
            EXPECT_STREQ(error.what(), "number 5");
        }
        EXPECT_EQ(calls.numbers(), upTo(20)) << "one that fails does not keep the others from running";
    }
}

TEST(ParallelFor, OneOfSeveralExceptionsComesOut) {
    EXPECT_THROW(parallelFor(8, 4, [](std::size_t) { throw std::runtime_error("each"); }), std::runtime_error);
}

}  // namespace
}  // namespace features::jobs
