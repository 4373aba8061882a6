#pragma once

#include <cstdint>
#include <string>

#include "features/errors/Result.h"
#include "features/jobs/base/CloneableJob.h"
#include "features/jobs/health/EnduranceBaselines.h"

namespace features::jobs {

/// How long a drive will last under the workload that it had since the last reset.
///
///   - GetProperties: years of expected life. 10/75 without a reset, or within 60 minutes of it; 10/74 when the
///   workload
///     has not worn the drive by one per cent of its life.
///   - Method: the reset. From now on the wear counts.
class EnduranceAnalyzerJob : public CloneableJob<EnduranceAnalyzerJob> {
public:
    /// Seconds since 1970.
    using Clock = int64_t (*)();

    EnduranceAnalyzerJob();
    EnduranceAnalyzerJob(const std::string& folder, Clock clock);
    std::unique_ptr<EnduranceAnalyzerJob> makeNew() const;

protected:
    ostrel::core::Status showDrive(nvme::Drive& drive, const Arguments& arguments, DriveOutput& out) override;
    ostrel::core::Status showAtaDrive(ata::Drive& drive, const Arguments& arguments, DriveOutput& out) override;
    ostrel::core::Status actOnDrive(nvme::Drive& drive, const Arguments& arguments, DriveOutput& out) override;
    ostrel::core::Status actOnAtaDrive(ata::Drive& drive, const Arguments& arguments, DriveOutput& out) override;

private:
    Result<EnduranceBaseline> measure(nvme::Drive& drive) const;
    /// By device statistics, or where the drive does not have them, by attributes that count the life that is left.
    Result<EnduranceBaseline> measure(ata::Drive& drive) const;
    template <typename Drive>
    ostrel::core::Status show(Drive& drive, DriveOutput& out);
    template <typename Drive>
    ostrel::core::Status reset(Drive& drive, DriveOutput& out);

    EnduranceBaselines baselines_;
    Clock clock_;
};

}  // namespace features::jobs
