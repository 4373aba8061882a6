#include <gtest/gtest.h>

#include "features/ata/DeviceStatistics.h"
#include "features/ata/ErrorLog.h"
#include "features/ata/EventLogs.h"
#include "features/ata/IdentifyLog.h"
#include "features/ata/PageList.h"
#include "features/ata/SelfTests.h"
#include "features/ata/structures/InternalStatusHeader.h"
#include "tests/support/fakedrive/DriveBytes.h"
#include "tests/unit/features/nvme/TreeText.h"

namespace features::ata {
namespace {

using fakedrive::DriveBytes;

/// Supported and valid.
constexpr uint64_t VALID = 0xC000000000000000;

DriveBytes statisticsPage(uint8_t page) {
    return DriveBytes(512).le64(0, 1).byte(2, page);
}

TEST(AtaStatistics, CountWhenTheirFlagsSaySo) {
    using namespace statistics;
    const auto general = statisticsPage(1)
                             .le64(0x08, VALID | 77)
                             .le64(0x10, VALID | 0xFFFFFFFF)
                             .le64(0x18, VALID | 0xFFFFFFFFFFFF)
                             .le64(0x20, 0x8000000000000005)   // supported, and not valid
                             .le64(0x28, 0x4000000000000005);  // valid, and not supported
    EXPECT_EQ(statistic(general.payload(), POWER_ON_RESETS), 77);
    EXPECT_EQ(statistic(general.payload(), POWER_ON_HOURS), 0xFFFFFFFF);
    EXPECT_EQ(statistic(general.payload(), SECTORS_WRITTEN), 0xFFFFFFFFFFFF);
    EXPECT_EQ(statistic(general.payload(), WRITE_COMMANDS), std::nullopt);
    EXPECT_EQ(statistic(general.payload(), SECTORS_READ), std::nullopt);
    EXPECT_EQ(statistic(general.payload(), READ_COMMANDS), std::nullopt);
    EXPECT_EQ(statistic(general.payload(), PERCENTAGE_USED), std::nullopt) << "of another page";
    EXPECT_EQ(statistic(DriveBytes(8).payload(), POWER_ON_RESETS), std::nullopt);

    const auto temperatures = statisticsPage(5).le64(0x08, VALID | 38).le64(0x28, VALID | 0xF6);
    EXPECT_EQ(statistic(temperatures.payload(), TEMPERATURE), 38);
    EXPECT_EQ(statistic(temperatures.payload(), LOWEST_TEMPERATURE), -10);
    EXPECT_EQ(statistic(statisticsPage(7).le64(8, VALID | 0x1FF).payload(), PERCENTAGE_USED), 255) << "one byte";
}

TEST(AtaStatistics, AreShownByName) {
    EXPECT_EQ(nvme::treeText(decodeStatistics(statisticsPage(5)
                                                  .le64(0x08, VALID | 38)
                                                  .le64(0x20, 0x8000000000000000)
                                                  .le64(0x28, VALID | 0xF6)
                                                  .payload())),
              "[Temperature Statistics]\nCurrent Temperature: 38 C\nHighest Temperature: not reported\n"
              "Lowest Temperature: -10 C\n");
    EXPECT_EQ(
        nvme::treeText(decodeStatistics(statisticsPage(7).le64(8, 0xE800000000000003).payload())),
        "[Solid State Device Statistics]\nPercentage Used Endurance Indicator: 3 % (normalized) (condition met)\n");
    EXPECT_EQ(nvme::treeText(decodeStatistics(statisticsPage(0x99).payload())), "[Device Statistics]\n");
}

TEST(AtaPageList, HasThePagesThatItCounts) {
    const auto list = DriveBytes(512).byte(8, 3).put(9, {0x00, 0x01, 0x05, 0x07});
    EXPECT_TRUE(isPageListed(list.payload(), 5));
    EXPECT_FALSE(isPageListed(list.payload(), 7)) << "beyond the count";
    EXPECT_TRUE(isPageListed(DriveBytes(512).byte(8, 0xFF).byte(9 + 254, 7).payload(), 7)) << "the longest list";
    EXPECT_FALSE(isPageListed(DriveBytes(9).byte(8, 1).payload(), 0));
}

constexpr size_t TEST_BYTES = 24;
constexpr size_t EXTENDED_BYTES = 26;

TEST(AtaSelfTests, OfLog06hAreReadFromTheNewestBack) {
    DriveBytes log(512);
    log.le16(0, 1).byte(508, 2);
    log.put(2 + 20 * TEST_BYTES, {0x01, 0x00, 0xE8, 0x03});                           // the oldest
    log.put(2, {0x03, 0x20, 0xF2, 0x03});                                             // interrupted
    log.put(2 + TEST_BYTES, {0x02, 0x74, 0xFC, 0x03, 0x00, 0x78, 0x56, 0x34, 0x12});  // the newest
    EXPECT_EQ(nvme::treeText(decodeSelfTests(selfTestsOf(log.payload()))),
              "[Self-test Log]\nEntries: 3\n"
              "    [Entry 0]\n    Test: Extended\n    Result: Failed, read element\n    Remaining: 40 %\n"
              "    Power On Hours: 1020\n    Failing LBA: 305419896\n"
              "    [Entry 1]\n    Test: Conveyance\n    Result: Interrupted by a reset\n    Remaining: 0 %\n"
              "    Power On Hours: 1010\n    Failing LBA: not reported\n"
              "    [Entry 2]\n    Test: Short\n    Result: Completed without error, or never run\n    Remaining: 0 %\n"
              "    Power On Hours: 1000\n    Failing LBA: not reported\n");
    EXPECT_TRUE(selfTestsOf(log.byte(508, 0).payload()).empty()) << "index 0: none";
    EXPECT_TRUE(selfTestsOf(log.byte(508, 22).payload()).empty()) << "an index beyond the entries";
    EXPECT_TRUE(selfTestsOf(DriveBytes(511).payload()).empty());
}

TEST(AtaSelfTests, OfLog07hRunOnOverItsPages) {
    DriveBytes log(1024);
    log.byte(0, 1).le16(2, 20).byte(512, 1);  // the newest is the first of the second page
    log.put(4 + 18 * EXTENDED_BYTES, {0x01, 0x00, 0x64, 0x00});
    log.put(516, {0x02, 0x70, 0x65, 0x00, 0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0x00, 0x01});
    const auto tests = extendedSelfTestsOf(log.payload());
    ASSERT_EQ(tests.size(), 2U);
    EXPECT_EQ(tests[0].hours, 101);
    EXPECT_EQ(tests[0].failingLba, 0x0100FFFFFFFFU) << "FFFFFFFFh in the low bytes is an address here";
    EXPECT_EQ(tests[1].hours, 100);
    log.put(516, {0x02, 0x70, 0x65, 0x00, 0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF});
    EXPECT_FALSE(extendedSelfTestsOf(log.payload())[0].failingLba);
    EXPECT_TRUE(extendedSelfTestsOf(DriveBytes(511).payload()).empty());
}

TEST(AtaSelfTests, OfLog07hTheNewestOfAGreatNumberAreTaken) {
    constexpr size_t PAGES = 60;
    DriveBytes log(PAGES * 512);
    for (size_t page = 0; page < PAGES; ++page) {
        for (size_t entry = 0; entry < 19; ++entry)
            log.le16(page * 512 + 4 + entry * EXTENDED_BYTES + 2, static_cast<uint16_t>(1 + page * 19 + entry));
    }
    log.le16(2, PAGES * 19);
    const auto tests = extendedSelfTestsOf(log.payload());
    ASSERT_EQ(tests.size(), 1024U);
    EXPECT_EQ(tests.front().hours, 1140);
    EXPECT_EQ(tests.back().hours, 117);
}

TEST(AtaSelfTests, ASelectiveOneHasItsSpansAndWhatIsUnderTest) {
    DriveBytes log(512);
    log.le16(0, 1).le64(2, 100).le64(10, 200).le64(34, 0x100000000).le64(42, 0x1FFFFFFFF);
    log.le64(492, 0x100000007).le16(500, 3).le16(502, 0x0A).le16(508, 30).byte(511, 0xA2);
    EXPECT_EQ(nvme::treeText(decodeSelectiveSelfTest(log.payload())),
              "[Selective Self-test Log]\nSpan 1: LBA 100 to 200\nSpan 2: unused\n"
              "Span 3: LBA 4294967296 to 8589934591\nSpan 4: unused\nSpan 5: unused\nCurrent Span: 3\n"
              "Current LBA: 4294967303\nOff-line Scan After It: yes\nOff-line Scan Pending: yes\n"
              "Off-line Scan Active: no\nPending Time: 30 minutes\n");
    EXPECT_EQ(nvme::treeText(decodeSelectiveSelfTest(log.le16(500, 0).le16(502, 0x10).payload())),
              "[Selective Self-test Log]\nChecksum: wrong\nSpan 1: LBA 100 to 200\nSpan 2: unused\n"
              "Span 3: LBA 4294967296 to 8589934591\nSpan 4: unused\nSpan 5: unused\nCurrent Span: none\n"
              "Current LBA: none\nOff-line Scan After It: no\nOff-line Scan Pending: no\n"
              "Off-line Scan Active: yes\nPending Time: 30 minutes\n");
    EXPECT_EQ(nvme::treeText(decodeSelectiveSelfTest(DriveBytes(511).payload())), "[Selective Self-test Log]\n");
}

TEST(AtaErrorLog, ShowsTheCommandThatFailedAndItsRegisters) {
    DriveBytes log(512);
    log.byte(0, 1).le16(2, 1).le16(500, 258);
    // The fifth command of the first entry: READ DMA EXT of LBA 112233445566h, and what it ended with.
    log.put(4 + 4 * 18, {0x00, 0x00, 0x00, 0x08, 0x00, 0x66, 0x33, 0x55, 0x22, 0x44, 0x11, 0x40, 0x25});
    log.put(4 + 90, {0x00, 0x40, 0x00, 0x00, 0x68, 0x33, 0x55, 0x22, 0x44, 0x11, 0x40, 0x51});
    log.le16(4 + 90 + 32, 1000);
    EXPECT_EQ(nvme::treeText(decodeExtendedErrors(log.payload())),
              "[Extended Comprehensive Error Log]\nErrors: 258\n"
              "    [Error 0]\n    Command: 0x25 READ DMA EXT\n    Command LBA: 18838586676582\n    Command COUNT: 8\n  "
              "  ERROR: 0x40\n"
              "    STATUS: 0x51\n    LBA: 18838586676584\n    Power On Hours: 1000\n");
    log.byte(4 + 4 * 18 + 12, 0x60);
    EXPECT_NE(nvme::treeText(decodeExtendedErrors(log.payload())).find("Command: 0x60\n"), std::string::npos)
        << "a command that has no name here";
    EXPECT_EQ(nvme::treeText(decodeExtendedErrors(log.le16(2, 5).payload())),
              "[Extended Comprehensive Error Log]\nErrors: 258\n")
        << "an index beyond the entries";
}

TEST(AtaErrorLog, OfDrivesWith28BitsIsReadFromTheNewestBackOverItsPages) {
    constexpr size_t FAILED = 48;
    constexpr size_t REGISTERS = 60;
    const auto putRead = [](DriveBytes& page, size_t at) {
        page.put(at + FAILED, {0x00, 0x00, 0x08, 0x66, 0x55, 0x44, 0xE3, 0x20});
        page.put(at + REGISTERS, {0x00, 0x40, 0x06, 0x68, 0x55, 0x44, 0xE3, 0x51}).le16(at + 88, 1000);
    };
    DriveBytes log(1024);
    log.byte(0, 1).byte(1, 6).le16(452, 7);  // the newest is the first of the second page
    const size_t fifth = 2 + 4 * 90;
    log.put(fifth + FAILED, {0x00, 0xD0, 0x01, 0x00, 0x4F, 0xC2, 0x00, 0xB0});
    log.put(fifth + REGISTERS, {0x00, 0x04, 0x01, 0x00, 0x4F, 0xC2, 0x00, 0x51}).le16(fifth + 88, 99);
    putRead(log, 514);
    const std::string newest =
        "    [Error 0]\n    Command: 0x20\n    Command LBA: 54809958\n    Command COUNT: 8\n    ERROR: 0x40\n"
        "    STATUS: 0x51\n    LBA: 54809960\n    Power On Hours: 1000\n";
    EXPECT_EQ(nvme::treeText(decodeComprehensiveErrors(log.payload())),
              "[Comprehensive Error Log]\nErrors: 7\n" + newest +
                  "    [Error 1]\n    Command: 0xB0 SMART READ DATA\n    Command LBA: 12734208\n    Command COUNT: 1\n"
                  "    ERROR: 0x04\n    STATUS: 0x51\n    LBA: 12734208\n    Power On Hours: 99\n");
    DriveBytes summary(512);
    putRead(summary.byte(1, 1).le16(452, 7), 2);
    EXPECT_EQ(nvme::treeText(decodeSummaryErrors(summary.payload())), "[Summary Error Log]\nErrors: 7\n" + newest);
    EXPECT_EQ(nvme::treeText(decodeSummaryErrors(summary.byte(1, 6).payload())), "[Summary Error Log]\nErrors: 7\n")
        << "an index beyond the entries";
}

TEST(AtaIdentifyLog, ReportsDownloadModes) {
    const auto page = DriveBytes(512).byte(2, 3).le64(16, 0x8000000501000008);
    const auto support = downloadSupport(page.payload());
    ASSERT_TRUE(support);
    EXPECT_TRUE(support->inPieces);
    EXPECT_FALSE(support->whole);
    EXPECT_TRUE(support->deferred);
    EXPECT_EQ(support->minBlocks, 8);
    EXPECT_EQ(support->maxBlocks, 0x100);
    EXPECT_FALSE(downloadSupport(DriveBytes(512).byte(2, 3).le64(16, 0x0000000501000008).payload())) << "not valid";
    EXPECT_FALSE(downloadSupport(DriveBytes(512).byte(2, 2).le64(16, 0x8000000501000008).payload())) << "another page";
}

TEST(AtaIdentifyLog, ShowsWhatCountsAndTheRestInHexadecimal) {
    EXPECT_EQ(nvme::treeText(decodeIdentifyPage(2, DriveBytes(512)
                                                       .byte(2, 2)
                                                       .le64(8, 0x80000000001E8480)
                                                       .le64(24, 256)
                                                       .le64(16, 0xE000000000000003)
                                                       .payload())),
              "[Identify Data Capacity]\nCapacity - Device capacity: 2000000 logical sectors\n"
              "Logical Sector Size - Logical sector size: not reported\n"
              "Nominal Buffer Size - Nominal buffer size: not reported\n"
              "    [Other Quadwords]\n    Q16: 0xE000000000000003\n");
    const std::string strings = nvme::treeText(
        decodeIdentifyPage(5, DriveBytes(512).byte(2, 5).ataText(8, "S1", 20).ataText(48, "DRIVE", 40).payload()));
    EXPECT_NE(strings.find("Serial Number: S1\n"), std::string::npos) << strings;
    EXPECT_NE(strings.find("Model Number: DRIVE\n"), std::string::npos) << strings;
    EXPECT_EQ(nvme::treeText(decodeIdentifyPage(9, DriveBytes(512).byte(2, 9).le64(504, 1).payload())),
              "[Identify Data]\n    [Other Quadwords]\n    Q504: 0x0000000000000001\n");
}

TEST(AtaInternalStatus, HeaderIsLaidOutAsTheStandardHasIt) {
    const auto bytes =
        DriveBytes(512).byte(0, 0x24).le32(4, 0x00C5500A).le16(8, 3).le16(10, 7).le16(12, 20).put(382, {1, 9});
    const auto header = nvme::structureAt<InternalStatusHeader>(bytes.bytes().data());
    EXPECT_EQ(header.log, 0x24);
    EXPECT_EQ(header.organization, 0x00C5500AU);
    EXPECT_EQ(header.lastPage[0], 3);
    EXPECT_EQ(header.lastPage[1], 7);
    EXPECT_EQ(header.lastPage[2], 20);
    EXPECT_EQ(header.savedAvailable, 1);
    EXPECT_EQ(header.savedGeneration, 9);
}

TEST(AtaEventLogs, PendingDefectsAreListedWithTheirHours) {
    const auto log = DriveBytes(1024)
                         .put(0, {0x02})
                         .put(16, {0x10, 0x27, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x10})
                         .put(32, {0x11, 0x27, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06});
    EXPECT_EQ(nvme::treeText(decodePendingDefects(log.payload())),
              "[Pending Defects Log]\nDefects: 2\n    [Entries]\n    Entry 0: LBA 4096, at 10000 power on hours\n"
              "    Entry 1: LBA 6618611909121, at 10001 power on hours\n");
    EXPECT_EQ(
        nvme::treeText(decodePendingDefects(DriveBytes(512).put(0, {0xFF, 0xFF, 0xFF, 0xFF}).payload())).substr(0, 41),
        "[Pending Defects Log]\nDefects: 4294967295")
        << "more than the log holds";
    EXPECT_EQ(nvme::treeText(decodePendingDefects(DriveBytes(511).payload())), "[Pending Defects Log]\n");
}

TEST(AtaEventLogs, AQueuedErrorHasTheRegistersOfItsCommand) {
    const auto log = DriveBytes(512)
                         .put(0, {0x1F, 0x00, 0x41, 0x40, 0x01, 0x02, 0x03, 0x40, 0x04, 0x05, 0x06, 0x00, 0x08, 0x01})
                         .byte(511, 0x02);
    EXPECT_EQ(nvme::treeText(decodeQueuedError(log.payload())),
              "[NCQ Command Error Log]\nTag: 31\nERROR: 0x40\nSTATUS: 0x41\nLBA: 6618611909121\nCOUNT: 264\n");
    const std::string none = "[NCQ Command Error Log]\nError: none of a queued command\n";
    EXPECT_EQ(nvme::treeText(decodeQueuedError(DriveBytes(512).put(0, {0x80, 0, 0x41}).byte(511, 0x3F).payload())),
              none);
    EXPECT_EQ(nvme::treeText(decodeQueuedError(DriveBytes(512).payload())), none);
    EXPECT_EQ(nvme::treeText(decodeQueuedError(DriveBytes(512).byte(1, 1).payload())),
              "[NCQ Command Error Log]\nChecksum: wrong\nError: none of a queued command\n");
}

TEST(AtaEventLogs, CountersOfTheLinkHaveTheirOwnWidths) {
    // Counters of 2, 4 and 6 bytes, one of the maker's, one of an identifier that is not known, and the end.
    const auto log = DriveBytes(512)
                         .put(4, {0x01, 0x10, 0x05, 0x00})
                         .put(8, {0x0A, 0x20, 0x01, 0x00, 0x01, 0x00})
                         .put(14, {0x0B, 0x30, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF})
                         .put(22, {0x01, 0x90, 0x07, 0x00})
                         .put(26, {0x55, 0x10, 0x08, 0x00})
                         .byte(511, 0x84);
    EXPECT_EQ(nvme::treeText(decodePhyEvents(log.payload())),
              "[SATA Phy Event Counters Log]\nCommands failed by an interface CRC error: 5\n"
              "Register FIS sent after COMRESET: 65537\nCRC errors in FIS to the drive: 281474976710655\n"
              "Counter 0x8001: 7\nCounter 0x055: 8\n");
    EXPECT_EQ(nvme::treeText(decodePhyEvents(DriveBytes(512).put(4, {0x01, 0x10}).byte(511, 0xEF).payload())),
              "[SATA Phy Event Counters Log]\nCommands failed by an interface CRC error: 0\n");
}

TEST(AtaEventLogs, CountersOfTheLinkEndWhereTheyRunOverTheChecksum) {
    // Counter 001h with 14 bytes, which is no number; 002h with 2; and 00Ah with 8, which has no room.
    DriveBytes log(512);
    log.put(4, {0x01, 0x70}).put(20, {0x02, 0x10, 0x07, 0x00});
    size_t at = 24;
    for (; at + 4 <= 504; at += 4) log.put(at, {0x03, 0x10, 0x01, 0x00});
    log.put(at, {0x0A, 0x40});
    const std::string text = nvme::treeText(decodePhyEvents(log.payload()));
    EXPECT_EQ(text.find("Commands failed by an interface CRC error"), std::string::npos) << text;
    EXPECT_NE(text.find(": 7\n"), std::string::npos) << text;
    size_t counters = 0;
    for (size_t found = text.find(": 1\n"); found != std::string::npos; found = text.find(": 1\n", found + 1))
        ++counters;
    EXPECT_EQ(counters, 120U);
    EXPECT_EQ(text.find("Counter"), text.find("Counters Log")) << text;
}

TEST(AtaEventLogs, OfAPageThatIsCutNothingIsShown) {
    for (const size_t bytes : {size_t{0}, size_t{511}}) {
        const auto cut = DriveBytes(bytes).payload();
        EXPECT_EQ(nvme::treeText(decodePendingDefects(cut)), "[Pending Defects Log]\n");
        EXPECT_EQ(nvme::treeText(decodeQueuedError(cut)), "[NCQ Command Error Log]\n");
        EXPECT_EQ(nvme::treeText(decodePhyEvents(cut)), "[SATA Phy Event Counters Log]\n");
        EXPECT_EQ(nvme::treeText(decodeSctStatus(cut)), "[SCT Status]\n");
    }
}

TEST(AtaEventLogs, SctStatusHasTheTemperaturesThatWereSampled) {
    const auto page = DriveBytes(512).byte(10, 3).put(200, {38, 0xFB, 45, 0x80, 61});
    EXPECT_EQ(nvme::treeText(decodeSctStatus(page.payload())),
              "[SCT Status]\nState: self-test in the background\nTemperature: 38 C\n"
              "Power Cycle Minimum Temperature: -5 C\nPower Cycle Maximum Temperature: 45 C\n"
              "Lifetime Minimum Temperature: not reported\nLifetime Maximum Temperature: 61 C\n");
    EXPECT_EQ(nvme::treeText(decodeSctStatus(DriveBytes(512).byte(10, 9).payload())).substr(0, 35),
              "[SCT Status]\nState: reserved (0x9)\n");
}

}  // namespace
}  // namespace features::ata
