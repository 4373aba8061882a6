#include "features/jobs/logs/LogPageNames.h"

#include "features/jobs/drive/VendorDialect.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/LogPageIds.h"
#include "features/nvme/OcpLogPages.h"
#include "features/nvme/VelkoLogPages.h"

namespace features::jobs {

using nvme::LogPageRow;

const LogPageRow* findLogRow(const nvme::Drive& drive, uint8_t lid) {
    const LogPageRow* row = nvme::findLogPage(lid);
    return row == nullptr && isVelkoDrive(drive) ? nvme::findVelkoLogPage(lid) : row;
}

const LogPageRow* findLogRow(DriveFacts& facts, uint8_t lid) {
    const LogPageRow* row = findLogRow(facts.drive(), lid);
    // The SMART log itself has the length of an unknown page: a request for it sends nothing else.
    const bool mayBeOcp = row == nullptr && lid != nvme::LID_OCP_SMART;
    const nvme::OcpLogPageRow* ocp = mayBeOcp ? nvme::findOcpLogPage(lid) : nullptr;
    return ocp != nullptr && facts.ocpSmart() != nullptr ? &ocp->page : row;
}

std::optional<uint8_t> findLogByName(const std::string& name) {
    const LogPageRow* row = nvme::findLogPage(name);
    if (row == nullptr) row = nvme::findVelkoLogPage(name);
    if (row != nullptr) return row->lid;
    const nvme::OcpLogPageRow* ocp = nvme::findOcpLogPage(name);
    return ocp == nullptr ? std::nullopt : std::optional(ocp->page.lid);
}

std::string logName(const LogPageRow* row, uint8_t lid) {
    return row == nullptr ? "Log Page " + nvme::hexText(lid, 2) : row->name;
}

}  // namespace features::jobs
