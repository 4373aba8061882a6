#include "features/jobs/settings/LatencyTrackingJob.h"

#include "features/errors/Result.h"
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
    TRY(const std::optional<bool> reads, arguments.boolean(which));
    if (!reads) return withDetails(statuses::noProperties(), which + " must be true for reads, or false for writes.");
    // The type is sent among the properties, not beside them.
    std::optional<uint64_t> type;
    const auto properties = sentProperties();
    if (properties) {
        TRY(type, properties->number(key::latencyTrackingType().getName(), MAX_TYPE));
    }
    lid_ = *reads ? nvme::LID_VELKO_READ_LATENCY : nvme::LID_VELKO_WRITE_LATENCY;
    type_ = static_cast<uint8_t>(type.value_or(0));
    return Status();
}

Status LatencyTrackingJob::actOnDrive(nvme::Drive& drive, const Arguments&, DriveOutput& out) {
    Status missing = statuses::driveDoesNotSupportFeature();
    if (!isVelkoDrive(drive)) return missing;
    nvme::LogPageRequest request;
    request.lid = lid_;
    request.lsp = type_;
    request.retainEvent = true;
    const auto page = drive.readLogPage(request, nvme::VELKO_LATENCY_BYTES);
    if (!page) return missingLogAs(page.error(), missing);
    if (!nvme::isVelkoLatencyTracked(*page)) {
        return withDetails(statuses::featureBlockedByConfiguration(),
                           "Drive " + drive.name() + " does not track latencies: set " +
                               key::latencyTrackingEnabled().getName() + " to true first.");
    }
    out.addTree(nvme::findVelkoLogPage(lid_)->decode(*page));
    return Status();
}

Status LatencyTrackingJob::setOnDrive(nvme::Drive& drive, const Attribute& attribute) {
    RETURN_IF_FAILED(checkSettable(attribute, key::latencyTrackingEnabled()));
    TRY(const uint32_t enabled, readValue(propertyToSet(), ENABLED));
    TRY(const FeatureAddress address, requireVelkoFeature(drive, nvme::FID_VELKO_LATENCY_TRACKING, OcpGrounds::NAMED,
                                                          statuses::driveDoesNotSupportFeature()));
    const nvme::FeatureField field = nvme::findVelkoFeatureField(attribute.getName());
    return setFeatureField(drive, settableField(field, ALL_BITS, address.uuidIndex), enabled);
}

}  // namespace features::jobs
