#include <gtest/gtest.h>

#include <optional>

#include "ostrel/core/AsyncEngineCommand.h"
#include "tests/support/VirtualSlots.h"
#include "tests/unit/core/QueuedCommands.h"

namespace ostrel::core {
namespace {

TEST(AsyncEngineCommand, KeepsWhatItIsGiven) {
    NumberedCommand original(5);
    original.getCompletion().userContext = 77;
    original.getCompletion().callerData2 = 8;
    Payload payload("abc", 3);
    AsyncEngineCommand command(11, original, payload, 22);
    original.number = 6;

    EXPECT_EQ(command.getParent(), 11u);
    EXPECT_EQ(command.getUserData(), 22u);
    EXPECT_EQ(command.getPayload().getData(), payload.getData()) << "the buffer is shared";
    EXPECT_EQ(command.getDuration(), 0.0);
    EXPECT_TRUE(succeeded(command.getStatus()));
    const auto* clone = dynamic_cast<NumberedCommand*>(&command.getCommand());
    ASSERT_NE(clone, nullptr) << "of the original's class";
    EXPECT_EQ(clone->number, 5u) << "a clone, which does not follow the original";
    EXPECT_EQ(clone->getCompletion().userContext, 77u);
    EXPECT_EQ(clone->getCompletion().callerData2, 8u);
    EXPECT_EQ(clone->getName(), "Numbered");
    EXPECT_EQ(clone->getCommandSet(), "Test");
}

TEST(AsyncEngineCommand, WithoutACallbackTheRecordStaysAsItIs) {
    AsyncEngineCommand command(0, NumberedCommand(1), Payload("abc", 3), 0);
    command.getStatus() = Status(CATEGORY_CORE, 25, "x");
    command.setDuration(2.5);
    command.complete();
    const CompletionRecord& record = command.getCommand().getCompletion();
    EXPECT_EQ(record.payload.getSize(), 0u);
    EXPECT_EQ(record.statusCode, 0u);
    EXPECT_EQ(record.duration, 0.0);
}

std::optional<CompletionRecord> seen;

TEST(AsyncEngineCommand, CompletionFillsTheRecordAndCallsBack) {
    NumberedCommand original(1);
    CompletionRecord& given = original.getCompletion();
    given.userContext = 0xFEDCBA9876543210;
    given.callback = [](const CompletionRecord& record) { seen = record; };
    given.callerData1 = 1;
    given.callerData2 = 2;
    given.callerData3 = 3;
    AsyncEngineCommand command(0, original, Payload("abc", 3), 0);
    const Payload answer("answer", 6);
    command.setPayload(answer);
    command.getStatus() = Status(CATEGORY_FEATURE, 25, "x");
    command.setDuration(2.5);
    command.complete();

    ASSERT_TRUE(seen.has_value());
    EXPECT_EQ(seen->userContext, 0xFEDCBA9876543210);
    EXPECT_EQ(seen->statusCode, 25u) << "the code alone, without its category";
    EXPECT_EQ(seen->payload.getData(), answer.getData());
    EXPECT_EQ(seen->duration, 2.5);
    EXPECT_EQ(seen->callerData1, 1u);
    EXPECT_EQ(seen->callerData2, 2u);
    EXPECT_EQ(seen->callerData3, 3u);
    EXPECT_EQ(given.statusCode, 0u) << "the caller's own object is not touched";
}

struct NextSlot : AsyncEngineCommand {
    using AsyncEngineCommand::AsyncEngineCommand;
    virtual void next();
};

TEST(AsyncEngineCommand, HasNoVirtualOperationBesideTheDestructor) {
    EXPECT_EQ(virtualSlot(&NextSlot::next), 2u);
}

}  // namespace
}  // namespace ostrel::core
