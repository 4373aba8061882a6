#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <fstream>
#include <sstream>

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
using Words = std::vector<std::pair<const char*, const char*>>;

constexpr std::time_t NEW_YEAR_2026 = 1767225600;
const std::string NAME = "FAKE%20DRIVE,S1,20260101T000000Z";

class ErasureRecordsTest : public testing::Test {
protected:
    std::string run(const Words& words) { return run(words, drive_); }
    std::string run(const Words& words, FakeDrive& drive) {
        JobRun run(job_, JOBTYPE_METHOD);
        for (const auto& [key, value] : words) run.with(key, value);
        return run.on({&drive});
    }
    std::string folder() const { return folder_ / "state/erasures"; }
    std::vector<std::string> names() const {
        std::vector<std::string> names;
        if (!std::filesystem::exists(folder())) return names;
        for (const auto& entry : std::filesystem::directory_iterator(folder()))
            names.push_back(entry.path().filename());
        std::sort(names.begin(), names.end());
        return names;
    }
    std::string content(const std::string& name) const {
        std::ostringstream text;
        text << std::ifstream(folder() + "/" + name).rdbuf();
        return text.str();
    }
    static DriveBytes log(uint16_t status) { return DriveBytes(512).le16(0, 0xFFFF).le16(2, status).le32(4, 2); }
    static DriveBytes controller() {
        return identifyController().le32(328, 7).put(64, {'F', 'W', '1'}).le64(280, 1 << 30);
    }
    /// A block erase up to the look at whose drive it is.
    void expectChecks() {
        drive_.expect(hostUses({unusedNamespace(1)}))
            .expect(identify(1).answers(controller()))
            .expect(lookAtLog(0x81, 512).answers(log(0)));
    }
    /// A block erase up to its command.
    void expectLook() {
        expectChecks();
        drive_.expect(identify(1).answers(controller()))
            .expect(identify(2).answers(DriveBytes(4096)))
            .expect(hostUses({unusedNamespace(1)}));
    }
    static DriveBytes sanitizable() { return identifyDevice().word(59, 0xF000); }
    static Expected sanitizeStatus() {
        return Expected::ata(0xB4, ata::Protocol::NON_DATA, ata::Addressing::BITS_48)
            .wantsRegisters()
            .returns({0x00, 0x50, 0x40, 0, 0xFFFF});
    }
    /// The same of a SATA drive.
    static void expectChecks(FakeSataDrive& sata) {
        sata.expect(hostUses({unusedNamespace(1)}))
            .expect(identifyAta().answers(sanitizable()))
            .expect(sanitizeStatus());
    }
    static Expected ataBlockErase() {
        return Expected::ata(0xB4, ata::Protocol::NON_DATA, ata::Addressing::BITS_48)
            .feature(0x0012)
            .lba(0x426B4572)
            .wantsRegisters();
    }
    /// After the checks: what is looked at once more, and the command.
    static FakeDrive& expectBlockErase(FakeSataDrive& sata, const Expected& command) {
        return sata.expect(identifyAta().answers(sanitizable()))
            .expect(identifyAta().answers(sanitizable().word(83, 0x4000)))
            .expect(hostUses({unusedNamespace(1)}))
            .expect(command);
    }
    static Expected blockErase() { return Expected::admin(0x84).dword(10, 2); }

    TemporaryFolder folder_;
    FakeDrive drive_;
    std::time_t now_ = NEW_YEAR_2026;
    FormatJob job_{std::make_shared<FakeClock>(), ErasePasswords(folder_ / "state"), std::make_shared<const Notice>(),
                   std::make_shared<const ErasureRecords>(folder_ / "state", [this] { return now_++; })};
};

const Words SANITIZE{{"Type", "Sanitize"}, {"SanitizeAction", "2"}};

