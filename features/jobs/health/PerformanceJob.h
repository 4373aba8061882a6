#pragma once

#include "features/jobs/base/DriveJob.h"

namespace features::jobs {

/// The work that a drive has done: the counters of its SMART / Health log, with units.
class PerformanceJob : public DriveJob {
public:
    PerformanceJob();
    std::unique_ptr<Job> clone() const override;

protected:
    ostrel::core::Status showDrive(nvme::Drive& drive, const Arguments& arguments, DriveOutput& out) override;
};

}  // namespace features::jobs
