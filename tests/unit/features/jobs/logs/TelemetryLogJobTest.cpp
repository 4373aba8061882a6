#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include "features/jobs/logs/TelemetryLogJob.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/Strings.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"
#include "tests/unit/features/jobs/Commands.h"
#include "tests/unit/features/jobs/JobRun.h"
#include "tests/unit/features/jobs/Unplugged.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::core;
using namespace ostrel::interfaces::ostreli;

/// Transfers of 8 KiB, telemetry, extended log data.
DriveBytes telemetryController() {
    return identifyController().byte(77, 1).byte(261, 0x0C);
}

/// Get Log Page with LSP and RAE.
Expected piece(uint8_t lid, uint32_t bytes, uint64_t offset, uint8_t lsp, bool rae) {
    return logPage(lid, bytes, offset)
        .dword(10, lid | uint32_t{lsp} << 8 | uint32_t{rae} << 15 | (bytes / 4 - 1) << 16);
}

/// Data areas of 1, 2 and 40 blocks.
DriveBytes header(uint8_t lid, uint8_t generation) {
    return DriveBytes(512).byte(0, lid).le16(8, 1).le16(10, 3).le16(12, 40).byte(lid == 7 ? 381 : 383, generation);
}

DriveBytes filled(size_t size, uint8_t value) {
    DriveBytes bytes(size);
    for (size_t i = 0; i < size; ++i) bytes.byte(i, value);
    return bytes;
}

std::string hex(const DriveBytes& bytes) {
    return bytesToHex(bytes.bytes().data(), bytes.size());
}

std::string dump(size_t bytes, const std::string& digits) {
    return "0/0\n<Object category=\"Output\" key=\"S1\" name=\"TelemetryLog\">"
           "\n<Property category=\"payload\" displayName=\"payload\" name=\"payload\" size=\"" +
           std::to_string(bytes) + "\" type=\"bytepointer\" value=\"" + digits + "\"/>\n</Object>";
}

std::string run(const FakeDrive& drive, std::initializer_list<std::pair<const char*, const char*>> arguments) {
    TelemetryLogJob job;
    JobRun run(job, JOBTYPE_METHOD);
    run.naming("S1");
    for (const auto& [key, value] : arguments) run.with(key, value);
    return run.on({&drive});
}

TEST(TelemetryLogJob, ReadsTheHostsLogWholeAndMakesOneCapture) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(telemetryController()))
        .expect(piece(0x07, 512, 0, 1, false).answers(header(7, 5)))
        .expect(piece(0x07, 8192, 512, 0, false).answers(filled(8192, 0x11)))
        .expect(piece(0x07, 8192, 8704, 0, false).answers(filled(8192, 0x22)))
        .expect(piece(0x07, 4096, 16896, 0, false).answers(filled(4096, 0x33)))
        .expect(piece(0x07, 512, 0, 0, false).answers(header(7, 5)));
    EXPECT_EQ(
        run(drive, {{"HostInitiated", "true"}}),
        dump(20992, hex(header(7, 5)) + hex(filled(8192, 0x11)) + hex(filled(8192, 0x22)) + hex(filled(4096, 0x33))));
}

TEST(TelemetryLogJob, EndsWithTheDataAreaThatIsAskedFor) {
    const struct {
        const char* area;
        uint32_t bytes;
    } cases[] = {{"1", 512}, {"2", 3 * 512}};
    for (const auto& c : cases) {
        FakeDrive drive;
        drive.expect(identify(0x01).answers(telemetryController()))
            .expect(piece(0x07, 512, 0, 1, false).answers(header(7, 5)))
            .expect(piece(0x07, c.bytes, 512, 0, false).answers(filled(c.bytes, 0x11)))
            .expect(piece(0x07, 512, 0, 0, false).answers(header(7, 5)));
        EXPECT_EQ(run(drive, {{"DataArea", c.area}}),
                  dump(c.bytes + 512, hex(header(7, 5)) + hex(filled(c.bytes, 0x11))));
    }
}

