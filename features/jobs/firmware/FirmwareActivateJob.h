#pragma once

#include "features/jobs/base/CloneableJob.h"
#include "features/jobs/firmware/FirmwareCommit.h"
#include "features/jobs/support/WaitClock.h"

namespace features::jobs {

/// Activates the firmware that is in a slot of the drive.
///
/// Arguments: "FirmwareSlot" (10/175 also when it is missing), which must hold firmware, and "CommitAction": 2 at the
/// next controller level reset, 3 at once. Another one, or none, is 10/174. A SATA drive has slot 1 alone, and
/// activates at once the firmware that it was given before.
class FirmwareActivateJob : public CloneableJob<FirmwareActivateJob> {
public:
    explicit FirmwareActivateJob(std::shared_ptr<const WaitClock> clock = systemWaitClock());
    std::unique_ptr<FirmwareActivateJob> makeNew() const { return std::make_unique<FirmwareActivateJob>(clock_); }

protected:
    ostrel::core::Status checkRequest(const Arguments& arguments) override;
    ostrel::core::Status actOnDrive(nvme::Drive& drive, const Arguments& arguments, DriveOutput& out) override;
    ostrel::core::Status actOnAtaDrive(ata::Drive& drive, const Arguments& arguments, DriveOutput& out) override;

private:
    std::shared_ptr<const WaitClock> clock_;
    CommitRequest commit_;
};

}  // namespace features::jobs
