#pragma once

#include <string>

#include "features/ata/Drive.h"
#include "features/jobs/health/scan/HealthScans.h"
#include "features/jobs/health/scan/HealthVerdict.h"
#include "features/nvme/Drive.h"
#include "features/nvme/FieldTree.h"

namespace features::jobs {

/// Scans one drive: always what it reports of its health (the SMART / Health log and the self-test results), then what
/// is asked for. `tree` gains the verdict with every finding, and what could not be done. `directory`: where the folder
/// with the logs is made.
HealthOutcome scanDrive(nvme::Drive& drive, const HealthScans& scans, const std::string& directory,
                        nvme::FieldTree& tree);
/// The same of a SATA drive: its SMART status, statistics and self-tests.
HealthOutcome scanDrive(ata::Drive& drive, const HealthScans& scans, const std::string& directory,
                        nvme::FieldTree& tree);

}  // namespace features::jobs
