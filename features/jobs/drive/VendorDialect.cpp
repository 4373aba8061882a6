#include "features/jobs/drive/VendorDialect.h"

#include <optional>
#include <string>

#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/Features.h"
#include "features/nvme/FieldTree.h"
#include "features/nvme/OcpLogPages.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

constexpr uint8_t FIRST_VENDOR_FID = 0xC0;

/// The version of OCP's log C0h; empty on a drive without it.
Result<std::optional<uint16_t>> readOcpVersion(nvme::Drive& drive, OcpGrounds grounds) {
    TRY(const Payload page, readOcpSmartLog(drive, grounds));
    if (page.getSize() == 0) return std::nullopt;
    return nvme::ocpSmartVersion(page.getData());
}

Result<FeatureAddress> ocpAddress(nvme::Drive& drive, uint8_t fid, uint16_t version) {
    TRY(const nvme::UuidIndexes uuids, drive.uuidIndexes());
    return FeatureAddress{Dialect::OCP, uuids.ocp, nvme::ocpFeatureNsid(fid, version)};
}

/// Of a feature that is not OCP's on the drive.
Result<FeatureAddress> makerAddress(nvme::Drive& drive, uint8_t fid) {
    if (fid < FIRST_VENDOR_FID) return FeatureAddress();
    TRY(const nvme::UuidIndexes uuids, drive.uuidIndexes());
    return FeatureAddress{isVelkoDrive(drive) ? Dialect::VELKO : Dialect::NONE, uuids.maker, 0};
}

/// Whether the identifier is OCP's on the drive, and then the version of its log C0h.
Result<std::optional<uint16_t>> readOwningVersion(nvme::Drive& drive, uint8_t fid, OcpGrounds grounds) {
    if (!isContestedFeature(fid)) return std::nullopt;
    TRY(const std::optional<uint16_t> version, readOcpVersion(drive, grounds));
    return version && nvme::isOcpFeature(fid, *version) ? version : std::nullopt;
}

std::string featureText(uint8_t fid) {
    return nvme::hexText(fid, 2) + " (" + nvme::findOcpFeature(fid)->name + ")";
}

}  // namespace

nvme::FeatureRequest FeatureAddress::request(uint8_t fid) const {
    nvme::FeatureRequest request;
    request.fid = fid;
    request.nsid = nsid;
    request.uuidIndex = uuidIndex;
    return request;
}

bool isVelkoDrive(const nvme::Drive& drive) {
    return drive.device().getAttribute(attributes::device::modelNumber()).getText().compare(0, 5, "VELKO") == 0;
}

Status requireOcp(nvme::Drive& drive) {
    TRY(const std::optional<uint16_t> version, readOcpVersion(drive, OcpGrounds::NAMED));
    return version ? Status() : statuses::ocpNotSupported();
}

Result<FeatureAddress> requireOcpFeature(nvme::Drive& drive, uint8_t fid) {
    TRY(const std::optional<uint16_t> version, readOcpVersion(drive, OcpGrounds::NAMED));
    if (!version) return statuses::ocpNotSupported();
    if (nvme::isOcpFeature(fid, *version)) return ocpAddress(drive, fid, *version);
    return withDetails(statuses::driveDoesNotSupportFeature(), "The version of the OCP specification that drive " +
                                                                   drive.name() + " follows does not have feature " +
                                                                   featureText(fid) + ".");
}

Result<FeatureAddress> requireVelkoFeature(nvme::Drive& drive, uint8_t fid, OcpGrounds grounds, const Status& missing) {
    if (!isVelkoDrive(drive)) return missing;
    TRY(const std::optional<uint16_t> version, readOwningVersion(drive, fid, grounds));
    TRY(const FeatureAddress address, makerAddress(drive, fid));
    if (!version || address.uuidIndex != 0) return address;
    return withDetails(missing, "On drive " + drive.name() + " feature " + featureText(fid) +
                                    " is OCP's, and no entry of its UUID List is the maker's, by which the maker's own "
                                    "feature of that number could be addressed.");
}

Result<FeatureAddress> addressOfFeature(nvme::Drive& drive, uint8_t fid, OcpGrounds grounds) {
    TRY(const std::optional<uint16_t> version, readOwningVersion(drive, fid, grounds));
    return version ? ocpAddress(drive, fid, *version) : makerAddress(drive, fid);
}

}  // namespace features::jobs
