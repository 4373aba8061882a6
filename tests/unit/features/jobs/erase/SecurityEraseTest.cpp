#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>

#include "features/jobs/erase/FormatJob.h"
#include "ostrel/core/FileDescriptor.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"
#include "tests/support/StatusText.h"
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

// Word 128: supported, enabled, locked, frozen, attempts used up, enhanced erase.
constexpr uint16_t SUPPORTED = 0x01, ENABLED = 0x02, LOCKED = 0x04, FROZEN = 0x08, EXPIRED = 0x10, ENHANCED = 0x20;

/// The user password "nimbrel-erase" after word 0.
DriveBytes passwordBlock(uint8_t word0 = 0) {
    return DriveBytes(512).byte(0, word0).put(2, {'n', 'i', 'm', 'b', 'r', 'e', 'l', '-', 'e', 'r', 'a', 's', 'e'});
}
Expected security(uint8_t opcode, uint8_t word0 = 0) {
    return Expected::ata(opcode, Protocol::PIO_OUT, Addressing::BITS_28).count(1).writes(passwordBlock(word0));
}
Expected plain(uint8_t opcode, Addressing addressing = Addressing::BITS_28) {
    return Expected::ata(opcode, Protocol::NON_DATA, addressing);
}
Expected identity(uint16_t security) {
    // Two minutes for a normal erase, four for an enhanced one.
    return identifyAta().answers(identifyDevice().word(59, 0).word(89, 0x0001).word(90, 0x0002).word(128, security));
}
Expected unusedDisk() {
    return hostUses({unusedNamespace(1)});
}

/// Keeps what the user sees.
class KeptNotice : public Notice {
public:
    void show(const std::string& text) const override { texts.push_back(text); }
    mutable std::vector<std::string> texts;
};

class SecurityEraseTest : public testing::Test {
protected:
    std::string run() {
        JobRun run(job_, JOBTYPE_METHOD);
        return run.with("Type", "Delete").on({&drive_});
    }
    static std::string answer(const std::string& status) { return statusAnswer("Format", status); }
    std::vector<std::string> records() const {
        std::error_code error;
        return std::filesystem::exists(folder_ / "state", error) ? namesIn("state") : std::vector<std::string>();
    }
    std::vector<std::string> namesIn(const std::string& name) const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(folder_ / name))
            names.push_back(entry.path().filename());
        return names;
    }
    /// All that comes before the password.
    void expectPreparation(uint16_t security = SUPPORTED) {
        drive_.expect(unusedDisk())
            .expect(identity(security))  // which way
            .expect(identity(security))
            .expect(plain(0xEA, Addressing::BITS_48).completes())
            .expect(plain(0xE0).completes())
            .expect(unusedDisk());
    }

    TemporaryFolder folder_;
    FakeSataDrive drive_;
    std::shared_ptr<KeptNotice> notice_ = std::make_shared<KeptNotice>();
    FormatJob job_{std::make_shared<FakeClock>(), ErasePasswords(folder_ / "state"), notice_};
};

const char* const NOTICE =
    "Drive S1 (/dev/sda) is erased with the user password \"nimbrel-erase\", which it keeps if its power fails before "
    "the end. Do not switch it off.";
const char* const UNLOCKING =
    "Drive S1 (/dev/sda) may still have the user password \"nimbrel-erase\": run this command again, or 'hdparm "
    "--security-unlock nimbrel-erase /dev/sda' and 'hdparm --security-disable nimbrel-erase /dev/sda'.";

TEST_F(SecurityEraseTest, ADriveWithoutSanitizeIsErasedWithAPasswordThatTheUserSawBefore) {
    expectPreparation();
    drive_
        .expect(security(0xF1).completes().then([&] {
            EXPECT_EQ(notice_->texts, std::vector<std::string>{NOTICE});
            EXPECT_EQ(records().size(), 1U);
            // No signal cuts what follows.
            sigset_t blocked;
            ASSERT_EQ(pthread_sigmask(SIG_SETMASK, nullptr, &blocked), 0);
            EXPECT_EQ(sigismember(&blocked, SIGTERM), 1);
        }))
        .expect(identity(SUPPORTED | ENABLED))
        .expect(plain(0xF3).completes())
        .expect(security(0xF4).timeoutMs(240000).completes())
        .expect(identity(SUPPORTED))
        .expect(lookAgain());
    EXPECT_EQ(run(), answer("0/0 The drive was erased by a normal SECURITY ERASE UNIT and has no password."));
    EXPECT_EQ(records(), std::vector<std::string>());
}

