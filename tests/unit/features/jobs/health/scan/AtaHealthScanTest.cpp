#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

#include "features/jobs/health/scan/AtaBlockReaders.h"
#include "features/jobs/health/scan/HealthScanJob.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/unit/features/jobs/JobRun.h"
#include "tests/unit/features/jobs/SataCommands.h"
#include "tests/unit/features/jobs/Unplugged.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::core;
using namespace ostrel::interfaces::ostreli;

std::string property(const std::string& name, const std::string& value) {
    return "\n<Property name=\"" + name + "\" value=\"" + value + "\"/>";
}
std::string part(const std::string& name, const std::string& fields) {
    return "\n<Object name=\"" + name + "\">" + fields + "\n</Object>";
}
std::string answer(const std::string& code, const std::string& result, const std::string& fields) {
    return "0/0\n<Object category=\"Output\">" + property("HealthScanStatusCode", code) +
           "\n<Object key=\"S1\" name=\"Health Scan\">" + property("Result", result) + property("Result Code", code) +
           fields + "\n</Object>\n</Object>";
}
const std::string NOT_COUNTED = property("Percentage Used", "not reported") +
                                property("Reported Uncorrectable Errors", "not reported") +
                                property("Pending Sectors", "not reported");

/// A drive without general purpose logs, of 8 sectors.
DriveBytes smallDrive() {
    return identifyDevice().word(84, 0x4102).le64(200, 8);
}
/// What is asked of it in each scan: its status, attributes and self-tests.
FakeSataDrive& healthy(FakeSataDrive& drive, const DriveBytes& selfTests = DriveBytes(512)) {
    drive.expect(identifyAta().answers(smallDrive()))
        .expect(smartStatus(SMART_GOOD))
        .expect(smartPage(0xD0).answers(smartData()))
        .expect(smartLogPage(0x06).answers(selfTests));
    return drive;
}
Expected readSectors(uint64_t first, uint16_t count) {
    return Expected::ata(0x25, ata::Protocol::DMA_IN, ata::Addressing::BITS_48)
        .lba(first)
        .count(count)
        .device(0x40)
        .reads(count * 512U);
}
transport::HostNamespace disk() {
    transport::HostNamespace space;
    space.nsid = 1;
    space.node = "/nonexistent/sda";
    space.sizeBytes = 4096;
    return space;
}

