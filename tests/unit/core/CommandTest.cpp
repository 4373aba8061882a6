#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "ostrel/core/Command.h"
#include "tests/support/VirtualSlots.h"
#include "tests/unit/core/QueuedCommands.h"

namespace ostrel::core {
namespace {

class NamedCommand : public QueueableCommand {
public:
    NamedCommand(std::string commandSet, std::string name) : QueueableCommand(std::move(commandSet), std::move(name)) {}
    std::unique_ptr<Command> clone() const override { return std::make_unique<NamedCommand>(*this); }
    void toString(std::ostream& out) const override { out << getName(); }
    std::unique_ptr<xml::XmlObject> toXml() const override { return std::make_unique<xml::XmlObject>(); }
};

TEST(Command, IsBuiltOfTheSetsNameAndItsOwn) {
    const NamedCommand command("NVMe", "Identify");
    EXPECT_EQ(command.getCommandSet(), "NVMe");
    EXPECT_EQ(command.getName(), "Identify");
}

TEST(Command, AssignmentOfTheBaseCopiesTheNamesAlone) {
    NamedCommand command("NVMe", "Identify"), other("ATA", "Smart");
    other.getCompletion().userContext = 5;
    static_cast<Command&>(command) = other;
    EXPECT_EQ(command.getCommandSet(), "ATA");
    EXPECT_EQ(command.getName(), "Smart");
    EXPECT_EQ(command.getCompletion().userContext, 0u);
}

TEST(QueueableCommand, AssignmentCopiesTheCompletionRecordToo) {
    NamedCommand command("NVMe", "Identify"), other("ATA", "Smart");
    other.getCompletion().userContext = 5;
    other.getCompletion().callerData3 = 6;
    static_cast<QueueableCommand&>(command) = other;
    EXPECT_EQ(command.getCommandSet(), "ATA");
    EXPECT_EQ(command.getName(), "Smart");
    EXPECT_EQ(command.getCompletion().userContext, 5u);
    EXPECT_EQ(command.getCompletion().callerData3, 6u);
}

TEST(QueueableCommand, BeginsWithAnEmptyRecord) {
    const NamedCommand command("NVMe", "Identify");
    const CompletionRecord& record = command.getCompletion();
    EXPECT_EQ(record.userContext, 0u);
    EXPECT_EQ(record.callback, nullptr);
    EXPECT_EQ(record.statusCode, 0u);
    EXPECT_EQ(record.payload.getSize(), 0u);
    EXPECT_EQ(record.callerData1, 0u);
    EXPECT_EQ(record.callerData2, 0u);
    EXPECT_EQ(record.duration, 0.0);
    EXPECT_EQ(record.callerData3, 0u);
}

struct NextAfterCommand : Command {
    virtual void next();
};
struct NextAfterQueueable : QueueableCommand {
    virtual void next();
};

// The library is built against this order.
TEST(Command, VirtualOperationsKeepTheirSlots) {
    EXPECT_EQ(virtualSlot(&Command::clone), 2u);  // after the two of the destructor
    EXPECT_EQ(virtualSlot(&Command::toString), 3u);
    EXPECT_EQ(virtualSlot(&Command::toXml), 4u);
    EXPECT_EQ(virtualSlot(static_cast<Command& (Command::*)(const Command&)>(&Command::operator=)), 5u);
    EXPECT_EQ(virtualSlot(&NextAfterCommand::next), 6u);
}

TEST(QueueableCommand, VirtualOperationsFollowThoseOfCommand) {
    using Assignment = QueueableCommand& (QueueableCommand::*)(const QueueableCommand&);
    EXPECT_EQ(virtualSlot(static_cast<Assignment>(&QueueableCommand::operator=)), 6u);
    EXPECT_EQ(virtualSlot(&NextAfterQueueable::next), 7u);
}

}  // namespace
}  // namespace ostrel::core