TEST_F(ErasureRecordsTest, ASanitizeLeavesARecordInBothForms) {
    expectLook();
    drive_.expect(blockErase().completes())
        .expect(lookAtLog(0x81, 512).answers(log(0x0101)))
        .expect(lookAgain())
        .expect(lookAtLog(0x81, 512).answers(log(0x0101)));
    EXPECT_EQ(run(SANITIZE), statusAnswer("Format", "0/0 The drive was sanitized."));
    drive_.expectDone();
    EXPECT_EQ(names(), (std::vector<std::string>{NAME + ".json", NAME + ".txt"}));
    EXPECT_EQ(content(NAME + ".json"), R"({
  "drive": {
    "serialNumber": "S1",
    "modelNumber": "FAKE DRIVE",
    "firmware": "FW1",
    "path": "\/dev\/nvme0",
    "capacityBytes": 1073741824
  },
  "method": {
    "sanitization": "purge",
    "technique": "block erase",
    "command": "Sanitize (NVMe), Block Erase",
    "namespaces": "all"
  },
  "run": {
    "start": "2026-01-01T00:00:00Z",
    "end": "2026-01-01T00:00:01Z",
    "outcome": "success",
    "status": "0\/0",
    "message": "The drive was sanitized."
  },
  "reported": {
    "sstat": "0x0101",
    "sstatText": "the most recent sanitize operation completed successfully",
    "sprog": "0xFFFF",
    "scdw10": "0x00000002"
  },
  "verification": {
    "notDone": "The drive has no blocks that can be sampled."
  }
}
)");
    EXPECT_EQ(content(NAME + ".txt"), R"(Record of an erase

Drive
  Serial number: S1
  Model number: FAKE DRIVE
  Firmware: FW1
  Path: /dev/nvme0
  Capacity in bytes: 1073741824

Method (IEEE 2883)
  Sanitization: purge
  Technique: block erase
  Command: Sanitize (NVMe), Block Erase
  Namespaces: all

Run
  Start (UTC): 2026-01-01T00:00:00Z
  End (UTC): 2026-01-01T00:00:01Z
  Outcome: success
  Status: 0/0
  Message: The drive was sanitized.

Reported by the drive
  Sanitize Status (SSTAT): 0x0101
  Meaning: the most recent sanitize operation completed successfully
  Sanitize Progress (SPROG): 0xFFFF
  Command dword 10 (SCDW10): 0x00000002

Verification by samples
  Not done: The drive has no blocks that can be sampled.
)");
    for (const std::string& name : names()) {
        struct stat status = {};
        ASSERT_EQ(::stat((folder() + "/" + name).c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777, 0600U) << name;
    }
}

TEST_F(ErasureRecordsTest, TheRecordIsThereBeforeTheEnd) {
    expectLook();
    drive_.expect(blockErase().completes())
        .expect(lookAtLog(0x81, 512).answers(log(0x0103)).then([&] {
            EXPECT_NE(content(NAME + ".json").find(R"("end": null,
    "outcome": "started",
    "status": null,
    "message": null)"),
                      std::string::npos);
        }))
        .expect(lookAtLog(0x81, 512).answers(log(0x0103)));
    (void)run(SANITIZE);
    EXPECT_NE(content(NAME + ".json").find(R"("outcome": "failure",
    "status": "10\/25")"),
              std::string::npos)
        << content(NAME + ".json");
}

TEST_F(ErasureRecordsTest, OneThatGoesOnWithoutTheToolHasNoEnd) {
    expectLook();
    drive_.expect(blockErase().completes());
    (void)run({{"Type", "Sanitize"}, {"SanitizeAction", "2"}, {"ReturnImmediately", "true"}});
    drive_.expectDone();
    EXPECT_NE(content(NAME + ".txt").find("  End (UTC): -\n  Outcome: started\n"), std::string::npos);
}

TEST_F(ErasureRecordsTest, WhatWasNotStartedLeavesNone) {
    drive_.expect(hostUses({mounted(1)}));
    (void)run(SANITIZE);
    expectLook();
    drive_.expect(blockErase().refuses(0x0002));
    (void)run(SANITIZE);
    drive_.expectDone();
    EXPECT_EQ(names(), std::vector<std::string>());
}

