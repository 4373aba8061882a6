#include <gtest/gtest.h>

#include <sstream>
#include <vector>

#include "ostrel/interfaces/cli/cliframework/Logger.h"
#include "ostrel/interfaces/cli/cliframework/SimpleResult.h"
#include "ostrel/interfaces/cli/cliframework/StreamChannel.h"
#include "ostrel/interfaces/cli/cliframework/Trace.h"
#include "tests/support/VirtualSlots.h"

namespace cli::framework {
namespace {

class RecordingChannel : public LogChannelBase {
public:
    void write(const LogMessage& message) override { messages.push_back(message); }
    std::vector<LogMessage> messages;
};

class LoggerTest : public testing::Test {
protected:
    void TearDown() override {
        logger.setChannel(nullptr);
        logger.setThreshold(LOG_LEVEL_TRACE);
        logger.setLevel(LOG_LEVEL_TRACE);
    }

    Logger& logger = Logger::getInstance();
    RecordingChannel channel;
};

int tracedFunction() {
    CLI_TRACE();
    return 7;
}

TEST_F(LoggerTest, StartsWithoutAChannelAtTheTraceLevel) {
    EXPECT_EQ(logger.getChannel(), nullptr);
    EXPECT_FALSE(Logger::hasChannel());
    EXPECT_EQ(logger.getLevel(), 3u);
    EXPECT_EQ(logger.getThreshold(), 3u);
    EXPECT_EQ(&Logger::getInstance(), &logger);
}

TEST_F(LoggerTest, AMessageIsATraceMessageOfNowhereUnlessSetOtherwise) {
    const LogMessage message;
    EXPECT_EQ(message.level, 3u);
    EXPECT_EQ(message.message, "");
    EXPECT_EQ(message.file, "");
    EXPECT_EQ(message.line, 0u);
}

TEST_F(LoggerTest, DropsEverythingWithoutAChannel) {
    logger.log(0, "lost");
    logger << "lost too";
    logger.flush();
    EXPECT_EQ(logger.str(), "");
    logger.setChannel(&channel);
    EXPECT_TRUE(Logger::hasChannel());
    EXPECT_TRUE(channel.messages.empty());
}

TEST_F(LoggerTest, HandsMessagesToTheChannel) {
    logger.setChannel(&channel);
    logger.log(0, "failed");
    logger.logTrace("Entering run", "cliframework/Framework", 12);
    ASSERT_EQ(channel.messages.size(), 2u);
    EXPECT_EQ(channel.messages[0].level, 0u);
    EXPECT_EQ(channel.messages[0].message, "failed");
    EXPECT_EQ(channel.messages[0].file, "");
    EXPECT_EQ(channel.messages[0].line, 0u);
    EXPECT_EQ(channel.messages[1].level, 3u);
    EXPECT_EQ(channel.messages[1].message, "Entering run");
    EXPECT_EQ(channel.messages[1].file, "cliframework/Framework");
    EXPECT_EQ(channel.messages[1].line, 12u);
}

TEST_F(LoggerTest, PassesLevelsUpToTheThreshold) {
    logger.setChannel(&channel);
    logger.setThreshold(2);
    logger.log(3, "above");
    logger.log(2, "at");
    logger.log(0, "below");
    ASSERT_EQ(channel.messages.size(), 2u);
    EXPECT_EQ(channel.messages[0].message, "at");
    EXPECT_EQ(channel.messages[1].message, "below");
}

TEST_F(LoggerTest, FlushSendsTheStreamAtTheSetLevelAndEmptiesIt) {
    logger.setChannel(&channel);
    logger.setLevel(0);
    logger << "Error" << 42;
    logger.setstate(std::ios::failbit);
    logger.flush();
    EXPECT_TRUE(logger.good());
    logger << "next";
    logger.flush();
    ASSERT_EQ(channel.messages.size(), 2u);
    EXPECT_EQ(channel.messages[0].level, 0u);
    EXPECT_EQ(channel.messages[0].message, "Error42");
    EXPECT_EQ(channel.messages[1].message, "next");
}

TEST_F(LoggerTest, StreamChannelWritesLevelAndMessageOnALine) {
    std::ostringstream stream;
    StreamChannel streamChannel(stream);
    streamChannel.write({0, "ErrorNo such drive.\n", "file", 7});
    streamChannel.write({3, "", "", 0});
    EXPECT_EQ(stream.str(), "0: ErrorNo such drive.\n\n3: \n");
}

TEST_F(LoggerTest, TraceReportsEntryAndExit) {
    logger.setChannel(&channel);
    const int line = __LINE__;
    EXPECT_EQ(tracedFunction(), 7);
    ASSERT_EQ(channel.messages.size(), 2u);
    EXPECT_EQ(channel.messages[0].message, "Entering tracedFunction");
    EXPECT_EQ(channel.messages[0].level, 3u);
    EXPECT_EQ(channel.messages[0].file, "cliframework/LoggerTest");
    EXPECT_LT(channel.messages[0].line, static_cast<uint32_t>(line));
    EXPECT_EQ(channel.messages[1].message, "Exiting tracedFunction");
    EXPECT_EQ(channel.messages[1].level, 3u);
    EXPECT_EQ(channel.messages[1].file, "");
    EXPECT_EQ(channel.messages[1].line, 0u);
}

TEST_F(LoggerTest, TraceNamesTheFolderAndTheFileWithoutItsEnding) {
    logger.setChannel(&channel);
    for (const char* path : {"/build/cliframework/ResultBase.cpp", "cliframework/ResultBase.cpp", "ResultBase.cpp",
                             "/ResultBase.cpp", "ResultBase"}) {
        const Trace trace(path, "output", 1);
    }
    ASSERT_EQ(channel.messages.size(), 10u);
    EXPECT_EQ(channel.messages[0].file, "cliframework/ResultBase");
    EXPECT_EQ(channel.messages[2].file, "cliframework/ResultBase");
    EXPECT_EQ(channel.messages[4].file, "ResultBase");
    EXPECT_EQ(channel.messages[6].file, "/ResultBase");
    EXPECT_EQ(channel.messages[8].file, "ResultBase");
}

TEST_F(LoggerTest, ATraceThatBeganInSilenceStaysSilent) {
    {
        const Trace trace("a/b.cpp", "run", 1);
        logger.setChannel(&channel);
    }
    EXPECT_TRUE(channel.messages.empty());
}

TEST_F(LoggerTest, ATraceWhoseChannelIsTakenOffMeetsItsEndInSilence) {
    logger.setChannel(&channel);
    {
        const Trace trace("a/b.cpp", "run", 1);
        logger.setChannel(nullptr);
    }
    ASSERT_EQ(channel.messages.size(), 1u);
    EXPECT_EQ(channel.messages[0].message, "Entering run");
}

TEST_F(LoggerTest, FrameworkFunctionsAreTraced) {
    std::ostringstream stream;
    StreamChannel streamChannel(stream);
    SimpleResult result("");
    logger.setChannel(&streamChannel);
    result.setOutputOption({});
    logger.setChannel(nullptr);
    EXPECT_EQ(stream.str(), "3: Entering setOutputOption\n3: Exiting setOutputOption\n");
}

TEST_F(LoggerTest, ALogLineIsNotEvenBuiltInSilence) {
    int built = 0;
    const auto build = [&] { return ++built; };
    CLI_LOG("line " << build());
    EXPECT_EQ(built, 0);
    logger.setChannel(&channel);
    logger.setLevel(0);
    CLI_LOG("line " << build());
    EXPECT_EQ(built, 1);
    ASSERT_EQ(channel.messages.size(), 1u);
    EXPECT_EQ(channel.messages[0].message, "line 1");
    EXPECT_EQ(channel.messages[0].level, 3u) << "whatever level was set before";
}

// Slots 0 and 1 are the destructor's.
struct ChannelWithOneMore : LogChannelBase {
    virtual void next();
};

TEST(LogChannelBase, KeepsTheSlotOfWrite) {
    EXPECT_EQ(virtualSlot(&LogChannelBase::write), 2u);
    EXPECT_EQ(virtualSlot(&ChannelWithOneMore::next), 3u);
}

}  // namespace
}  // namespace cli::framework
