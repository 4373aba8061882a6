#include <gtest/gtest.h>

#include <filesystem>

#include "features/jobs/firmware/FirmwareActivateJob.h"
#include "features/jobs/firmware/FirmwareUpdateJob.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/unit/features/jobs/FakeClock.h"
#include "tests/unit/features/jobs/JobRun.h"
#include "tests/unit/features/jobs/StatusAnswer.h"
#include "tests/unit/features/jobs/Unplugged.h"
#include "tests/unit/features/jobs/UsedNamespaces.h"
#include "tests/unit/features/jobs/firmware/ModuleFolder.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::core;
using namespace ostrel::interfaces::ostreli;
using ata::Addressing;
using ata::Protocol;

/// Word 83: DOWNLOAD MICROCODE; 84 and 87: no general purpose logs; 86 and 119: in pieces; 234 and 235: 2 to 4 blocks a
/// piece.
DriveBytes drive(const std::string& firmware = "OLD00001") {
    return identifyDevice()
        .word(83, 0x4401)
        .word(84, 0x4000)
        .word(87, 0x4000)
        .word(86, 0x8000)
        .word(119, 0x4010)
        .word(234, 2)
        .word(235, 4)
        .ataText(46, firmware, 8);
}
Expected identified(const std::string& firmware = "OLD00001") {
    return identifyAta().answers(drive(firmware));
}
/// DOWNLOAD MICROCODE of so many blocks, each filled with its number in the image.
Expected piece(uint8_t mode, uint8_t firstBlock, uint8_t blocks) {
    DriveBytes data(size_t{blocks} * 512);
    for (size_t i = 0; i < data.size(); ++i) data.byte(i, static_cast<uint8_t>('A' + firstBlock + i / 512));
    return Expected::ata(0x92, Protocol::PIO_OUT, Addressing::BITS_28)
        .feature(mode)
        .count(blocks)
        .lba(uint64_t{firstBlock} << 8)
        .wantsRegisters()
        .writes(data);
}
Expected ended(Expected command, uint16_t count) {
    return command.returns({0, 0x50, 0, count, 0});
}
Expected activation() {
    return Expected::ata(0x92, Protocol::NON_DATA, Addressing::BITS_28).feature(0x0F).wantsRegisters();
}
std::string image(size_t blocks) {
    std::string bytes;
    for (size_t i = 0; i < blocks; ++i) bytes += std::string(512, static_cast<char>('A' + i));
    return bytes;
}
std::string messageOf(const std::string& answer) {
    const std::string key = "name=\"Message\" value=\"";
    const size_t at = answer.find(key);
    return at == std::string::npos
               ? answer
               : answer.substr(at + key.size(), answer.find('"', at + key.size()) - at - key.size());
}
bool hasStatus(const std::string& answer, const std::string& category, const std::string& code) {
    return answer.find("<Property name=\"Category\" value=\"" + category + "\"/>\n<Property name=\"Code\" value=\"" +
                       code + "\"/>") != std::string::npos;
}

class AtaFirmwareTest : public testing::Test {
protected:
    std::string update(size_t blocks, const char* key = nullptr, const char* value = nullptr) {
        writeWholeFile(folder_ / "image", image(blocks));
        JobRun run(update_, JOBTYPE_METHOD);
        run.with("FirmwareFile", folder_ / "image");
        if (key != nullptr) run.with(key, value);
        return run.on({&drive_});
    }
    std::string activate(const char* slot, const char* action) {
        return JobRun(activate_, JOBTYPE_METHOD).with("FirmwareSlot", slot).with("CommitAction", action).on({&drive_});
    }

    TemporaryFolder folder_;
    FakeSataDrive drive_;
    std::shared_ptr<FakeClock> clock_ = std::make_shared<FakeClock>();
    FirmwareUpdateJob update_{clock_};
    FirmwareActivateJob activate_{clock_};
};

TEST_F(AtaFirmwareTest, PiecesAreSavedAndActivatedByTheLast) {
    drive_.expect(identified())
        .expect(ended(piece(0x03, 0, 4), 1))
        .expect(ended(piece(0x03, 4, 2).timeoutMs(180000), 2))
        .expect(identified("NEW00002"))
        .expect(lookAgain());
    const std::string got = update(6);
    EXPECT_TRUE(hasStatus(got, "0", "0")) << got;
    EXPECT_EQ(messageOf(got),
              "The firmware was activated. Drive S1 (/dev/sda) runs firmware NEW00002; it was OLD00001 before.");
    for (const char* field : {"name=\"PreviousFirmware\" ", "name=\"RunningFirmware\" ", "name=\"NextFirmware\" "})
        EXPECT_NE(got.find(field), std::string::npos) << got;
}