TEST_F(SecurityEraseTest, TheEnhancedEraseIsTakenWhereTheDriveHasIt) {
    expectPreparation(SUPPORTED | ENHANCED);
    drive_.expect(security(0xF1).completes())
        .expect(identity(SUPPORTED | ENABLED | ENHANCED))
        .expect(plain(0xF3).completes())
        .expect(security(0xF4, 0x02).timeoutMs(480000).completes())
        .expect(identity(SUPPORTED | ENHANCED))
        .expect(lookAgain());
    EXPECT_EQ(run(), answer("0/0 The drive was erased by an enhanced SECURITY ERASE UNIT and has no password."));
}

TEST_F(SecurityEraseTest, WhatForbidsAPasswordIsRefusedBeforeAnythingIsSent) {
    const struct {
        uint16_t security;
        const char* code;
        const char* words;
    } cases[] = {
        {0, "14", "ATA security is not supported."},
        {SUPPORTED | FROZEN, "7", "is in the Security Frozen state."},
        {SUPPORTED | ENABLED, "163", "Drive S1 (/dev/sda) has a password that this host did not set"},
        {SUPPORTED | ENABLED | LOCKED, "163", "Drive S1 (/dev/sda) has a password that this host did not set"},
        {SUPPORTED | EXPIRED, "163", "takes no more passwords before its power is cycled."},
    };
    for (const auto& row : cases) {
        drive_.expect(unusedDisk()).expect(identity(row.security)).expect(identity(row.security));
        const std::string got = run();
        EXPECT_NE(got.find(std::string("<Property name=\"Code\" value=\"") + row.code + "\"/>"), std::string::npos)
            << got;
        EXPECT_NE(got.find(row.words), std::string::npos) << got;
        drive_.expectDone();
    }
    EXPECT_EQ(notice_->texts, std::vector<std::string>());
    EXPECT_EQ(records(), std::vector<std::string>());
}

TEST_F(SecurityEraseTest, ADriveInUseGetsNoPassword) {
    drive_.expect(hostUses({mounted(1)}));
    EXPECT_EQ(run(), answer(mountedRefusal(1)));
    drive_.expectDone();
    drive_.expect(unusedDisk())
        .expect(identity(SUPPORTED))
        .expect(identity(SUPPORTED))
        .expect(plain(0xEA, Addressing::BITS_48).completes())
        .expect(plain(0xE0).completes())
        .expect(hostUses({mounted(1)}));
    EXPECT_EQ(run(), answer(mountedRefusal(1)));
    EXPECT_EQ(records(), std::vector<std::string>());
}

TEST_F(SecurityEraseTest, AStandbyThatFailsEndsIt) {
    drive_.expect(unusedDisk())
        .expect(identity(SUPPORTED))
        .expect(identity(SUPPORTED))
        .expect(plain(0xEA, Addressing::BITS_48).completes())
        .expect(plain(0xE0).aborts());
    EXPECT_NE(run().find("<Property name=\"Code\" value=\"16\"/>"), std::string::npos);
}

TEST_F(SecurityEraseTest, APasswordThatTheDriveDoesNotReportIsAFailure) {
    expectPreparation();
    drive_.expect(security(0xF1).completes())
        .expect(identity(SUPPORTED))
        .expect(identity(SUPPORTED));  // after the failure: no password to remove
    const std::string got = run();
    EXPECT_NE(got.find("<Property name=\"Code\" value=\"10\"/>\n<Property name=\"Message\""), std::string::npos) << got;
    EXPECT_NE(got.find("Drive S1 (/dev/sda) reports no password. Drive S1 (/dev/sda) has no password."),
              std::string::npos)
        << got;
    EXPECT_EQ(records(), std::vector<std::string>());
}

TEST_F(SecurityEraseTest, AnEraseThatFailsTakesThePasswordAway) {
    expectPreparation();
    drive_.expect(security(0xF1).completes())
        .expect(identity(SUPPORTED | ENABLED))
        .expect(plain(0xF3).completes())
        .expect(security(0xF4).timeoutMs(240000).aborts())
        .expect(identity(SUPPORTED | ENABLED | LOCKED))
        .expect(security(0xF2).completes())
        .expect(security(0xF6).completes())
        .expect(identity(SUPPORTED));
    const std::string got = run();
    EXPECT_NE(got.find("<Property name=\"Code\" value=\"9\"/>"), std::string::npos) << got;
    EXPECT_NE(got.find("Drive S1 (/dev/sda) has no password."), std::string::npos) << got;
    EXPECT_EQ(records(), std::vector<std::string>());
}

