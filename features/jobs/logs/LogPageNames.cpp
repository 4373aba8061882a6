#include "features/jobs/logs/LogPageNames.h"

#include "features/jobs/drive/VendorDialect.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/Opcodes.h"
#include "features/nvme/VelkoLogPages.h"

namespace features::jobs {

using nvme::LogPageRow;

const LogPageRow* findLogRow(const nvme::Drive& drive, uint8_t lid) {
    const LogPageRow* row = nvme::findLogPage(lid);
    return row == nullptr && isVelkoDrive(drive) ? nvme::findVelkoLogPage(lid) : row;
}

std::optional<uint8_t> findLogByName(const std::string& name) {
    const LogPageRow* row = nvme::findLogPage(name);
    if (row == nullptr) row = nvme::findVelkoLogPage(name);
    if (row != nullptr) return row->lid;
    const std::string wanted = nvme::comparableLogName(name);
    for (const char* const known : {OCP_SMART_NAME, OCP_SMART_SHORT_NAME}) {
        if (wanted == nvme::comparableLogName(known)) return nvme::LID_OCP_SMART;
    }
    return std::nullopt;
}

std::string logName(const nvme::Drive& drive, uint8_t lid) {
    const LogPageRow* row = findLogRow(drive, lid);
    return row == nullptr ? "Log Page " + nvme::hexText(lid, 2) : row->name;
}

}  // namespace features::jobs