TEST(TelemetryLogJob, TheControllersEventIsAcknowledgedWhenAllIsRead) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(telemetryController()))
        .expect(piece(0x08, 512, 0, 0, true).answers(header(8, 9)))
        .expect(piece(0x08, 512, 512, 0, true).answers(filled(512, 0x44)))
        .expect(piece(0x08, 512, 0, 0, true).answers(header(8, 9)))
        .expect(piece(0x08, 512, 0, 0, false).answers(header(8, 9)));
    EXPECT_EQ(run(drive, {{"HostInitiated", "False"}, {"DataArea", "1"}}),
              dump(1024, hex(header(8, 9)) + hex(filled(512, 0x44))));
}

TEST(TelemetryLogJob, TheEventIsRetainedWhenThatIsAskedFor) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(telemetryController()))
        .expect(piece(0x08, 512, 0, 0, true).answers(header(8, 9)))
        .expect(piece(0x08, 512, 512, 0, true).answers(filled(512, 0x44)))
        .expect(piece(0x08, 512, 0, 0, true).answers(header(8, 9)));
    EXPECT_EQ(run(drive, {{"HostInitiated", "false"}, {"DataArea", "1"}, {"RetainAsynchronousEvent", "true"}}),
              dump(1024, hex(header(8, 9)) + hex(filled(512, 0x44))));
}

TEST(TelemetryLogJob, ALogThatChangedIsReadAgainWithoutAnotherCapture) {
    for (const uint8_t lid : {uint8_t{7}, uint8_t{8}}) {
        const bool host = lid == 7;
        FakeDrive drive;
        drive.expect(identify(0x01).answers(telemetryController()))
            .expect(piece(lid, 512, 0, host ? 1 : 0, !host).answers(header(lid, 255)))
            .expect(piece(lid, 512, 512, 0, !host).answers(filled(512, 0x44)))
            .expect(piece(lid, 512, 0, 0, !host).answers(header(lid, 0)))
            .expect(piece(lid, 512, 0, 0, !host).answers(header(lid, 0)))
            .expect(piece(lid, 512, 512, 0, !host).answers(filled(512, 0x55)))
            .expect(piece(lid, 512, 0, 0, !host).answers(header(lid, 0)));
        if (!host) drive.expect(piece(lid, 512, 0, 0, false).answers(header(lid, 0)));
        EXPECT_EQ(run(drive, {{"HostInitiated", host ? "1" : "0"}, {"DataArea", "1"}}),
                  dump(1024, hex(header(lid, 0)) + hex(filled(512, 0x55))));
    }
}

TEST(TelemetryLogJob, ALogThatChangesAgainIsReportedAndNotAcknowledged) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(telemetryController()))
        .expect(piece(0x08, 512, 0, 0, true).answers(header(8, 1)))
        .expect(piece(0x08, 512, 512, 0, true).answers(filled(512, 0x44)))
        .expect(piece(0x08, 512, 0, 0, true).answers(header(8, 2)))
        .expect(piece(0x08, 512, 0, 0, true).answers(header(8, 2)))
        .expect(piece(0x08, 512, 512, 0, true).answers(filled(512, 0x44)))
        .expect(piece(0x08, 512, 0, 0, true).answers(header(8, 3)));
    EXPECT_EQ(run(drive, {{"HostInitiated", "false"}, {"DataArea", "1"}}),
              "10/200 Failed to retrieve telemetry data. Drive S1 (/dev/nvme0) made another capture while its log was "
              "read, twice.");
}

TEST(TelemetryLogJob, ALogWithoutDataIsAFailureAndItsEventStays) {
    for (const uint8_t lid : {uint8_t{7}, uint8_t{8}}) {
        const bool host = lid == 7;
        const DriveBytes empty = DriveBytes(512).byte(0, lid);
        FakeDrive drive;
        drive.expect(identify(0x01).answers(telemetryController()))
            .expect(piece(lid, 512, 0, host ? 1 : 0, !host).answers(empty));
        EXPECT_EQ(
            run(drive, {{"HostInitiated", host ? "true" : "false"}}),
            "10/200 Failed to retrieve telemetry data. The log of drive S1 (/dev/nvme0) has a header and no data.");
    }
}