TEST_F(SecurityEraseTest, APasswordThatStaysIsNamedWithTheWayToRemoveIt) {
    expectPreparation();
    drive_.expect(security(0xF1).completes())
        .expect(identity(SUPPORTED | ENABLED))
        .expect(plain(0xF3).aborts())
        .expect(identifyAta().breaks(gone()));
    std::string got = run();
    EXPECT_NE(got.find("<Property name=\"Code\" value=\"8\"/>"), std::string::npos) << got;
    const std::string apostrophe = "&apos;", quote = "&quot;";
    for (size_t at = 0; (at = got.find(apostrophe)) != std::string::npos;) got.replace(at, apostrophe.size(), "'");
    for (size_t at = 0; (at = got.find(quote)) != std::string::npos;) got.replace(at, quote.size(), "\"");
    EXPECT_NE(got.find(std::string("The drive /dev/nvme0 is gone. ") + UNLOCKING), std::string::npos) << got;
    EXPECT_EQ(records().size(), 1U);
}

TEST_F(SecurityEraseTest, ADriveThatAnInterruptedEraseLeftLockedIsErasedWithItsPassword) {
    ASSERT_TRUE(succeeded(ErasePasswords(folder_ / "state").add(*drive_.device())));
    drive_.expect(unusedDisk())
        .expect(identity(SUPPORTED | ENABLED | LOCKED))
        .expect(identity(SUPPORTED | ENABLED | LOCKED))
        .expect(unusedDisk())
        .expect(plain(0xF3).completes())
        .expect(security(0xF4).timeoutMs(240000).completes())
        .expect(identity(SUPPORTED))
        .expect(lookAgain());
    EXPECT_EQ(run(), answer("0/0 The drive was erased by a normal SECURITY ERASE UNIT and has no password."));
    EXPECT_EQ(records(), std::vector<std::string>());
}

TEST_F(SecurityEraseTest, ARecordThatCannotBeKeptForbidsThePassword) {
    std::ofstream(folder_ / "state") << "a file in the place of the folder";
    drive_.expect(unusedDisk()).expect(identity(SUPPORTED));
    const std::string got = run();
    EXPECT_NE(got.find("<Property name=\"Category\" value=\"10\"/>"), std::string::npos) << got;
    EXPECT_EQ(notice_->texts, std::vector<std::string>());
}

/// A status whose text has quotation marks.
std::string quotedAnswer(std::string status) {
    for (size_t at = 0; (at = status.find('"', at)) != std::string::npos;) status.replace(at, 1, "&quot;");
    return statusAnswer("Format", status);
}
const std::string GONE = "The drive /dev/nvme0 is gone.";
const std::string NO_PASSWORD = " Drive S1 (/dev/sda) has no password.";
std::string aborted(const std::string& command, const std::string& opcode) {
    return command + " failed on drive S1 (/dev/sda): command aborted (command " + opcode +
           ", FEATURE 0x00, ERROR 0x04, STATUS 0x51).";
}

struct End {
    std::vector<Expected> commands;
    std::string status;
    size_t records;
};

TEST_F(SecurityEraseTest, ADriveThatGoesAwayBeforeItsPasswordGetsNone) {
    const std::vector<Expected> commands = {unusedDisk(),
                                            identity(SUPPORTED),
                                            identity(SUPPORTED),
                                            plain(0xEA, Addressing::BITS_48).completes(),
                                            plain(0xE0).completes(),
                                            unusedDisk()};
    const std::string standbyFailed =
        "10/16 Standby Immediate command failed. Reboot your system and try again. If error persists, consider using "
        "a DOS-based tool for Secure Erase. ";
    for (size_t failing = 0; failing < commands.size(); ++failing) {
        for (size_t i = 0; i < failing; ++i) drive_.expect(commands[i]);
        drive_.expect(Expected(commands[failing]).breaks(gone()));
        EXPECT_EQ(run(), answer((failing == 4 ? standbyFailed : "0/70 ") + GONE)) << failing;
        drive_.expectDone();
    }
    EXPECT_EQ(notice_->texts, std::vector<std::string>());
    EXPECT_EQ(records(), std::vector<std::string>());
}

