#include "features/jobs/drive/OcpLogOffers.h"

#include "features/nvme/LogPageIds.h"

namespace features::jobs {

using namespace ostrel::core;

Result<bool, nvme::CommandError> isOcpLogOffered(DriveFacts& facts, const nvme::OcpLogPageRow& row) {
    const uint8_t* smart = facts.ocpSmart();
    RETURN_IF_FAILED(facts.failure());
    if (smart == nullptr || row.page.lid == nvme::LID_OCP_SMART) return smart != nullptr;
    TRY(const auto isListed, facts.drive().isLogListed(row.page.lid));
    return isListed.value_or(row.isRequiredBy(nvme::ocpSmartVersion(smart)));
}

}  // namespace features::jobs