class AtaHealthScan : public testing::Test {
protected:
    std::string scan(const char* kind, const FakeSataDrive& drive) {
        JobRun run(job_, JOBTYPE_METHOD);
        run.naming("S1").with(kind, "true").with("DirectoryPath", folder_ / "");
        return run.on({&drive});
    }
    std::string file(const std::string& name) const {
        std::ifstream stream(folder_ / ("S1/" + name), std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }

    TemporaryFolder folder_;
    HealthScanJob job_{[] { return std::time_t{1763288426}; }, {uint64_t{16} << 30, 2097152, 3145728}};
};

TEST_F(AtaHealthScan, ReadsEverySectorOfAHealthyDrive) {
    FakeSataDrive drive;
    healthy(drive).expect(hostUses({disk()})).expect(readSectors(0, 8));
    EXPECT_EQ(scan("ReadScan", drive),
              answer("0", "Nothing was found.",
                     property("Device Status", "Healthy") + NOT_COUNTED +
                         part("Read Scan - Disk", property("Blocks", "8") + property("Blocks Read", "8") +
                                                      property("Unreadable Blocks", "0"))));
}

TEST_F(AtaHealthScan, FindsTheSectorThatCannotBeRead) {
    FakeSataDrive drive;
    healthy(drive)
        .expect(hostUses({disk()}))
        .expect(readSectors(0, 8).aborts(ata::ERROR_UNCORRECTABLE))
        .expect(readSectors(0, 4))
        .expect(readSectors(4, 4).aborts(ata::ERROR_UNCORRECTABLE))
        .expect(readSectors(4, 2))
        .expect(readSectors(6, 2).aborts(ata::ERROR_UNCORRECTABLE))
        .expect(readSectors(6, 1))
        .expect(readSectors(7, 1).aborts(ata::ERROR_UNCORRECTABLE));
    EXPECT_EQ(scan("ReadScan", drive),
              answer("103", "There are read errors or data miscompares.",
                     property("Device Status", "Healthy") + NOT_COUNTED +
                         part("Findings", property("Read Scan", "Blocks that cannot be read: 1.")) +
                         part("Read Scan - Disk", property("Blocks", "8") + property("Blocks Read", "7") +
                                                      property("Unreadable Blocks", "1") +
                                                      part("Unreadable LBAs", property("Entry 0", "7")))));
}

TEST_F(AtaHealthScan, AnErrorThatIsNotOfTheMediaEndsTheReading) {
    FakeSataDrive drive;
    healthy(drive)
        .expect(hostUses({disk()}))
        .expect(readSectors(0, 8).aborts())
        .expect(identifyAta().answers(identifyDevice()));  // is it locked?
    const std::string text = scan("ReadScan", drive);
    EXPECT_NE(text.find(property("Unreadable Blocks", "0") +
                        property("Not completed",
                                 "READ DMA EXT failed on drive S1 (/dev/sda): command aborted (command 0x25, FEATURE "
                                 "0x00, ERROR 0x04, STATUS 0x51).")),
              std::string::npos)
        << text;
    EXPECT_NE(text.find(property("Result Code", "100")), std::string::npos) << text;
}

TEST_F(AtaHealthScan, WarnsOfWhatTheDriveCounts) {
    FakeSataDrive drive;
    drive.expect(identifyAta().answers(identifyDevice().word(128, 0x0007).le64(200, 8)))
        .expect(smartStatus(SMART_GOOD))
        .expect(logExt(0x00).answers(logDirectory({0x04, 0x07})))
        .expect(logExt(0x04).answers(pageList({0x00, 0x04, 0x05, 0x07})))
        .expect(logExt(0x04, 0x07).answers(statisticsPage(7).le64(0x08, STATISTIC | 101)))
        .expect(logExt(0x04, 0x04).answers(statisticsPage(4).le64(0x08, STATISTIC | 3)))
        .expect(smartPage(0xD0).answers(smartData().put(26, {197, 0x32, 0, 100, 100, 4})))
        .expect(logExt(0x04, 0x05).answers(statisticsPage(5).le64(0x08, STATISTIC | 71).le64(0x58, STATISTIC | 70)))
        .expect(logExt(0x07).answers(
            DriveBytes(512).byte(0, 1).le16(2, 2).put(4, {0x02, 0x70, 0x64, 0x00}).put(30, {0x01, 0x10, 0x65, 0x00})))
        .expect(hostUses({disk()}))
        .expect(readSectors(0, 8));
    EXPECT_EQ(scan("ReadScan", drive),
              answer("102", "The drive has failed or is failing.",
                     property("Device Status", "The drive is locked by ATA security.") +
                         property("Percentage Used", "101 %") + property("Reported Uncorrectable Errors", "3") +
                         property("Pending Sectors", "4") +
                         part("Findings",
                              property("Self-test",
                                       "The last one, Extended, ended after 100 power on hours: Failed, read element, "
                                       "failing LBA 0.") +
                                  property("Temperature", "It is 71 C, the specified maximum is 70 C.") +
                                  property("Percentage Used", "101 % of the rated endurance is used.") +
                                  property("Uncorrectable Errors", "The drive counts 3.") +
                                  property("Pending Sectors", "Sectors that the drive could not read: 4.") +
                                  property("Security", "A password locks the drive: its data cannot be read.")) +
                         part("Read Scan - Disk", property("Blocks", "8") + property("Blocks Read", "8") +
                                                      property("Unreadable Blocks", "0"))))
        << "the newest self-test was aborted, the one before it failed";
}

TEST_F(AtaHealthScan, CountersThatTheDriveDoesNotGiveAreNoGoodNews) {
    FakeSataDrive drive;
    drive.expect(identifyAta().answers(smallDrive()))
        .expect(smartStatus(SMART_GOOD))
        .expect(smartPage(0xD0).aborts(ata::ERROR_UNCORRECTABLE))
        .expect(smartLogPage(0x06).answers(DriveBytes(512)))
        .expect(hostUses({disk()}))
        .expect(readSectors(0, 8));
    const std::string why =
        "SMART READ DATA failed on drive S1 (/dev/sda): uncorrectable data (command 0xB0, FEATURE 0xD0, ERROR 0x40, "
        "STATUS 0x51).";
    EXPECT_EQ(scan("ReadScan", drive),
              answer("100", "The scan could not be completed.",
                     property("Device Status", "Healthy") + NOT_COUNTED +
                         "\n<Property description=\"Not read\" name=\"Device Statistics\" value=\"" + why + "\"/>" +
                         part("Findings", property("Scan", "Not everything could be looked at.")) +
                         part("Read Scan - Disk", property("Blocks", "8") + property("Blocks Read", "8") +
                                                      property("Unreadable Blocks", "0"))));
}

TEST_F(AtaHealthScan, ADriveThatIsFailingIsOne) {
    FakeSataDrive drive;
    drive.expect(identifyAta().answers(smallDrive()))
        .expect(smartStatus(SMART_EXCEEDED))
        .expect(smartPage(0xD0).answers(smartData()))
        .expect(smartPage(0xD1).answers(smartThresholds()))
        .expect(smartPage(0xD0).answers(smartData()))
        .expect(smartLogPage(0x06).answers(DriveBytes(512)))
        .expect(hostUses({disk()}))
        .expect(readSectors(0, 8));
    const std::string text = scan("ReadScan", drive);
    EXPECT_NE(text.find(part("Findings", property("SMART Status",
                                                  "The drive reports that it is failing (SMART threshold exceeded)."))),
              std::string::npos)
        << text;
    EXPECT_NE(text.find(property("Result Code", "102")), std::string::npos) << text;
}

TEST_F(AtaHealthScan, ADriveThatHangsIsAskedNothingMore) {
    FakeSataDrive drive;
    drive.expect(identifyAta().breaks(Status(0, 69, "The drive hangs.")));
    EXPECT_EQ(scan("ReadScan", drive),
              answer("100", "The scan could not be completed.",
                     property("Not completed", "The drive hangs.") +
                         part("Findings", property("Scan", "Not everything could be looked at."))));
}

TEST_F(AtaHealthScan, OfTheErrorLogsOfSmartTheLargestIsShown) {
    FakeSataDrive drive;
    healthy(drive)
        .expect(smartPage(0xD0).answers(smartData()))
        .expect(smartPage(0xD1).answers(smartThresholds()))
        .expect(smartLogPage(0x00).answers(logDirectory({0x01, 0x06, 0x09}).le16(4, 2)))
        .expect(smartLogPage(0x01).answers(DriveBytes(512).le16(452, 7)))
        .expect(smartLogPage(0x02, 2).answers(DriveBytes(1024).le16(452, 300)))
        .expect(smartLogPage(0x06).answers(DriveBytes(512)))
        .expect(smartLogPage(0x09).answers(DriveBytes(512).le64(2, 1).le64(10, 9).byte(511, 0xF6)));
    const std::string text = scan("StoreLogs", drive);
    drive.expectDone();
    EXPECT_EQ(text.find("Summary Error Log"), std::string::npos) << text;
    EXPECT_NE(text.find(part("Comprehensive Error Log", property("Errors", "300"))), std::string::npos) << text;
    EXPECT_NE(text.find("<Object name=\"Selective Self-test Log\">" + property("Span 1", "LBA 1 to 9")),
              std::string::npos)
        << text;
    for (const char* const log : {"00", "01", "06", "09"})
        EXPECT_EQ(file(std::string("smart_log_") + log + ".bin").size(), 512U) << log;
    EXPECT_EQ(file("smart_log_02.bin").size(), 1024U);
}

TEST_F(AtaHealthScan, WithoutTheDirectoryOfSmartTheOldestLogsAreAskedFor) {
    FakeSataDrive drive;
    healthy(drive)
        .expect(smartPage(0xD0).answers(smartData()))
        .expect(smartPage(0xD1).answers(smartThresholds()))
        .expect(smartLogPage(0x00).aborts())
        .expect(smartLogPage(0x01).answers(DriveBytes(512).le16(452, 7)))
        .expect(smartLogPage(0x06).answers(DriveBytes(512)));
    const std::string text = scan("StoreLogs", drive);
    drive.expectDone();
    EXPECT_NE(text.find(part("Summary Error Log", property("Errors", "7"))), std::string::npos) << text;
    EXPECT_NE(text.find("<Property description=\"Not read\" name=\"SMART Log Directory\""), std::string::npos) << text;
    EXPECT_EQ(file("smart_log_01.bin").size(), 512U);
    EXPECT_FALSE(std::ifstream(folder_ / "S1/smart_log_00.bin"));
}

TEST_F(AtaHealthScan, StoresAllLogsOfTheDirectory) {
    FakeSataDrive drive;
    drive.expect(identifyAta().answers(identifyDevice().word(82, 0)))
        .expect(logExt(0x00).answers(logDirectory({0x11, 0xA1})))
        .expect(logExt(0x00).answers(logDirectory({0x11, 0xA1})))
        .expect(logExt(0x11).answers(DriveBytes(512).byte(0, 0x11).put(4, {0x01, 0x10, 0x02, 0x00}).byte(511, 0xDC)))
        .expect(logExt(0xA1).aborts());
    const std::string text = scan("StoreLogs", drive);
    EXPECT_EQ(file("identify_device.bin").size(), 512U);
    EXPECT_EQ(file("log_11.bin"), std::string("\x11\0\0\0\x01\x10\x02", 7) + std::string(504, '\0') + "\xDC");
    EXPECT_NE(
        text.find(part("SATA Phy Event Counters Log", property("Commands failed by an interface CRC error", "2"))),
        std::string::npos)
        << text;
    EXPECT_FALSE(std::ifstream(folder_ / "S1/log_a1.bin")) << "what was not read leaves no file";
    EXPECT_NE(text.find("<Property description=\"Not read\" name=\"Log 0xA1\" value=\"READ LOG EXT failed on drive S1"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find(property("Files", "3")), std::string::npos) << text;
}

/// A scan that stopped early has found nothing, and must not say so.
TEST_F(AtaHealthScan, OfAnUnpluggedDriveTheScanIsNotCompleted) {
    const Script script{
        identifyAta().answers(smallDrive()),         smartStatus(SMART_GOOD), smartPage(0xD0).answers(smartData()),
        smartLogPage(0x06).answers(DriveBytes(512)), hostUses({disk()}),
    };
    const auto resultOf = [this](const FakeSataDrive& drive) {
        const std::string text = scan("ReadScan", drive);
        EXPECT_NE(text.find("The drive /dev/nvme0 is gone."), std::string::npos) << text;
        return text.find(property("HealthScanStatusCode", "100")) == std::string::npos ? text : "not completed";
    };
    expectUnplugged<FakeSataDrive>(script, "not completed", resultOf);
}

TEST_F(AtaHealthScan, OnlyASelfTestThatFailedIsOneThatFailed) {
    constexpr uint8_t STATES[] = {0x10, 0x20, 0x30, 0x70, 0x80, 0x90, 0xF0};
    for (const uint8_t state : STATES) {
        SCOPED_TRACE(static_cast<int>(state));
        const bool hasFailed = state >= 0x30 && state <= 0x80;
        FakeSataDrive drive;
        healthy(drive, DriveBytes(512).le16(0, 1).byte(508, 1).put(2, {0x01, state, 0xE8, 0x03}))
            .expect(hostUses({disk()}))
            .expect(readSectors(0, 8));
        const std::string text = scan("ReadScan", drive);
        EXPECT_EQ(text.find(property("Result Code", "102")) != std::string::npos, hasFailed) << text;
        EXPECT_EQ(text.find("name=\"Self-test\" value=\"The last one, Short, ended after 1000 power on hours: ") !=
                      std::string::npos,
                  hasFailed)
            << text;
    }
}

TEST_F(AtaHealthScan, ADriveWithoutSelfTestsIsAskedForNone) {
    FakeSataDrive drive;
    drive.expect(identifyAta().answers(smallDrive().word(84, 0x4100)))
        .expect(smartStatus(SMART_GOOD))
        .expect(smartPage(0xD0).answers(smartData()))
        .expect(hostUses({disk()}))
        .expect(readSectors(0, 8));
    EXPECT_NE(scan("ReadScan", drive).find(property("Result Code", "0")), std::string::npos);
}

/// A drive that is not a block device of this system is read by commands.
TEST(AtaBlockReader, NamesErrorsOfTheMediaAsSuch) {
    using Outcome = BlockRead::Outcome;
    const struct {
        Expected read;
        Outcome outcome;
        bool looksForLocks;
        const char* why;
    } CASES[] = {
        {readSectors(8, 2), Outcome::READ, false, ""},
        {readSectors(8, 2).aborts(ata::ERROR_UNCORRECTABLE), Outcome::MEDIA_ERROR, false, "UNC"},
        {readSectors(8, 2).aborts(ata::ERROR_ID_NOT_FOUND), Outcome::FAILED, false, "IDNF"},
        {readSectors(8, 2).aborts(), Outcome::FAILED, true, "ABRT: a locked drive does so"},
        {readSectors(8, 2).lacksRegisters(ata::RegistersMissing::NO_SENSE, false), Outcome::FAILED, true,
         "not known to be of the media"},
        {readSectors(8, 2).breaks(Status(0, 75, "Too much.")), Outcome::TOO_MUCH, false, "for the system"},
        {readSectors(8, 2).breaks(gone()), Outcome::FAILED, false, ""},
    };
    for (const auto& c : CASES) {
        for (const char* node : {"", "/nonexistent/sda", "/dev/null"}) {
            FakeSataDrive drive;
            drive.expect(c.read);
            if (c.looksForLocks) drive.expect(identifyAta().answers(identifyDevice().word(128, 0x0007)));
            const auto reader = makeAtaBlockReader(*drive.device(), node, 512);
            ASSERT_TRUE(reader);
            const BlockRead done = (*reader)->read(8, 2);
            EXPECT_EQ(done.outcome, c.outcome) << c.why;
            EXPECT_EQ(done.status.getMessage().find("is locked by a password") != std::string::npos, c.looksForLocks);
        }
    }
}

}  // namespace
}  // namespace features::jobs
