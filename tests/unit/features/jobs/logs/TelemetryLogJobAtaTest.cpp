#include <gtest/gtest.h>

#include "features/jobs/logs/TelemetryLogJob.h"
#include "ostrel/core/Strings.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"
#include "tests/unit/features/jobs/JobRun.h"
#include "tests/unit/features/jobs/SataCommands.h"
#include "tests/unit/features/jobs/Unplugged.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::core;
using namespace ostrel::interfaces::ostreli;

/// Areas that end with pages 1, 3 and 300.
DriveBytes header(uint8_t log, uint8_t savedAvailable = 0, uint8_t generation = 0) {
    return DriveBytes(512).byte(0, log).le16(8, 1).le16(10, 3).le16(12, 300).put(382, {savedAvailable, generation});
}
DriveBytes filled(size_t pages, uint8_t value) {
    DriveBytes bytes(pages * 512);
    for (size_t i = 0; i < bytes.size(); ++i) bytes.byte(i, value);
    return bytes;
}
std::string hex(const DriveBytes& bytes) {
    return bytesToHex(bytes.bytes().data(), bytes.size());
}
std::string dump(const DriveBytes& first, const std::string& rest) {
    const std::string digits = hex(first) + rest;
    return "0/0\n<Object category=\"Output\" key=\"S1\" name=\"TelemetryLog\">\n<Property category=\"payload\" "
           "displayName=\"payload\" name=\"payload\" size=\"" +
           std::to_string(digits.size() / 2) + "\" type=\"bytepointer\" value=\"" + digits + "\"/>\n</Object>";
}
std::string run(const FakeSataDrive& drive, std::initializer_list<std::pair<const char*, const char*>> arguments) {
    TelemetryLogJob job;
    JobRun run(job, JOBTYPE_METHOD);
    run.naming("S1");
    for (const auto& [key, value] : arguments) run.with(key, value);
    return run.on({&drive});
}
FakeSataDrive& withLogs(FakeSataDrive& drive) {
    drive.expect(identifyAta().answers(identifyDevice())).expect(logExt(0x00).answers(logDirectory({0x24, 0x25})));
    return drive;
}
/// Page 0 of log 24h that makes the drive capture it.
Expected capture() {
    return logExt(0x24).feature(1);
}

TEST(TelemetryLogJobAta, CapturesOnceAndReadsTheRestInPieces) {
    FakeSataDrive drive;
    withLogs(drive)
        .expect(capture().answers(header(0x24)))
        .expect(logExt(0x24, 1, 256).answers(filled(256, 0x11)))
        .expect(logExt(0x24, 257, 44).answers(filled(44, 0x22)))
        .expect(logExt(0x24).answers(header(0x24)));
    EXPECT_EQ(run(drive, {{"HostInitiated", "true"}}),
              dump(header(0x24), hex(filled(256, 0x11)) + hex(filled(44, 0x22))));
}

TEST(TelemetryLogJobAta, EndsWithTheAreaThatIsAskedFor) {
    FakeSataDrive drive;
    withLogs(drive)
        .expect(capture().answers(header(0x24)))
        .expect(logExt(0x24, 1, 3).answers(filled(3, 0x33)))
        .expect(logExt(0x24).answers(header(0x24)));
    EXPECT_EQ(run(drive, {{"DataArea", "2"}}), dump(header(0x24), hex(filled(3, 0x33))));
}

TEST(TelemetryLogJobAta, ReadsASavedLogWithoutACapture) {
    FakeSataDrive drive;
    withLogs(drive)
        .expect(logExt(0x25).answers(header(0x25, 1, 7)))
        .expect(logExt(0x25, 1, 1).answers(filled(1, 0x44)))
        .expect(logExt(0x25).answers(header(0x25, 1, 7)));
    EXPECT_EQ(run(drive, {{"HostInitiated", "false"}, {"DataArea", "1"}}),
              dump(header(0x25, 1, 7), hex(filled(1, 0x44))));
}