TEST_F(AtaFirmwareTest, ALinkThatIsResetByTheNewFirmwareIsAwaited) {
    const Status lost(CATEGORY_CORE, 70, "The link was reset.");
    drive_.expect(identified())
        .expect(ended(piece(0x03, 0, 4), 1))
        .expect(piece(0x03, 4, 2).timeoutMs(180000).breaks(lost))
        .expect(identifyAta().breaks(lost))
        .expect(identifyAta().breaks(lost))
        .expect(identified("NEW00002"))
        .expect(lookAgain());
    EXPECT_EQ(messageOf(update(6)),
              "The firmware was activated. Drive S1 (/dev/sda) runs firmware NEW00002; it was OLD00001 before.");
    EXPECT_EQ(clock_->sleeps(), (std::vector<uint64_t>{1000, 1000}));
}

TEST_F(AtaFirmwareTest, ADriveThatDoesNotComeBackRunsUnknownFirmware) {
    const Status lost(CATEGORY_CORE, 70, "The link was reset.");
    drive_.expect(identified()).expect(ended(piece(0x03, 0, 2).timeoutMs(180000), 2));
    for (int second = 0; second <= 30; ++second) drive_.expect(identifyAta().breaks(lost));
    EXPECT_EQ(messageOf(update(2)), "The link was reset. The firmware was sent; what the drive runs now is not known.");
}

TEST_F(AtaFirmwareTest, APieceThatFailsEndsTheDownload) {
    drive_.expect(identified()).expect(piece(0x03, 0, 4).aborts());
    const std::string first = update(6);
    EXPECT_TRUE(hasStatus(first, "10", "52")) << first;
    EXPECT_NE(first.find("The image may be that of another drive."), std::string::npos) << first;
    drive_.expectDone();
    drive_.expect(identified())
        .expect(ended(piece(0x03, 0, 4), 1))
        .expect(piece(0x03, 4, 2).timeoutMs(180000).aborts())
        .expect(identified());
    EXPECT_TRUE(hasStatus(update(6), "10", "52"));
}

TEST_F(AtaFirmwareTest, AnImageThatTheDriveTakesForAPartIsAFailure) {
    drive_.expect(identified()).expect(ended(piece(0x03, 0, 2).timeoutMs(180000), 1));
    const std::string got = update(2);
    EXPECT_TRUE(hasStatus(got, "10", "52")) << got;
    EXPECT_NE(got.find("Drive S1 (/dev/sda) expects more than the whole image."), std::string::npos) << got;
}

TEST_F(AtaFirmwareTest, TheSameRevisionIsNotCalledActivated) {
    drive_.expect(identified())
        .expect(ended(piece(0x03, 0, 2).timeoutMs(180000), 2))
        .expect(identified())
        .expect(lookAgain());
    EXPECT_EQ(messageOf(update(2)),
              "The drive took the firmware, and runs the same revision as before. Drive S1 (/dev/sda) runs firmware "
              "OLD00001.");
}

TEST_F(AtaFirmwareTest, FirmwareThatWaitsIsNamed) {
    drive_.expect(identified())
        .expect(ended(piece(0x03, 0, 2).timeoutMs(180000), 3))
        .expect(identified())
        .expect(lookAgain());
    EXPECT_EQ(messageOf(update(2)),
              "The firmware waits for its activation or a power cycle. Drive S1 (/dev/sda) runs firmware OLD00001.");
}

TEST_F(AtaFirmwareTest, ADriveThatDefersGetsTheActivationAsWell) {
    // General purpose logs: the directory has one page of log 30h, whose page 03h has the deferred mode alone, 1 to 8
    // blocks a piece.
    drive_.expect(identifyAta().answers(drive().word(119, 0x4000).word(84, 0x4020).word(87, 0x4020)))
        .expect(logExt(0x00).answers(DriveBytes(512).word(0, 1).word(0x30, 9)))
        .expect(logExt(0x30).answers(DriveBytes(512).le64(0, 0x8000000000000001).byte(8, 2).put(9, {0x00, 0x03})))
        .expect(logExt(0x30, 3).answers(DriveBytes(512)
                                            .le64(0, 0x8000000000030001)
                                            .le64(16, 0x8000000000000000 | uint64_t{1} << 34 | 8U << 16 | 1)))
        .expect(ended(piece(0x0E, 0, 8), 1))
        .expect(ended(piece(0x0E, 8, 1).timeoutMs(180000), 3))
        .expect(ended(activation(), 2))
        .expect(identified("NEW00002"))
        .expect(lookAgain());
    EXPECT_EQ(messageOf(update(9)),
              "The firmware was activated. Drive S1 (/dev/sda) runs firmware NEW00002; it was OLD00001 before.");
}

