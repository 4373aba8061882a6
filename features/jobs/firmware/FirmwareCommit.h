#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "features/errors/Result.h"
#include "features/jobs/base/Arguments.h"
#include "features/jobs/base/DriveOutput.h"
#include "features/jobs/firmware/FirmwareState.h"
#include "features/nvme/Drive.h"
#include "ostrel/core/Status.h"

namespace features::jobs {

/// Commit Action of Firmware Commit (NVMe Base Specification 1.4, section 5.11).
inline constexpr uint8_t COMMIT_STORE = 0;               ///< the downloaded image goes into the slot
inline constexpr uint8_t COMMIT_STORE_FOR_RESET = 1;     ///< the same, and the next reset activates it
inline constexpr uint8_t COMMIT_ACTIVATE_FOR_RESET = 2;  ///< the next reset activates what is in the slot
inline constexpr uint8_t COMMIT_ACTIVATE_NOW = 3;  ///< the downloaded image, or what is in the slot, without reset

/// What the user asked for.
struct CommitRequest {
    std::optional<uint8_t> slot;    ///< 1 to 7; none: the drive chooses
    std::optional<uint8_t> action;  ///< none: whatever gets the firmware running, also a controller level reset
};

/// The arguments "FirmwareSlot" (1 to 7, otherwise 10/175) and "CommitAction" (0 to 3, otherwise 10/174).
Result<CommitRequest> readCommitRequest(const Arguments& arguments);

/// Whether the drive can carry it out, before anything is sent: 10/34 without the firmware commands, 10/175 for a slot
/// that it does not have or, when the slot is `written`, that is read only, 10/174 for an activation that it cannot do.
ostrel::core::Status checkCommit(nvme::Drive& drive, const CommitRequest& request, bool written);

/// Commits, resets the controller when that is what the firmware waits for and the user left the action open, and
/// reports in `out` the drive's answer, the firmware that ran `before`, that runs now and that is next, the slot, the
/// reset that is left to be made, and the slots before and now. Firmware that waits for a reset is a success. So is a
/// commit after which the running revision and the slots are as they were before, but it is not called stored or
/// activated, unless the completion names the reset that the firmware waits for. 10/53 when the drive refuses, or when
/// it runs other firmware than `expected` after the activation (empty: any will do), which is reported in `out`, too;
/// 10/175 for a slot that it does not take.
ostrel::core::Status commitFirmware(nvme::Drive& drive, const CommitRequest& request, const FirmwareState& before,
                                    const std::string& expected, const std::string& heading, DriveOutput& out);

}  // namespace features::jobs
