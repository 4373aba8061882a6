#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "features/jobs/firmware/FirmwareUpdateJob.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"
#include "tests/unit/features/jobs/Commands.h"
#include "tests/unit/features/jobs/firmware/FirmwareAnswers.h"
#include "tests/unit/features/jobs/firmware/FirmwareCommands.h"
#include "tests/unit/features/jobs/firmware/ModuleFolder.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::core;
using ostrel::interfaces::ostreli::JOBTYPE_METHOD;

constexpr const char* TITLE = "Firmware Update";
/// The slots before the commit, and as they are shown.
const DriveBytes BEFORE = slots(0x01).text(8, "FW1", 8);
const std::string SHOWN_BEFORE = previousSlotTree("0x01", "1", "none", {"FW1"});
/// Three slots; slot 1 read only or not; activation without a reset or only by one.
constexpr uint8_t BY_RESET = 0x06;
constexpr uint8_t BY_RESET_SLOT_1_READ_ONLY = 0x07;
constexpr uint8_t AT_ONCE = 0x16;

class FirmwareUpdateJobTest : public testing::Test {
protected:
    FirmwareUpdateJobTest() : image_(firmwareImage(8192)) { writeWholeFile(path_, image_); }

    /// An update from the file image.bin.
    std::string update(const FakeDrive& drive, const std::string& slot = "", const std::string& action = "") {
        FirmwareUpdateJob job;
        JobRun run(job, JOBTYPE_METHOD);
        run.with("SkipMembers", "true");
        if (!slot.empty()) run.with("FirmwareSlot", slot);
        if (!action.empty()) run.with("CommitAction", action);
        return run.with("FirmwareFile", path_).with("AdditionalModuleDirs", folder_ / "").on({&drive});
    }
    /// An update from the modules of the folder.
    std::string updateFromModules(const FakeDrive& drive) {
        FirmwareUpdateJob job;
        return JobRun(job, JOBTYPE_METHOD)
            .with("SkipMembers", "true")
            .with("AdditionalModuleDirs", (folder_ / "missing") + "~" + (folder_ / ""))
            .on({&drive});
    }
    /// A drive that has taken the image, and waits for the commit action.
    FakeDrive& loaded(uint8_t frmw) {
        return drive_.expect(identify(0x01).answers(firmwareController(frmw)))
            .expect(slotLog(BEFORE))
            .expect(download(image_, 0, 8192));
    }
    /// What is asked of the drive after a commit.
    void looksAgain(const std::string& revision, const DriveBytes& slots) {
        drive_.expect(identify(0x01).answers(firmwareController(0x06, revision))).expect(slotLog(slots));
    }

    TemporaryFolder folder_;
    const std::string path_ = folder_ / "image.bin";
    std::string image_;
    FakeDrive drive_;
};

TEST_F(FirmwareUpdateJobTest, ActivatesWithoutAResetWhereTheDriveCan) {
    loaded(AT_ONCE).expect(commit(0, 3).timeoutMs(120000));
    looksAgain("FW2", slots(0x02).text(8, "FW1", 8).text(16, "FW2", 8));
    EXPECT_EQ(update(drive_), output(status(TITLE, "0", "0",
                                            "The firmware was activated without a reset. Drive S1 (/dev/nvme0) runs "
                                            "firmware FW2; it was FW1 before.") +
                                     stateTree("FW1", "FW2", "none", "2", "none") + SHOWN_BEFORE +
                                     slotTree("0x02", "2", "none", {"FW1", "FW2"})));
}

TEST_F(FirmwareUpdateJobTest, ResetsTheControllerWhereTheDriveNeedsIt) {
    loaded(BY_RESET).expect(commit(0, 1)).expect(Expected::host(transport::HostRequest::RESET_CONTROLLER));
    looksAgain("FW2", slots(0x02).text(16, "FW2", 8));
    EXPECT_EQ(update(drive_), output(status(TITLE, "0", "0",
                                            "The firmware was activated by a controller level reset. Drive S1 "
                                            "(/dev/nvme0) runs firmware FW2; it was FW1 before.") +
                                     stateTree("FW1", "FW2", "none", "2", "none") + SHOWN_BEFORE +
                                     slotTree("0x02", "2", "none", {"none", "FW2"})));
}

