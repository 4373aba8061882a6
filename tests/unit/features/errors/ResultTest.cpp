#include <gtest/gtest.h>

#include <memory>

#include "features/errors/Result.h"
#include "features/nvme/CommandError.h"
#include "ostrel/core/StatusCatalogue.h"
#include "tests/support/StatusText.h"

namespace features {
namespace {

using nvme::CommandError;
using nvme::Completion;
using ostrel::core::Status;
namespace statuses = ostrel::core::statuses;

constexpr const char* SUCCESS = "0/0 Completed successfully.";
constexpr const char* REFUSED = "10/28 Invalid LBA format.";

/// Command Specific, Invalid Format.
Result<uint32_t, CommandError> answer(bool isRefused) {
    if (isRefused) return CommandError(statuses::invalidLbaFormat(), Completion(0x010A, 7));
    return 12U;
}

Result<bool> isTwelve(bool isRefused) {
    TRY(const uint32_t number, answer(isRefused));
    return number == 12;
}

Result<uint64_t, CommandError> doubled(bool isRefused) {
    TRY(const uint32_t number, answer(isRefused));
    return uint64_t{number} * 2;
}

Status check(const Status& status, int& reached) {
    RETURN_IF_FAILED(status);
    ++reached;
    RETURN_IF_FAILED(answer(false));
    return Status();
}

TEST(Result, TryDeclaresTheResultOrReturnsTheError) {
    EXPECT_EQ(*isTwelve(false), true);
    EXPECT_EQ(statusText(isTwelve(true)), REFUSED) << "the error of a command as the status that it holds";
}

TEST(Result, ACommandErrorKeepsItsCompletionOnTheWayUp) {
    EXPECT_EQ(*doubled(false), 24U);
    const auto refused = doubled(true);
    ASSERT_FALSE(refused);
    EXPECT_EQ(statusText(refused), REFUSED);
    EXPECT_TRUE(refused.error().completion.is({1, 0x0A}));
    EXPECT_EQ(refused.error().completion.dword0, 7U);
}

TEST(Result, AStatusIsACommandErrorWithoutACompletion) {
    const auto unsent = []() -> Result<uint32_t, CommandError> { return statuses::requestOutOfBounds(); }();
    ASSERT_FALSE(unsent);
    EXPECT_TRUE(unsent.error().completion.isSuccess());
    EXPECT_EQ(statusText(unsent), "0/14 Request is out of bounds.");
}

TEST(Result, ReturnIfFailedTakesAStatusAndAResult) {
    int reached = 0;
    EXPECT_EQ(statusText(check(statuses::invalidLbaFormat(), reached)), REFUSED);
    EXPECT_EQ(reached, 0);
    EXPECT_EQ(statusText(check(Status(), reached)), SUCCESS);
    EXPECT_EQ(reached, 1);
}

TEST(Result, OfOneTypeOfErrorBecomesThatOfAnother) {
    const auto asStatus = [](bool isRefused) -> Result<uint32_t> { return answer(isRefused); };
    EXPECT_EQ(*asStatus(false), 12U);
    EXPECT_EQ(statusText(asStatus(true)), REFUSED);
}

TEST(Result, WithoutAValueItIsASuccessOrAnError) {
    const auto act = [](bool isRefused) -> Result<void, CommandError> {
        RETURN_IF_FAILED(answer(isRefused));
        return {};
    };
    EXPECT_EQ(statusText(statusOf(act(false))), SUCCESS);
    EXPECT_EQ(statusText(statusOf(act(true))), REFUSED);
}

TEST(Result, ACopyOfAFalseIsAFalseAndNotWhetherThereIsOne) {
    Result<bool> no = false;
    Result<bool> copy = no;
    EXPECT_EQ(*copy, false);
}

TEST(Result, MovesWhatCannotBeCopied) {
    const auto make = []() -> Result<std::unique_ptr<int>> { return std::make_unique<int>(5); };
    const auto use = [&]() -> Result<int> {
        TRY(const std::unique_ptr<int> five, make());
        return *five;
    };
    EXPECT_EQ(*use(), 5);
}

}  // namespace
}  // namespace features
