#include <gtest/gtest.h>

#include <cstdio>

#include "features/ata/Commands.h"
#include "features/transport/linux/AtaPassThrough.h"

namespace features::transport {
namespace {

using ata::AtaCommand;
namespace commands = ata::commands;

/// The bytes of the block, or the status.
std::string blockOf(const AtaCommand& command) {
    const auto block = toScsi(command);
    if (!block) {
        const ostrel::core::Status status = block.error();
        return std::to_string(status.getCategory()) + "/" + std::to_string(status.getCode());
    }
    std::string text;
    for (const uint8_t byte : *block) {
        char digits[4];
        (void)std::snprintf(digits, sizeof digits, text.empty() ? "%02X" : " %02X", byte);  // it fits
        text += digits;
    }
    return text;
}

AtaCommand reading(const ata::CommandRow& row, uint16_t count) {
    AtaCommand command = AtaCommand(row);
    command.count = count;
    command.dataLength = count * 512U;
    return command;
}

TEST(AtaPassThrough, HasProtocolDirectionAndLengthOfEachKindOfCommand) {
    const AtaCommand identify = reading(commands::identifyDevice, 1);
    EXPECT_EQ(blockOf(identify), "85 08 0E 00 00 00 01 00 00 00 00 00 00 00 EC 00");
    const AtaCommand log = reading(commands::readLogExt, 2);
    EXPECT_EQ(blockOf(log), "85 09 0E 00 00 00 02 00 00 00 00 00 00 00 2F 00");
    AtaCommand logByDma = reading(commands::readLogDmaExt, 256);
    EXPECT_EQ(blockOf(logByDma), "85 0D 0E 00 00 01 00 00 00 00 00 00 00 00 47 00");
    AtaCommand trim = reading(commands::dataSetManagement, 1);
    EXPECT_EQ(blockOf(trim), "85 0D 06 00 01 00 01 00 00 00 00 00 00 00 06 00");
    AtaCommand password = reading(commands::securitySetPassword, 1);
    EXPECT_EQ(blockOf(password), "85 0A 06 00 00 00 01 00 00 00 00 00 00 00 F1 00");
    EXPECT_EQ(blockOf(AtaCommand(commands::securityErasePrepare)), "85 06 00 00 00 00 00 00 00 00 00 00 00 00 F3 00");
}

TEST(AtaPassThrough, AsksForRegistersWhereTheyAreWanted) {
    AtaCommand status(commands::smartReturnStatus);
    EXPECT_EQ(blockOf(status), "85 06 00 00 DA 00 00 00 00 00 4F 00 C2 00 B0 00");
    status.wantsRegisters = true;
    EXPECT_EQ(blockOf(status), "85 06 20 00 DA 00 00 00 00 00 4F 00 C2 00 B0 00");
    AtaCommand sanitize(commands::sanitizeStatusExt);
    sanitize.wantsRegisters = true;
    EXPECT_EQ(blockOf(sanitize), "85 07 20 00 00 00 00 00 00 00 00 00 00 00 B4 00");
}

TEST(AtaPassThrough, PutsEachByteOfARegisterInItsPlace) {
    AtaCommand wide = reading(commands::readLogExt, 1);
    wide.feature = 0xF1F0;
    wide.count = 0x0100;
    wide.dataLength = 0x0100 * 512;
    wide.lba = 0xA5A4A3A2A1A0;
    wide.device = 0x40;
    EXPECT_EQ(blockOf(wide), "85 09 0E F1 F0 01 00 A3 A0 A4 A1 A5 A2 40 2F 00");
    AtaCommand narrow(commands::smartReturnStatus);
    narrow.lba = 0x9A1A2A3;
    narrow.device = 0x40;
    EXPECT_EQ(blockOf(narrow), "85 06 00 00 DA 00 00 00 A3 00 A2 00 A1 49 B0 00") << "LBA 27:24 in DEVICE";
}

TEST(AtaPassThrough, ACountOfZeroIsTheHighestOne) {
    AtaCommand narrow = reading(commands::identifyDevice, 0);
    narrow.dataLength = 256 * 512;
    EXPECT_EQ(blockOf(narrow), "85 08 0E 00 00 00 00 00 00 00 00 00 00 00 EC 00");
    AtaCommand wide = reading(commands::readLogExt, 0);
    wide.dataLength = 65536 * 512;
    EXPECT_EQ(blockOf(wide), "85 09 0E 00 00 00 00 00 00 00 00 00 00 00 2F 00");
}

TEST(AtaPassThrough, TrustedReceiveGoesAsSecurityProtocolInWithItsLengthInBytes) {
    AtaCommand discovery = reading(commands::level0Discovery, 8);
    discovery.lba = 0x07FE00;
    const auto block = toScsi(discovery);
    ASSERT_TRUE(block);
    EXPECT_EQ(blockOf(discovery), "A2 01 07 FE 00 00 00 00 10 00 00 00 00 00 00 00");
    EXPECT_EQ(lengthOf(*block), 12);
    discovery.count = 0x2C;
    discovery.lba |= 0x01;
    discovery.dataLength = 300 * 512;
    EXPECT_EQ(blockOf(discovery), "A2 01 07 FE 00 00 00 02 58 00 00 00 00 00 00 00") << "LBA 7:0: upper byte of length";
    discovery.dataLength = 512;
    EXPECT_EQ(blockOf(discovery), "0/27");
    const auto identify = toScsi(reading(commands::identifyDevice, 1));
    ASSERT_TRUE(identify);
    EXPECT_EQ(lengthOf(*identify), 16);
}

TEST(AtaPassThrough, ADownloadHasTheLengthOfBothItsRegisters) {
    AtaCommand download = reading(commands::downloadMicrocode, 255);
    download.feature = 7;
    EXPECT_EQ(blockOf(download), "85 0A 06 00 07 00 FF 00 00 00 00 00 00 00 92 00");
    download.count = 0x2C;
    download.lba = 0x01;
    download.dataLength = 300 * 512;
    EXPECT_EQ(blockOf(download), "85 0A 03 00 07 00 2C 00 01 00 00 00 00 00 92 00") << "300 blocks";
    download.lba = 0x0201;
    EXPECT_EQ(blockOf(download), "85 0A 03 00 07 00 2C 00 01 00 02 00 00 00 92 00") << "at an offset";
    download.dataLength = 44 * 512;
    EXPECT_EQ(blockOf(download), "0/27") << "the lower byte alone";
}

TEST(AtaPassThrough, RefusesWhatABlockCannotCarry) {
    AtaCommand tooWide = reading(commands::identifyDevice, 1);
    tooWide.lba = uint64_t{1} << 28;
    EXPECT_EQ(blockOf(tooWide), "0/27") << "an LBA of 29 bits in a 28-bit command";
    AtaCommand longer = reading(commands::identifyDevice, 1);
    longer.dataLength = 4096;
    EXPECT_EQ(blockOf(longer), "0/27") << "more data than COUNT has";
    AtaCommand shorter = reading(commands::readLogExt, 2);
    shorter.dataLength = 512;
    EXPECT_EQ(blockOf(shorter), "0/27") << "less data than COUNT has";
    AtaCommand none(commands::smartReturnStatus);
    none.dataLength = 512;
    EXPECT_EQ(blockOf(none), "0/27") << "data with a command that has none";
}

}  // namespace
}  // namespace features::transport
