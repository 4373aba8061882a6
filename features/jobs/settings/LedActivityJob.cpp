#include "features/jobs/settings/LedActivityJob.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "features/errors/Result.h"
#include "features/jobs/base/SetRequest.h"
#include "features/jobs/drive/VendorDialect.h"
#include "features/jobs/settings/FeatureAccess.h"
#include "features/jobs/settings/FeatureSetting.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/FieldTable.h"
#include "features/nvme/VelkoFeatures.h"
#include "features/nvme/VelkoInterface.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/Strings.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace features::jobs {

using namespace ostrel::core;
namespace key = ostrel::core::attributes::feature;

namespace {

/// The tool sets the duration base under the name of its unit.
constexpr const char* MILLISECONDS = "Milliseconds";
constexpr uint32_t DURATION_BASES[] = {25, 50};

constexpr SettableProperty MULTIPLIERS[] = {
    {key::ioOnMultiplier, 0, 15, statuses::invalidProperty},
    {key::ioOffMultiplier, 0, 15, statuses::invalidProperty},
    {key::formatOnMultiplier, 0, 15, statuses::invalidProperty},
    {key::formatOffMultiplier, 0, 15, statuses::invalidProperty},
};

Result<uint32_t> readIdleState(const std::string& text) {
    const std::string word = toLower(text);
    if (word == "on") return 1U;
    if (word == "off") return 0U;
    return withDetails(statuses::invalidProperty(), "IdleState must be 'on' or 'off', not '" + text + "'.");
}

Result<uint32_t> readDurationBase(const std::string& text) {
    for (const uint32_t base : DURATION_BASES) {
        if (text == std::to_string(base)) return base;
    }
    return withDetails(statuses::invalidProperty(),
                       std::string(MILLISECONDS) + " must be 25 or 50, not '" + text + "'.");
}

/// The field that a property sets.
std::string fieldOf(const std::string& name) {
    return name == MILLISECONDS ? key::durationBase().getName() : name;
}

Result<uint32_t> readField(const std::string& name, const Arguments& sent) {
    const std::string field = fieldOf(name);
    if (field == key::durationBase().getName()) return readDurationBase(sent.text(name));
    if (field == key::idleState().getName()) return readIdleState(sent.text(name));
    const auto* multiplier =
        std::find_if(std::begin(MULTIPLIERS), std::end(MULTIPLIERS),
                     [&](const SettableProperty& property) { return property.attribute().getName() == name; });
    if (multiplier != std::end(MULTIPLIERS)) return readValue(sent, *multiplier);
    return withDetails(statuses::invalidProperty(), name + " cannot be set.");
}

Result<FeatureAddress> addressOfLed(nvme::Drive& drive, OcpGrounds grounds) {
    return requireVelkoFeature(drive, nvme::FID_VELKO_LED_ACTIVITY, grounds, statuses::driveDoesNotSupportFeature());
}

}  // namespace

LedActivityJob::LedActivityJob() : CloneableJob(ostrel::interfaces::ostreli::JOB_LED_ACTIVITY, "LED Activity") {}

AttributeList LedActivityJob::getSupportedProperties() const {
    AttributeList list;
    for (const nvme::FieldRow& row : nvme::findVelkoFeature(nvme::FID_VELKO_LED_ACTIVITY)->dword0)
        list[nvme::fieldName(row)] = row.key();
    return list;
}

Status LedActivityJob::showDrive(nvme::Drive& drive, const Arguments&, DriveOutput& out) {
    TRY(const FeatureAddress address, addressOfLed(drive, OcpGrounds::OFFERED));
    const nvme::FeatureRequest request = address.request(nvme::FID_VELKO_LED_ACTIVITY);
    TRY(const nvme::Answer answer,
        readFeature(drive, request, nvme::Select::CURRENT, statuses::driveDoesNotSupportFeature()));
    AttributeList list = getSupportedProperties();
    const nvme::FieldTree tree =
        nvme::decodeFeature(*nvme::findVelkoFeature(request.fid), answer.completion.dword0, answer.data);
    for (const nvme::Field& field : tree.fields) {
        Attribute& attribute = list[field.name];
        attribute = Attribute(field.name, attribute.getDisplayName(), typeString(), field.value);
    }
    out.addAttributes(title(), std::move(list));
    return Status();
}

Status LedActivityJob::setOnDrive(nvme::Drive& drive, const Attribute& attribute) {
    const std::string& name = attribute.getName();
    TRY(const uint32_t value, readField(name, propertyToSet()));
    TRY(const FeatureAddress address, addressOfLed(drive, OcpGrounds::NAMED));
    const SettableField field = settableField(nvme::findVelkoFeatureField(fieldOf(name)), ALL_BITS, address.uuidIndex);
    return setFeatureField(drive, field, value);
}

}  // namespace features::jobs
