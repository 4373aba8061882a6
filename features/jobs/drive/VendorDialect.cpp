#include "features/jobs/drive/VendorDialect.h"

#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

constexpr uint8_t FIRST_VENDOR_FID = 0xC0;

Result<bool> askForOcp(nvme::Drive& drive, OcpGrounds grounds) {
    TRY(const Payload data, readOcpSmartLog(drive, grounds));
    return data.getSize() != 0;
}

}  // namespace

bool isVelkoDrive(const nvme::Drive& drive) {
    return drive.device().getAttribute(attributes::device::modelNumber()).getText().compare(0, 5, "VELKO") == 0;
}

Status requireOcp(nvme::Drive& drive) {
    TRY(const bool isOcp, askForOcp(drive, OcpGrounds::NAMED));
    return isOcp ? Status() : statuses::ocpNotSupported();
}

Status requireVelkoFeature(nvme::Drive& drive, uint8_t fid, const Status& missing) {
    if (!isVelkoDrive(drive)) return missing;
    TRY(const Dialect dialect, dialectOfFeature(drive, fid, OcpGrounds::NAMED));
    return dialect == Dialect::VELKO ? Status() : missing;
}

Result<Dialect> dialectOfFeature(nvme::Drive& drive, uint8_t fid, OcpGrounds grounds) {
    if (isContestedFeature(fid)) {
        TRY(const bool isOcp, askForOcp(drive, grounds));
        if (isOcp) return Dialect::OCP;
    }
    return fid >= FIRST_VENDOR_FID && isVelkoDrive(drive) ? Dialect::VELKO : Dialect::NONE;
}

}  // namespace features::jobs