TEST_F(FirmwareUpdateJobTest, AnActivationThatTakesTooLongIsLeftToAReset) {
    loaded(AT_ONCE)
        .expect(commit(2, 3).refuses(0x4112))
        .expect(commit(2, 1))
        .expect(Expected::host(transport::HostRequest::RESET_CONTROLLER));
    looksAgain("FW1", slots(0x02).text(16, "FW1", 8));
    EXPECT_EQ(update(drive_, "2"), output(status(TITLE, "0", "0",
                                                 "The firmware was activated by a controller level reset. Drive S1 "
                                                 "(/dev/nvme0) runs firmware FW1.") +
                                          stateTree("FW1", "FW1", "none", "2", "none") + SHOWN_BEFORE +
                                          slotTree("0x02", "2", "none", {"none", "FW1"})))
        << "the image had the running revision";
}

TEST_F(FirmwareUpdateJobTest, TheUsersActionIsDoneAndNoMore) {
    const struct {
        uint8_t frmw;
        const char* action;
        uint32_t code;
        uint16_t answer;
        const char* reset;
        const char* message;
    } cases[] = {
        {BY_RESET, "0", 0, 0, "controller level reset", "The firmware is stored and not activated."},
        {BY_RESET, "1", 1, 0, "controller level reset",
         "The firmware is stored; the next controller level reset activates it."},
        {AT_ONCE, "3", 3, 0, "controller level reset", "The firmware was activated without a reset."},
        {BY_RESET, "1", 1, 0x010B, "conventional reset", "Firmware update successful. Please reboot to apply update."},
        {BY_RESET, "1", 1, 0x0110, "NVM subsystem reset",
         "Firmware update successful. An NVM subsystem reset or a power cycle activates it."},
        {AT_ONCE, "3", 3, 0x0111, "controller level reset",
         "Firmware update successful. The next controller level reset activates it."},
    };
    for (const auto& c : cases) {
        loaded(c.frmw).expect(commit(3, c.code).refuses(c.answer));
        looksAgain("FW1", slots(0x31).text(8, "FW1", 8).text(24, "FW2", 8));
        EXPECT_EQ(update(drive_, "3", c.action),
                  output(status(TITLE, "0", "0", c.message + std::string(" Drive S1 (/dev/nvme0) runs firmware FW1.")) +
                         stateTree("FW1", "FW1", "FW2", "3", c.reset) + SHOWN_BEFORE +
                         slotTree("0x31", "1", "3", {"FW1", "none", "FW2"})))
            << c.action << ' ' << c.answer;
        drive_.expectDone();
    }
}

TEST_F(FirmwareUpdateJobTest, WhatNeedsMoreThanAControllerResetIsLeftToTheUser) {
    loaded(AT_ONCE).expect(commit(0, 3).refuses(0x0110));
    looksAgain("FW1", slots(0x21).text(8, "FW1", 8).text(16, "FW2", 8));
    EXPECT_EQ(update(drive_), output(status(TITLE, "0", "0",
                                            "Firmware update successful. An NVM subsystem reset or a power cycle "
                                            "activates it. Drive S1 (/dev/nvme0) runs firmware FW1.") +
                                     stateTree("FW1", "FW1", "FW2", "2", "NVM subsystem reset") + SHOWN_BEFORE +
                                     slotTree("0x21", "1", "2", {"FW1", "FW2"})));
    loaded(AT_ONCE)
        .expect(commit(0, 3).refuses(0x0111))
        .expect(Expected::host(transport::HostRequest::RESET_CONTROLLER));
    looksAgain("FW2", slots(0x02).text(8, "FW1", 8).text(16, "FW2", 8));
    EXPECT_EQ(update(drive_), output(status(TITLE, "0", "0",
                                            "The firmware was activated by a controller level reset. Drive S1 "
                                            "(/dev/nvme0) runs firmware FW2; it was FW1 before.") +
                                     stateTree("FW1", "FW2", "none", "2", "none") + SHOWN_BEFORE +
                                     slotTree("0x02", "2", "none", {"FW1", "FW2"})));
}

