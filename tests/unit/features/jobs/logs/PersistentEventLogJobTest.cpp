#include <gtest/gtest.h>

#include "features/jobs/logs/PersistentEventLogJob.h"
#include "features/jobs/logs/PersistentEventLogParseJob.h"
#include "ostrel/core/Strings.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/unit/features/jobs/Commands.h"
#include "tests/unit/features/jobs/JobRun.h"
#include "tests/unit/features/jobs/Unplugged.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::core;
using namespace ostrel::interfaces::ostreli;

constexpr uint16_t COMMAND_SEQUENCE_ERROR = 0x400C;
constexpr uint8_t READ = 0, ESTABLISH = 1, RELEASE = 2;

/// Persistent event log, extended log data.
DriveBytes controller() {
    return identifyController().byte(261, 0x14);
}

Expected page(uint8_t action, uint32_t bytes = 512, uint64_t offset = 0) {
    return logPage(0x0D, bytes, offset).dword(10, 0x0D | uint32_t{action} << 8 | (bytes / 4 - 1) << 16);
}

/// A log of 538 bytes: one thermal excursion.
DriveBytes header(uint64_t bytes = 538) {
    return DriveBytes(512).byte(0, 0x0D).le32(4, 1).le64(8, bytes).byte(16, 1).le16(18, 492).text(56, "LOG1", 20);
}
DriveBytes event() {
    return DriveBytes(28).put(0, {0x0D, 1, 21}).byte(22, 2).put(24, {5, 1, 0xEE, 0xEE});
}

std::string hex(const DriveBytes& bytes, size_t size) {
    return bytesToHex(bytes.bytes().data(), size);
}

const std::string DUMP =
    "0/0\n<Object category=\"Output\" key=\"S1\" name=\"persistenteventlog\">"
    "\n<Property category=\"payload\" displayName=\"payload\" name=\"payload\" size=\"538\" type=\"bytepointer\" "
    "value=\"" +
    hex(header(), 512) + hex(event(), 26) + "\"/>\n</Object>";

std::string act(const FakeDrive& drive, const std::string& action) {
    PersistentEventLogJob job;
    return JobRun(job, JOBTYPE_METHOD).naming("S1").with("Action", action).on({&drive});
}

TEST(PersistentEventLogJob, ALogWithoutEventsIsAFailureAndLeavesNoContext) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(controller()))
        .expect(page(ESTABLISH).answers(header(512)))
        .expect(page(RELEASE).answers(header(512)));
    EXPECT_EQ(
        act(drive, "new_context"),
        "10/33 Failed to retrieve data from selected device. The log of drive S1 (/dev/nvme0) has a header and no "
        "data.");
}

TEST(PersistentEventLogJob, ReadsInANewContextThatStays) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(controller()))
        .expect(page(ESTABLISH).answers(header()))
        .expect(page(READ, 28, 512).answers(event()));
    EXPECT_EQ(act(drive, "new_context"), DUMP);
}

TEST(PersistentEventLogJob, AContextThatIsThereIsReplaced) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(controller()))
        .expect(page(ESTABLISH).refuses(COMMAND_SEQUENCE_ERROR))
        .expect(page(RELEASE).answers(header()))
        .expect(page(ESTABLISH).answers(header()))
        .expect(page(READ, 28, 512).answers(event()));
    EXPECT_EQ(act(drive, ""), DUMP);
}

TEST(PersistentEventLogJob, AFailureLeavesNoContextOfOurs) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(controller()))
        .expect(page(ESTABLISH).answers(header()))
        .expect(page(READ, 28, 512).refuses(0x4006))
        .expect(page(RELEASE).answers(header()));
    EXPECT_EQ(act(drive, "new_context"),
              "0/25 Get Log Page failed on drive S1 (/dev/nvme0): Internal Error (status code type 0x0, status code "
              "0x06, opcode 0x02).");
    drive.expect(identify(0x01).answers(controller()))
        .expect(page(ESTABLISH).answers(header(uint64_t{1} << 40)))
        .expect(page(RELEASE).answers(header()));
    EXPECT_EQ(act(drive, "new_context"),
              "10/248 Could not parse Persistent Event Log, log may be corrupted. Drive S1 (/dev/nvme0) says that it "
              "has 1099511627776 bytes.");
}

TEST(PersistentEventLogJob, ADriveThatGoesAwayWhileItsContextIsReplacedIsAskedNothingMore) {
    expectUnplugged({identify(0x01).answers(controller()), page(ESTABLISH).refuses(COMMAND_SEQUENCE_ERROR),
                     page(RELEASE).answers(header()), page(ESTABLISH).answers(header())},
                    "0/70 The drive /dev/nvme0 is gone.",
                    [](const FakeDrive& drive) { return act(drive, "new_context"); });
}