/// Internal Error, Command Abort Requested, and Write Fault: the drive may have erased a part.
TEST_F(ErasureRecordsTest, AnEraseThatTheDriveBrokeOffLeavesOne) {
    const DriveBytes controller = identifyController().le16(256, 0x0002);
    size_t files = 0;
    for (const uint16_t statusField : {uint16_t{0x0006}, uint16_t{0x0007}, uint16_t{0x0280}}) {
        drive_.expect(hostUses({unusedNamespace(1)}))
            .expect(identify(1).answers(controller))
            .expect(identify(0, 1).answers(identifyNamespace(1000)))
            .expect(identify(1).answers(controller))
            .expect(identify(2).answers(DriveBytes(4096)))
            .expect(hostUses({unusedNamespace(1)}))
            .expect(Expected::admin(0x80).nsid(1).dword(10, 0x200).refuses(statusField));
        (void)run({{"Type", "NVMeFormat"}, {"NamespaceId", "1"}, {"SecureEraseSetting", "1"}});
        drive_.expectDone();
        EXPECT_EQ(names().size(), files += 2) << statusField;
    }
    expectLook();
    drive_.expect(blockErase().refuses(0x0006)).expect(lookAtLog(0x81, 512).answers(log(0)));
    (void)run(SANITIZE);
    drive_.expectDone();
    EXPECT_EQ(names().size(), files + 2);
}

TEST_F(ErasureRecordsTest, ADriveThatIsAnotherOneByNowIsSentNothingAndLeavesNone) {
    expectChecks();
    drive_.expect(identify(1).breaks(gone()));
    EXPECT_EQ(run(SANITIZE), statusAnswer("Format", "0/70 The drive /dev/nvme0 is gone."));
    drive_.expectDone();
    EXPECT_EQ(names(), std::vector<std::string>());
}

TEST_F(ErasureRecordsTest, ASataDriveThatIsAnotherOneByNowIsSentNothingAndLeavesNone) {
    FakeSataDrive sata;
    expectChecks(sata);
    sata.expect(identifyAta().breaks(gone()));
    EXPECT_EQ(run(SANITIZE, sata), statusAnswer("Format", "0/70 The drive /dev/nvme0 is gone."));
    sata.expectDone();
    EXPECT_EQ(names(), std::vector<std::string>());
}

TEST_F(ErasureRecordsTest, WhatTheTranslatorRefusedLeavesNoneAndWhatWasLostOnTheWayDoes) {
    const struct {
        Status status;
        const char* answer;
        size_t files;
    } cases[] = {
        {Status(0, 11, "Refused."), "0/11 Refused.", 0},
        {Status(0, 69, "Late."), "0/69 Late. Whether the sanitize operation was started is not known.", 2},
    };
    for (const auto& c : cases) {
        FakeSataDrive sata;
        expectChecks(sata);
        expectBlockErase(sata, ataBlockErase().breaks(c.status));
        if (c.files != 0) sata.expect(sanitizeStatus());
        const std::string got = run(SANITIZE, sata);
        EXPECT_NE(got.find(statusAnswer("Format", c.answer)), std::string::npos) << got;
        sata.expectDone();
        EXPECT_EQ(names().size(), c.files) << c.answer;
    }
}

/// Its blocks would be missing among the samples, and the record would not say so.
TEST_F(ErasureRecordsTest, ANamespaceWhoseCommandSetCannotBeReadIsNotPassedOver) {
    const DriveBytes controller14 = controller().le32(80, 0x00010400);
    drive_.expect(hostUses({unusedNamespace(1)}))
        .expect(identify(1).answers(controller14))
        .expect(lookAtLog(0x81, 512).answers(log(0)))
        .expect(identify(1).answers(controller14))
        .expect(identify(2).answers(DriveBytes(4096).le32(0, 1)))
        .expect(identify(3, 1).breaks(Status(0, 69, "Late.")))
        .expect(hostUses({unusedNamespace(1)}))
        .expect(blockErase().completes())
        .expect(lookAtLog(0x81, 512).answers(log(0x0101)))
        .expect(lookAgain())
        .expect(lookAtLog(0x81, 512).answers(log(0x0101)));
    EXPECT_EQ(run(SANITIZE), statusAnswer("Format", "0/0 The drive was sanitized."));
    drive_.expectDone();
    EXPECT_NE(content(NAME + ".json").find("\"notDone\": \"Late.\""), std::string::npos) << content(NAME + ".json");
}

TEST_F(ErasureRecordsTest, AnotherRecordIsNeverReplaced) {
    std::filesystem::create_directories(folder());
    std::ofstream(folder() + "/" + NAME + ".txt") << "an older one";
    expectLook();
    drive_.expect(blockErase().completes());
    (void)run({{"Type", "Sanitize"}, {"SanitizeAction", "2"}, {"ReturnImmediately", "true"}});
    EXPECT_EQ(names(), (std::vector<std::string>{NAME + "-2.json", NAME + "-2.txt", NAME + ".txt"}));
    EXPECT_EQ(content(NAME + ".txt"), "an older one");
}

