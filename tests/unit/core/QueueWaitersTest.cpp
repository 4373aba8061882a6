#include <gtest/gtest.h>

#include <stdexcept>

#include "ostrel/core/QueueWaiters.h"

namespace ostrel::core {
namespace {

TEST(QueueWaiters, ExpectNoThreadWhileNoneSleeps) {
    QueueWaiters waiters;
    EXPECT_FALSE(waiters.expectOne());
    waiters.sleep([] {});
    EXPECT_FALSE(waiters.expectOne()) << "the one that slept is awake";
}

TEST(QueueWaiters, ExpectTheNextOneWhenTheFirstHasRun) {
    QueueWaiters waiters;
    waiters.sleep([&] {
        waiters.sleep([&] {
            EXPECT_TRUE(waiters.expectOne());
            EXPECT_FALSE(waiters.expectOne()) << "the one that was notified has not run yet";
        });
        EXPECT_TRUE(waiters.expectOne()) << "it has run, and one more sleeps";
    });
    EXPECT_FALSE(waiters.expectOne()) << "none sleeps";
}

TEST(QueueWaiters, DoNotExpectAThreadWhoseWaitThrew) {
    QueueWaiters waiters;
    const auto interrupted = [&] {
        EXPECT_TRUE(waiters.expectOne());
        throw std::runtime_error("interrupted");
    };
    EXPECT_THROW(waiters.sleep(interrupted), std::runtime_error);
    EXPECT_FALSE(waiters.expectOne()) << "none sleeps";
    waiters.sleep([&] { EXPECT_TRUE(waiters.expectOne()) << "the notification of the other one is over"; });
}

}  // namespace
}  // namespace ostrel::core
