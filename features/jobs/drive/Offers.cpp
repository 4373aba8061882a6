#include "features/jobs/drive/Offers.h"

#include <algorithm>
#include <iterator>

#include "features/jobs/drive/LogReading.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/ControllerCapabilities.h"
#include "features/nvme/Opcodes.h"
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

bool isUnannounced(uint8_t fid) {
    return std::find(std::begin(UNANNOUNCED), std::end(UNANNOUNCED), fid) != std::end(UNANNOUNCED);
}

Status readCapabilities(nvme::Drive& drive, bool (nvme::ControllerCapabilities::*test)() const, bool& isTrue) {
    const uint8_t* identify = nullptr;
    const Status status = drive.identifyController(identify);
    if (succeeded(status)) isTrue = (nvme::ControllerCapabilities(identify).*test)();
    return status;
}

/// By log page 12h; offered as well on a drive that does not list it.
Status readFeatureLog(nvme::Drive& drive, uint8_t fid, bool& isOffered) {
    isOffered = true;
    bool hasList = false;
    bool isListed = false;
    Status status = drive.readListedLog(nvme::LID_SUPPORTED_FEATURES, hasList, isListed);
    if (failed(status) || !isListed) return status;
    Payload log;
    status = readLog(drive, nvme::LID_SUPPORTED_FEATURES, FEATURE_LOG_BYTES, log);
    if (isRefusal(status)) return Status();
    if (succeeded(status)) isOffered = nvme::bit(nvme::le32(log.getData() + size_t{4} * fid), 0);
    return status;
}

}  // namespace

Status isLogOffered(nvme::Drive& drive, const nvme::LogPageRow& row, bool& isOffered) {
    isOffered = true;
    if (row.isSupported == nullptr && row.lid < nvme::FIRST_VENDOR_LID) return Status();
    bool hasList = false;
    const Status status = drive.readListedLog(row.lid, hasList, isOffered);
    if (failed(status) || hasList) return status;
    isOffered = true;
    return row.isSupported == nullptr ? status : readCapabilities(drive, row.isSupported, isOffered);
}

Status requireLogOffered(nvme::Drive& drive, const nvme::LogPageRow& row) {
    bool isOffered = false;
    const Status status = isLogOffered(drive, row, isOffered);
    if (failed(status) || isOffered) return status;
    return withDetails(statuses::driveDoesNotSupportFeature(), "Drive " + drive.name() + " does not offer log page " +
                                                                   hexText(row.lid, 2) + " (" + row.name + ").");
}

Status requireFeatureOffered(nvme::Drive& drive, const nvme::FeatureRow& feature, const Status& unsupported) {
    bool isOffered = true;
    Status status;
    if (feature.isSupported != nullptr) status = readCapabilities(drive, feature.isSupported, isOffered);
    if (isUnannounced(feature.fid)) status = readFeatureLog(drive, feature.fid, isOffered);
    if (failed(status) || isOffered) return status;
    return withDetails(unsupported, "Drive " + drive.name() + " does not offer feature " + hexText(feature.fid, 2) +
                                        " (" + feature.name + ").");
}

}  // namespace features::jobs