TEST_F(ErasureRecordsTest, ARecordThatCannotBeWrittenFailsTheCommandAfterTheErase) {
    std::filesystem::create_directories(folder_ / "state");
    std::ofstream(folder()) << "a file in the place of the folder";
    expectLook();
    drive_.expect(blockErase().completes())
        .expect(lookAtLog(0x81, 512).answers(log(0x0101)))
        .expect(lookAgain())
        .expect(lookAtLog(0x81, 512).answers(log(0x0101)));
    const std::string got = run(SANITIZE);
    drive_.expectDone();
    EXPECT_NE(got.find("<Property name=\"Code\" value=\"194\"/>"), std::string::npos) << got;
    EXPECT_NE(got.find("The record of the erase could not be written: "), std::string::npos) << got;
    EXPECT_NE(got.find("The drive was sanitized."), std::string::npos) << got;
}

/// The erase itself is done: what the drive says of it afterwards belongs into the record, also when it says nothing.
TEST_F(ErasureRecordsTest, AReportThatCannotBeReadIsInTheRecord) {
    expectLook();
    drive_.expect(blockErase().completes())
        .expect(lookAtLog(0x81, 512).answers(log(0x0101)))
        .expect(lookAgain())
        .expect(lookAtLog(0x81, 512).breaks(gone()));
    EXPECT_EQ(run(SANITIZE), statusAnswer("Format", "0/0 The drive was sanitized."));
    drive_.expectDone();
    EXPECT_NE(
        content(NAME + ".txt").find("Reported by the drive\n  Could not be read: The drive /dev/nvme0 is gone.\n"),
        std::string::npos)
        << content(NAME + ".txt");
}

TEST_F(ErasureRecordsTest, AReportOfASataDriveThatCannotBeReadIsInTheRecord) {
    FakeSataDrive sata;
    expectChecks(sata);
    expectBlockErase(sata, ataBlockErase().completes())
        .expect(sanitizeStatus())
        .expect(sanitizeStatus().breaks(gone()));
    (void)run(SANITIZE, sata);
    sata.expectDone();
    EXPECT_NE(
        content(NAME + ".txt").find("Reported by the drive\n  Could not be read: The drive /dev/nvme0 is gone.\n"),
        std::string::npos)
        << content(NAME + ".txt");
}

/// Status code type 3h: the path to the controller failed, and what became of the command is not known.
TEST_F(ErasureRecordsTest, AnErrorOfThePathLeavesOne) {
    expectLook();
    drive_.expect(blockErase().refuses(0x0300)).expect(lookAtLog(0x81, 512).answers(log(0)));
    (void)run(SANITIZE);
    drive_.expectDone();
    EXPECT_EQ(names(), (std::vector<std::string>{NAME + ".json", NAME + ".txt"}));
}

TEST_F(ErasureRecordsTest, ARecordThatCannotBeReplacedFailsTheCommandWithTheErase) {
    const std::string words = "The record of the erase could not be written: Failed to write to file. " + folder() +
                              "/" + NAME + ".json: Is a directory.";
    for (const bool erased : {true, false}) {
        SCOPED_TRACE(erased);
        now_ = NEW_YEAR_2026;
        expectLook();
        drive_.expect(blockErase().completes())
            .expect(lookAtLog(0x81, 512).answers(log(erased ? 0x0101 : 0x0103)).then([&] {
                std::filesystem::remove(folder() + "/" + NAME + ".json");
                std::filesystem::create_directory(folder() + "/" + NAME + ".json");
            }));
        if (erased) drive_.expect(lookAgain());
        drive_.expect(lookAtLog(0x81, 512).answers(log(erased ? 0x0101 : 0x0103)));
        EXPECT_EQ(run(SANITIZE), statusAnswer("Format", erased ? "10/168 " + words + " The drive was sanitized."
                                                               : "10/25 Sanitize command failed. Drive S1 (/dev/nvme0) "
                                                                 "says: the most recent sanitize operation failed. " +
                                                                     words));
        drive_.expectDone();
        std::filesystem::remove_all(folder());
    }
}

