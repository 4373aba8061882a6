#pragma once

#include "features/jobs/base/CloneableJob.h"
#include "features/jobs/base/DumpJob.h"
#include "features/jobs/logs/LongLogs.h"

namespace features::jobs {

/// The telemetry log: the host-initiated one, for which the drive makes a capture, or with "HostInitiated" = "false"
/// the controller-initiated one. "DataArea" 1 to 3 says how much of it; without it, all three.
///
/// A SATA drive has its current and its saved internal status in their places (AtaTelemetry.h).
class TelemetryLogJob : public CloneableJob<TelemetryLogJob, DumpJob> {
public:
    TelemetryLogJob();

    /// What the arguments say of the log; 10/36 for what is out of bounds.
    static Result<TelemetryRequest> readRequest(const Arguments& arguments);

protected:
    ostrel::core::Status checkRequest(const Arguments& arguments) override;
    uint8_t logId(const Arguments& arguments) const override;
    ostrel::core::Status dumpDrive(nvme::Drive& drive, const Arguments& arguments, LogSink& log) override;
    ostrel::core::Status dumpAtaDrive(ata::Drive& drive, const Arguments& arguments, LogSink& log) override;
};

}  // namespace features::jobs
