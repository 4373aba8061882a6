#include <gtest/gtest.h>

#include "features/jobs/logs/TelemetryLogParseJob.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/unit/features/jobs/Commands.h"
#include "tests/unit/features/jobs/JobRun.h"
#include "tests/unit/features/jobs/OcpLog.h"
#include "tests/unit/features/jobs/StatusAnswer.h"
#include "tests/unit/features/jobs/Unplugged.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::interfaces::ostreli;

/// A log 08h of one block.
DriveBytes header() {
    return DriveBytes(512).byte(0, 8).le16(8, 1).le16(10, 1).le16(12, 1).byte(381, 1).byte(383, 4);
}

std::string answer(const std::string& key, const std::string& identity, const std::string& status = "") {
    return "0/0\n<Object category=\"Output\">\n<Object " + key + "name=\"Telemetry Log\">\n" + identity +
           R"x(<Property description="Log Identifier" name="LID" value="0x08"/>
<Property description="IEEE OUI Identifier" name="IEEE" value="0x000000"/>
<Property description="Telemetry Data Area 1 Last Block" name="DA1LB" value="1 units of 512 bytes"/>
<Property description="Telemetry Data Area 2 Last Block" name="DA2LB" value="1 units of 512 bytes"/>
<Property description="Telemetry Data Area 3 Last Block" name="DA3LB" value="1 units of 512 bytes"/>
<Property description="Telemetry Data Area 4 Last Block" name="DA4LB" value="0 units of 512 bytes"/>
<Property description="Telemetry Controller-Initiated Scope" name="TCIS" value="controller"/>
<Property description="Telemetry Controller-Initiated Data Available" name="TCDA" value="0"/>
<Property description="Telemetry Controller-Initiated Data Generation Number" name="TCDGN" value="4"/>
<Property description="Reason Identifier" name="RID" value="not reported"/>
</Object>
)x" + status +
           "</Object>";
}

std::string bytesOf(const DriveBytes& bytes) {
    return {bytes.bytes().begin(), bytes.bytes().end()};
}

std::string parseFile(const std::string& path, const std::string& strings = "") {
    TelemetryLogParseJob job;
    JobRun run(job, JOBTYPE_METHOD);
    run.with("ToolName", "nimbrel").with("HostInitiated", "true").with("TelemetryBinaryFilePath", path);
    if (!strings.empty()) run.with("InputConfiguration", strings);
    return run.on({});
}

TEST(TelemetryLogParseJob, ShowsTheHeaderOfALogInAFile) {
    const TemporaryFolder folder;
    writeWholeFile(folder / "log", bytesOf(header()) + std::string(512, '\0'));
    EXPECT_EQ(parseFile(folder / "log"), answer("", ""));
    writeWholeFile(folder / "strings", "no string log");
    EXPECT_EQ(parseFile(folder / "log", folder / "strings"), answer("", "")) << "it gives no names";
}

TEST(TelemetryLogParseJob, ADamagedLogIsShownWithAStatus) {
    const TemporaryFolder folder;
    writeWholeFile(folder / "log", bytesOf(header()));
    const std::string shown = parseFile(folder / "log");
    EXPECT_NE(shown.find("name=\"TCDGN\" value=\"4\""), std::string::npos);
    EXPECT_NE(shown.find("<Property name=\"Code\" value=\"214\"/>"), std::string::npos);
    EXPECT_NE(shown.find("Telemetry object size overruns telemetry data size. Data area 1 ends at byte 1024, and 512 "
                         "bytes are there."),
              std::string::npos);
}

TEST(TelemetryLogParseJob, RefusesWhatIsNoTelemetryLog) {
    const TemporaryFolder folder;
    writeWholeFile(folder / "short", std::string(511, '\x07'));
    EXPECT_EQ(parseFile(folder / "short"), "10/213 Telemetry file size too small for valid telemetry data. '" +
                                               (folder / "short") + "' has 511 bytes.");
    writeWholeFile(folder / "other", std::string(512, '\x0D'));
    EXPECT_EQ(parseFile(folder / "other"), "10/200 Failed to retrieve telemetry data. '" + (folder / "other") +
                                               "' does not begin like a telemetry log.");
    EXPECT_EQ(parseFile(folder / "missing").substr(0, 6), "10/54 ");
    writeWholeFile(folder / "log", bytesOf(header()));
    EXPECT_EQ(parseFile(folder / "log", folder / "missing").substr(0, 6), "10/54 ");
}

/// Of a drive with a controller-initiated log of two blocks and a string log.
std::vector<Expected> allCommands() {
    const DriveBytes strings = DriveBytes(432).byte(0, 1).byte(32, 108).put(
        16, {0x44, 0xAA, 0x57, 0x00, 0x94, 0x95, 0xA4, 0x9E, 0x8B, 0x40, 0x8F, 0x1A, 0x69, 0x83, 0x3A, 0xB1});
    return {identify(0x01).answers(identifyController().byte(261, 0x2C)),
            lookAtLog(0x08, 512).answers(header()),
            logPage(0x08, 512, 512).dword(10, 0x007F8008).answers(DriveBytes(512)),
            lookAtLog(0x08, 512).answers(header()),
            logPage(0x08, 512).dword(10, 0x007F0008).answers(header()),
            logList({0xC0, 0xC9}),
            ocpLog().answers(ocpSmart(4)),
            ocpLog().answers(ocpSmart(4)),
            lookAtLog(0xC9, 432).answers(strings),
            lookAtLog(0xC9, 432).answers(strings)};
}
std::string parseLogOf(const FakeDrive& drive) {
    TelemetryLogParseJob job;
    return JobRun(job, JOBTYPE_METHOD).naming("S1").with("HostInitiated", "false").on({&drive});
}

TEST(TelemetryLogParseJob, ReadsADrivesLogAndItsStringLog) {
    FakeDrive drive;
    for (const Expected& command : allCommands()) drive.expect(command);
    EXPECT_EQ(parseLogOf(drive), answer("key=\"S1\" ", ""));
}

TEST(TelemetryLogParseJob, ADriveThatGoesAwayIsReportedInThePlaceOfItsLog) {
    expectUnplugged(allCommands(), statusAnswer("Telemetry Log Status", "0/70 The drive /dev/nvme0 is gone."),
                    parseLogOf);
}

TEST(TelemetryLogParseJob, ADriveWithoutAStringLogIsNotAskedForOne) {
    const std::vector<Expected> commands = allCommands();
    FakeDrive drive;
    drive.expect(identify(0x01).answers(identifyController().byte(261, 0x0C)));
    for (size_t i = 1; i < 5; ++i) drive.expect(commands[i]);
    EXPECT_EQ(parseLogOf(drive), answer("key=\"S1\" ", ""));
}

TEST(TelemetryLogParseJob, ADriveWithoutTheLogIsReported) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(identifyController()));
    TelemetryLogParseJob job;
    const std::string shown = JobRun(job, JOBTYPE_METHOD).naming("S1").on({&drive});
    EXPECT_NE(shown.find("Telemetry log is unsupported on selected device."), std::string::npos) << shown;
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with("DataArea", "9").on({&drive}).substr(0, 6), "10/36 ");
}

}  // namespace
}  // namespace features::jobs