TEST_F(AtaFirmwareTest, AnOldDriveTakesTheWholeImageAtOnce) {
    drive_.expect(identifyAta().answers(drive().word(119, 0x4000)))
        .expect(ended(piece(0x07, 0, 6).timeoutMs(180000), 2))
        .expect(identified("NEW00002"))
        .expect(lookAgain());
    EXPECT_TRUE(hasStatus(update(6), "0", "0"));
}

TEST_F(AtaFirmwareTest, PiecesAreWhatTheSystemTakes) {
    const Status tooMuch(0, 75, "too much");
    drive_.expect(identifyAta().answers(drive().word(235, 8)))
        .expect(piece(0x03, 0, 8).breaks(tooMuch))
        .expect(ended(piece(0x03, 0, 4), 1))
        .expect(ended(piece(0x03, 4, 4), 1))
        .expect(ended(piece(0x03, 8, 1).timeoutMs(180000), 2))
        .expect(identified("NEW00002"))
        .expect(lookAgain());
    EXPECT_TRUE(hasStatus(update(9), "0", "0"));
}

TEST_F(AtaFirmwareTest, AWholeImageThatTheSystemDoesNotTakeIsNotSentInParts) {
    drive_.expect(identifyAta().answers(drive().word(119, 0x4000)))
        .expect(piece(0x07, 0, 6).timeoutMs(180000).breaks(Status(0, 75, "Too much.")));
    const std::string got = update(6);
    EXPECT_TRUE(hasStatus(got, "0", "75")) << got;
    EXPECT_EQ(messageOf(got),
              "Too much. Drive S1 (/dev/sda) takes an image in one command alone, and this has 3072 "
              "bytes. Nothing was sent.");
}

TEST_F(AtaFirmwareTest, WhatIsWrongIsRefusedBeforeTheFirstByte) {
    drive_.expect(identifyAta().answers(drive().word(83, 0x4400)));
    EXPECT_TRUE(hasStatus(update(2), "10", "34"));
    drive_.expectDone();
    drive_.expect(identifyAta().answers(drive().word(128, 0x0003)));
    EXPECT_TRUE(hasStatus(update(2), "10", "15"));
    drive_.expectDone();
    drive_.expect(identified());
    writeWholeFile(folder_ / "odd", std::string(516, 'A'));
    const std::string odd = JobRun(update_, JOBTYPE_METHOD).with("FirmwareFile", folder_ / "odd").on({&drive_});
    EXPECT_TRUE(hasStatus(odd, "10", "52")) << odd;
    drive_.expectDone();
    const std::string slot = update(2, "FirmwareSlot", "1");
    EXPECT_TRUE(hasStatus(slot, "10", "175")) << slot;
    EXPECT_TRUE(hasStatus(update(2, "CommitAction", "3"), "10", "174"));
}

TEST_F(AtaFirmwareTest, AModuleIsChosenByTheModelAndItsRevisionMustRun) {
    addModule(folder_, "module", {"NEW00002", "2026-03-31", "*", "*", image(2)});
    const auto update = [&] {
        return JobRun(update_, JOBTYPE_METHOD).with("AdditionalModuleDirs", folder_ / "").on({&drive_});
    };
    drive_.expect(identified())
        .expect(ended(piece(0x03, 0, 2).timeoutMs(180000), 2))
        .expect(identified("NEW00002"))
        .expect(lookAgain());
    EXPECT_TRUE(hasStatus(update(), "0", "0"));
    drive_.expectDone();
    drive_.expect(identified("NEW00002"));
    EXPECT_TRUE(hasStatus(update(), "10", "64"));
    drive_.expectDone();
    drive_.expect(identified()).expect(ended(piece(0x03, 0, 2).timeoutMs(180000), 2)).expect(identified("ODD00003"));
    const std::string other = update();
    EXPECT_TRUE(hasStatus(other, "10", "53")) << other;
}