TEST(TelemetryLogJob, ADriveWithoutTelemetryIsNotAsked) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(identifyController()));
    EXPECT_EQ(run(drive, {}),
              "10/220 Telemetry log is unsupported on selected device. Drive S1 (/dev/nvme0) has none.");
}

TEST(TelemetryLogJob, ADriveThatRefusesThePageHasNone) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(telemetryController())).expect(piece(0x07, 512, 0, 1, false).refuses(0x4109));
    EXPECT_EQ(run(drive, {}),
              "10/220 Telemetry log is unsupported on selected device. Get Log Page failed on drive S1 (/dev/nvme0): "
              "Invalid Log Page (status code type 0x1, status code 0x09, opcode 0x02).");
}

TEST(TelemetryLogJob, AFailureInTheMiddleLeavesNoPartOfALog) {
    for (unsigned failing = 0; failing < 4; ++failing) {
        FakeDrive drive;
        Expected commands[] = {
            identify(0x01).answers(telemetryController()),
            piece(0x07, 512, 0, 1, false).answers(header(7, 5)),
            piece(0x07, 512, 512, 0, false).answers(filled(512, 0x11)),
            piece(0x07, 512, 0, 0, false).answers(header(7, 5)),
        };
        for (unsigned i = 0; i <= failing; ++i) drive.expect(i == failing ? commands[i].breaks(gone()) : commands[i]);
        EXPECT_EQ(run(drive, {{"DataArea", "1"}}), "0/70 The drive /dev/nvme0 is gone.") << failing;
    }
}

/// With data area 4.
DriveBytes area4Controller() {
    return telemetryController().byte(261, 0x4C);
}

/// Areas 1 to 3 of 1, 2 and 3 blocks, and area 4 of 4.
DriveBytes area4Header() {
    return DriveBytes(512).byte(0, 7).le16(8, 1).le16(10, 2).le16(12, 3).le32(16, 4).byte(381, 5);
}

/// Host Behavior Support with Advanced Command Retry Enable, and ETDAS as given.
DriveBytes behavior(uint8_t etdas) {
    return DriveBytes(512).byte(0, 1).byte(1, etdas).byte(2, 1);
}
Expected readsBehavior(uint8_t etdas) {
    return getFeature(0x16, 0, 0, 512).answers(behavior(etdas));
}
Expected writesBehavior(uint8_t etdas) {
    return setFeature(0x16, 0).writes(behavior(etdas)).completes();
}

void expectArea4(FakeDrive& drive) {
    drive.expect(piece(0x07, 512, 0, 1, false).answers(area4Header()))
        .expect(piece(0x07, 2048, 512, 0, false).answers(filled(2048, 0x11)))
        .expect(piece(0x07, 512, 0, 0, false).answers(area4Header()));
}

const std::string AREA_4_DUMP = dump(2560, hex(area4Header()) + hex(filled(2048, 0x11)));

TEST(TelemetryLogJob, DataArea4IsEnabledForTheReadingAlone) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(area4Controller()))
        .expect(readsBehavior(0))
        .expect(writesBehavior(1))
        .expect(readsBehavior(1));
    expectArea4(drive);
    drive.expect(readsBehavior(1)).expect(writesBehavior(0));
    EXPECT_EQ(run(drive, {{"DataArea", "4"}}), AREA_4_DUMP);
}

TEST(TelemetryLogJob, DataArea4ThatIsEnabledAlreadyStaysSo) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(area4Controller())).expect(readsBehavior(1));
    expectArea4(drive);
    EXPECT_EQ(run(drive, {{"DataArea", "4"}}), AREA_4_DUMP);
}

TEST(TelemetryLogJob, WhatAnotherProgramSetMeanwhileIsKept) {
    const DriveBytes changed = behavior(1).byte(0, 0).le16(4, 0x0205);
    FakeDrive drive;
    drive.expect(identify(0x01).answers(area4Controller()))
        .expect(readsBehavior(0))
        .expect(writesBehavior(1))
        .expect(readsBehavior(1));
    expectArea4(drive);
    drive.expect(getFeature(0x16, 0, 0, 512).answers(changed))
        .expect(setFeature(0x16, 0).writes(DriveBytes(changed).byte(1, 0)).completes());
    EXPECT_EQ(run(drive, {{"DataArea", "4"}}), AREA_4_DUMP);
}