TEST_F(FirmwareUpdateJobTest, WhatTheDriveDoesNotReportOfItsNextFirmwareIsNotGuessed) {
    loaded(AT_ONCE).expect(commit(0, 3).refuses(0x010B));
    looksAgain("FW1", slots(0x01).text(8, "FW1", 8).text(16, "FW2", 8));
    const std::string message =
        "Firmware update successful. Please reboot to apply update. Drive S1 (/dev/nvme0) runs firmware FW1.";
    EXPECT_EQ(update(drive_), output(status(TITLE, "0", "0", message) +
                                     stateTree("FW1", "FW1", "not reported", "not reported", "conventional reset") +
                                     SHOWN_BEFORE + slotTree("0x01", "1", "none", {"FW1", "FW2"})))
        << "the drive chose the slot and names no next one";
    loaded(AT_ONCE).expect(commit(2, 3).refuses(0x010B));
    looksAgain("FW1", slots(0x01).text(8, "FW1", 8).text(16, "FW2", 8));
    EXPECT_EQ(update(drive_, "2", "3"),
              output(status(TITLE, "0", "0", message) + stateTree("FW1", "FW1", "FW2", "2", "conventional reset") +
                     SHOWN_BEFORE + slotTree("0x01", "1", "none", {"FW1", "FW2"})))
        << "the user named the slot";
}

TEST_F(FirmwareUpdateJobTest, ACommitThatChangedNothingIsNotCalledStoredOrActivated) {
    const auto nothing = [](const std::string& slot) {
        return output(status(TITLE, "0", "0",
                             "The drive accepted the commit, but neither the running firmware nor the slots changed. "
                             "Drive S1 (/dev/nvme0) runs firmware FW1.") +
                      stateTree("FW1", "FW1", "none", slot, "none") + SHOWN_BEFORE +
                      slotTree("0x01", "1", "none", {"FW1"}));
    };
    constexpr struct {
        uint8_t frmw;
        const char* slot;
        const char* action;
        uint32_t sentAction;
        uint16_t answer;
        bool isReset;
    } CASES[] = {
        {AT_ONCE, "", "", 3, 0, false},    {BY_RESET, "", "", 1, 0, true},    {AT_ONCE, "", "", 3, 0x0111, true},
        {BY_RESET, "2", "0", 0, 0, false}, {BY_RESET, "2", "1", 1, 0, false}, {AT_ONCE, "2", "3", 3, 0, false},
    };
    for (const auto& c : CASES) {
        loaded(c.frmw).expect(commit(*c.slot == 0 ? 0 : 2, c.sentAction).refuses(c.answer));
        if (c.isReset) drive_.expect(Expected::host(transport::HostRequest::RESET_CONTROLLER));
        looksAgain("FW1", BEFORE);
        EXPECT_EQ(update(drive_, c.slot, c.action), nothing(*c.slot == 0 ? "not reported" : "2"))
            << c.action << ' ' << c.answer;
        drive_.expectDone();
    }
    loaded(AT_ONCE).expect(commit(0, 3));
    looksAgain("FW1", slots(0x01).text(8, "FW1", 8).text(56, "FW2", 8));
    EXPECT_EQ(update(drive_),
              output(status(TITLE, "0", "0",
                            "The firmware was activated without a reset. Drive S1 (/dev/nvme0) runs "
                            "firmware FW1.") +
                     stateTree("FW1", "FW1", "none", "1", "none") + SHOWN_BEFORE +
                     slotTree("0x01", "1", "none", {"FW1", "none", "none", "none", "none", "none", "FW2"})))
        << "the last slot changed";
}

TEST_F(FirmwareUpdateJobTest, WithoutTheSlotsNothingIsSent) {
    drive_.expect(identify(0x01).answers(firmwareController(AT_ONCE))).expect(lookAtLog(0x03, 512).breaks(gone()));
    EXPECT_EQ(update(drive_), output(status(TITLE, "0", "70", "The drive /dev/nvme0 is gone.")));
}

