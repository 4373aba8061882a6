#include "features/jobs/drive/OcpLogOffers.h"

#include "features/nvme/Opcodes.h"

namespace features::jobs {

using namespace ostrel::core;

Status isOcpLogOffered(DriveFacts& facts, const nvme::OcpLogPageRow& row, bool& isOffered) {
    const uint8_t* smart = facts.ocpSmart();
    isOffered = smart != nullptr;
    if (!isOffered || row.page.lid == nvme::LID_OCP_SMART) return facts.failure();
    bool hasList = false;
    const Status status = facts.drive().readListedLog(row.page.lid, hasList, isOffered);
    if (succeeded(status) && !hasList) isOffered = row.isRequiredBy(nvme::ocpSmartVersion(smart));
    return status;
}

}  // namespace features::jobs
