#include <gtest/gtest.h>

#include "features/jobs/erase/FormatJob.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/unit/features/jobs/Commands.h"
#include "tests/unit/features/jobs/FakeClock.h"
#include "tests/unit/features/jobs/JobRun.h"
#include "tests/unit/features/jobs/StatusAnswer.h"
#include "tests/unit/features/jobs/UsedNamespaces.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::core;
using namespace ostrel::interfaces::ostreli;
using ata::Addressing;
using ata::Protocol;
using ata::Registers;
using Words = std::vector<std::pair<const char*, const char*>>;

constexpr uint16_t ALL_SANITIZE = 0xF000;  // block erase, overwrite, crypto scramble, the feature set
constexpr uint16_t COMPLETED = 0x8000, RUNNING = 0x4000, FROZEN = 0x2000;

Expected sanitizeStatus(uint16_t count, uint64_t lba = 0xFFFF) {
    return Expected::ata(0xB4, Protocol::NON_DATA, Addressing::BITS_48)
        .feature(0x0000)
        .wantsRegisters()
        .returns({0x00, 0x50, 0x40, count, lba});
}
Expected blockErase() {
    return Expected::ata(0xB4, Protocol::NON_DATA, Addressing::BITS_48)
        .feature(0x0012)
        .lba(0x426B4572)
        .wantsRegisters();
}
Expected cryptoScramble() {
    return Expected::ata(0xB4, Protocol::NON_DATA, Addressing::BITS_48)
        .feature(0x0011)
        .lba(0x43727970)
        .wantsRegisters();
}
Expected unusedDisk() {
    return hostUses({unusedNamespace(1)});
}

class AtaSanitizeTest : public testing::Test {
protected:
    std::string run(const Words& words) {
        JobRun run(job_, JOBTYPE_METHOD);
        run.with("Type", "Sanitize");
        for (const auto& [key, value] : words) run.with(key, value);
        return run.on({&drive_});
    }
    static std::string answer(const std::string& status) { return statusAnswer("Format", status); }
    /// All that comes before the command.
    void expectLook() {
        drive_.expect(unusedDisk())
            .expect(identifyAta().answers(identifyDevice().word(59, ALL_SANITIZE)))
            .expect(sanitizeStatus(0))
            .expect(unusedDisk());
    }

    TemporaryFolder folder_;
    FakeSataDrive drive_;
    std::shared_ptr<FakeClock> clock_ = std::make_shared<FakeClock>();
    FormatJob job_{clock_, ErasePasswords(folder_ / "state")};
};

TEST_F(AtaSanitizeTest, ABlockEraseIsFollowedToItsEnd) {
    expectLook();
    drive_.expect(blockErase().completes())
        .expect(sanitizeStatus(RUNNING, 0x4000))
        .expect(sanitizeStatus(RUNNING, 0xC000))
        .expect(sanitizeStatus(COMPLETED))
        .expect(lookAgain());
    EXPECT_EQ(run({{"SanitizeAction", "2"}}), answer("0/0 The drive was sanitized."));
    EXPECT_EQ(clock_->sleeps(), (std::vector<uint64_t>{1000, 1000}));
}

TEST_F(AtaSanitizeTest, ACryptoScrambleIsTheCryptoEraseOfNvme) {
    expectLook();
    drive_.expect(cryptoScramble().completes()).expect(sanitizeStatus(COMPLETED)).expect(lookAgain());
    EXPECT_EQ(run({{"SanitizeAction", "4"}}), answer("0/0 The drive was sanitized."));
}

TEST_F(AtaSanitizeTest, TheUserMayGoOnAtOnce) {
    expectLook();
    drive_.expect(blockErase().completes());
    EXPECT_EQ(run({{"SanitizeAction", "2"}, {"ReturnImmediately", "True"}}),
              answer("0/0 The sanitize operation was started and goes on in the drive."));
}

TEST_F(AtaSanitizeTest, OnlyCompletedWithoutErrorIsASuccess) {
    expectLook();
    drive_.expect(blockErase().completes()).expect(sanitizeStatus(RUNNING, 0x4000)).expect(sanitizeStatus(0));
    EXPECT_EQ(run({{"SanitizeAction", "2"}}),
              answer("10/25 Sanitize command failed. Drive S1 (/dev/sda) reports that its last sanitize operation has "
                     "failed."));
}

