#include "features/jobs/drive/DeviceStatus.h"

#include "features/jobs/drive/CriticalWarnings.h"
#include "features/jobs/drive/LogReading.h"
#include "features/jobs/drive/OcpLogOffers.h"
#include "features/nvme/LogPageIds.h"
#include "features/nvme/OcpLogPages.h"
#include "features/nvme/structures/SmartHealthLog.h"

namespace features::jobs {

using namespace ostrel::core;

Result<std::string, nvme::CommandError> readPanicStatus(DriveFacts& facts) {
    const nvme::OcpLogPageRow& row = *nvme::findOcpLogPage(nvme::LID_OCP_ERROR_RECOVERY);
    TRY(const bool isOffered, isOcpLogOffered(facts, row));
    if (!isOffered) return std::string();
    TRY(const Payload page, readLog(facts.drive(), row.page.lid, row.page.lengthBytes));
    return row.isIn(page) ? nvme::ocpPanicText(page.getData()) : std::string();
}

std::string readDeviceStatus(DriveFacts& facts, const uint8_t* smart) {
    const uint8_t warnings = nvme::structureAt<nvme::SmartHealthLog>(smart).criticalWarning;
    const auto panic = readPanicStatus(facts);
    if (!panic) facts.noteError(panic.error().status);
    const std::string firmware =
        panic ? *panic : "Whether its firmware has panicked is not known: " + panic.error().status.getMessage();
    if (firmware.empty()) return deviceStatusText(warnings);
    return warnings == 0 ? firmware : deviceStatusText(warnings) + " " + firmware;
}

}  // namespace features::jobs