TEST(TelemetryLogJob, AResetThatPutHostBehaviorSupportBackIsNoError) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(area4Controller()))
        .expect(readsBehavior(0))
        .expect(writesBehavior(1))
        .expect(readsBehavior(1));
    expectArea4(drive);
    drive.expect(readsBehavior(0));
    EXPECT_EQ(run(drive, {{"DataArea", "4"}}), AREA_4_DUMP);
}

TEST(TelemetryLogJob, DataArea4ThatTheSystemDisablesAgainIsAnError) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(area4Controller()))
        .expect(readsBehavior(0))
        .expect(writesBehavior(1))
        .expect(readsBehavior(0))
        .expect(readsBehavior(0));
    EXPECT_EQ(
        run(drive, {{"DataArea", "4"}}),
        "10/200 Failed to retrieve telemetry data. Drive S1 (/dev/nvme0) does not keep Extended Telemetry Data "
        "Area 4 Supported (feature 0x16): the operating system sets that feature itself, or the drive was reset.");
}

TEST(TelemetryLogJob, ADriveWithoutDataArea4IsAskedForNothing) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(telemetryController()));
    EXPECT_EQ(run(drive, {{"DataArea", "4"}}), "10/3 " + statuses::driveDoesNotSupportFeature().getMessage() +
                                                   " Drive S1 (/dev/nvme0) has no telemetry data area 4.");
}

TEST(TelemetryLogJob, AFailureWithDataArea4PutsHostBehaviorSupportBack) {
    for (unsigned failing = 0; failing < 3; ++failing) {
        FakeDrive drive;
        drive.expect(identify(0x01).answers(area4Controller()))
            .expect(readsBehavior(0))
            .expect(writesBehavior(1))
            .expect(readsBehavior(1));
        Expected commands[] = {
            piece(0x07, 512, 0, 1, false).answers(area4Header()),
            piece(0x07, 2048, 512, 0, false).answers(filled(2048, 0x11)),
            piece(0x07, 512, 0, 0, false).answers(area4Header()),
        };
        for (unsigned i = 0; i <= failing; ++i) drive.expect(i == failing ? commands[i].breaks(gone()) : commands[i]);
        drive.expect(readsBehavior(1)).expect(writesBehavior(0));
        EXPECT_EQ(run(drive, {{"DataArea", "4"}}), "0/70 The drive /dev/nvme0 is gone.") << failing;
    }
}

TEST(TelemetryLogJob, ADriveThatGoesAwayBeforeHostBehaviorSupportIsSetIsSentNothingMore) {
    expectUnplugged({identify(0x01).answers(area4Controller()), readsBehavior(0)}, "0/70 The drive /dev/nvme0 is gone.",
                    [](const FakeDrive& drive) { return run(drive, {{"DataArea", "4"}}); });
}

/// What was written may be in force, also where reading it back fails.
TEST(TelemetryLogJob, HostBehaviorSupportThatCannotBeReadBackIsPutBack) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(area4Controller()))
        .expect(readsBehavior(0))
        .expect(writesBehavior(1))
        .expect(readsBehavior(1).breaks(gone()))
        .expect(readsBehavior(1))
        .expect(writesBehavior(0));
    EXPECT_EQ(run(drive, {{"DataArea", "4"}}), "0/70 The drive /dev/nvme0 is gone.");
}

TEST(TelemetryLogJob, AnEventThatCannotBeAcknowledgedFailsTheLog) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(telemetryController()))
        .expect(piece(0x08, 512, 0, 0, true).answers(header(8, 9)))
        .expect(piece(0x08, 512, 512, 0, true).answers(filled(512, 0x44)))
        .expect(piece(0x08, 512, 0, 0, true).answers(header(8, 9)))
        .expect(piece(0x08, 512, 0, 0, false).breaks(gone()));
    EXPECT_EQ(run(drive, {{"HostInitiated", "False"}, {"DataArea", "1"}}), "0/70 The drive /dev/nvme0 is gone.");
}

