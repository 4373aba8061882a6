#include "features/jobs/firmware/FirmwareActivateJob.h"

#include "features/errors/Result.h"
#include "features/jobs/firmware/AtaFirmware.h"
#include "features/jobs/support/StatusDetails.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

/// The grammar wants a slot, and a SATA drive has one.
constexpr uint8_t ATA_SLOT = 1;

Status checkFilled(const nvme::Drive& drive, const FirmwareState& state, uint8_t slot) {
    if (!state.revision(slot).empty()) return Status();
    return withDetails(statuses::invalidFirmwareSlot(),
                       "Slot " + std::to_string(slot) + " of drive " + drive.name() + " holds no firmware.");
}

}  // namespace

FirmwareActivateJob::FirmwareActivateJob(std::shared_ptr<const WaitClock> clock)
    : CloneableJob(ostrel::interfaces::ostreli::JOB_FIRMWARE_ACTIVATE, "Firmware Activation"),
      clock_(std::move(clock)) {}

Status FirmwareActivateJob::checkRequest(const Arguments& arguments) {
    TRY(commit_, readCommitRequest(arguments));
    if (!commit_.slot) return statuses::invalidFirmwareSlot();
    if (commit_.action == COMMIT_ACTIVATE_FOR_RESET || commit_.action == COMMIT_ACTIVATE_NOW) return Status();
    return withDetails(statuses::invalidCommitAction(),
                       "The firmware in a slot is activated at the next reset (2) or at once (3).");
}

Status FirmwareActivateJob::actOnDrive(nvme::Drive& drive, const Arguments&, DriveOutput& out) {
    RETURN_IF_FAILED(checkCommit(drive, commit_, false));
    TRY(const FirmwareState before, readFirmwareState(drive));
    RETURN_IF_FAILED(checkFilled(drive, before, *commit_.slot));
    return commitFirmware(drive, commit_, before, "", title(), out);
}

Status FirmwareActivateJob::actOnAtaDrive(ata::Drive& drive, const Arguments&, DriveOutput& out) {
    if (commit_.slot != ATA_SLOT) return refuseAta(drive.device(), statuses::invalidFirmwareSlot());
    if (commit_.action != COMMIT_ACTIVATE_NOW) {
        return withDetails(statuses::invalidCommitAction(),
                           "Drive " + drive.name() + " is a SATA drive, which activates firmware at once (3).");
    }
    AtaFirmware firmware(drive, *clock_);
    RETURN_IF_FAILED(firmware.look());
    return firmware.activate(title(), out);
}

}  // namespace features::jobs
