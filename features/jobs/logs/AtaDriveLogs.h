#pragma once

#include "features/ata/Drive.h"
#include "features/jobs/logs/LogFolder.h"
#include "features/nvme/FieldTree.h"
#include "ostrel/core/Status.h"

namespace features::jobs {

/// Writes all that a SATA drive reports of itself into a folder: IDENTIFY DEVICE, SMART data, thresholds and logs, and
/// every log that its directory names, whole, byte for byte, each in a file of its own. Of log 24h a capture is made.
/// Vendor specific logs come last: some drives hang on them.
///
/// A log that the drive still refuses is reported in `tree` and no failure; the status is a transport error, or that of
/// a file. `tree` gains the folder, the number of files, and in words the logs of errors, self-tests,
/// pending defects and of the link.
ostrel::core::Status storeAtaDriveLogs(ata::Drive& drive, const LogFolder& folder, nvme::FieldTree& tree);

}  // namespace features::jobs
