#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "ostrel/core/CommandResult.h"
#include "tests/unit/core/DeviceParts.h"

namespace ostrel::core {
namespace {

std::string textOfResult(const CommandResult& result) {
    std::ostringstream out;
    result.toString(out);
    return out.str();
}

CommandResult fullResult() {
    CommandResult result;
    result.command = std::make_unique<PlainCommand>("NVMe", "Identify");
    result.status = Status(10, 25, "Reported by the drive.");
    uint8_t input[18];
    for (uint8_t i = 0; i < 18; ++i) input[i] = static_cast<uint8_t>(0xF0 + i);
    result.inputPayload = Payload(input, sizeof input);
    result.outputPayload = Payload("\x01\xAB", 2);
    result.protocolResult = std::make_unique<PlainProtocolResult>();
    const boost::gregorian::date day(2024, 2, 29);
    result.startTime = boost::posix_time::ptime(day, boost::posix_time::time_duration(23, 59, 58, 999999));
    result.endTime = result.startTime + boost::posix_time::microseconds(1000001);
    result.duration = boost::posix_time::microseconds(1000001);
    result.commandPath = std::make_unique<EchoPath>("Driver", 1500000000);
    return result;
}

TEST(CommandResult, BeginsEmptySuccessfulAndUntimed) {
    const CommandResult result;
    EXPECT_EQ(result.command, nullptr);
    EXPECT_TRUE(succeeded(result.status));
    EXPECT_EQ(result.inputPayload.getSize(), 0u);
    EXPECT_EQ(result.outputPayload.getSize(), 0u);
    EXPECT_EQ(result.protocolResult, nullptr);
    EXPECT_TRUE(result.startTime.is_not_a_date_time());
    EXPECT_TRUE(result.endTime.is_not_a_date_time());
    EXPECT_EQ(result.duration.ticks(), 0);
    EXPECT_EQ(result.commandPath, nullptr);
    EXPECT_FALSE(result.quietToXml);
}

TEST(CommandResult, ReadsAsTheHistoryLogShowsIt) {
    EXPECT_EQ(textOfResult(fullResult()),
              "Command Identify\n"
              "Input Payload (18 bytes)\n"
              "F0 F1 F2 F3 F4 F5 F6 F7 F8 F9 FA FB FC FD FE FF\n"
              "00 01\n"
              "Completion\n"
              "Output Payload (2 bytes)\n"
              "01 AB\n"
              "Status Code: 25\n"
              "Status Category: 10\n"
              "Status Message: Reported by the drive.\n"
              "2024-Feb-29 23:59:58.999999\n"
              "2024-Mar-01 00:00:00\n"
              "Duration: 00:00:01.000001\n"
              "Command Path Name: Driver\n"
              "Command Path Timeout (seconds): 2\n");
}

TEST(CommandResult, LeavesOutWhatIsMissing) {
    EXPECT_EQ(textOfResult(CommandResult()),
              "Input Payload (0 bytes)\n"
              "Output Payload (0 bytes)\n"
              "Status Code: 0\n"
              "Status Category: 0\n"
              "Status Message: Completed successfully.\n"
              "not-a-date-time\n"
              "not-a-date-time\n"
              "Duration: 00:00:00\n");
}

TEST(CommandResult, CopyOwnsClonesAndSharesThePayloads) {
    const CommandResult original = fullResult();
    const auto expectCopy = [&](const CommandResult& copy) {
        EXPECT_EQ(textOfResult(copy), textOfResult(original));
        EXPECT_NE(copy.command, original.command);
        EXPECT_NE(copy.protocolResult, original.protocolResult);
        EXPECT_NE(copy.commandPath, original.commandPath);
        EXPECT_EQ(copy.inputPayload.getData(), original.inputPayload.getData());
    };
    const CommandResult copy(original);
    expectCopy(copy);
    CommandResult assigned;
    assigned.quietToXml = true;
    assigned = original;
    expectCopy(assigned);
    EXPECT_FALSE(assigned.quietToXml);
    const CommandResult& alias = assigned;
    assigned = alias;
    expectCopy(assigned);
}

TEST(CommandResult, CopyOfAnEmptyOneIsEmpty) {
    CommandResult result = fullResult();
    result = CommandResult(CommandResult());
    EXPECT_EQ(result.command, nullptr);
    EXPECT_EQ(result.protocolResult, nullptr);
    EXPECT_EQ(result.commandPath, nullptr);
}

}  // namespace
}  // namespace ostrel::core