TEST(TelemetryLogJobAta, ALogThatChangesIsReadOnceMoreWithoutAnotherCapture) {
    FakeSataDrive drive;
    withLogs(drive)
        .expect(capture().answers(header(0x24)))
        .expect(logExt(0x24, 1, 1).answers(filled(1, 0x11)))
        .expect(logExt(0x24).answers(header(0x24, 1, 1)))
        .expect(logExt(0x24).answers(header(0x24, 1, 1)))
        .expect(logExt(0x24, 1, 1).answers(filled(1, 0x22)))
        .expect(logExt(0x24).answers(header(0x24, 1, 1)));
    EXPECT_EQ(run(drive, {{"DataArea", "1"}}), dump(header(0x24, 1, 1), hex(filled(1, 0x22))));

    FakeSataDrive restless;
    withLogs(restless)
        .expect(capture().answers(header(0x24)))
        .expect(logExt(0x24, 1, 1).answers(filled(1, 0x11)))
        .expect(logExt(0x24).answers(header(0x24, 1, 1)))
        .expect(logExt(0x24).answers(header(0x24, 1, 2)))
        .expect(logExt(0x24, 1, 1).answers(filled(1, 0x22)))
        .expect(logExt(0x24).answers(header(0x24, 1, 3)));
    EXPECT_EQ(run(restless, {{"DataArea", "1"}}),
              "10/200 Failed to retrieve telemetry data. Drive S1 (/dev/sda) made another capture while its log was "
              "read, twice.");
}

TEST(TelemetryLogJobAta, EachOfItsFactsShowsThatALogChanged) {
    const DriveBytes changed[] = {header(0x24, 1, 0), header(0x24, 0, 1), header(0x24).le16(8, 2),
                                  header(0x24).le16(12, 2)};
    for (const DriveBytes& other : changed) {
        FakeSataDrive drive;
        withLogs(drive)
            .expect(capture().answers(header(0x24)))
            .expect(logExt(0x24, 1, 1).answers(filled(1, 0x11)))
            .expect(logExt(0x24).answers(other))
            .expect(logExt(0x24).answers(header(0x24)))
            .expect(logExt(0x24, 1, 1).answers(filled(1, 0x22)))
            .expect(logExt(0x24).answers(header(0x24)));
        EXPECT_EQ(run(drive, {{"DataArea", "1"}}), dump(header(0x24), hex(filled(1, 0x22))));
    }
}

TEST(TelemetryLogJobAta, AFailureInTheMiddleLeavesNoPartOfALog) {
    const auto runArea1 = [](const FakeSataDrive& drive) { return run(drive, {{"DataArea", "1"}}); };
    expectUnplugged<FakeSataDrive>(
        {identifyAta().answers(identifyDevice()), logExt(0x00).answers(logDirectory({0x24, 0x25})),
         capture().answers(header(0x24)), logExt(0x24, 1, 1).answers(filled(1, 0x11)),
         logExt(0x24).answers(header(0x24, 1, 1)), logExt(0x24).answers(header(0x24, 1, 1)),
         logExt(0x24, 1, 1).answers(filled(1, 0x22)), logExt(0x24).answers(header(0x24, 1, 1))},
        "0/70 The drive /dev/nvme0 is gone.", runArea1);
}

TEST(TelemetryLogJobAta, RefusesWhatTheDriveDoesNotHave) {
    FakeSataDrive without;
    without.expect(identifyAta().answers(identifyDevice())).expect(logExt(0x00).answers(logDirectory({0x04})));
    EXPECT_EQ(run(without, {}), "10/220 Telemetry log is unsupported on selected device. Drive S1 (/dev/sda).");
    FakeSataDrive nothingSaved;
    withLogs(nothingSaved).expect(logExt(0x25).answers(header(0x25)));
    EXPECT_EQ(run(nothingSaved, {{"HostInitiated", "false"}}),
              "10/220 Telemetry log is unsupported on selected device. Drive S1 (/dev/sda) has saved no internal "
              "status.");
    FakeSataDrive area4;
    EXPECT_EQ(run(area4, {{"DataArea", "4"}}),
              "10/3 The selected drive does not support this feature. The internal status of SATA drive S1 (/dev/sda) "
              "has areas 1 to 3.");
}

TEST(TelemetryLogJobAta, AnAreaThatEndsBeforeTheOneBeforeItIsEmpty) {
    FakeSataDrive drive;
    const DriveBytes odd = DriveBytes(512).byte(0, 0x24).le16(8, 2).le16(10, 0).le16(12, 0);
    withLogs(drive)
        .expect(capture().answers(odd))
        .expect(logExt(0x24, 1, 2).answers(filled(2, 0x55)))
        .expect(logExt(0x24).answers(odd));
    EXPECT_EQ(run(drive, {}), dump(odd, hex(filled(2, 0x55))));
}

}  // namespace
}  // namespace features::jobs
