#include <gtest/gtest.h>

#include <memory>

#include "ostrel/core/CommandPath.h"
#include "tests/support/VirtualSlots.h"
#include "tests/unit/core/DeviceParts.h"
#include "tests/unit/core/QueuedCommands.h"

namespace ostrel::core {
namespace {

constexpr struct {
    uint64_t nanoseconds;
    uint64_t seconds;
} TIMEOUTS[] = {{0, 0}, {1, 1}, {999999999, 1}, {1000000000, 1}, {1000000001, 2}, {0xFFFFFFFFFFFFFFFF, 18446744074}};

TEST(CommandPath, TimeoutInSecondsIsRoundedUp) {
    for (const auto& c : TIMEOUTS) {
        EchoPath path("A");
        path.setTimeoutNanoseconds(c.nanoseconds);
        EXPECT_EQ(path.getTimeoutNanoseconds(), c.nanoseconds);
        EXPECT_EQ(path.getTimeoutSeconds(), c.seconds) << c.nanoseconds;
    }
}

TEST(CommandPath, TimeoutIsKeptInNanoseconds) {
    EchoPath path("A", 5);
    EXPECT_EQ(path.getTimeoutNanoseconds(), 5u);
    path.setTimeoutSeconds(2);
    EXPECT_EQ(path.getTimeoutSeconds(), 2u);
    EXPECT_EQ(path.getTimeoutNanoseconds(), 2000000000u);
}

TEST(CommandPath, ClosesItsConnectionIfThereIsOne) {
    EchoPath path("A");
    EXPECT_EQ(statusText(path.closeConnection()), "0/53 There was no connection to close.");
    EXPECT_EQ(statusText(path.reset()), "0/53 There was no connection to close.");

    const auto notes = std::make_shared<NotingConnection::Notes>();
    const auto connection = std::make_shared<NotingConnection>("driver", notes);
    connection->closeStatus = Status(1, 9, "System error.");
    path.setConnection(connection);
    EXPECT_EQ(statusText(path.closeConnection()), "1/9 System error.");
    EXPECT_EQ(statusText(path.reset()), "1/9 System error.");
    EXPECT_EQ(*notes, (NotingConnection::Notes{"close driver", "close driver"}));
}

// A path whose close is its own: reset() has to go through it.
class OwnClose : public EchoPath {
public:
    using EchoPath::EchoPath;
    Status closeConnection() override { return Status(10, 1, "own"); }
};

TEST(CommandPath, ResetGoesThroughTheOverriddenClose) {
    OwnClose path("A");
    EXPECT_EQ(statusText(path.reset()), "10/1 own");
}

TEST(CommandPath, CloneSharesTheConnectionAndHasNoEngine) {
    EchoPath path("A", 7);
    path.setConnection(std::make_shared<NotingConnection>("driver", std::make_shared<NotingConnection::Notes>()));
    path.setAsyncEngine(std::make_unique<HookedEngine>(1, 1));
    const auto clone = path.clone();
    EXPECT_EQ(clone->getName(), "A");
    EXPECT_EQ(clone->getTimeoutNanoseconds(), 7u);
    EXPECT_EQ(clone->getConnection(), path.getConnection());
    EXPECT_EQ(clone->getAsyncEngine(), nullptr);
}

TEST(CommandPath, AssignmentCopiesNameTimeoutAndConnection) {
    EchoPath path("A", 7), other("B", 8);
    other.setConnection(std::make_shared<NotingConnection>("driver", std::make_shared<NotingConnection::Notes>()));
    static_cast<CommandPath&>(path) = other;
    EXPECT_EQ(path.getName(), "B");
    EXPECT_EQ(path.getTimeoutNanoseconds(), 8u);
    EXPECT_EQ(path.getConnection(), other.getConnection());
    EXPECT_EQ(path.getAsyncEngine(), nullptr);
}

TEST(CommandPath, AssignmentAdjustsTheEngineButKeepsItsOwn) {
    EchoPath path("A"), other("B"), plain("C");
    path.setAsyncEngine(std::make_unique<HookedEngine>(1, 1));
    other.setAsyncEngine(std::make_unique<HookedEngine>(3, 2));
    AsyncEngine* engine = path.getAsyncEngine();

    static_cast<CommandPath&>(path) = plain;
    EXPECT_EQ(path.getAsyncEngine(), engine) << "the other has none, so nothing is to be taken over";
    EXPECT_EQ(engine->getSenderThreadCount(), 1u);

    static_cast<CommandPath&>(path) = other;
    EXPECT_EQ(path.getAsyncEngine(), engine);
    EXPECT_EQ(engine->getSenderThreadCount(), 3u);
    EXPECT_EQ(engine->getCallbackThreadCount(), 2u);
}

TEST(CommandPath, StopsItsEngineBeforeItGoes) {
    Completions completions;
    {
        EchoPath path("A");
        path.setAsyncEngine(std::make_unique<HookedEngine>(2, 2));
        for (uint32_t i = 0; i < 50; ++i) path.getAsyncEngine()->add(completions.command(i));
    }
    EXPECT_EQ(completions.completed.count(), 50u) << "nothing that was queued is dropped";
}

TEST(CommandPath, StopsAnEngineThatIsReplaced) {
    Completions completions;
    EchoPath path("A");
    path.setAsyncEngine(std::make_unique<HookedEngine>(1, 1));
    path.getAsyncEngine()->add(completions.command(0));
    path.setAsyncEngine(std::make_unique<HookedEngine>(1, 1));
    EXPECT_EQ(completions.completed.count(), 1u);
}

struct NextSlot : CommandPath {
    virtual void next();
};

// The library is built against this order.
TEST(CommandPath, VirtualOperationsKeepTheirSlots) {
    EXPECT_EQ(virtualSlot(&CommandPath::getName), 2u);  // after the two of the destructor
    EXPECT_EQ(virtualSlot(&CommandPath::setTimeoutSeconds), 3u);
    EXPECT_EQ(virtualSlot(&CommandPath::setTimeoutNanoseconds), 4u);
    EXPECT_EQ(virtualSlot(&CommandPath::closeConnection), 5u);
    EXPECT_EQ(virtualSlot(&CommandPath::reset), 6u);
    EXPECT_EQ(virtualSlot(&CommandPath::clone), 7u);
    EXPECT_EQ(virtualSlot(&CommandPath::send), 8u);
    EXPECT_EQ(virtualSlot(&CommandPath::isSupported), 9u);
    EXPECT_EQ(virtualSlot(static_cast<CommandPath& (CommandPath::*)(const CommandPath&)>(&CommandPath::operator=)),
              10u);
    EXPECT_EQ(virtualSlot(&NextSlot::next), 11u);
}

}  // namespace
}  // namespace ostrel::core