TEST(PersistentEventLogJob, ReadsInTheContextThatIsThere) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(controller()))
        .expect(page(READ).answers(header()))
        .expect(page(READ, 28, 512).answers(event()));
    EXPECT_EQ(act(drive, "read"), DUMP);
    drive.expect(identify(0x01).answers(controller())).expect(page(READ).refuses(COMMAND_SEQUENCE_ERROR));
    EXPECT_EQ(act(drive, "read"),
              "10/238 Persistent event log context has not been established. Drive S1 (/dev/nvme0).");
    drive.expect(identify(0x01).answers(controller()))
        .expect(page(READ).answers(header()))
        .expect(page(READ, 28, 512).breaks(gone()));
    EXPECT_EQ(act(drive, "read"), "0/70 The drive /dev/nvme0 is gone.") << "the context is not ours to release";
}

TEST(PersistentEventLogJob, ReleasesAndAnswersWithoutAnOutput) {
    FakeDrive drive;
    drive.expect(page(RELEASE).answers(header()));
    EXPECT_EQ(act(drive, "release"), "0/0");
    drive.expect(page(RELEASE).breaks(gone()));
    EXPECT_EQ(act(drive, "release"), "0/70 The drive /dev/nvme0 is gone.");
}

TEST(PersistentEventLogJob, ADriveWithoutTheLogIsReported) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(identifyController()));
    EXPECT_EQ(act(drive, "new_context"),
              "10/251 Drive Does Not Support Persistent Event Log. Drive S1 (/dev/nvme0) has none.");
    drive.expect(identify(0x01).answers(controller())).expect(page(ESTABLISH).refuses(NO_SUCH_LOG));
    EXPECT_EQ(act(drive, "new_context"),
              "10/251 Drive Does Not Support Persistent Event Log. Get Log Page failed on drive S1 (/dev/nvme0): "
              "Invalid Log Page (status code type 0x1, status code 0x09, opcode 0x02).");
    EXPECT_EQ(act(drive, "establish"),
              "10/240 Invalid Persistent Event Log action type. 'establish' is none of new_context, read and release.");
}

/// What both the drive and the file give.
const char* const PARSED = R"xml(0/0
<Object category="Output">
<Object key="LOG1" name="Persistent Event Log">
<Property description="Log Identifier" name="LID" value="0x0D"/>
<Property description="Total Number of Events" name="TNEV" value="1"/>
<Property description="Total Log Length" name="TLL" value="538 bytes"/>
<Property description="Log Revision" name="LREV" value="1"/>
<Property description="Log Header Length" name="LHL" value="492 bytes"/>
<Property description="Timestamp" name="TSTMP" value="0 milliseconds"/>
<Property description="Date" name="TSTMP Date" value="not set"/>
<Property description="Power On Hours" name="POH" value="0 hours"/>
<Property description="Power Cycle Count" name="PCC" value="0"/>
<Property description="PCI Vendor ID" name="VID" value="0x0000"/>
<Property description="PCI Subsystem Vendor ID" name="SSVID" value="0x0000"/>
<Property description="Serial Number" name="SN" value="LOG1"/>
<Property description="Model Number" name="MN" value="not reported"/>
<Property description="NVM Subsystem NVMe Qualified Name" name="SUBNQN" value="not reported"/>
<Property description="Generation Number" name="GNUM" value="0"/>
<Property description="Reporting Context Information" name="RCI" value="0x00000000"/>
<Property description="Supported Events Bitmap" name="SEB" value="not reported"/>
<Property description="Events that the drive records" name="SEB Events" value="none"/>
<Object name="Event 1 - Thermal Excursion">
<Property description="Event Type" name="ET" value="0x0D"/>
<Property description="Event Type Revision" name="ETR" value="1"/>
<Property description="Event Header Length" name="EHL" value="21 bytes"/>
<Property description="Port Identifier Type" name="PIT" value="not reported"/>
<Property description="Controller Identifier" name="CNTLID" value="0"/>
<Property description="Event Timestamp" name="ETSTMP" value="0 milliseconds"/>
<Property description="Date" name="ETSTMP Date" value="not set"/>
<Property description="Port Identifier" name="PELPID" value="0"/>
<Property description="Vendor Specific Information Length" name="VSIL" value="0 bytes"/>
<Property description="Event Length" name="EL" value="2 bytes"/>
<Property description="Over Temperature" name="OT" value="5 C"/>
<Property description="Threshold" name="THRESH" value="0x01"/>
</Object>
</Object>
</Object>)xml";

std::string bytesOf(const DriveBytes& bytes, size_t size) {
    return {reinterpret_cast<const char*>(bytes.bytes().data()), size};
}

std::string parseFile(const std::string& path) {
    PersistentEventLogParseJob job;
    return JobRun(job, JOBTYPE_METHOD).with("PELFilePath", path).on({});
}