TEST_F(AtaSanitizeTest, AResetOfTheLinkDoesNotEndTheOperation) {
    const Status reset(CATEGORY_CORE, 70, "The link was reset.");
    const auto lost = [&] { return sanitizeStatus(0).breaks(reset); };
    expectLook();
    drive_.expect(blockErase().completes())
        .expect(sanitizeStatus(RUNNING, 0x1000))
        .expect(lost())
        .expect(lost())
        .expect(sanitizeStatus(COMPLETED))
        .expect(lookAgain());
    EXPECT_EQ(run({{"SanitizeAction", "2"}}), answer("0/0 The drive was sanitized."));
}

TEST_F(AtaSanitizeTest, ADriveThatStaysSilentHasAnUnknownEnd) {
    const Status reset(CATEGORY_CORE, 70, "The link was reset.");
    expectLook();
    drive_.expect(blockErase().completes());
    for (int second = 0; second <= 30; ++second) drive_.expect(sanitizeStatus(0).breaks(reset));
    EXPECT_EQ(
        run({{"SanitizeAction", "2"}}),
        answer("0/70 The link was reset. The sanitize operation was started; whether it has ended is not known."));
}

TEST_F(AtaSanitizeTest, LostRegistersAreNoEnd) {
    using ata::RegistersMissing;
    expectLook();
    drive_.expect(blockErase().completes());
    for (int second = 0; second <= 30; ++second)
        drive_.expect(sanitizeStatus(0).lacksRegisters(RegistersMissing::NO_DESCRIPTOR));
    const std::string got = run({{"SanitizeAction", "2"}});
    EXPECT_NE(got.find("<Property name=\"Code\" value=\"15\"/>"), std::string::npos) << got;
    EXPECT_NE(got.find("whether it has ended is not known."), std::string::npos) << got;
}

TEST_F(AtaSanitizeTest, ADriveThatDoesNotMoveForADayIsLeftToItself) {
    expectLook();
    drive_.expect(blockErase().completes());
    // A question a second for a minute, then one each ten seconds.
    for (unsigned polls = 0; polls < 60 + (86400 - 60) / 10 + 1; ++polls) drive_.expect(sanitizeStatus(RUNNING, 0));
    EXPECT_EQ(run({{"SanitizeAction", "2"}}),
              answer("10/226 Sanitize operation in progress. It has stayed at 0.00 percent for a day."));
}

TEST_F(AtaSanitizeTest, WhatADriveCannotDoIsRefusedBeforeAnythingIsErased) {
    const struct {
        uint16_t word59;
        uint16_t word128;
        const char* action;
        const char* status;
    } cases[] = {
        {0x0000, 0x0001, "2", "10/20 Sanitize command not supported on the selected device."},
        {0x5000, 0x0001, "2", "10/22 Sanitize block erase not supported on the selected device."},
        {0x9000, 0x0001, "4", "10/21 Sanitize crypto scramble not supported on the selected device."},
        {ALL_SANITIZE, 0x0007, "2",
         "10/163 The configuration cannot be updated on the selected drive because security is enabled. Consider "
         "turning off security before changing the configuration with the tool. Drive S1 (/dev/sda) is locked by a "
         "password: unlock it first."},
    };
    for (const auto& row : cases) {
        drive_.expect(unusedDisk())
            .expect(identifyAta().answers(identifyDevice().word(59, row.word59).word(128, row.word128)));
        EXPECT_EQ(run({{"SanitizeAction", row.action}}), answer(row.status));
        drive_.expectDone();
    }
}

TEST_F(AtaSanitizeTest, AFrozenDriveAndOneThatIsBeingSanitizedAreLeftAlone) {
    const auto expectState = [&](uint16_t count, uint64_t lba) {
        drive_.expect(unusedDisk())
            .expect(identifyAta().answers(identifyDevice().word(59, ALL_SANITIZE)))
            .expect(sanitizeStatus(count, lba));
    };
    expectState(FROZEN, 0xFFFF);
    EXPECT_NE(run({{"SanitizeAction", "2"}}).find("<Property name=\"Code\" value=\"23\"/>"), std::string::npos);
    drive_.expectDone();
    expectState(RUNNING, 0x8000);
    EXPECT_EQ(run({{"SanitizeAction", "2"}}),
              answer("10/226 Sanitize operation in progress. It was begun before, 50.00 percent are done."));
}