TEST(TelemetryLogJob, HostBehaviorSupportThatMayBeSetIsPutBack) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(area4Controller()))
        .expect(readsBehavior(0))
        .expect(writesBehavior(1).breaks(gone()))
        .expect(readsBehavior(1))
        .expect(writesBehavior(0));
    EXPECT_EQ(run(drive, {{"DataArea", "4"}}), "0/70 The drive /dev/nvme0 is gone.") << "it may be set";

    FakeDrive refusing;
    refusing.expect(identify(0x01).answers(area4Controller()))
        .expect(readsBehavior(0))
        .expect(writesBehavior(1).refuses(0x4002));
    EXPECT_EQ(
        run(refusing, {{"DataArea", "4"}}),
        "0/25 Set Features failed on drive S1 (/dev/nvme0): Invalid Field in Command (status code type 0x0, status "
        "code 0x02, opcode 0x09).");
}

TEST(TelemetryLogJob, HostBehaviorSupportThatCannotBePutBackIsReported) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(area4Controller()))
        .expect(readsBehavior(0))
        .expect(writesBehavior(1))
        .expect(readsBehavior(1));
    expectArea4(drive);
    drive.expect(readsBehavior(1).breaks(gone()));
    const std::string kept =
        "The drive /dev/nvme0 is gone. Host Behavior Support (feature 0x16) of drive S1 "
        "(/dev/nvme0) keeps Extended Telemetry Data Area 4 Supported until its next reset.";
    EXPECT_EQ(run(drive, {{"DataArea", "4"}}), "0/70 " + kept);

    FakeDrive failing;
    failing.expect(identify(0x01).answers(area4Controller()))
        .expect(readsBehavior(0))
        .expect(writesBehavior(1))
        .expect(readsBehavior(1))
        .expect(piece(0x07, 512, 0, 1, false).refuses(0x4006))
        .expect(readsBehavior(1))
        .expect(writesBehavior(0).breaks(gone()));
    EXPECT_EQ(
        run(failing, {{"DataArea", "4"}}),
        "0/25 Get Log Page failed on drive S1 (/dev/nvme0): Internal Error (status code type 0x0, status code 0x06, "
        "opcode 0x02). " +
            kept);
}

/// The process ends by the signal once the feature is put back: a test of its own process sees the commands that came.
TEST(TelemetryLogJobDeathTest, ASignalEndsTheReadingAndPutsHostBehaviorSupportBack) {
    EXPECT_EXIT(
        {
            FakeDrive drive;
            drive.expect(identify(0x01).answers(area4Controller()))
                .expect(readsBehavior(0))
                .expect(writesBehavior(1).then([] { std::raise(SIGTERM); }))
                .expect(readsBehavior(1))
                .expect(piece(0x07, 512, 0, 1, false).answers(area4Header()))
                .expect(readsBehavior(1))
                .expect(writesBehavior(0).then([] { (void)!::write(STDERR_FILENO, "put back\n", 9); }));
            (void)run(drive, {{"DataArea", "4"}});
            std::_Exit(0);
        },
        testing::KilledBySignal(SIGTERM), "put back");
}

TEST(TelemetryLogJob, ABadArgumentIsReportedBeforeTheDriveIsAsked) {
    const FakeDrive drive;
    for (const char* area : {"0", "5", "none", "-1"}) {
        EXPECT_EQ(run(drive, {{"DataArea", area}}), std::string("10/36 Invalid value given for DataArea: '") + area +
                                                        "'. It must be a number from 1 to 4.");
    }
    EXPECT_EQ(run(drive, {{"HostInitiated", "maybe"}}),
              "10/36 Invalid value given for HostInitiated: 'maybe'. It must be true or false.");
    EXPECT_EQ(run(drive, {{"RetainAsynchronousEvent", "2"}}),
              "10/36 Invalid value given for RetainAsynchronousEvent: '2'. It must be true or false.");
}

}  // namespace
}  // namespace features::jobs
