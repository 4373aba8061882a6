#include "features/jobs/settings/SmBusAddressJob.h"

#include <optional>
#include <string>

#include "features/errors/Result.h"
#include "features/jobs/base/SetRequest.h"
#include "features/jobs/drive/VendorDialect.h"
#include "features/jobs/settings/FeatureAccess.h"
#include "features/jobs/settings/FeatureSetting.h"
#include "features/nvme/FieldTree.h"
#include "features/nvme/VelkoFeatures.h"
#include "features/nvme/VelkoInterface.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace features::jobs {

using namespace ostrel::core;
namespace key = ostrel::core::attributes::feature;

namespace {

constexpr uint32_t DISABLED = 255;
constexpr SettableProperty ADDRESS = {key::smBusAddress, 1, DISABLED, statuses::invalidSmBusAddress};
constexpr uint64_t MAX_SELECTOR = 2;
constexpr unsigned SELECTOR_SHIFT = 8;

}  // namespace

SmBusAddressJob::SmBusAddressJob() : CloneableJob(ostrel::interfaces::ostreli::JOB_SMBUS_ADDRESS, "SMBus Address") {}

Status SmBusAddressJob::checkRequest(const Arguments& arguments) {
    RETURN_IF_FAILED(checkOneDrive(getDevices().size()));
    TRY(address_, readValue(arguments, ADDRESS));
    TRY(const std::optional<uint64_t> selector, arguments.number(key::smBusSelector().getName(), MAX_SELECTOR));
    selector_ = static_cast<uint32_t>(selector.value_or(0));
    return Status();
}

Status SmBusAddressJob::actOnDrive(nvme::Drive& drive, const Arguments&, DriveOutput& out) {
    Status missing = statuses::driveDoesNotSupportFeature();
    TRY(const FeatureAddress address,
        requireVelkoFeature(drive, nvme::FID_VELKO_SMBUS_ADDRESS, OcpGrounds::NAMED, missing));
    nvme::FeatureRequest request = address.request(nvme::FID_VELKO_SMBUS_ADDRESS);
    request.cdw11 = selector_ << SELECTOR_SHIFT | address_;
    const auto set = drive.setFeature(request, false);
    if (!set) return explained(set.error(), missing);
    const nvme::FeatureRow* feature = nvme::findVelkoFeature(request.fid);
    const nvme::FieldRow& row = feature->dword0.begin()[selector_];
    RETURN_IF_FAILED(checkReported(drive, settableField({feature, &row}, 0, address.uuidIndex), address_));
    out.addStatus(title(),
                  Status(0, 0,
                         std::string("The address of ") + row.description +
                             (address_ == DISABLED ? " is disabled." : " is " + nvme::hexText(address_, 2) + ".")));
    return Status();
}

}  // namespace features::jobs
