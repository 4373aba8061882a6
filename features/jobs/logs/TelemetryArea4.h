#pragma once

#include <functional>

#include "features/errors/Result.h"
#include "features/jobs/base/LogSink.h"
#include "features/nvme/CommandError.h"
#include "features/nvme/Drive.h"

namespace features::jobs {

/// Calls `read` while the drive hands out data area 4 of its telemetry (NVMe Base Specification 2.0): the feature Host
/// Behavior Support has Extended Telemetry Data Area 4 Supported (ETDAS) set meanwhile, and what it had before
/// afterwards, also when the reading failed. Nothing is set where it was set already.
///
/// A signal that ends the process waits until the feature is put back; the reading stops at its next piece.
///
/// Errors: 10/3 on a drive without data area 4, before anything is sent to it. That the feature could not be put back
/// is
///         an error of its own after a reading that succeeded, and is added to the error of one that failed.
Result<void, nvme::CommandError> withTelemetryArea4(
    nvme::Drive& drive, LogSink& log, const std::function<Result<void, nvme::CommandError>(LogSink&)>& read);

}  // namespace features::jobs
