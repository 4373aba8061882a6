#include <gtest/gtest.h>

#include "simdrive/capture/DriveWalk.h"
#include "tests/support/StatusText.h"
#include "tests/support/fakedrive/FakeDrive.h"
#include "tests/unit/features/jobs/SataCommands.h"
#include "tests/unit/features/jobs/Unplugged.h"

namespace simdrive {
namespace {

using namespace fakedrive;
using features::ata::Addressing;
using features::ata::Protocol;
using ostrel::core::Status;

/// Without log pages and SMART, with trusted computing and the sanitize feature set.
DriveBytes lockable() {
    return identifyDevice().word(84, 0x4100).word(87, 0x4100).word(85, 0x0020).word(48, 0x4001).word(59, 0xF000);
}

/// What TRUSTED RECEIVE says of the drive's security protocols.
Expected trustedReceive() {
    return Expected::ata(0x5C, Protocol::PIO_IN, Addressing::BITS_28).count(1).reads(512);
}

Expected sanitizeStatus() {
    return Expected::ata(0xB4, Protocol::NON_DATA, Addressing::BITS_48).wantsRegisters();
}

TEST(DriveWalk, GoesOnWhereTheDriverRefusesTrustedReceive) {
    FakeSataDrive drive;
    drive.expect(identifyAta().answers(lockable()))
        .expect(trustedReceive().breaks(Status(0, 11, "The driver refused it.")))
        .expect(sanitizeStatus().returns({0x00, 0x50, 0x40, 0x8000, 0xFFFF}));
    DriveWalk walk;
    EXPECT_EQ(walk.ata(*drive.device()).getCode(), 0U);
    EXPECT_EQ(walk.refused, std::vector<std::string>{"Level 0 Discovery: The driver refused it."});
    drive.expectDone();
}

TEST(DriveWalk, EndsWhereTheDriveDoesNotAnswer) {
    FakeSataDrive drive;
    drive.expect(identifyAta().answers(lockable())).expect(trustedReceive().breaks(Status(0, 69, "The drive hangs.")));
    DriveWalk walk;
    EXPECT_EQ(walk.ata(*drive.device()).getMessage(), "The drive hangs.");
    EXPECT_EQ(walk.refused, std::vector<std::string>());
    drive.expectDone();
}

using features::jobs::Script;

Expected nativeMaximum() {
    return Expected::ata(0x78, Protocol::NON_DATA, Addressing::BITS_48).wantsRegisters();
}

/// All that a drive is asked that has logs 03h, 04h, 24h, and 10h, which is longer than a capture holds.
Script wholeWalk() {
    const DriveBytes directory =
        features::jobs::logDirectory({}).le16(2 * 0x03, 2).le16(2 * 0x04, 2).le16(2 * 0x10, 40000).le16(2 * 0x24, 100);
    return {
        identifyAta().answers(
            lockable().word(84, 0x4123).word(87, 0x4120).word(85, 0x0021).word(86, 0x8400).word(119, 0x4100)),
        logExt(0x00).answers(directory),
        logExt(0x00).answers(directory),
        logExt(0x03, 0, 2),
        logExt(0x04).answers(features::jobs::pageList({0x00, 0x01})),
        logExt(0x04),
        logExt(0x04, 1),
        logExt(0x24),
        smartPage(0xD0).answers(features::jobs::smartData()),
        smartPage(0xD1).answers(features::jobs::smartThresholds()),
        features::jobs::smartStatus(features::jobs::SMART_GOOD),
        smartLogPage(0x00).answers(DriveBytes(512).byte(2 * 0x01, 1).byte(2 * 0x04, 1).byte(2 * 0x07, 3)),
        smartLogPage(0x01),
        smartLogPage(0x07, 3),
        trustedReceive().answers(DriveBytes(512).byte(7, 1)),
        sanitizeStatus(),
        nativeMaximum(),
    };
}

/// The status of a walk, and what was refused, a line each.
std::string walkOver(const FakeDrive& drive) {
    DriveWalk walk;
    std::string text = statusText(walk.ata(*drive.device()));
    for (const std::string& each : walk.refused) text += "\n" + each;
    return text;
}
constexpr const char* DONE = "0/0 Completed successfully.";

TEST(DriveWalk, AsksASataDriveForAllThatItOffers) {
    FakeSataDrive drive;
    for (const Expected& command : wholeWalk()) drive.expect(command);
    EXPECT_EQ(walkOver(drive), DONE);
}

TEST(DriveWalk, EndsAtTheCommandAtWhichTheDriveIsUnplugged) {
    features::jobs::expectUnplugged<FakeSataDrive>(wholeWalk(), "0/70 The drive /dev/nvme0 is gone.", walkOver);
}

TEST(DriveWalk, NotesWhatASataDriveRefusesAndGoesOn) {
    const auto failed = [](const std::string& command, const std::string& registers) {
        return command + " failed on drive S1 (/dev/sda): command aborted (command " + registers +
               ", ERROR 0x04, STATUS 0x51).";
    };
    const struct {
        size_t number;  // of the command in the walk
        size_t leftOut;
        std::string refused;
    } CASES[] = {
        {1, 0, "\nLog 0x00: " + failed("READ LOG EXT", "0x2F, FEATURE 0x00")},
        {3, 0, "\nLog 0x03: " + failed("READ LOG EXT", "0x2F, FEATURE 0x00")},
        {5, 0, "\nLog 0x04, page 0x00: " + failed("READ LOG EXT", "0x2F, FEATURE 0x00")},
        {7, 0, "\nLog 0x24: " + failed("READ LOG EXT", "0x2F, FEATURE 0x00")},
        {8, 0, "\nSMART data: " + failed("SMART READ DATA", "0xB0, FEATURE 0xD0")},
        {9, 0, ""},  // obsolete, so a drive may refuse it
        {10, 0, "\nSMART status: " + failed("SMART RETURN STATUS", "0xB0, FEATURE 0xDA")},
        {11, 2, "\nSMART log directory: " + failed("SMART READ LOG", "0xB0, FEATURE 0xD5")},
        {12, 0, "\nSMART log 0x01: " + failed("SMART READ LOG", "0xB0, FEATURE 0xD5")},
        {14, 0, ""},  // a drive whose protocols are not known has none
        {15, 0, "\nSanitize status: " + failed("SANITIZE STATUS EXT", "0xB4, FEATURE 0x00")},
        {16, 0, "\nNative maximum LBA: " + failed("GET NATIVE MAX ADDRESS EXT", "0x78, FEATURE 0x00")},
    };
    for (const auto& c : CASES) {
        SCOPED_TRACE(c.number);
        const Script script = wholeWalk();
        FakeSataDrive drive;
        for (size_t i = 0; i < script.size(); ++i) {
            if (i > c.number && i <= c.number + c.leftOut) continue;
            drive.expect(i == c.number ? Expected(script[i]).aborts() : script[i]);
        }
        EXPECT_EQ(walkOver(drive), DONE + c.refused);
    }
}

/// Drives before ATA/ATAPI-6 report their logs in SMART READ DATA.
TEST(DriveWalk, AsksAnOldDriveForTheLogsThatItsSmartDataHas) {
    const struct {
        uint8_t offline, errors;  // of the self-test log bit 4, of the error log bit 0
        std::vector<uint8_t> logs;
    } CASES[] = {{0x7B, 0x01, {0x01, 0x06}}, {0x7B, 0x00, {0x06}}, {0x6B, 0x01, {0x01}}, {0x6B, 0x00, {}}};
    const auto begin = [](FakeSataDrive& drive, const Expected& data) {
        drive.expect(identifyAta().answers(identifyDevice().word(84, 0x4100).word(87, 0x4100)))
            .expect(data)
            .expect(smartPage(0xD1))
            .expect(features::jobs::smartStatus(features::jobs::SMART_GOOD));
    };
    for (const auto& c : CASES) {
        FakeSataDrive drive;
        begin(drive, smartPage(0xD0).answers(features::jobs::smartData().byte(367, c.offline).byte(370, c.errors)));
        for (const uint8_t log : c.logs) drive.expect(smartLogPage(log));
        EXPECT_EQ(walkOver(drive), DONE);
    }
    FakeSataDrive refused;
    begin(refused, smartPage(0xD0).aborts());
    EXPECT_EQ(walkOver(refused), std::string(DONE) +
                                     "\nSMART data: SMART READ DATA failed on drive S1 (/dev/sda): command aborted "
                                     "(command 0xB0, FEATURE 0xD0, ERROR 0x04, STATUS 0x51).");
    features::jobs::expectUnplugged<FakeSataDrive>(
        {identifyAta().answers(identifyDevice().word(84, 0x4100).word(87, 0x4100)),
         smartPage(0xD0).answers(features::jobs::smartData()), smartPage(0xD1),
         features::jobs::smartStatus(features::jobs::SMART_GOOD), smartLogPage(0x01), smartLogPage(0x06)},
        "0/70 The drive /dev/nvme0 is gone.", walkOver);
}

}  // namespace
}  // namespace simdrive
