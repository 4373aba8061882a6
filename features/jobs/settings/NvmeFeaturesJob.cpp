#include "features/jobs/settings/NvmeFeaturesJob.h"

#include <algorithm>

#include "features/errors/Result.h"
#include "features/jobs/base/SetRequest.h"
#include "features/jobs/settings/FeatureAccess.h"
#include "features/jobs/settings/FeatureSetting.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/FeatureIds.h"
#include "features/nvme/Units.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace features::jobs {

using namespace ostrel::core;
namespace key = ostrel::core::attributes::feature;

namespace {

/// Threshold Temperature Select and Threshold Type Select at 0: the composite temperature, too high.
constexpr uint32_t COMPOSITE_OVER_TEMPERATURE = ~uint32_t{0x003F0000};

struct FieldOfFeature {
    SettableProperty property;
    uint32_t offset;  ///< what a value of 0 is in the field
    uint32_t kept;    ///< bits of the dword that stay as the drive has them
};
// clang-format off
constexpr FieldOfFeature FIELDS[] = {
    {{key::aggregationThreshold,                     0, 255, statuses::invalidAggregateThreshold},   0, ALL_BITS},
    {{key::aggregationTime,                          0, 255, statuses::invalidAggregateTime},        0, ALL_BITS},
    {{key::tempThreshold,                            0, 80,  statuses::invalidTemperatureThreshold},
                                                             nvme::KELVIN_AT_0_CELSIUS, COMPOSITE_OVER_TEMPERATURE},
    {{key::smartHealthCriticalWarningsConfiguration, 0, 255, statuses::invalidProperty},             0, ALL_BITS},
    {{key::telemetryLogNoticesConfiguration,         0, 1,   statuses::invalidProperty},             0, ALL_BITS},
    {{key::firmwareActivationNoticesConfiguration,   0, 1,   statuses::invalidProperty},             0, ALL_BITS},
    {{key::namespaceAttributeNoticesConfiguration,   0, 1,   statuses::invalidProperty},             0, ALL_BITS},
};
// clang-format on

Status setField(nvme::Drive& drive, const FieldOfFeature& field, const Arguments& sent) {
    TRY(const uint32_t value, readValue(sent, field.property));
    const auto place = nvme::findFeatureField(field.property.attribute().getName());
    return setFeatureField(drive, settableField(place, field.kept), value + field.offset);
}

Status clearPcieErrors(nvme::Drive& drive, const Arguments& sent) {
    constexpr SettableProperty CLEAR = {key::clearCounter, 0, 1, statuses::invalidProperty};
    TRY(const uint32_t clear, readValue(sent, CLEAR));
    if (clear == 0) return withDetails(statuses::invalidProperty(), key::clearCounter().getName() + " must be true.");
    return writeOcpField(drive, nvme::FID_OCP_CLEAR_PCIE_ERRORS, 1);
}

}  // namespace

NvmeFeaturesJob::NvmeFeaturesJob() : CloneableJob(ostrel::interfaces::ostreli::JOB_NVME_FEATURES, "NVMe Feature") {}

AttributeList NvmeFeaturesJob::getSupportedProperties() const {
    AttributeList list;
    for (const FieldOfFeature& field : FIELDS) list[field.property.attribute().getName()] = field.property.attribute();
    list[key::clearCounter().getName()] = key::clearCounter();
    return list;
}

Status NvmeFeaturesJob::checkRequest(const Arguments& arguments) {
    TRY(isSet_, isSetRequest(arguments));
    if (isSet_) RETURN_IF_FAILED(checkOneDrive(getDevices().size()));
    TRY(feature_, AnyFeature::read(arguments));
    if (isSet_ && !AnyFeature::isAnythingGiven(arguments))
        return withDetails(statuses::noProperties(), "Give DWORD11, DWORD12, DWORD13 or InputFile.");
    return Status();
}

Status NvmeFeaturesJob::actOnDrive(nvme::Drive& drive, const Arguments&, DriveOutput& out) {
    return isSet_ ? feature_.write(drive, title(), out) : feature_.show(drive, out);
}

Status NvmeFeaturesJob::actOnAtaDrive(ata::Drive& drive, const Arguments&, DriveOutput&) {
    return refuseAta(drive.device(), statuses::commandSetNotSupported());
}

Status NvmeFeaturesJob::setOnDrive(nvme::Drive& drive, const Attribute& attribute) {
    const std::string& name = attribute.getName();
    if (name == key::clearCounter().getName()) return clearPcieErrors(drive, propertyToSet());
    const auto* field = std::find_if(std::begin(FIELDS), std::end(FIELDS), [&](const FieldOfFeature& candidate) {
        return candidate.property.attribute().getName() == name;
    });
    if (field != std::end(FIELDS)) return setField(drive, *field, propertyToSet());
    return withDetails(statuses::invalidProperty(), name + " cannot be set.");
}

}  // namespace features::jobs
