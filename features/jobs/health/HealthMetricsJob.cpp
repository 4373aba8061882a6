#include "features/jobs/health/HealthMetricsJob.h"

#include <utility>

#include "features/errors/PayloadCopy.h"
#include "features/jobs/drive/DeviceStatus.h"
#include "features/jobs/drive/DriveFacts.h"
#include "features/jobs/drive/LogReading.h"
#include "features/jobs/health/VelkoSmart.h"
#include "features/nvme/LogPages.h"
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
    Attribute status = attributes::feature::deviceStatus();
    DriveFacts facts(drive);
    // Nothing is asked of the drive that the answer does not need.
    if (out.requested() == nullptr || findIgnoringCase(*out.requested(), status.getName()) != out.requested()->end()) {
        status.setValue(readDeviceStatus(facts, smart.getData()));
        RETURN_IF_FAILED(facts.failure());
        list[status.getName()] = status;
    }
    if (!out.hasAllRequested(list)) {
        const uint8_t* ocp = facts.ocpSmart();
        RETURN_IF_FAILED(facts.failure());
        if (ocp != nullptr) list.merge(nvme::ocpHealthMetrics(copyOf(ocp, nvme::OCP_SMART_BYTES)));
        RETURN_IF_FAILED(addVelkoSmart(drive, VELKO_HEALTH_BYTES, list));
    }
    out.addAttributes(title(), std::move(list));
    return Status();
}

}  // namespace features::jobs
