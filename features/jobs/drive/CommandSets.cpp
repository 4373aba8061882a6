#include "features/jobs/drive/CommandSets.h"

#include <string>
#include <vector>

#include "features/jobs/drive/LogReading.h"
#include "features/jobs/drive/Namespaces.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/ControllerCapabilities.h"
#include "features/nvme/Identify.h"
#include "features/nvme/IdentifyCns.h"
#include "features/nvme/NvmeVersions.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

/// Zoned namespaces and those of keys and values were ratified as additions to NVMe 1.4: drives of that version have
/// them, and describe each of their namespaces.
Result<bool> hasCommandSets(nvme::Drive& drive) {
    const auto identify = drive.identifyController();
    if (!identify && !isRefusal(identify.error())) return identify.error().status;
    return identify && nvme::majorAndMinor(nvme::ControllerCapabilities(*identify).version) >= nvme::NVME_1_4;
}

}  // namespace

Result<uint8_t> readCommandSet(nvme::Drive& drive, uint32_t nsid) {
    TRY(const bool several, hasCommandSets(drive));
    if (!several) return nvme::CSI_NVM;
    const auto descriptors = drive.identify(nvme::CNS_NAMESPACE_DESCRIPTORS, nsid);
    if (descriptors) return nvme::commandSetOf(*descriptors);
    if (isRefusal(descriptors.error())) return nvme::CSI_NVM;
    return descriptors.error().status;
}

Result<std::set<uint8_t>> readCommandSets(nvme::Drive& drive) {
    std::set<uint8_t> all = {nvme::CSI_NVM};
    TRY(const bool several, hasCommandSets(drive));
    if (!several) return all;
    TRY(const std::vector<uint32_t> namespaces, readNamespaceList(drive, nvme::CNS_ACTIVE_NAMESPACES));
    for (const uint32_t nsid : namespaces) {
        TRY(const uint8_t csi, readCommandSet(drive, nsid));
        all.insert(csi);
    }
    return all;
}

bool hasBlocks(uint8_t csi) {
    return csi == nvme::CSI_NVM || csi == nvme::CSI_ZONED;
}

Status requireBlocks(nvme::Drive& drive, uint32_t nsid, const Status& missing) {
    TRY(const uint8_t csi, readCommandSet(drive, nsid));
    if (hasBlocks(csi)) return Status();
    return withDetails(missing, "Namespace " + std::to_string(nsid) + " of drive " + drive.name() + " is of the " +
                                    nvme::commandSetName(csi) + " command set, which has no logical blocks.");
}

}  // namespace features::jobs
