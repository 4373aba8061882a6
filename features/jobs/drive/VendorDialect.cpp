#include "features/jobs/drive/VendorDialect.h"

#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

constexpr uint8_t FIRST_VENDOR_FID = 0xC0;

Status askForOcp(nvme::Drive& drive, OcpGrounds grounds, bool& isOcp) {
    Payload data;
    const Status status = readOcpSmartLog(drive, grounds, data);
    isOcp = data.getSize() != 0;
    return status;
}

}  // namespace

bool isVelkoDrive(const nvme::Drive& drive) {
    return drive.device().getAttribute(attributes::device::modelNumber()).getText().compare(0, 5, "VELKO") == 0;
}

Status requireOcp(nvme::Drive& drive) {
    bool isOcp = false;
    Status status = askForOcp(drive, OcpGrounds::NAMED, isOcp);
    return succeeded(status) && !isOcp ? statuses::ocpNotSupported() : status;
}

Status requireVelkoFeature(nvme::Drive& drive, uint8_t fid, const Status& missing) {
    if (!isVelkoDrive(drive)) return missing;
    Dialect dialect = Dialect::NONE;
    Status status = dialectOfFeature(drive, fid, OcpGrounds::NAMED, dialect);
    return succeeded(status) && dialect != Dialect::VELKO ? missing : status;
}

Status dialectOfFeature(nvme::Drive& drive, uint8_t fid, OcpGrounds grounds, Dialect& dialect) {
    bool isOcp = false;
    if (isContestedFeature(fid)) {
        Status status = askForOcp(drive, grounds, isOcp);
        if (failed(status)) return status;
    }
    dialect = isOcp ? Dialect::OCP : fid >= FIRST_VENDOR_FID && isVelkoDrive(drive) ? Dialect::VELKO : Dialect::NONE;
    return Status();
}

}  // namespace features::jobs
