#include <gtest/gtest.h>

#include <sstream>

#include "features/nvme/NvmeCommand.h"
#include "ostrel/core/xml/XmlObject.h"

namespace features::nvme {
namespace {

NvmeCommand sample() {
    NvmeCommand command(Queue::ADMIN, 0x84, "Sanitize");
    command.nsid = 1;
    command.cdw2 = 2;
    command.cdw3 = 3;
    command.cdw10 = 0x10;
    command.cdw11 = 0x11;
    command.cdw12 = 0x12;
    command.cdw13 = 0x13;
    command.cdw14 = 0x14;
    command.cdw15 = 0xFFFFFFFF;
    command.dataLength = 4096;
    command.timeoutMs = 77;
    return command;
}

TEST(NvmeCommand, IsOfTheCommandSetNvme) {
    const NvmeCommand command(Queue::IO, 0x02, "Read");
    EXPECT_EQ(command.getCommandSet(), "NVMe");
    EXPECT_EQ(command.getName(), "Read");
    EXPECT_EQ(command.queue, Queue::IO);
    EXPECT_EQ(command.opcode, 0x02);
}

TEST(NvmeCommand, TheOpcodeShowsWhichWayTheDataGoes) {
    EXPECT_EQ(NvmeCommand(Queue::ADMIN, 0x80, "").transfer(), Transfer::NONE);
    EXPECT_EQ(NvmeCommand(Queue::ADMIN, 0x11, "").transfer(), Transfer::TO_CONTROLLER);
    EXPECT_EQ(NvmeCommand(Queue::ADMIN, 0x06, "").transfer(), Transfer::FROM_CONTROLLER);
    EXPECT_EQ(NvmeCommand(Queue::ADMIN, 0xC3, "").transfer(), Transfer::BIDIRECTIONAL);
}

TEST(NvmeCommand, ChangesTheDriveUnlessItIsKnownToRead) {
    for (int opcode = 0; opcode <= 0xFF; ++opcode) {
        const bool reads = opcode == 0x02 || opcode == 0x06 || opcode == 0x0A || opcode == 0x82;
        EXPECT_EQ(NvmeCommand(Queue::ADMIN, static_cast<uint8_t>(opcode), "").changesDrive(), !reads) << opcode;
        EXPECT_EQ(NvmeCommand(Queue::IO, static_cast<uint8_t>(opcode), "").changesDrive(), opcode != 0x02) << opcode;
    }
    NvmeCommand log(Queue::ADMIN, 0x02, "Get Log Page");
    log.cdw10 = 0xFFFF80FF;
    EXPECT_FALSE(log.changesDrive()) << "Number of Dwords, Retain Asynchronous Event and log page identifier";
    for (const uint32_t field : {0x0100U, 0x0200U, 0x4000U}) {
        log.cdw10 = field;
        EXPECT_TRUE(log.changesDrive()) << field;
    }
    NvmeCommand security(Queue::ADMIN, 0x82, "Security Receive");
    security.cdw10 = 0x01000100;
    EXPECT_FALSE(security.changesDrive()) << "Level 0 Discovery";
    for (const uint32_t field : {0x01000400U, 0x02000100U, 0xEF000000U}) {
        security.cdw10 = field;
        EXPECT_TRUE(security.changesDrive()) << field;
    }
}

TEST(NvmeCommand, WritesItselfForTheHistory) {
    std::ostringstream out;
    sample().toString(out);
    EXPECT_EQ(out.str(),
              "NVMe admin command: Sanitize\nOpcode: 0x84\nNSID: 0x00000001\nCDW2: 0x00000002\nCDW3: 0x00000003\n"
              "CDW10: 0x00000010\nCDW11: 0x00000011\nCDW12: 0x00000012\nCDW13: 0x00000013\nCDW14: 0x00000014\n"
              "CDW15: 0xFFFFFFFF");
    std::ostringstream io;
    NvmeCommand(Queue::IO, 0x02, "Read").toString(io);
    EXPECT_EQ(io.str().substr(0, io.str().find('\n')), "NVMe I/O command: Read");
    std::string xml;
    sample().toXml()->appendXml(xml);
    EXPECT_EQ(xml,
              "<Object category=\"command\" name=\"Sanitize\"><Property name=\"Opcode\" value=\"0x84\"/>"
              "<Property name=\"NSID\" value=\"0x00000001\"/><Property name=\"CDW2\" value=\"0x00000002\"/>"
              "<Property name=\"CDW3\" value=\"0x00000003\"/><Property name=\"CDW10\" value=\"0x00000010\"/>"
              "<Property name=\"CDW11\" value=\"0x00000011\"/><Property name=\"CDW12\" value=\"0x00000012\"/>"
              "<Property name=\"CDW13\" value=\"0x00000013\"/><Property name=\"CDW14\" value=\"0x00000014\"/>"
              "<Property name=\"CDW15\" value=\"0xFFFFFFFF\"/></Object>");
}

TEST(NvmeCommand, ClonesItselfWhole) {
    const auto copy = sample().clone();
    const auto* command = dynamic_cast<const NvmeCommand*>(copy.get());
    ASSERT_NE(command, nullptr);
    std::ostringstream expected;
    sample().toString(expected);
    std::ostringstream cloned;
    command->toString(cloned);
    EXPECT_EQ(cloned.str(), expected.str());
    EXPECT_EQ(command->dataLength, 4096U);
    EXPECT_EQ(command->timeoutMs, 77U);
}

}  // namespace
}  // namespace features::nvme