TEST_F(AtaFirmwareTest, AnUnsignedModuleIsWarnedOfWhereItsDirectorySaysSo) {
    addModule(folder_, "module", {"NEW00002", "2026-03-31", "*", "*", image(2)});
    writeWholeFile(folder_ / "SignaturePolicy", "warn\n");
    drive_.expect(identified())
        .expect(ended(piece(0x03, 0, 2).timeoutMs(180000), 2))
        .expect(identified("NEW00002"))
        .expect(lookAgain());
    const std::string answer = JobRun(update_, JOBTYPE_METHOD).with("AdditionalModuleDirs", folder_ / "").on({&drive_});
    EXPECT_EQ(messageOf(answer), "The origin of the firmware for drive S1 (/dev/sda) is not verified. &apos;" +
                                     std::filesystem::canonical(folder_ / "module.json").string() +
                                     "&apos;: it has no signature.");
}

TEST_F(AtaFirmwareTest, FirmwareThatWaitsIsActivatedAtOnce) {
    drive_.expect(identified()).expect(ended(activation(), 2)).expect(identified("NEW00002")).expect(lookAgain());
    EXPECT_TRUE(hasStatus(activate("1", "3"), "0", "0"));
    drive_.expectDone();
    drive_.expect(identified()).expect(activation().aborts()).expect(identified());
    const std::string refused = activate("1", "3");
    EXPECT_TRUE(hasStatus(refused, "10", "53")) << refused;
    drive_.expectDone();
    EXPECT_TRUE(hasStatus(activate("2", "3"), "10", "175"));
    EXPECT_TRUE(hasStatus(activate("1", "2"), "10", "174"));
}

/// A drive whose page 03h of log 30h has these ways to take an image, and 1 to 8 blocks a piece.
Script withCapabilities(uint64_t ways) {
    return {identifyAta().answers(drive().word(119, 0x4000).word(84, 0x4020).word(87, 0x4020)),
            logExt(0x00).answers(DriveBytes(512).word(0, 1).word(0x30, 9)),
            logExt(0x30).answers(DriveBytes(512).le64(0, 0x8000000000000001).byte(8, 2).put(9, {0x00, 0x03})),
            logExt(0x30, 3).answers(DriveBytes(512).le64(0, 0x8000000000030001).le64(16, 0x8000000000080001 | ways))};
}
constexpr uint64_t DEFERRED = uint64_t{1} << 34;

TEST_F(AtaFirmwareTest, ADriveThatReportsNoWayToTakeAnImageGetsNone) {
    for (const Expected& command : withCapabilities(0)) drive_.expect(command);
    const std::string got = update(2);
    EXPECT_TRUE(hasStatus(got, "10", "34")) << got;
    EXPECT_EQ(messageOf(got), "Feature is not supported. Drive S1 (/dev/sda) reports no way to take it.");
}

TEST_F(AtaFirmwareTest, AnUnpluggedDriveGetsNoFurtherPiece) {
    writeWholeFile(folder_ / "image", image(9));
    Script script = withCapabilities(DEFERRED);
    script.push_back(piece(0x0E, 0, 8));
    script.push_back(piece(0x0E, 8, 1).timeoutMs(180000));
    expectUnplugged<FakeSataDrive>(script, "The drive /dev/nvme0 is gone.", [this](const FakeSataDrive& fake) {
        const std::string got = JobRun(update_, JOBTYPE_METHOD).with("FirmwareFile", folder_ / "image").on({&fake});
        EXPECT_TRUE(hasStatus(got, "0", "70")) << got;
        return messageOf(got);
    });
}

/// What the drive kept of the image is not to run.
TEST_F(AtaFirmwareTest, ADeferredImageWhoseLastPieceFailsIsNotActivated) {
    for (const Expected& command : withCapabilities(DEFERRED)) drive_.expect(command);
    drive_.expect(ended(piece(0x0E, 0, 8), 1)).expect(piece(0x0E, 8, 1).timeoutMs(180000).aborts());
    const std::string got = update(9);
    EXPECT_TRUE(hasStatus(got, "10", "52")) << got;
}

TEST_F(AtaFirmwareTest, WithoutLimitsPiecesHave128Blocks) {
    for (const uint16_t none : {uint16_t{0}, uint16_t{0xFFFF}}) {
        drive_.expect(identifyAta().answers(drive().word(234, none).word(235, none)))
            .expect(ended(piece(0x03, 0, 128), 1))
            .expect(ended(piece(0x03, 128, 2).timeoutMs(180000), 2))
            .expect(identified("NEW00002"))
            .expect(lookAgain());
        const std::string got = update(130);
        EXPECT_TRUE(hasStatus(got, "0", "0")) << got;
        drive_.expectDone();
    }
}