TEST_F(FirmwareUpdateJobTest, RefusedCommitsAreReported) {
    const struct {
        uint16_t answer;
        const char* code;
        const char* message;
    } cases[] = {
        {0x4106, "175",
         "Invalid firmware slot value. Firmware Commit failed on drive S1 (/dev/nvme0): Invalid Firmware Slot (status "
         "code type 0x1, status code 0x06, opcode 0x10)."},
        {0x4107, "53",
         "Firmware update failed. Firmware Commit failed on drive S1 (/dev/nvme0): Invalid Firmware Image (status code "
         "type 0x1, status code 0x07, opcode 0x10)."},
        {0x4112, "53",
         "Firmware update failed. Firmware Commit failed on drive S1 (/dev/nvme0): Firmware Activation Requires "
         "Maximum "
         "Time Violation (status code type 0x1, status code 0x12, opcode 0x10)."},
        {0x4113, "53",
         "Firmware update failed. Firmware Commit failed on drive S1 (/dev/nvme0): Firmware Activation Prohibited "
         "(status code type 0x1, status code 0x13, opcode 0x10)."},
        {0x4010, "53",
         "Firmware update failed. Firmware Commit failed on drive S1 (/dev/nvme0): Metadata SGL Length Invalid (status "
         "code type 0x0, status code 0x10, opcode 0x10)."},
    };
    for (const auto& c : cases) {
        loaded(AT_ONCE).expect(commit(2, 3).refuses(c.answer));
        EXPECT_EQ(update(drive_, "2", "3"), output(status(TITLE, "10", c.code, c.message)));
        drive_.expectDone();
    }
    loaded(AT_ONCE).expect(commit(0, 3).breaks(gone()));
    EXPECT_EQ(update(drive_), output(status(TITLE, "0", "70", "The drive /dev/nvme0 is gone.")));
}

TEST_F(FirmwareUpdateJobTest, WhatFailsAfterTheCommitReportsThatItIsDone) {
    loaded(BY_RESET)
        .expect(commit(0, 1))
        .expect(Expected::host(transport::HostRequest::RESET_CONTROLLER).breaks(gone()));
    EXPECT_EQ(update(drive_), output(status(TITLE, "10", "176",
                                            "The firmware is stored; the next controller level reset activates it. "
                                            "NVMe Reset Failed. The drive /dev/nvme0 is gone.")));
    loaded(AT_ONCE).expect(commit(0, 3)).expect(identify(0x01).breaks(gone()));
    EXPECT_EQ(update(drive_), output(status(TITLE, "0", "70",
                                            "The firmware was activated without a reset. The drive /dev/nvme0 is "
                                            "gone.")));
}

TEST_F(FirmwareUpdateJobTest, WhatTheDriveCannotDoIsRefusedBeforeTheFirstByte) {
    const struct {
        DriveBytes controller;
        const char* slot;
        const char* action;
        const char* code;
        const char* message;
    } cases[] = {
        {identifyController(), "", "", "34", "Feature is not supported. Drive S1 (/dev/nvme0) takes no firmware."},
        {firmwareController(BY_RESET), "4", "1", "175",
         "Invalid firmware slot value. Drive S1 (/dev/nvme0) has slots 1 to 3."},
        {firmwareController(BY_RESET_SLOT_1_READ_ONLY), "1", "1", "175",
         "Invalid firmware slot value. Slot 1 of drive S1 (/dev/nvme0) is read only."},
        {firmwareController(0x03), "", "", "175",
         "Invalid firmware slot value. Slot 1 of drive S1 (/dev/nvme0) is read only."},
        {firmwareController(BY_RESET), "2", "3", "174",
         "Invalid firmware commit action value. Drive S1 (/dev/nvme0) cannot activate firmware without a reset."},
    };
    for (const auto& c : cases) {
        drive_.expect(identify(0x01).answers(c.controller));
        EXPECT_EQ(update(drive_, c.slot, c.action), output(status(TITLE, "10", c.code, c.message)));
        drive_.expectDone();
    }
    drive_.expect(identify(0x01).answers(firmwareController(BY_RESET, "FW1", 3))).expect(slotLog(BEFORE));
    EXPECT_EQ(update(drive_),
              output(status(TITLE, "10", "52",
                            "Failed to load firmware. Drive S1 (/dev/nvme0) takes firmware in multiples "
                            "of 12288 bytes, more than one command can carry.")));
}

