#pragma once

#include "features/ata/AtaError.h"
#include "features/ata/Drive.h"
#include "features/errors/Result.h"
#include "features/jobs/base/LogSink.h"
#include "features/jobs/logs/LongLogs.h"

namespace features::jobs {

/// The internal status of a SATA drive, whole and of one capture: log 24h, which the drive captures again with the
/// first page, or log 25h, which it saved by itself (ACS-4 clause 9.8). Page 0 is read again at the end, and a log that
/// changed is read once more.
///
/// `request`: there are areas 1 to 3, of which 10/3 says that there is no fourth; an event to be retained has no
/// meaning. 10/220 on a drive without the log, and where nothing was saved; 10/200 for a log that changed again.
Result<void, ata::AtaError> readInternalStatus(ata::Drive& drive, const TelemetryRequest& request, LogSink& log);

}  // namespace features::jobs
