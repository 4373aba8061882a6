#include <gtest/gtest.h>

#include "ostrel/core/Status.h"

namespace ostrel::core {
namespace {

TEST(Status, IsSuccessByDefault) {
    const Status status;
    EXPECT_TRUE(status.is(0, 0));
    EXPECT_EQ(status.toString(), "Category: 0\nCode: 0\nMessage: Completed successfully.");
}

TEST(Status, WithoutACategoryBelongsToTheCore) {
    EXPECT_EQ(Status(14, "Out.").toString(), "Category: 0\nCode: 14\nMessage: Out.");
}

TEST(Status, RendersThreeLines) {
    EXPECT_EQ(Status(10, 5, "No device selected.").toString(), "Category: 10\nCode: 5\nMessage: No device selected.");
}

TEST(Status, ComparesNumbersAlone) {
    const Status status(10, 5, "No device selected.");
    EXPECT_TRUE(status.is(10, 5));
    EXPECT_FALSE(status.is(10, 6));
    EXPECT_FALSE(status.is(11, 5));
}

TEST(Status, SetsEachFieldAlone) {
    Status status(1, 2, "three");
    status.setCategory(4);
    EXPECT_EQ(status.toString(), "Category: 4\nCode: 2\nMessage: three");
    status.setCode(5);
    EXPECT_EQ(status.toString(), "Category: 4\nCode: 5\nMessage: three");
    status.setMessage("six");
    EXPECT_EQ(status.toString(), "Category: 4\nCode: 5\nMessage: six");
    status.set(7, 8);
    EXPECT_EQ(status.toString(), "Category: 7\nCode: 8\nMessage: six");
    status.set(9, 10, "eleven");
    EXPECT_EQ(status.toString(), "Category: 9\nCode: 10\nMessage: eleven");
    EXPECT_EQ(status.getCategory(), 9u);
    EXPECT_EQ(status.getCode(), 10u);
    EXPECT_EQ(status.getMessage(), "eleven");
}

}  // namespace
}  // namespace ostrel::core
