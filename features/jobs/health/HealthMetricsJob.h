#pragma once

#include <cstddef>

#include "features/jobs/base/CloneableJob.h"

namespace features::jobs {

/// After these the maker's extended SMART page counts work, not health.
inline constexpr size_t VELKO_HEALTH_BYTES = 72;

/// The health sensors of a drive: its status in words, what its SMART / Health log reports, and what the OCP SMART log
/// and the maker's Extended SMART log add.
class HealthMetricsJob : public CloneableJob<HealthMetricsJob> {
public:
    HealthMetricsJob();

protected:
    ostrel::core::Status showDrive(nvme::Drive& drive, const Arguments& arguments, DriveOutput& out) override;
    ostrel::core::Status showAtaDrive(ata::Drive& drive, const Arguments& arguments, DriveOutput& out) override;
};

}  // namespace features::jobs
