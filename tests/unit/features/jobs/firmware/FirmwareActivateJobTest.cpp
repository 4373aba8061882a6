#include <gtest/gtest.h>

#include "features/jobs/firmware/FirmwareActivateJob.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"
#include "tests/unit/features/jobs/firmware/FirmwareAnswers.h"
#include "tests/unit/features/jobs/firmware/FirmwareCommands.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using ostrel::interfaces::ostreli::JOBTYPE_METHOD;

constexpr const char* TITLE = "Firmware Activation";
constexpr uint8_t BY_RESET_SLOT_1_READ_ONLY = 0x07;
constexpr uint8_t AT_ONCE = 0x16;

std::string activate(const FakeDrive& drive, const std::string& slot, const std::string& action) {
    FirmwareActivateJob job;
    JobRun run(job, JOBTYPE_METHOD);
    if (!slot.empty()) run.with("FirmwareSlot", slot);
    if (!action.empty()) run.with("CommitAction", action);
    return run.on({&drive});
}

const DriveBytes SLOTS = slots(0x02).text(8, "FW1", 8).text(16, "FW2", 8);
const std::string SHOWN_BEFORE = previousSlotTree("0x02", "2", "none", {"FW1", "FW2"});

TEST(FirmwareActivateJob, AtTheNextReset) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(firmwareController(BY_RESET_SLOT_1_READ_ONLY, "FW2")))
        .expect(slotLog(SLOTS))
        .expect(commit(1, 2).timeoutMs(120000))
        .expect(identify(0x01).answers(firmwareController(BY_RESET_SLOT_1_READ_ONLY, "FW2")))
        .expect(slotLog(DriveBytes(SLOTS).byte(0, 0x12)));
    EXPECT_EQ(activate(drive, "1", "2"), output(status(TITLE, "0", "0",
                                                       "The next controller level reset activates the firmware. Drive "
                                                       "S1 (/dev/nvme0) runs firmware FW2.") +
                                                stateTree("FW2", "FW2", "FW1", "1", "controller level reset") +
                                                SHOWN_BEFORE + slotTree("0x12", "2", "1", {"FW1", "FW2"})))
        << "what is read only can be activated";
}

TEST(FirmwareActivateJob, AtOnce) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(firmwareController(AT_ONCE, "FW2")))
        .expect(slotLog(SLOTS))
        .expect(commit(1, 3))
        .expect(identify(0x01).answers(firmwareController(AT_ONCE, "FW1")))
        .expect(slotLog(DriveBytes(SLOTS).byte(0, 0x01)));
    EXPECT_EQ(activate(drive, "1", "3"), output(status(TITLE, "0", "0",
                                                       "The firmware was activated without a reset. Drive S1 "
                                                       "(/dev/nvme0) runs firmware FW1; it was FW2 before.") +
                                                stateTree("FW2", "FW1", "none", "1", "none") + SHOWN_BEFORE +
                                                slotTree("0x01", "1", "none", {"FW1", "FW2"})));
}

TEST(FirmwareActivateJob, ACommitThatChangedNothingIsNotCalledActivated) {
    for (const char* const action : {"2", "3"}) {
        FakeDrive drive;
        drive.expect(identify(0x01).answers(firmwareController(AT_ONCE, "FW2")))
            .expect(slotLog(SLOTS))
            .expect(commit(1, static_cast<uint32_t>(*action - '0')))
            .expect(identify(0x01).answers(firmwareController(AT_ONCE, "FW2")))
            .expect(slotLog(SLOTS));
        EXPECT_EQ(activate(drive, "1", action),
                  output(status(TITLE, "0", "0",
                                "The drive accepted the commit, but neither the running firmware nor the slots "
                                "changed. Drive S1 (/dev/nvme0) runs firmware FW2.") +
                         stateTree("FW2", "FW2", "none", "1", "none") + SHOWN_BEFORE +
                         slotTree("0x02", "2", "none", {"FW1", "FW2"})));
    }
}

TEST(FirmwareActivateJob, WhatTheDriveCannotDoIsNotSent) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(identifyController()));
    EXPECT_EQ(activate(drive, "1", "2"),
              output(status(TITLE, "10", "34", "Feature is not supported. Drive S1 (/dev/nvme0) takes no firmware.")));
    drive.expect(identify(0x01).answers(firmwareController(AT_ONCE)));
    EXPECT_EQ(
        activate(drive, "4", "3"),
        output(status(TITLE, "10", "175", "Invalid firmware slot value. Drive S1 (/dev/nvme0) has slots 1 to 3.")));
    drive.expect(identify(0x01).answers(firmwareController(AT_ONCE))).expect(slotLog(SLOTS));
    EXPECT_EQ(activate(drive, "3", "3"),
              output(status(TITLE, "10", "175",
                            "Invalid firmware slot value. Slot 3 of drive S1 (/dev/nvme0) holds no firmware.")));
    drive.expect(identify(0x01).answers(firmwareController(BY_RESET_SLOT_1_READ_ONLY)));
    EXPECT_EQ(activate(drive, "2", "3"),
              output(status(TITLE, "10", "174",
                            "Invalid firmware commit action value. Drive S1 (/dev/nvme0) cannot activate firmware "
                            "without a reset.")));
}

TEST(FirmwareActivateJob, AWrongRequestReachesNoDrive) {
    const FakeDrive drive;
    const std::string action =
        "10/174 Invalid firmware commit action value. The firmware in a slot is activated at the next reset (2) or at "
        "once (3).";
    EXPECT_EQ(activate(drive, "", "2"), "10/175 Invalid firmware slot value.");
    // 0 lets a drive choose where to store; there is nothing to choose here. The log has slots 1 to 7.
    for (const std::string slot : {"0", "8", "99", "255", "256", "-1", "18446744073709551617"})
        EXPECT_EQ(activate(drive, slot, "2"),
                  "10/175 Invalid firmware slot value. FirmwareSlot is a number from 1 to 7, not '" + slot + "'.");
    EXPECT_EQ(activate(drive, "2", ""), action);
    EXPECT_EQ(activate(drive, "2", "1"), action);
    EXPECT_EQ(activate(drive, "2", "007"),
              "10/174 Invalid firmware commit action value. CommitAction is a number from 0 to 3, not '007'.");
}

}  // namespace
}  // namespace features::jobs
