#include <gtest/gtest.h>

#include <sstream>

#include "features/ata/AtaCommand.h"
#include "ostrel/core/xml/XmlObject.h"

namespace features::ata {
namespace {

AtaCommand withRegisters(uint8_t opcode, uint16_t feature, uint16_t count = 0) {
    AtaCommand command(opcode, Protocol::NON_DATA, Addressing::BITS_48, "");
    command.feature = feature;
    command.count = count;
    return command;
}

TEST(AtaCommand, IsMadeOfItsRow) {
    const AtaCommand command(commands::blockEraseExt);
    EXPECT_EQ(command.getCommandSet(), "ATA");
    EXPECT_EQ(command.getName(), "BLOCK ERASE EXT");
    EXPECT_EQ(command.opcode, 0xB4);
    EXPECT_EQ(command.feature, 0x0012);
    EXPECT_EQ(command.lba, 0x426B4572U);
    EXPECT_EQ(command.protocol, Protocol::NON_DATA);
    EXPECT_EQ(command.addressing, Addressing::BITS_48);
    EXPECT_EQ(command.timeoutMs, 15000U);
    EXPECT_FALSE(command.wantsRegisters);
}

TEST(AtaCommand, TrustedReceiveReadsOutsideOfSessionsAlone) {
    AtaCommand command(commands::level0Discovery);
    EXPECT_EQ(command.lba, 0x000100U);
    EXPECT_FALSE(command.changesDrive());
    command.lba = 0x07FE00;
    EXPECT_TRUE(command.changesDrive());
    command = AtaCommand(commands::securityProtocols);
    EXPECT_FALSE(command.changesDrive());
    command.lba = 0x000100;
    EXPECT_TRUE(command.changesDrive()) << "a certificate, of which nothing is known";
}

TEST(AtaCommand, ChangesTheDriveUnlessItIsKnownToRead) {
    constexpr struct {
        uint8_t opcode;
        uint16_t feature;
    } READING[] = {
        {0xEC, 0},    {0xE5, 0},    {0x25, 0}, {0x2F, 0}, {0x47, 0}, {0xB0, 0xD0}, {0xB0, 0xD1},
        {0xB0, 0xD5}, {0xB0, 0xDA}, {0x78, 0}, {0xF8, 0}, {0x27, 0}, {0xB4, 0},    {0x5C, 0},
    };
    const auto reads = [&](int opcode, int feature) {
        for (const auto& row : READING) {
            if (row.opcode == opcode && row.feature == feature) return true;
        }
        return false;
    };
    for (int opcode = 0; opcode <= 0xFF; ++opcode) {
        for (int feature = 0; feature <= 0xFF; ++feature) {
            const auto command = withRegisters(static_cast<uint8_t>(opcode), static_cast<uint16_t>(feature));
            EXPECT_EQ(command.changesDrive(), !reads(opcode, feature)) << std::hex << opcode << ' ' << feature;
        }
    }
    EXPECT_TRUE(withRegisters(0xB4, 0, 1).changesDrive()) << "COUNT bit 0 of SANITIZE STATUS EXT clears a failure";
    EXPECT_FALSE(withRegisters(0x2F, 0, 1).changesDrive()) << "COUNT of a log is the number of its pages";
    EXPECT_TRUE(withRegisters(0x2F, 0x0100).changesDrive()) << "FEATURE has two bytes";
}

TEST(AtaCommand, IsEncodableWhenItsRegistersHoldIt) {
    AtaCommand narrow(0x92, Protocol::PIO_OUT, Addressing::BITS_28, "");
    narrow.feature = 0xFF;
    narrow.count = 0xFF;
    narrow.lba = 0x0FFFFFFF;
    narrow.device = 0xF0;
    EXPECT_TRUE(narrow.isEncodable());
    AtaCommand wide(0x2F, Protocol::PIO_IN, Addressing::BITS_48, "");
    wide.feature = 0xFFFF;
    wide.count = 0xFFFF;
    wide.lba = 0xFFFFFFFFFFFF;
    EXPECT_TRUE(wide.isEncodable());

    AtaCommand command = narrow;
    command.feature = 0x100;
    EXPECT_FALSE(command.isEncodable());
    command = narrow;
    command.count = 0x100;
    EXPECT_FALSE(command.isEncodable());
    command = narrow;
    command.lba = 0x10000000;
    EXPECT_FALSE(command.isEncodable());
    command = narrow;
    command.device = 0x01;
    EXPECT_FALSE(command.isEncodable()) << "LBA 27:24 are part of the LBA";
    wide.lba = 0x1000000000000;
    EXPECT_FALSE(wide.isEncodable());
}

TEST(AtaCommand, WritesItselfForTheHistory) {
    AtaCommand narrow(0xB0, Protocol::PIO_IN, Addressing::BITS_28, "SMART READ DATA");
    narrow.feature = 0xD0;
    narrow.lba = 0xC24F00;
    std::ostringstream out;
    narrow.toString(out);
    EXPECT_EQ(out.str(),
              "ATA command: SMART READ DATA\nCommand: 0xB0\nFEATURE: 0xD0\nCOUNT: 0x00\nLBA: 0x0C24F00\nDEVICE: 0x00");

    AtaCommand wide(0x2F, Protocol::PIO_IN, Addressing::BITS_48, "READ LOG EXT");
    wide.count = 0x0100;
    wide.lba = 0x30;
    wide.device = 0x40;
    std::string xml;
    wide.toXml()->appendXml(xml);
    EXPECT_EQ(xml,
              "<Object category=\"command\" name=\"READ LOG EXT\"><Property name=\"Command\" value=\"0x2F\"/>"
              "<Property name=\"FEATURE\" value=\"0x0000\"/><Property name=\"COUNT\" value=\"0x0100\"/>"
              "<Property name=\"LBA\" value=\"0x000000000030\"/><Property name=\"DEVICE\" value=\"0x40\"/></Object>");
}

TEST(AtaCommand, ClonesItself) {
    const auto copy = withRegisters(0xB4, 0x0011, 0x10).clone();
    const auto* command = dynamic_cast<const AtaCommand*>(copy.get());
    ASSERT_NE(command, nullptr);
    EXPECT_EQ(command->opcode, 0xB4);
    EXPECT_EQ(command->feature, 0x0011);
    EXPECT_EQ(command->count, 0x10);
}

}  // namespace
}  // namespace features::ata
