#include "features/jobs/settings/LatencyTrackingJob.h"

#include "features/jobs/base/SetRequest.h"
#include "features/jobs/drive/LogReading.h"
#include "features/jobs/drive/VendorDialect.h"
#include "features/jobs/settings/FeatureSetting.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/VelkoFeatures.h"
#include "features/nvme/VelkoInterface.h"
#include "features/nvme/VelkoLogPages.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace features::jobs {

using namespace ostrel::core;
namespace key = ostrel::core::attributes::feature;

namespace {

constexpr SettableProperty ENABLED = {key::latencyTrackingEnabled, 0, 1, statuses::invalidProperty};
constexpr uint64_t MAX_TYPE = 3;

}  // namespace

LatencyTrackingJob::LatencyTrackingJob()
    : CloneableJob(ostrel::interfaces::ostreli::JOB_LATENCY_TRACKING, "Latency Statistics") {}

AttributeList LatencyTrackingJob::getSupportedProperties() const {
    return {{key::latencyTrackingEnabled().getName(), key::latencyTrackingEnabled()}};
}

Status LatencyTrackingJob::checkRequest(const Arguments& arguments) {
    const std::string which = key::latencyStatisticsForReadCommands().getName();
    std::optional<bool> reads;
    Status status = arguments.boolean(which, reads);
    if (succeeded(status) && !reads)
        status = withDetails(statuses::noProperties(), which + " must be true for reads, or false for writes.");
    // The type is sent among the properties, not beside them.
    std::optional<uint64_t> type;
    const auto properties = sentProperties();
    if (succeeded(status) && properties)
        status = properties->number(key::latencyTrackingType().getName(), MAX_TYPE, type);
    if (failed(status)) return status;
    lid_ = *reads ? nvme::LID_VELKO_READ_LATENCY : nvme::LID_VELKO_WRITE_LATENCY;
    type_ = static_cast<uint8_t>(type.value_or(0));
    return status;
}

Status LatencyTrackingJob::actOnDrive(nvme::Drive& drive, const Arguments&, DriveOutput& out) {
    Status missing = statuses::driveDoesNotSupportFeature();
    if (!isVelkoDrive(drive)) return missing;
    nvme::LogPageRequest request;
    request.lid = lid_;
    request.lsp = type_;
    request.retainEvent = true;
    Payload page;
    Status status = missingLogAs(drive.readLogPage(request, nvme::VELKO_LATENCY_BYTES, page), drive, missing);
    if (failed(status)) return status;
    if (!nvme::isVelkoLatencyTracked(page)) {
        return withDetails(statuses::featureBlockedByConfiguration(),
                           "Drive " + drive.name() + " does not track latencies: set " +
                               key::latencyTrackingEnabled().getName() + " to true first.");
    }
    out.addTree(nvme::findVelkoLogPage(lid_)->decode(page));
    return status;
}

Status LatencyTrackingJob::setOnDrive(nvme::Drive& drive, const Attribute& attribute) {
    uint32_t enabled = 0;
    Status status = checkSettable(attribute, key::latencyTrackingEnabled());
    if (succeeded(status)) status = readValue(propertyToSet(), ENABLED, enabled);
    if (succeeded(status))
        status = requireVelkoFeature(drive, nvme::FID_VELKO_LATENCY_TRACKING, statuses::driveDoesNotSupportFeature());
    if (failed(status)) return status;
    return setFeatureField(drive, settableField(nvme::findVelkoFeatureField(attribute.getName())), enabled);
}

}  // namespace features::jobs
