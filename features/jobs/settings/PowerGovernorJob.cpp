#include "features/jobs/settings/PowerGovernorJob.h"

#include <algorithm>
#include <string>
#include <vector>

#include "features/errors/Result.h"
#include "features/jobs/base/SetRequest.h"
#include "features/jobs/drive/VendorDialect.h"
#include "features/jobs/settings/Alternatives.h"
#include "features/jobs/settings/FeatureSetting.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/ControllerCapabilities.h"
#include "features/nvme/VelkoFeatures.h"
#include "features/nvme/VelkoInterface.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace features::jobs {

using namespace ostrel::core;
namespace key = ostrel::core::attributes::feature;

namespace {

constexpr SettableProperty MODE = {key::powerGovernorMode, 0, 2, statuses::invalidPowerMode};

/// Power State Descriptors in Identify Controller.
constexpr size_t DESCRIPTORS_OFFSET = 2048;
constexpr size_t DESCRIPTOR_BYTES = 32;
constexpr size_t NON_OPERATIONAL_BYTE = 3;
constexpr unsigned NON_OPERATIONAL_BIT = 1;

Status checkPowerState(nvme::Drive& drive, uint32_t state) {
    TRY(const uint8_t* const identify, drive.identifyController());
    std::vector<std::string> operational;
    for (uint32_t i = 0; i <= std::min<uint32_t>(MODE.most, nvme::ControllerCapabilities(identify).npss); ++i) {
        const uint8_t* descriptor = identify + DESCRIPTORS_OFFSET + i * DESCRIPTOR_BYTES;
        if (nvme::bit(descriptor[NON_OPERATIONAL_BYTE], NON_OPERATIONAL_BIT)) continue;
        if (i == state) return Status();
        operational.push_back(std::to_string(i));
    }
    return withDetails(statuses::invalidPowerMode(),
                       "Drive " + drive.name() + " has no power state " + std::to_string(state) + " in which it works" +
                           (operational.empty() ? "" : ": it takes " + alternatives(operational)) + ".");
}

}  // namespace

PowerGovernorJob::PowerGovernorJob()
    : CloneableJob(ostrel::interfaces::ostreli::JOB_POWER_GOVERNOR, "Power Governor") {}

AttributeList PowerGovernorJob::getSupportedProperties() const {
    return {{key::powerGovernorMode().getName(), key::powerGovernorMode()}};
}

Status PowerGovernorJob::setOnDrive(nvme::Drive& drive, const Attribute& attribute) {
    RETURN_IF_FAILED(checkSettable(attribute, key::powerGovernorMode()));
    TRY(const uint32_t mode, readValue(propertyToSet(), MODE));
    FeatureAddress address;
    if (isVelkoDrive(drive)) {
        TRY(address, addressOfFeature(drive, nvme::FID_VELKO_POWER_GOVERNOR, OcpGrounds::NAMED));
    }
    // The limits beside the mode are the drive's to say: they are not written back.
    if (address.dialect == Dialect::VELKO) {
        const auto field = nvme::findVelkoFeatureField(key::powerGovernorMode().getName());
        return setFeatureField(drive, settableField(field, 0, address.uuidIndex), mode);
    }
    RETURN_IF_FAILED(checkPowerState(drive, mode));
    return setFeatureField(drive, settableField(nvme::findFeatureField(key::nvmePowerState().getName())), mode);
}

}  // namespace features::jobs