TEST_F(FirmwareUpdateJobTest, AWrongRequestReachesNoDrive) {
    EXPECT_EQ(update(drive_, "0"),
              "10/175 Invalid firmware slot value. FirmwareSlot is a number from 1 to 7, not '0'.");
    EXPECT_EQ(update(drive_, "8"),
              "10/175 Invalid firmware slot value. FirmwareSlot is a number from 1 to 7, not '8'.");
    EXPECT_EQ(update(drive_, "two", "one"),
              "10/175 Invalid firmware slot value. FirmwareSlot is a number from 1 to 7, not 'two'.");
    EXPECT_EQ(update(drive_, "2", "4"),
              "10/174 Invalid firmware commit action value. CommitAction is a number from 0 to 3, not '4'.");
    EXPECT_EQ(update(drive_, "2", "2"),
              "10/174 Invalid firmware commit action value. Action 2 activates the firmware that is in the slot "
              "already, which is done with -firmwareactivate. For a new image it is 0, 1 or 3.");
    std::filesystem::resize_file(path_, 8190);
    EXPECT_EQ(update(drive_),
              "10/52 Failed to load firmware. '" + path_ + "' has 8190 bytes, which is no multiple of 4.");
    std::filesystem::remove(path_);
    EXPECT_EQ(update(drive_),
              "10/54 Failed reading a file necessary for the feature. '" + path_ + "': No such file or directory.");
}

TEST_F(FirmwareUpdateJobTest, ARefusedPieceEndsTheUpdateBeforeTheCommit) {
    drive_.expect(identify(0x01).answers(firmwareController(AT_ONCE)))
        .expect(slotLog(BEFORE))
        .expect(download(image_, 0, 8192).refuses(0x4002));
    EXPECT_EQ(update(drive_), output(status(TITLE, "10", "52",
                                            "Failed to load firmware. Firmware Image Download failed on drive S1 "
                                            "(/dev/nvme0): Invalid Field in Command (status code type 0x0, status code "
                                            "0x02, opcode 0x11).")));
}

TEST_F(FirmwareUpdateJobTest, WithoutAFileTheNewestModuleThatFitsIsTaken) {
    addModule(folder_, "old", {"FW2", "2026-01-01"});
    addModule(folder_, "new", {"FW3", "2026-02-01", "FW1", "VELKO P100 ?T", firmwareImage(4096)});
    addModule(folder_, "other", {"FW9", "2026-09-01", "*", "OTHER"});
    drive_.expect(identify(0x01).answers(firmwareController(AT_ONCE)))
        .expect(slotLog(BEFORE))
        .expect(download(firmwareImage(4096), 0, 4096))
        .expect(commit(0, 3));
    looksAgain("FW3", slots(0x01).text(8, "FW3", 8));
    EXPECT_EQ(updateFromModules(drive_), output(status(TITLE, "0", "0",
                                                       "The firmware was activated without a reset. Drive S1 "
                                                       "(/dev/nvme0) runs firmware FW3; it was FW1 before.") +
                                                stateTree("FW1", "FW3", "none", "1", "none") + SHOWN_BEFORE +
                                                slotTree("0x01", "1", "none", {"FW3"})));
}

TEST_F(FirmwareUpdateJobTest, ADriveThatDoesNotRunWhatTheModulePromisedIsAFailure) {
    addModule(folder_, "new", {"FW3", "2026-02-01", "*", "VELKO*", firmwareImage(4096)});
    drive_.expect(identify(0x01).answers(firmwareController(AT_ONCE)))
        .expect(slotLog(BEFORE))
        .expect(download(firmwareImage(4096), 0, 4096))
        .expect(commit(0, 3));
    looksAgain("FW1", slots(0x01).text(8, "FW1", 8));
    EXPECT_EQ(updateFromModules(drive_), output(stateTree("FW1", "FW1", "none", "not reported", "none") + SHOWN_BEFORE +
                                                slotTree("0x01", "1", "none", {"FW1"}) +
                                                status(TITLE, "10", "53",
                                                       "Firmware update failed. Drive S1 (/dev/nvme0) runs firmware "
                                                       "FW1, not FW3.")));
}