TEST_F(SecurityEraseTest, ADriveWhosePasswordIsInDoubtIsNotErased) {
    const std::string failed =
        "10/10 Security Set Password command failed. Reboot your system and try again. If error persists, consider "
        "using a DOS-based tool for Secure Erase. ";
    const End ends[] = {
        {{security(0xF1).aborts(), identity(SUPPORTED), identity(SUPPORTED)},
         failed + aborted("SECURITY SET PASSWORD", "0xF1") + NO_PASSWORD,
         0},
        {{security(0xF1).breaks(gone()), identifyAta().breaks(gone()), identifyAta().breaks(gone())},
         failed + GONE + " " + GONE + " " + UNLOCKING,
         1},
        {{security(0xF1).breaks(gone()), identity(SUPPORTED | ENABLED), identity(SUPPORTED | ENABLED),
          security(0xF6).completes(), identity(SUPPORTED)},
         failed + GONE + NO_PASSWORD,
         0},
        {{security(0xF1).completes(), identifyAta().breaks(gone()), identity(SUPPORTED | ENABLED),
          security(0xF6).completes(), identity(SUPPORTED)},
         failed + GONE + NO_PASSWORD,
         0},
    };
    for (const End& end : ends) {
        SCOPED_TRACE(end.status);
        expectPreparation();
        for (const Expected& command : end.commands) drive_.expect(command);
        EXPECT_EQ(run(), quotedAnswer(end.status));
        drive_.expectDone();
        EXPECT_EQ(records().size(), end.records);
        std::filesystem::remove_all(folder_ / "state");
    }
}

TEST_F(SecurityEraseTest, APasswordThatStaysAfterTheEraseIsAFailureAndRemembered) {
    const std::string record = folder_ / ("state/" + ErasePasswords::fileName(*drive_.device()));
    const auto makeItAFolder = [&] {
        std::filesystem::remove(record);
        std::filesystem::create_directory(record);
    };
    const End ends[] = {
        {{identifyAta().breaks(gone())}, "0/70 " + GONE, 1},
        {{identity(SUPPORTED | ENABLED), security(0xF6).aborts()},
         "0/10 " + aborted("SECURITY DISABLE PASSWORD", "0xF6"),
         1},
        {{identity(SUPPORTED | ENABLED | LOCKED), security(0xF2).aborts()},
         "0/10 " + aborted("SECURITY UNLOCK", "0xF2"),
         1},
        {{identity(SUPPORTED | ENABLED), security(0xF6).completes(), identifyAta().breaks(gone())}, "0/70 " + GONE, 1},
        {{identity(SUPPORTED | ENABLED), security(0xF6).completes(), identity(SUPPORTED | ENABLED)},
         "10/163 The configuration cannot be updated on the selected drive because security is enabled. Consider "
         "turning off security before changing the configuration with the tool. The password is still set.",
         1},
        {{identity(SUPPORTED).then(makeItAFolder)},
         "10/168 Failed to write to file. " + record + ": Is a directory.",
         1},
    };
    for (const End& end : ends) {
        SCOPED_TRACE(end.status);
        expectPreparation();
        drive_.expect(security(0xF1).completes())
            .expect(identity(SUPPORTED | ENABLED))
            .expect(plain(0xF3).completes())
            .expect(security(0xF4).timeoutMs(240000).completes());
        for (const Expected& command : end.commands) drive_.expect(command);
        EXPECT_EQ(run(), quotedAnswer(end.status + " The drive was erased. " + UNLOCKING));
        drive_.expectDone();
        EXPECT_EQ(records().size(), end.records);
        std::filesystem::remove_all(folder_ / "state");
    }
}

TEST_F(SecurityEraseTest, TheHostThatDoesNotLookAgainIsReportedAfterTheErase) {
    expectPreparation();
    drive_.expect(security(0xF1).completes())
        .expect(identity(SUPPORTED | ENABLED))
        .expect(plain(0xF3).completes())
        .expect(security(0xF4).timeoutMs(240000).completes())
        .expect(identity(SUPPORTED))
        .expect(lookAgain().breaks(gone()));
    EXPECT_EQ(run(),
              answer("0/70 " + GONE + " The drive was erased by a normal SECURITY ERASE UNIT and has no password."));
    EXPECT_EQ(records(), std::vector<std::string>());
}

