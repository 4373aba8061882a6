#pragma once

#include "features/jobs/base/CloneableJob.h"
#include "features/jobs/firmware/FirmwareCommit.h"

namespace features::jobs {

/// Activates the firmware that is in a slot of the drive.
///
/// Arguments: "FirmwareSlot" (10/175 also when it is missing), which must hold firmware, and "CommitAction": 2 at the
/// next controller level reset, 3 at once. Another one, or none, is 10/174.
class FirmwareActivateJob : public CloneableJob<FirmwareActivateJob> {
public:
    FirmwareActivateJob();

protected:
    ostrel::core::Status checkRequest(const Arguments& arguments) override;
    ostrel::core::Status actOnDrive(nvme::Drive& drive, const Arguments& arguments, DriveOutput& out) override;

private:
    CommitRequest commit_;
};

}  // namespace features::jobs
