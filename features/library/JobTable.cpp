#include "features/library/JobTable.h"

#include <algorithm>
#include <string_view>

#include "features/jobs/base/SetRequest.h"
#include "features/jobs/erase/FormatJob.h"
#include "features/jobs/erase/TrimJob.h"
#include "features/jobs/firmware/FirmwareActivateJob.h"
#include "features/jobs/firmware/FirmwareUpdateJob.h"
#include "features/jobs/health/DriveSelfTestJob.h"
#include "features/jobs/health/EnduranceAnalyzerJob.h"
#include "features/jobs/health/HealthMetricsJob.h"
#include "features/jobs/health/PerformanceJob.h"
#include "features/jobs/health/SmartJob.h"
#include "features/jobs/health/scan/HealthScanJob.h"
#include "features/jobs/inventory/IdentifyJob.h"
#include "features/jobs/inventory/PartitionInformationJob.h"
#include "features/jobs/inventory/VelkoSsdJob.h"
#include "features/jobs/logs/NvmeLogJob.h"
#include "features/jobs/logs/PersistentEventLogJob.h"
#include "features/jobs/logs/PersistentEventLogParseJob.h"
#include "features/jobs/logs/TelemetryLogJob.h"
#include "features/jobs/logs/TelemetryLogParseJob.h"
#include "features/jobs/logs/VelkoLogJob.h"
#include "features/jobs/namespaces/NamespaceManagementJob.h"
#include "features/jobs/operations/BackgroundProcessingJob.h"
#include "features/jobs/operations/ForceFlushJob.h"
#include "features/jobs/operations/NvmeResetJob.h"
#include "features/jobs/settings/LatencyTrackingJob.h"
#include "features/jobs/settings/LedActivityJob.h"
#include "features/jobs/settings/MaxAddressJob.h"
#include "features/jobs/settings/NvmeFeaturesJob.h"
#include "features/jobs/settings/OcpErrorInjectionJob.h"
#include "features/jobs/settings/OcpFeatureJob.h"
#include "features/jobs/settings/PowerGovernorJob.h"
#include "features/jobs/settings/SmBusAddressJob.h"
#include "features/jobs/settings/TimestampJob.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/xml/XmlConstants.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace features::library {

using ostrel::core::Status;
namespace xml = ostrel::core::xml;
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

std::unique_ptr<Job> makeFormat() {
    return std::make_unique<jobs::FormatJob>(jobs::systemWaitClock(), jobs::ErasePasswords(),
                                             std::make_shared<const jobs::Notice>(),
                                             std::make_shared<const jobs::ErasureRecords>());
}

/// What requests of the type Method do to a drive. Those of the other two types always do the same.
enum class Methods : uint8_t { READ, CHANGE, GET_OR_SET };

struct JobRow {
    std::string_view name;
    std::unique_ptr<Job> (*create)();
    Methods methods;
};

