#pragma once

#include "features/jobs/base/CloneableJob.h"

namespace features::jobs {

/// What a drive is doing by itself, out of its logs: a sanitize operation, a self-test, firmware that waits for a
/// reset, and the work that the maker's drives report. Only what the controller has is asked for.
class BackgroundProcessingJob : public CloneableJob<BackgroundProcessingJob> {
public:
    BackgroundProcessingJob();

protected:
    ostrel::core::Status actOnDrive(nvme::Drive& drive, const Arguments& arguments, DriveOutput& out) override;
    ostrel::core::Status actOnAtaDrive(ata::Drive& drive, const Arguments& arguments, DriveOutput& out) override;
};

}  // namespace features::jobs
