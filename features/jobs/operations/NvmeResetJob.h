#pragma once

#include "features/jobs/base/CloneableJob.h"

namespace features::jobs {

/// A controller level reset of each drive, one after the other, and what it runs afterwards. No namespace loses data
/// by it: the driver sends again what the reset interrupted.
class NvmeResetJob : public CloneableJob<NvmeResetJob> {
public:
    NvmeResetJob();

protected:
    ostrel::core::Status actOnDrive(nvme::Drive& drive, const Arguments& arguments, DriveOutput& out) override;
};

}  // namespace features::jobs