// Every job of this library: adding one is adding a row.
constexpr JobRow JOBS[] = {
    {JOB_ASSERT_LOG, makeVelkoLog<JOB_ASSERT_LOG>, Methods::READ},
    {JOB_BACKGROUND_PROCESSING, make<jobs::BackgroundProcessingJob>, Methods::READ},
    {JOB_BRIDGE_NLOG, makeVelkoLog<JOB_BRIDGE_NLOG>, Methods::READ},
    {JOB_DRIVE_SELF_TEST, make<jobs::DriveSelfTestJob>, Methods::CHANGE},
    {JOB_ENDURANCE_ANALYZER, make<jobs::EnduranceAnalyzerJob>, Methods::CHANGE},
    {JOB_EVENT_LOG, makeVelkoLog<JOB_EVENT_LOG>, Methods::READ},
    {JOB_FIRMWARE_ACTIVATE, make<jobs::FirmwareActivateJob>, Methods::CHANGE},
    {JOB_FIRMWARE_UPDATE, make<jobs::FirmwareUpdateJob>, Methods::CHANGE},
    {JOB_FORCE_FLUSH, make<jobs::ForceFlushJob>, Methods::CHANGE},
    {JOB_FORMAT, makeFormat, Methods::CHANGE},
    {JOB_HEALTH_METRICS, make<jobs::HealthMetricsJob>, Methods::READ},
    {JOB_HEALTH_SCAN, make<jobs::HealthScanJob>, Methods::READ},
    {JOB_IDENTIFY, make<jobs::IdentifyJob>, Methods::READ},
    {JOB_LATENCY_TRACKING, make<jobs::LatencyTrackingJob>, Methods::READ},
    {JOB_LED_ACTIVITY, make<jobs::LedActivityJob>, Methods::CHANGE},
    {JOB_MAX_ADDRESS, make<jobs::MaxAddressJob>, Methods::CHANGE},
    {JOB_NAMESPACE_MANAGEMENT, make<jobs::NamespaceManagementJob>, Methods::CHANGE},
    {JOB_NLOG, makeVelkoLog<JOB_NLOG>, Methods::READ},
    {JOB_NVME_FEATURES, make<jobs::NvmeFeaturesJob>, Methods::GET_OR_SET},
    {JOB_NVME_LOG, make<jobs::NvmeLogJob>, Methods::READ},
    {JOB_NVME_RESET, make<jobs::NvmeResetJob>, Methods::CHANGE},
    {JOB_PARTITION_INFORMATION, make<jobs::PartitionInformationJob>, Methods::READ},
    {JOB_OCP_DSSD_POWER_STATE, makeOcpFeature<JOB_OCP_DSSD_POWER_STATE>, Methods::CHANGE},
    {JOB_OCP_ERROR_INJECTION, make<jobs::OcpErrorInjectionJob>, Methods::GET_OR_SET},
    {JOB_OCP_IEEE_SILO, makeOcpFeature<JOB_OCP_IEEE_SILO>, Methods::CHANGE},
    {JOB_OCP_PLP_CHECK, makeOcpFeature<JOB_OCP_PLP_CHECK>, Methods::CHANGE},
    {JOB_OCP_READ_ONLY_WRITE_MODE, makeOcpFeature<JOB_OCP_READ_ONLY_WRITE_MODE>, Methods::CHANGE},
    {JOB_PERFORMANCE, make<jobs::PerformanceJob>, Methods::READ},
    {JOB_PERSISTENT_EVENT_LOG, make<jobs::PersistentEventLogJob>, Methods::READ},
    {JOB_PERSISTENT_EVENT_LOG_PARSE, make<jobs::PersistentEventLogParseJob>, Methods::READ},
    {JOB_POWER_GOVERNOR, make<jobs::PowerGovernorJob>, Methods::CHANGE},
    {JOB_SMART, make<jobs::SmartJob>, Methods::READ},
    {JOB_SMBUS_ADDRESS, make<jobs::SmBusAddressJob>, Methods::CHANGE},
    {JOB_SYSTEM_SNAPSHOT, makeVelkoLog<JOB_SYSTEM_SNAPSHOT>, Methods::READ},
    {JOB_TELEMETRY_LOG, make<jobs::TelemetryLogJob>, Methods::READ},
    {JOB_TELEMETRY_LOG_PARSE, make<jobs::TelemetryLogParseJob>, Methods::READ},
    {JOB_TIMESTAMP, make<jobs::TimestampJob>, Methods::CHANGE},
    {JOB_TRIM, make<jobs::TrimJob>, Methods::CHANGE},
    {JOB_VELKOSSD, make<jobs::VelkoSsdJob>, Methods::READ},
};

}  // namespace

bool changesDrive(const xml::XmlObject& request) {
    const std::string type = request.getAttribute(xml::KEY_TYPE);
    if (type != JOBTYPE_METHOD) return type == JOBTYPE_SET_PROPERTY;
    const std::string name = request.getAttribute(xml::KEY_NAME);
    const JobRow* const row =
        std::find_if(std::begin(JOBS), std::end(JOBS), [&](const JobRow& r) { return r.name == name; });
    if (row == std::end(JOBS)) return false;
    if (row->methods != Methods::GET_OR_SET) return row->methods != Methods::READ;
    return jobs::isSetRequest(jobs::Arguments(request)).value_or(false);  // the job refuses what is neither
}

Result<std::unique_ptr<Job>> createJob(const std::string& name) {
    for (const JobRow& row : JOBS) {
        if (row.name == name) return row.create();
    }
    for (const std::string_view known : ostrel::interfaces::ostreli::JOB_NAMES) {
        if (known == name) return ostrel::core::statuses::featureNotSupported();
    }
    return ostrel::core::statuses::jobNotFound();
}

}  // namespace features::library