/// Word 89 in units of two minutes; the largest number means more than it. Twice that, and at least twelve hours where
/// the drive does not say how long it takes.
TEST_F(SecurityEraseTest, TheEraseHasTwiceTheTimeThatTheDriveReports) {
    const struct {
        uint16_t word89;
        uint32_t ms;
    } cases[] = {
        {0x0001, 240000},   {0x00FE, 60960000}, {0x00FF, 60960000},   {0x0000, 43200000},
        {0xFFFF, 43200000}, {0x8003, 720000},   {0xFFFE, 4294920000},  // as long as a time-out can be
    };
    for (const auto& c : cases) {
        const auto identified = [&](uint16_t security) {
            return identifyAta().answers(identifyDevice().word(59, 0).word(89, c.word89).word(128, security));
        };
        drive_.expect(unusedDisk())
            .expect(identified(SUPPORTED))
            .expect(identified(SUPPORTED))
            .expect(plain(0xEA, Addressing::BITS_48).completes())
            .expect(plain(0xE0).completes())
            .expect(unusedDisk())
            .expect(security(0xF1).completes())
            .expect(identified(SUPPORTED | ENABLED))
            .expect(plain(0xF3).completes())
            .expect(security(0xF4).timeoutMs(c.ms).completes())
            .expect(identified(SUPPORTED))
            .expect(lookAgain());
        EXPECT_EQ(run(), answer("0/0 The drive was erased by a normal SECURITY ERASE UNIT and has no password."))
            << c.word89;
        drive_.expectDone();
    }
}

TEST_F(SecurityEraseTest, ARecordThatCannotBeReadOrKeptEndsItBeforeThePassword) {
    const std::string record = folder_ / ("state/" + ErasePasswords::fileName(*drive_.device()));
    drive_.expect(unusedDisk()).expect(identity(SUPPORTED | ENABLED)).expect(identity(SUPPORTED | ENABLED).then([&] {
        std::filesystem::create_directory(folder_ / "state");
        std::filesystem::create_symlink("elsewhere", record);
    }));
    EXPECT_EQ(run(), answer("10/54 Unable to open " + record + ": Too many levels of symbolic links"));
    drive_.expectDone();
    std::filesystem::remove_all(folder_ / "state");
    drive_.expect(unusedDisk())
        .expect(identity(SUPPORTED))
        .expect(identity(SUPPORTED))
        .expect(plain(0xEA, Addressing::BITS_48).completes())
        .expect(plain(0xE0).completes())
        .expect(unusedDisk().then([&] { std::ofstream(folder_ / "state") << "a file"; }));
    EXPECT_EQ(run(),
              answer("10/194 Failed to create directory. Unable to open " + (folder_ / "state") + ": Not a directory"));
    EXPECT_EQ(notice_->texts, std::vector<std::string>());
}

TEST_F(SecurityEraseTest, ADriveWithoutASerialNumberHasNoRecordAndGetsNoPassword) {
    FakeSataDrive nameless("");
    nameless.expect(unusedDisk()).expect(identity(SUPPORTED));
    JobRun run(job_, JOBTYPE_METHOD);
    const std::string noRecord =
        "10/33 Failed to retrieve data from selected device. Drive /dev/sda has no serial number to keep a record "
        "under.";
    EXPECT_EQ(run.with("Type", "Delete").on({&nameless}),
              output(statusObject("Format", "10", "33", noRecord.substr(6), "sda")));
    const ErasePasswords passwords(folder_ / "state");
    EXPECT_EQ(statusText(passwords.has(*nameless.device())), noRecord);
    EXPECT_EQ(statusText(passwords.add(*nameless.device())), noRecord);
    EXPECT_EQ(statusText(passwords.remove(*nameless.device())), noRecord);
    EXPECT_EQ(records(), std::vector<std::string>());
}

