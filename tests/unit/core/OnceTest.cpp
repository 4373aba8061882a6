#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>
#include <vector>

#include "ostrel/core/Once.h"

using ostrel::core::Once;

TEST(Once, DoesTheWorkOfTheFirstCallAlone) {
    Once once;
    int first = 0;
    int second = 0;
    once.run([&] { ++first; });
    once.run([&] { ++second; });
    EXPECT_EQ(first, 1);
    EXPECT_EQ(second, 0);
}

TEST(Once, DoesTheWorkAgainAfterAnException) {
    Once once;
    int calls = 0;
    const auto failFirst = [&] {
        if (++calls == 1) throw std::runtime_error("no memory");
    };
    EXPECT_THROW(once.run(failFirst), std::runtime_error);
    once.run(failFirst);
    once.run(failFirst);
    EXPECT_EQ(calls, 2);
}

TEST(Once, HasEveryThreadWaitForTheWork) {
    Once once;
    int work = 0;  // without a lock of its own
    std::vector<int> seen(8);
    std::vector<std::thread> threads;
    for (int& found : seen) {
        threads.emplace_back([&once, &work, &found] {
            once.run([&work] {
                std::this_thread::yield();
                ++work;
            });
            found = work;
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(seen, std::vector<int>(8, 1));
}
