#pragma once

#include <cstdint>
#include <functional>

#include "features/errors/Result.h"
#include "features/jobs/base/LogSink.h"
#include "features/nvme/CommandError.h"
#include "features/nvme/Drive.h"
#include "ostrel/core/Payload.h"
#include "ostrel/core/Status.h"

namespace features::jobs {

/// What is wanted of a drive's telemetry.
struct TelemetryRequest {
    bool hostInitiated = true;  ///< log 07h, for which the drive makes a capture; otherwise log 08h
    unsigned dataArea = 3;      ///< up to and with this one, 1 to 4
    bool retainEvent = false;   ///< leave the event that log 08h reports
};

/// A telemetry log, whole and of one capture: the generation number in its header is compared before and after, and a
/// log that changed is read once more. The capture is asked for once, with the first piece, and the event is retained
/// until the log has been read.
///
/// A drive hands out data area 4 where the host says that it supports it: that is set for this reading alone
/// (TelemetryArea4.h), and 10/3 where the drive has no such area.
///
/// 10/220 on a drive without telemetry, 10/200 for a log that changed again.
Result<void, nvme::CommandError> readTelemetryLog(nvme::Drive& drive, const TelemetryRequest& request, LogSink& log);

/// In which reporting context the persistent event log is read. The drive has one at most; what it records meanwhile
/// is in none.
enum class EventLogContext : uint8_t {
    NEW,          ///< a new one, in the place of one that is there; it stays, unless the reading fails
    ESTABLISHED,  ///< the one that is there; 10/238 when there is none
    PASSING,      ///< one for this reading alone; where there is one already, that one, which stays
};

/// Calls `read` in a PASSING context: a drive without a context refuses to read the persistent event log, and records
/// that as an error.
Result<void, nvme::CommandError> inEventLogContext(nvme::Drive& drive,
                                                   const std::function<Result<void, nvme::CommandError>()>& read);
/// The persistent event log (0Dh), whole. 10/251 on a drive without one.
Result<void, nvme::CommandError> readPersistentEventLog(nvme::Drive& drive, EventLogContext context, LogSink& log);
/// Releases the reporting context.
Result<void, nvme::CommandError> releaseEventLogContext(nvme::Drive& drive);

}  // namespace features::jobs