TEST_F(FirmwareUpdateJobTest, WithoutAModuleNothingIsSent) {
    const std::string folder = std::filesystem::canonical(folder_ / ".");
    const DriveBytes controller = firmwareController(AT_ONCE);
    drive_.expect(identify(0x01).answers(controller)).expect(slotLog(BEFORE));
    const std::string searched =
        "No firmware module found. Searched: '" + (folder_ / "") + "', '" + (folder_ / "missing") + "'.";
    EXPECT_EQ(updateFromModules(drive_), output(status(TITLE, "10", "71", searched)));
    writeWholeFile(folder_ / "bad.json", "[]");
    drive_.expect(identify(0x01).answers(controller)).expect(slotLog(BEFORE));
    EXPECT_EQ(updateFromModules(drive_), output(status(TITLE, "10", "71",
                                                       searched + " '" + folder +
                                                           "/bad.json': 'models' must be given once "
                                                           "and be a list of 1 to 64 patterns of model numbers.")));
    std::filesystem::remove(folder_ / "bad.json");
    addModule(folder_, "same", {"FW1"});
    drive_.expect(identify(0x01).answers(controller)).expect(slotLog(BEFORE));
    EXPECT_EQ(updateFromModules(drive_), output(status(TITLE, "10", "64",
                                                       "The selected drive contains current firmware as of this tool "
                                                       "release.")));
    addModule(folder_, "new", {"FW2", "2026-09-09"});
    writeWholeFile(folder_ / "new.bin", "another image..!");
    drive_.expect(identify(0x01).answers(controller)).expect(slotLog(BEFORE));
    EXPECT_EQ(updateFromModules(drive_), output(status(TITLE, "10", "73",
                                                       "Invalid firmware module type. '" + folder +
                                                           "/new.bin' is not the file that its "
                                                           "manifest describes: its SHA-256 is another.")));
}

TEST_F(FirmwareUpdateJobTest, AModuleThatIsStagedIsNotDownloadedAgain) {
    addModule(folder_, "new", {"FW2", "2026-09-09"});
    drive_.expect(identify(0x01).answers(firmwareController(AT_ONCE)))
        .expect(slotLog(slots(0x31).text(8, "FW1", 8).text(24, "FW2", 8)));
    EXPECT_EQ(updateFromModules(drive_), output(status(TITLE, "10", "64",
                                                       "The selected drive contains current firmware as of this tool "
                                                       "release. Slot 3 of drive S1 (/dev/nvme0) holds FW2, which the "
                                                       "next controller level reset activates.")));
}

TEST_F(FirmwareUpdateJobTest, AModuleThatLiesInASlotAndIsNotNextIsDownloaded) {
    addModule(folder_, "new", {"FW2", "2026-09-09", "*", "VELKO*", firmwareImage(4096)});
    const DriveBytes stored = slots(0x01).text(8, "FW1", 8).text(24, "FW2", 8);
    drive_.expect(identify(0x01).answers(firmwareController(AT_ONCE)))
        .expect(slotLog(stored))
        .expect(download(firmwareImage(4096), 0, 4096))
        .expect(commit(0, 3));
    looksAgain("FW2", DriveBytes(stored).byte(0, 0x03));
    EXPECT_EQ(updateFromModules(drive_), output(status(TITLE, "0", "0",
                                                       "The firmware was activated without a reset. Drive S1 "
                                                       "(/dev/nvme0) runs firmware FW2; it was FW1 before.") +
                                                stateTree("FW1", "FW2", "none", "3", "none") +
                                                previousSlotTree("0x01", "1", "none", {"FW1", "none", "FW2"}) +
                                                slotTree("0x03", "3", "none", {"FW1", "none", "FW2"})));
}

