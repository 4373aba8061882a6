#include "features/jobs/drive/Offers.h"

#include <algorithm>
#include <iterator>

#include "features/jobs/drive/LogReading.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/ControllerCapabilities.h"
#include "features/nvme/FeatureIds.h"
#include "features/nvme/LogPageIds.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::jobs {

using namespace ostrel::core;
using nvme::hexText;

namespace {

/// Feature Identifiers Supported and Effects (NVMe Base Specification 2.0, section 5.16.1.18): a dword for each.
constexpr uint32_t FEATURE_LOG_BYTES = 1024;

/// Optional features that no field of Identify Controller announces.
constexpr uint8_t UNANNOUNCED[] = {
    nvme::FID_LBA_RANGE_TYPE,  nvme::FID_HOST_BEHAVIOR_SUPPORT,           nvme::FID_SOFTWARE_PROGRESS,
    nvme::FID_HOST_IDENTIFIER, nvme::FID_BOOT_PARTITION_WRITE_PROTECTION,
};

/// NVMe 2.0 and 2.1 added features of which few are announced.
constexpr uint8_t FIRST_OF_NVME_2_0 = nvme::FID_COMMAND_SET_PROFILE;
constexpr uint8_t LAST_OF_NVME_2_1 = nvme::FID_RATE_LIMITING;

bool isUnannounced(const nvme::FeatureRow& feature) {
    const uint8_t fid = feature.fid;
    if (fid >= FIRST_OF_NVME_2_0 && fid <= LAST_OF_NVME_2_1) return feature.isSupported == nullptr;
    return std::find(std::begin(UNANNOUNCED), std::end(UNANNOUNCED), fid) != std::end(UNANNOUNCED);
}

Result<bool> readCapability(nvme::Drive& drive, bool (nvme::ControllerCapabilities::*test)() const) {
    TRY(const uint8_t* const identify, drive.identifyController());
    return (nvme::ControllerCapabilities(identify).*test)();
}

/// By log page 12h; empty on a drive that does not list it.
Result<std::optional<bool>> readFeatureLog(nvme::Drive& drive, uint8_t fid) {
    TRY(const std::optional<bool> listed, drive.isLogListed(nvme::LID_SUPPORTED_FEATURES));
    if (!listed.value_or(false)) return std::nullopt;
    const auto log = readLog(drive, nvme::LID_SUPPORTED_FEATURES, FEATURE_LOG_BYTES);
    if (!log && !isRefusal(log.error())) return log.error();
    if (!log) return std::nullopt;
    return nvme::bit(nvme::le32(log->getData() + size_t{4} * fid), 0);
}

/// `isUnknownOffered`: what counts where nothing is said of the feature.
Result<bool> isFeatureOffered(nvme::Drive& drive, const nvme::FeatureRow& feature, bool isUnknownOffered) {
    if (isUnannounced(feature)) {
        TRY(const std::optional<bool> isSupported, readFeatureLog(drive, feature.fid));
        return isSupported.value_or(isUnknownOffered);
    }
    // It says which events come into a log page, and is there with it.
    if (feature.fid == nvme::FID_ENDURANCE_GROUP_EVENT)
        return isLogOffered(drive, *nvme::findLogPage(nvme::LID_ENDURANCE_GROUP_AGGREGATE));
    if (feature.isSupported != nullptr) return readCapability(drive, feature.isSupported);
    return true;
}

}  // namespace

Result<bool> isLogOffered(nvme::Drive& drive, const nvme::LogPageRow& row) {
    if (row.isSupported == nullptr && row.lid < nvme::FIRST_VENDOR_LID) return true;
    TRY(const std::optional<bool> listed, drive.isLogListed(row.lid));
    if (listed) return *listed;
    if (row.isSupported == nullptr) return true;
    return readCapability(drive, row.isSupported);
}

Status requireLogOffered(nvme::Drive& drive, const nvme::LogPageRow& row) {
    TRY(const bool isOffered, isLogOffered(drive, row));
    if (isOffered) return Status();
    return withDetails(statuses::driveDoesNotSupportFeature(), "Drive " + drive.name() + " does not offer log page " +
                                                                   hexText(row.lid, 2) + " (" + row.name + ").");
}

Status requireFeatureOffered(nvme::Drive& drive, const nvme::FeatureRow& feature, const Status& unsupported) {
    TRY(const bool isOffered, isFeatureOffered(drive, feature, true));
    if (isOffered) return Status();
    return withDetails(unsupported, "Drive " + drive.name() + " does not offer feature " + hexText(feature.fid, 2) +
                                        " (" + feature.name + ").");
}

Result<bool> isFeatureAnnounced(nvme::Drive& drive, const nvme::FeatureRow& feature) {
    return isFeatureOffered(drive, feature, false);
}

}  // namespace features::jobs
