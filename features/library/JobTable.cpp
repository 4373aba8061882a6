#include "features/library/JobTable.h"

#include <string_view>

#include "features/jobs/BackgroundProcessingJob.h"
#include "features/jobs/DriveSelfTestJob.h"
#include "features/jobs/EnduranceAnalyzerJob.h"
#include "features/jobs/FirmwareActivateJob.h"
#include "features/jobs/FirmwareUpdateJob.h"
#include "features/jobs/ForceFlushJob.h"
#include "features/jobs/FormatJob.h"
#include "features/jobs/HealthMetricsJob.h"
#include "features/jobs/HealthScanJob.h"
#include "features/jobs/IdentifyJob.h"
#include "features/jobs/LatencyTrackingJob.h"
#include "features/jobs/LedActivityJob.h"
#include "features/jobs/MaxAddressJob.h"
#include "features/jobs/NamespaceManagementJob.h"
#include "features/jobs/NvmeFeaturesJob.h"
#include "features/jobs/NvmeLogJob.h"
#include "features/jobs/NvmeResetJob.h"
#include "features/jobs/OcpErrorInjectionJob.h"
#include "features/jobs/OcpFeatureJob.h"
#include "features/jobs/PartitionInformationJob.h"
#include "features/jobs/PerformanceJob.h"
#include "features/jobs/PersistentEventLogJob.h"
#include "features/jobs/PersistentEventLogParseJob.h"
#include "features/jobs/PowerGovernorJob.h"
#include "features/jobs/SmBusAddressJob.h"
#include "features/jobs/SmartJob.h"
#include "features/jobs/TelemetryLogJob.h"
#include "features/jobs/TimestampJob.h"
#include "features/jobs/TrimJob.h"
#include "features/jobs/VelkoLogJob.h"
#include "features/jobs/VelkoSsdJob.h"
#include "ostrel/core/ScopeTrace.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace features::library {

using ostrel::core::Status;
using namespace ostrel::interfaces::ostreli;

namespace {

template <typename Class>
std::unique_ptr<Job> make() {
    return std::make_unique<Class>();
}

template <const char* NAME>
std::unique_ptr<Job> makeOcpFeature() {
    return std::make_unique<jobs::OcpFeatureJob>(NAME);
}

template <const char* NAME>
std::unique_ptr<Job> makeVelkoLog() {
    return std::make_unique<jobs::VelkoLogJob>(NAME);
}

struct JobRow {
    std::string_view name;
    std::unique_ptr<Job> (*create)();
};

// Every job of this library: adding one is adding a row.
constexpr JobRow JOBS[] = {
    {JOB_ASSERT_LOG, makeVelkoLog<JOB_ASSERT_LOG>},
    {JOB_BACKGROUND_PROCESSING, make<jobs::BackgroundProcessingJob>},
    {JOB_BRIDGE_NLOG, makeVelkoLog<JOB_BRIDGE_NLOG>},
    {JOB_DRIVE_SELF_TEST, make<jobs::DriveSelfTestJob>},
    {JOB_ENDURANCE_ANALYZER, make<jobs::EnduranceAnalyzerJob>},
    {JOB_EVENT_LOG, makeVelkoLog<JOB_EVENT_LOG>},
    {JOB_FIRMWARE_ACTIVATE, make<jobs::FirmwareActivateJob>},
    {JOB_FIRMWARE_UPDATE, make<jobs::FirmwareUpdateJob>},
    {JOB_FORCE_FLUSH, make<jobs::ForceFlushJob>},
    {JOB_FORMAT, make<jobs::FormatJob>},
    {JOB_HEALTH_METRICS, make<jobs::HealthMetricsJob>},
    {JOB_HEALTH_SCAN, make<jobs::HealthScanJob>},
    {JOB_IDENTIFY, make<jobs::IdentifyJob>},
    {JOB_LATENCY_TRACKING, make<jobs::LatencyTrackingJob>},
    {JOB_LED_ACTIVITY, make<jobs::LedActivityJob>},
    {JOB_MAX_ADDRESS, make<jobs::MaxAddressJob>},
    {JOB_NAMESPACE_MANAGEMENT, make<jobs::NamespaceManagementJob>},
    {JOB_NLOG, makeVelkoLog<JOB_NLOG>},
    {JOB_NVME_FEATURES, make<jobs::NvmeFeaturesJob>},
    {JOB_NVME_LOG, make<jobs::NvmeLogJob>},
    {JOB_NVME_RESET, make<jobs::NvmeResetJob>},
    {JOB_PARTITION_INFORMATION, make<jobs::PartitionInformationJob>},
    {JOB_OCP_DSSD_POWER_STATE, makeOcpFeature<JOB_OCP_DSSD_POWER_STATE>},
    {JOB_OCP_ERROR_INJECTION, make<jobs::OcpErrorInjectionJob>},
    {JOB_OCP_IEEE_SILO, makeOcpFeature<JOB_OCP_IEEE_SILO>},
    {JOB_OCP_PLP_CHECK, makeOcpFeature<JOB_OCP_PLP_CHECK>},
    {JOB_OCP_READ_ONLY_WRITE_MODE, makeOcpFeature<JOB_OCP_READ_ONLY_WRITE_MODE>},
    {JOB_PERFORMANCE, make<jobs::PerformanceJob>},
    {JOB_PERSISTENT_EVENT_LOG, make<jobs::PersistentEventLogJob>},
    {JOB_PERSISTENT_EVENT_LOG_PARSE, make<jobs::PersistentEventLogParseJob>},
    {JOB_POWER_GOVERNOR, make<jobs::PowerGovernorJob>},
    {JOB_SMART, make<jobs::SmartJob>},
    {JOB_SMBUS_ADDRESS, make<jobs::SmBusAddressJob>},
    {JOB_SYSTEM_SNAPSHOT, makeVelkoLog<JOB_SYSTEM_SNAPSHOT>},
    {JOB_TELEMETRY_LOG, make<jobs::TelemetryLogJob>},
    {JOB_TIMESTAMP, make<jobs::TimestampJob>},
    {JOB_TRIM, make<jobs::TrimJob>},
    {JOB_VELKOSSD, make<jobs::VelkoSsdJob>},
};

}  // namespace

std::unique_ptr<Job> createJob(const std::string& name, Status& status) {
    OSTREL_TRACE();
    for (const JobRow& row : JOBS) {
        if (row.name == name) return row.create();
    }
    status = ostrel::core::statuses::jobNotFound();
    for (const std::string_view known : ostrel::interfaces::ostreli::JOB_NAMES) {
        if (known == name) status = ostrel::core::statuses::featureNotSupported();
    }
    return nullptr;
}

}  // namespace features::library
