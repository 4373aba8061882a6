#include "features/jobs/health/PerformanceJob.h"

#include "features/jobs/drive/LogReading.h"
#include "features/nvme/SmartAttributes.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace features::jobs {

using namespace ostrel::core;

PerformanceJob::PerformanceJob() : CloneableJob(ostrel::interfaces::ostreli::JOB_PERFORMANCE, "Performance Metrics") {}

Status PerformanceJob::showDrive(nvme::Drive& drive, const Arguments&, DriveOutput& out) {
    TRY(const Payload smart, readSmartLog(drive));
    out.addAttributes(title(), nvme::performanceMetrics(smart));
    return Status();
}

}  // namespace features::jobs