/// Lets a drive take an image, and no earlier than the user has seen the warning.
class AwaitedNotice : public Notice {
public:
    explicit AwaitedNotice(FakeDrive& drive) : drive_(drive) {}
    void show(const std::string& text) const override {
        texts.push_back(text);
        drive_.expect(download(firmwareImage(4096), 0, 4096)).expect(commit(0, 3));
        drive_.expect(identify(0x01).answers(firmwareController(0x06, "FW2")))
            .expect(slotLog(slots(0x01).text(8, "FW2", 8)));
    }
    mutable std::vector<std::string> texts;

private:
    FakeDrive& drive_;
};

TEST_F(FirmwareUpdateJobTest, TheUserIsWarnedOfAnUnsignedModuleBeforeItIsSent) {
    addModule(folder_, "new", {"FW2", "2026-09-09", "*", "VELKO*", firmwareImage(4096)});
    writeWholeFile(folder_ / "SignaturePolicy", "warn\n");
    drive_.expect(identify(0x01).answers(firmwareController(AT_ONCE))).expect(slotLog(BEFORE));
    const auto notice = std::make_shared<AwaitedNotice>(drive_);
    FirmwareUpdateJob job(systemWaitClock(), notice);
    const std::string warning = "The origin of the firmware for drive S1 (/dev/nvme0) is not verified. '" +
                                std::filesystem::canonical(folder_ / "new.json").string() + "': it has no signature.";
    EXPECT_EQ(
        JobRun(job, JOBTYPE_METHOD)
            .with("SkipMembers", "true")
            .with("AdditionalModuleDirs", folder_ / "")
            .on({&drive_}),
        output(status("Firmware Module", "0", "0", warning) +
               status(TITLE, "0", "0",
                      "The firmware was activated without a reset. Drive S1 (/dev/nvme0) runs firmware FW2; it "
                      "was FW1 before.") +
               stateTree("FW1", "FW2", "none", "1", "none") + SHOWN_BEFORE + slotTree("0x01", "1", "none", {"FW2"})));
    EXPECT_EQ(notice->texts, std::vector<std::string>({warning}));
}

TEST_F(FirmwareUpdateJobTest, AFileThatTheUserNamedNeedsNoSignature) {
    writeWholeFile(folder_ / "SignaturePolicy", "signed only\n");
    loaded(AT_ONCE).expect(commit(0, 3));
    looksAgain("FW2", slots(0x01).text(8, "FW2", 8));
    EXPECT_EQ(update(drive_), output(status(TITLE, "0", "0",
                                            "The firmware was activated without a reset. Drive S1 (/dev/nvme0) runs "
                                            "firmware FW2; it was FW1 before.") +
                                     stateTree("FW1", "FW2", "none", "1", "none") + SHOWN_BEFORE +
                                     slotTree("0x01", "1", "none", {"FW2"})));
}

TEST_F(FirmwareUpdateJobTest, WhereOnlySignedModulesAreTakenAnUnsignedOneIsNotSent) {
    const std::string folder = std::filesystem::canonical(folder_ / ".");
    addModule(folder_, "new", {"FW2", "2026-09-09"});
    writeWholeFile(folder_ / "SignaturePolicy", "signed only\n");
    drive_.expect(identify(0x01).answers(firmwareController(AT_ONCE))).expect(slotLog(BEFORE));
    EXPECT_EQ(updateFromModules(drive_),
              output(status(TITLE, "10", "71",
                            "No firmware module found. Searched: '" + (folder_ / "") + "', '" + (folder_ / "missing") +
                                "'. '" + folder +
                                "/new.json': it has no signature. Its directory takes signed modules only.")));
}

TEST_F(FirmwareUpdateJobTest, FromAFolderThatOtherUsersCanChangeNothingIsSent) {
    const std::string folder = std::filesystem::canonical(folder_ / ".");
    addModule(folder_, "new", {"FW2", "2026-09-09"});
    ASSERT_EQ(chmod(folder.c_str(), 0777), 0);
    drive_.expect(identify(0x01).answers(firmwareController(AT_ONCE))).expect(slotLog(BEFORE));
    EXPECT_EQ(updateFromModules(drive_),
              output(status(TITLE, "10", "54",
                            "Failed reading a file necessary for the feature. '" + (folder_ / "") + "': '" + folder +
                                "' can be written by others than its owner (mode 0777).")));
}

}  // namespace
}  // namespace features::jobs
