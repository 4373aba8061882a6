#include "features/jobs/health/HealthMetricsJob.h"

#include "features/jobs/drive/CriticalWarnings.h"
#include "features/jobs/drive/LogReading.h"
#include "features/jobs/drive/OcpSmartLog.h"
#include "features/jobs/health/VelkoSmart.h"
#include "features/nvme/SmartAttributes.h"
#include "features/nvme/structures/SmartHealthLog.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace features::jobs {

using namespace ostrel::core;

HealthMetricsJob::HealthMetricsJob()
    : CloneableJob(ostrel::interfaces::ostreli::JOB_HEALTH_METRICS, "Health Sensors") {}

Status HealthMetricsJob::showDrive(nvme::Drive& drive, const Arguments&, DriveOutput& out) {
    TRY(const Payload smart, readSmartLog(drive));
    AttributeList list = nvme::healthMetrics(smart);
    Attribute deviceStatus = attributes::feature::deviceStatus();
    deviceStatus.setValue(deviceStatusText(smart.getData()[offsetof(nvme::SmartHealthLog, criticalWarning)]));
    list[deviceStatus.getName()] = deviceStatus;
    if (!out.hasAllRequested(list)) {  // nothing is asked of the drive that the answer does not need
        const auto ocp = readOcpSmartLog(drive, OcpGrounds::OFFERED);
        if (!ocp && !isRefusal(ocp.error())) return ocp.error();
        list.merge(nvme::ocpHealthMetrics(ocp.value_or(Payload())));
        RETURN_IF_FAILED(addVelkoSmart(drive, VELKO_HEALTH_BYTES, list));
    }
    out.addAttributes(title(), list);
    return Status();
}

}  // namespace features::jobs
