#include <gtest/gtest.h>

#include <climits>

#include "CLI/Outcome.h"

namespace cli {
namespace {

constexpr struct {
    int exitStatus;
    int processStatus;
    const char* why;
} STATUS_CASES[] = {
    {0, 0, "a success stays one"},          {1, 1, "a failure goes out as it is"},
    {201, 201, "the same as above"},        {255, 255, "the last one that needs no help"},
    {256, 255, "the parent would see 0"},   {257, 257, "the parent sees 1, which is a failure too"},
    {65536, 255, "the parent would see 0"}, {INT_MAX, INT_MAX, "the parent sees 255"},
    {-256, 255, "the parent would see 0"},  {INT_MIN, 255, "the parent would see 0"},
};

TEST(ProcessStatus, NeverTurnsAFailureIntoASuccess) {
    for (const auto& c : STATUS_CASES) EXPECT_EQ(toProcessStatus(c.exitStatus), c.processStatus) << c.why;
}

}  // namespace
}  // namespace cli