TEST_F(AtaFirmwareTest, AnImageOfMoreBlocksThanTheRegistersCountIsNotSent) {
    drive_.expect(identified());
    writeWholeFile(folder_ / "large", "");
    std::filesystem::resize_file(folder_ / "large", 65536 * 512);
    const std::string got = JobRun(update_, JOBTYPE_METHOD).with("FirmwareFile", folder_ / "large").on({&drive_});
    EXPECT_TRUE(hasStatus(got, "10", "52")) << got;
    EXPECT_NE(messageOf(got).find("The image has 33554432 bytes, and a SATA drive takes up to 65535 blocks of 512 "
                                  "bytes."),
              std::string::npos)
        << got;
}

TEST_F(AtaFirmwareTest, ASystemThatDoesNotLookAgainIsNamedBesideTheSuccess) {
    drive_.expect(identified())
        .expect(ended(piece(0x03, 0, 2).timeoutMs(180000), 2))
        .expect(identified("NEW00002"))
        .expect(lookAgain().breaks(Status(1, 13, "No right to rescan.")));
    const std::string got = update(2);
    EXPECT_TRUE(hasStatus(got, "0", "0")) << got;
    EXPECT_EQ(messageOf(got),
              "The firmware was activated. Drive S1 (/dev/sda) runs firmware NEW00002; it was OLD00001 before. The "
              "system may show the old one: No right to rescan.");
}

/// COUNT says what became of the last piece; what the drive runs says more.
TEST_F(AtaFirmwareTest, TheRevisionThatRunsCountsMoreThanTheRegisters) {
    const Expected last = piece(0x03, 0, 2).timeoutMs(180000);
    const struct {
        Expected ending;
        const char* running;
        const char* message;
    } CASES[] = {
        {ended(last, 3), "NEW00002",
         "The firmware was activated. Drive S1 (/dev/sda) runs firmware NEW00002; it was OLD00001 before."},
        {Expected(last).lacksRegisters(ata::RegistersMissing::NO_SENSE), "NEW00002",
         "The firmware was activated. Drive S1 (/dev/sda) runs firmware NEW00002; it was OLD00001 before."},
        {Expected(last).lacksRegisters(ata::RegistersMissing::NO_SENSE), "OLD00001",
         "The drive took the firmware, and runs the same revision as before. Drive S1 (/dev/sda) runs firmware "
         "OLD00001."},
    };
    for (const auto& c : CASES) {
        drive_.expect(identified()).expect(c.ending).expect(identified(c.running)).expect(lookAgain());
        const std::string got = update(2);
        EXPECT_TRUE(hasStatus(got, "0", "0")) << got;
        EXPECT_EQ(messageOf(got), c.message);
        EXPECT_NE(got.find("name=\"NextFirmware\" value=\"none\""), std::string::npos) << got;
        drive_.expectDone();
    }
}

TEST_F(AtaFirmwareTest, TheRevisionOfAModuleThatWaitsIsNamed) {
    addModule(folder_, "module", {"NEW00002", "2026-03-31", "*", "*", image(2)});
    drive_.expect(identified())
        .expect(ended(piece(0x03, 0, 2).timeoutMs(180000), 3))
        .expect(identified())
        .expect(lookAgain());
    const std::string got = JobRun(update_, JOBTYPE_METHOD).with("AdditionalModuleDirs", folder_ / "").on({&drive_});
    EXPECT_TRUE(hasStatus(got, "0", "0")) << got;
    EXPECT_NE(got.find("value=\"The firmware waits for its activation or a power cycle. Drive S1 (/dev/sda) runs "
                       "firmware OLD00001.\""),
              std::string::npos)
        << got;
    EXPECT_NE(got.find("name=\"NextFirmware\" value=\"NEW00002\""), std::string::npos) << got;
}

TEST_F(AtaFirmwareTest, ALinkThatIsLostDuringTheActivationIsAwaited) {
    const Status lost(CATEGORY_CORE, 70, "The link was reset.");
    drive_.expect(identified()).expect(activation().breaks(lost)).expect(identified("NEW00002")).expect(lookAgain());
    EXPECT_TRUE(hasStatus(activate("1", "3"), "0", "0"));
    drive_.expectDone();
    drive_.expect(identified()).expect(activation().breaks(lost)).expect(identified());
    EXPECT_EQ(messageOf(activate("1", "3")), "The link was reset.");
}

}  // namespace
}  // namespace features::jobs