TEST_F(AtaSanitizeTest, OptionsOfNvmeDrivesAreRefusedBeforeTheDriveIsAsked) {
    const std::string overwrite = answer(
        "10/224 Sanitize overwrite erase not supported on this device. A SATA drive takes block erase and crypto "
        "erase.");
    EXPECT_EQ(run({{"SanitizeAction", "3"}}), overwrite);
    EXPECT_EQ(run({{"SanitizeAction", "1"}}), overwrite);
    const std::string option = answer("10/24 Unsupported value for sanitize. SATA drives do not have this option.");
    EXPECT_EQ(run({{"SanitizeAction", "2"}, {"AllowUnrestrictedExit", "True"}}), option);
    EXPECT_EQ(run({{"SanitizeAction", "2"}, {"NoDeallocateAfterSanitize", "True"}}), option);
}

TEST_F(AtaSanitizeTest, TheGateIsPassedBeforeTheFirstQuestionAndBeforeTheCommand) {
    drive_.expect(hostUses({mounted(1)}));
    EXPECT_EQ(run({{"SanitizeAction", "2"}}), answer(mountedRefusal(1)));
    drive_.expectDone();
    drive_.expect(unusedDisk())
        .expect(identifyAta().answers(identifyDevice().word(59, ALL_SANITIZE)))
        .expect(sanitizeStatus(0))
        .expect(hostUses({mounted(1)}));
    EXPECT_EQ(run({{"SanitizeAction", "2"}}), answer(mountedRefusal(1)));
    drive_.expectDone();
    drive_.expect(hostUses({partitioned(1)}));
    EXPECT_EQ(run({{"SanitizeAction", "2"}}), answer(partitionRefusal(1)));
}

TEST_F(AtaSanitizeTest, ARefusalOfTheDriveHasItsReason) {
    expectLook();
    drive_.expect(blockErase().returns({0x04, 0x51, 0x40, 0, 0x02}));
    const std::string got = run({{"SanitizeAction", "2"}});
    EXPECT_NE(got.find("<Property name=\"Code\" value=\"25\"/>"), std::string::npos) << got;
    EXPECT_NE(got.find("The drive&apos;s reason: a parameter is not supported."), std::string::npos) << got;
}

TEST_F(AtaSanitizeTest, ARefusalWithoutAReasonHasNone) {
    const Expected refusals[] = {
        blockErase().returns({0x04, 0x51, 0x40, 0, 0x00}),
        blockErase().returns({0x04, 0x51, 0x40, 0, 0x05}),
        blockErase().lacksRegisters(ata::RegistersMissing::NO_DESCRIPTOR, false),
    };
    for (const Expected& refusal : refusals) {
        expectLook();
        drive_.expect(refusal);
        const std::string got = run({{"SanitizeAction", "2"}});
        drive_.expectDone();
        EXPECT_NE(got.find("<Property name=\"Code\" value=\"25\"/>"), std::string::npos) << got;
        EXPECT_EQ(got.find("reason"), std::string::npos) << got;
    }
}

TEST_F(AtaSanitizeTest, ADriveThatGoesAwayBeforeTheCommandIsSentNone) {
    const std::vector<Expected> commands = {
        unusedDisk(), identifyAta().answers(identifyDevice().word(59, ALL_SANITIZE)), sanitizeStatus(0), unusedDisk()};
    for (size_t failing = 0; failing < commands.size(); ++failing) {
        for (size_t i = 0; i < failing; ++i) drive_.expect(commands[i]);
        drive_.expect(Expected(commands[failing]).breaks(gone()));
        EXPECT_EQ(run({{"SanitizeAction", "2"}}), answer("0/70 The drive /dev/nvme0 is gone.")) << failing;
        drive_.expectDone();
    }
}

TEST_F(AtaSanitizeTest, TheHostThatDoesNotLookAgainIsReportedAfterTheErase) {
    expectLook();
    drive_.expect(blockErase().completes()).expect(sanitizeStatus(COMPLETED)).expect(lookAgain().breaks(gone()));
    EXPECT_EQ(run({{"SanitizeAction", "2"}}), answer("0/70 The drive /dev/nvme0 is gone. The drive was sanitized."));
}

TEST_F(AtaSanitizeTest, AFormatOfNvmeIsRefused) {
    JobRun run(job_, JOBTYPE_METHOD);
    EXPECT_EQ(run.with("Type", "NVMeFormat").on({&drive_}),
              answer("0/35 Device does not support this command set. S1 (/dev/sda) is a SATA drive."));
}

}  // namespace
}  // namespace features::jobs