/// A sanitize operation without passwords, of a drive that may have been left with one and has none any more.
TEST(AtaDelete, ADriveWithSanitizeGetsNoPassword) {
    const TemporaryFolder folder;
    const ErasePasswords passwords(folder / "state");
    const auto sanitizeStatus = [](uint16_t count) {
        return Expected::ata(0xB4, Protocol::NON_DATA, Addressing::BITS_48)
            .wantsRegisters()
            .returns({0x00, 0x50, 0x40, count, 0xFFFF});
    };
    const auto identified = [] { return identifyAta().answers(identifyDevice().word(59, 0xB000).word(128, 0x01)); };
    for (const bool wasInterrupted : {false, true}) {
        FakeSataDrive drive;
        const Status left = wasInterrupted ? passwords.add(*drive.device()) : Status();
        ASSERT_TRUE(succeeded(left));
        drive.expect(unusedDisk())
            .expect(identified())
            .expect(unusedDisk())
            .expect(identified())
            .expect(sanitizeStatus(0))
            .expect(unusedDisk())
            .expect(Expected::ata(0xB4, Protocol::NON_DATA, Addressing::BITS_48)
                        .feature(0x0012)
                        .lba(0x426B4572)
                        .wantsRegisters()
                        .completes())
            .expect(sanitizeStatus(0x8000))
            .expect(lookAgain());
        FormatJob job(std::make_shared<FakeClock>(), passwords);
        EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with("Type", "Delete").on({&drive}),
                  statusAnswer("Format", "0/0 The drive was sanitized. Method: block erase."));
        EXPECT_EQ(passwords.has(*drive.device()), false) << "a password that it gets later is not ours";
    }
}

/// Sanitizes such a drive to the end. `action`: the command's FEATURE and LBA. `last`: the host's look at the drive.
void expectSanitize(FakeSataDrive& drive, uint16_t word59, uint16_t feature, uint32_t key, const Expected& last) {
    const auto identified = identifyAta().answers(identifyDevice().word(59, word59).word(128, 0x01));
    const auto command = [](uint16_t action) {
        return Expected::ata(0xB4, Protocol::NON_DATA, Addressing::BITS_48).feature(action).wantsRegisters();
    };
    drive.expect(unusedDisk())
        .expect(identified)
        .expect(unusedDisk())
        .expect(identified)
        .expect(command(0).returns({0x00, 0x50, 0x40, 0, 0xFFFF}))
        .expect(unusedDisk())
        .expect(command(feature).lba(key).completes())
        .expect(command(0).returns({0x00, 0x50, 0x40, 0x8000, 0xFFFF}))
        .expect(last);
}

TEST(AtaDelete, ADriveWithoutBlockEraseIsScrambled) {
    const TemporaryFolder folder;
    FakeSataDrive drive;
    expectSanitize(drive, 0x3000, 0x0011, 0x43727970, lookAgain());
    FormatJob job(std::make_shared<FakeClock>(), ErasePasswords(folder / "state"));
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with("Type", "Delete").on({&drive}),
              statusAnswer("Format", "0/0 The drive was sanitized. Method: crypto scramble."));
}

TEST(AtaDelete, ARecordThatCannotBeRemovedIsReportedAfterTheErase) {
    const TemporaryFolder folder;
    const ErasePasswords passwords(folder / "state");
    FakeSataDrive drive;
    ASSERT_TRUE(succeeded(passwords.add(*drive.device())));
    const std::string record = folder / ("state/" + ErasePasswords::fileName(*drive.device()));
    expectSanitize(drive, 0xB000, 0x0012, 0x426B4572, lookAgain().then([&] {
        std::filesystem::remove(record);
        std::filesystem::create_directory(record);
    }));
    FormatJob job(std::make_shared<FakeClock>(), passwords);
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with("Type", "Delete").on({&drive}),
              statusAnswer("Format",
                           "10/168 Failed to write to file. " + record + ": Is a directory. The drive was sanitized."));
}

TEST(ErasePasswords, ARecordBelongsToOneDrive) {
    const TemporaryFolder folder;
    const ErasePasswords passwords(folder / "state");
    const FakeSataDrive first("S/1"), second("S 2");
    EXPECT_EQ(passwords.has(*first.device()), false);
    EXPECT_TRUE(succeeded(passwords.add(*first.device())));
    EXPECT_EQ(passwords.has(*first.device()), true);
    EXPECT_EQ(passwords.has(*second.device()), false);
    EXPECT_TRUE(succeeded(passwords.remove(*first.device())));
    EXPECT_TRUE(succeeded(passwords.remove(*first.device())));
    EXPECT_EQ(passwords.has(*first.device()), false);
}

TEST(ErasePasswords, AnUnreadableRecordIsNotNone) {
    const TemporaryFolder folder;
    const FakeSataDrive drive;
    const ErasePasswords passwords(folder / "state");
    std::filesystem::create_directory(folder / "state");
    std::filesystem::create_symlink("elsewhere", folder / ("state/" + ErasePasswords::fileName(*drive.device())));
    const auto has = passwords.has(*drive.device());
    ASSERT_FALSE(has);
    EXPECT_TRUE(has.error().is(10, 54)) << has.error().getMessage();
}

}  // namespace
}  // namespace features::jobs