/// Names of more than 255 bytes are refused by the file system.
TEST_F(ErasureRecordsTest, ASerialNumberThatIsTooLongForAFileFailsTheCommandAfterTheErase) {
    const std::string serial(250, 'S');
    FakeDrive drive(serial);
    drive.expect(hostUses({unusedNamespace(1)}))
        .expect(identify(1).answers(controller()))
        .expect(lookAtLog(0x81, 512).answers(log(0)))
        .expect(identify(1).answers(controller()))
        .expect(identify(2).answers(DriveBytes(4096)))
        .expect(hostUses({unusedNamespace(1)}))
        .expect(blockErase().completes())
        .expect(lookAtLog(0x81, 512).answers(log(0x0101)))
        .expect(lookAgain())
        .expect(lookAtLog(0x81, 512).answers(log(0x0101)));
    EXPECT_EQ(run(SANITIZE, drive),
              output(statusObject("Format", "10", "168",
                                  "The record of the erase could not be written: Failed to write to file. " + folder() +
                                      "/FAKE%20DRIVE," + serial +
                                      ",20260101T000000Z.json: File name too long. The drive was sanitized.",
                                  serial)));
}

/// The drive that was asked to be erased has to be there when what it is goes into the record.
TEST_F(ErasureRecordsTest, ADriveThatIsGoneBeforeASecurityEraseGetsNoPassword) {
    FakeSataDrive sata;
    const Expected identified = identifyAta().answers(identifyDevice().word(59, 0).word(128, 0x01));
    sata.expect(hostUses({unusedNamespace(1)}))
        .expect(identified)
        .expect(identified)
        .expect(identifyAta().breaks(gone()));
    EXPECT_EQ(run({{"Type", "Delete"}}, sata), statusAnswer("Format", "0/70 The drive /dev/nvme0 is gone."));
    sata.expectDone();
    EXPECT_EQ(names(), std::vector<std::string>());
    EXPECT_FALSE(std::filesystem::exists(folder_ / "state"));
}

TEST_F(ErasureRecordsTest, AFormatWithoutAnEraseLeavesNone) {
    const DriveBytes controller = identifyController().le16(256, 0x0002);
    for (const char* setting : {"0", "1"}) {
        drive_.expect(hostUses({unusedNamespace(1)}))
            .expect(identify(1).answers(controller))
            .expect(identify(0, 1).answers(identifyNamespace(1000)));
        if (setting[0] == '1')
            drive_.expect(identify(1).answers(controller)).expect(identify(2).answers(DriveBytes(4096)));
        drive_.expect(hostUses({unusedNamespace(1)}))
            .expect(Expected::admin(0x80).nsid(1).dword(10, setting[0] == '0' ? 0 : 0x200))
            .expect(identify(0, 1).answers(identifyNamespace(1000)))
            .expect(lookAgain());
        if (setting[0] == '0') {
            (void)run({{"Type", "NVMeFormat"}, {"NamespaceId", "1"}, {"SecureEraseSetting", setting}});
            EXPECT_EQ(names(), std::vector<std::string>());
        }
    }
    (void)run({{"Type", "NVMeFormat"}, {"NamespaceId", "1"}, {"SecureEraseSetting", "1"}});
    drive_.expectDone();
    EXPECT_NE(content(NAME + ".txt")
                  .find("  Sanitization: clear\n  Technique: user data erase\n  Command: Format NVM "
                        "(NVMe), User Data Erase\n  Namespaces: 1\n"),
              std::string::npos)
        << content(NAME + ".txt");
}

TEST_F(ErasureRecordsTest, ADriveThatIsAnotherOneByNowIsNotFormatted) {
    for (const char* setting : {"1", "2"}) {
        drive_.expect(hostUses({unusedNamespace(1)}))
            .expect(identify(1).answers(identifyController().le16(256, 0x0002).byte(524, 0x04)))
            .expect(identify(0, 1).answers(identifyNamespace(1000)))
            .expect(identify(1).breaks(gone()));
        EXPECT_EQ(run({{"Type", "NVMeFormat"}, {"NamespaceId", "1"}, {"SecureEraseSetting", setting}}),
                  statusAnswer("Format", "0/70 The drive /dev/nvme0 is gone."));
        drive_.expectDone();
    }
    EXPECT_EQ(names(), std::vector<std::string>());
}

}  // namespace
}  // namespace features::jobs