std::string parseDrive(const FakeDrive& drive) {
    PersistentEventLogParseJob job;
    return JobRun(job, JOBTYPE_METHOD).naming("S1").on({&drive});
}

TEST(PersistentEventLogParseJob, GivesTheSameForADriveAndItsFile) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(controller()))
        .expect(page(ESTABLISH).answers(header()))
        .expect(page(READ, 28, 512).answers(event()))
        .expect(page(RELEASE).answers(header()));
    EXPECT_EQ(parseDrive(drive), PARSED);
    const TemporaryFolder folder;
    writeWholeFile(folder / "log.bin", bytesOf(header(), 512) + bytesOf(event(), 26));
    EXPECT_EQ(parseFile(folder / "log.bin"), PARSED);
}

TEST(PersistentEventLogParseJob, ALogThatIsTooLongToBeDecodedIsRefusedBeforeItIsRead) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(controller()))
        .expect(page(ESTABLISH).answers(header(4194305)))
        .expect(page(RELEASE).answers(header()));
    PersistentEventLogParseJob job;
    const std::string answer = JobRun(job, JOBTYPE_METHOD).naming("S1").on({&drive});
    EXPECT_NE(answer.find(
                  "The log of drive S1 (/dev/nvme0) has 4194305 bytes, and at most 4194304 are decoded. "
                  "&apos;dump -destination FILE -velkossd /dev/nvme0 -nvmelog 13 LogSpecificField=1&apos; writes it to "
                  "a file piece by piece."),
              std::string::npos)
        << answer;
    const TemporaryFolder folder;
    writeWholeFile(folder / "log", std::string(4194305, '\x0D'));
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with("PELFilePath", folder / "log").on({}),
              "10/54 Failed reading a file necessary for the feature. '" + (folder / "log") +
                  "': it has 4194305 bytes, and at most 4194304 can be taken.");
}

TEST(PersistentEventLogParseJob, AContextOfAnotherHostIsUsedAndStays) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(controller()))
        .expect(page(ESTABLISH).refuses(COMMAND_SEQUENCE_ERROR))
        .expect(page(READ).answers(header()))
        .expect(page(READ, 28, 512).answers(event()));
    EXPECT_EQ(parseDrive(drive), PARSED);
}

TEST(PersistentEventLogParseJob, ShowsADamagedFileUpToWhereItIsValid) {
    const TemporaryFolder folder;
    writeWholeFile(folder / "log.bin", bytesOf(header().le32(4, 2), 512) + bytesOf(event(), 26));
    std::string expected = PARSED;
    expected.replace(expected.find("\"TNEV\" value=\"1\""), 16, "\"TNEV\" value=\"2\"");
    expected.insert(
        expected.rfind("\n</Object>"),
        "\n<Object category=\"status\" key=\"LOG1\" name=\"Persistent Event Log Status\">"
        "\n<Property name=\"Category\" value=\"10\"/>\n<Property name=\"Code\" value=\"248\"/>"
        "\n<Property name=\"Message\" value=\"Could not parse Persistent Event Log, log may be corrupted. It "
        "stops being valid at offset 538: 0 bytes are left for event 2 of 2.\"/>\n</Object>");
    EXPECT_EQ(parseFile(folder / "log.bin"), expected);
}

TEST(PersistentEventLogParseJob, WhatIsNoSuchLogIsReported) {
    const TemporaryFolder folder;
    writeWholeFile(folder / "text", "not a log at all, but longer than 20 bytes");
    EXPECT_EQ(parseFile(folder / "text"), "10/248 Could not parse Persistent Event Log, log may be corrupted. '" +
                                              (folder / "text") + "' does not begin like a persistent event log.");
    EXPECT_EQ(parseFile(folder / "none"), "10/54 Failed reading a file necessary for the feature. '" +
                                              (folder / "none") + "': No such file or directory.");
    EXPECT_EQ(parseFile("/dev/zero"),
              "10/54 Failed reading a file necessary for the feature. '/dev/zero': not a regular file.");
    FakeDrive drive;
    drive.expect(identify(0x01).answers(controller()))
        .expect(page(ESTABLISH).answers(DriveBytes(512)))
        .expect(page(RELEASE).answers(DriveBytes(512)));
    EXPECT_EQ(
        parseDrive(drive),
        "0/0\n<Object category=\"Output\">\n"
        "<Object category=\"status\" key=\"S1\" name=\"Persistent Event Log Status\">"
        "\n<Property name=\"Category\" value=\"10\"/>\n<Property name=\"Code\" value=\"248\"/>"
        "\n<Property name=\"Message\" value=\"Could not parse Persistent Event Log, log may be corrupted. The log "
        "of drive S1 (/dev/nvme0) does not begin like a persistent event log.\"/>\n</Object>\n</Object>");
}

}  // namespace
}  // namespace features::jobs
