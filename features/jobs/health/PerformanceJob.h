#pragma once

#include "features/jobs/base/CloneableJob.h"

namespace features::jobs {

/// The work that a drive has done: the counters of its SMART / Health log, with units.
class PerformanceJob : public CloneableJob<PerformanceJob> {
public:
    PerformanceJob();

protected:
    ostrel::core::Status showDrive(nvme::Drive& drive, const Arguments& arguments, DriveOutput& out) override;
    ostrel::core::Status showAtaDrive(ata::Drive& drive, const Arguments& arguments, DriveOutput& out) override;
};

}  // namespace features::jobs
