#include "features/jobs/drive/Namespaces.h"

#include <string>

#include "features/jobs/drive/LogReading.h"
#include "features/jobs/drive/Refusals.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/Identify.h"
#include "features/nvme/IdentifyCns.h"
#include "features/nvme/NamespaceProperties.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

constexpr std::size_t MAX_NAMESPACES_IN_A_LIST = 1024;
constexpr std::size_t MAX_CONTROLLERS_IN_A_LIST = 2047;
constexpr uint16_t LAST_CONTROLLER = 0xFFFF;

constexpr RefusalRow REFUSALS[] = {{nvme::SC_INVALID_NAMESPACE, statuses::invalidNamespaceId}};

/// The drive repeats itself, and a list would have no end.
Status damagedList(const nvme::Drive& drive) {
    return Status(CATEGORY_FEATURE, statuses::deviceDataRetrievalFailed().getCode(),
                  "Drive " + drive.name() + " gave a list whose entries do not increase.");
}

/// A namespace that is not there is all zero.
bool isThere(const Payload& data) {
    return nvme::NamespaceProperties(data.getData()).sizeBlocks != 0;
}

}  // namespace

/// The lists go on after the last entry of a full one.
Result<std::vector<uint32_t>> readNamespaceList(nvme::Drive& drive, uint8_t cns) {
    std::vector<uint32_t> all;
    for (bool more = true; more;) {
        TRY(const Payload data, drive.identify(cns, all.empty() ? 0 : all.back()));
        const std::vector<uint32_t> part = nvme::decodeNamespaceList(data);
        more = part.size() == MAX_NAMESPACES_IN_A_LIST;
        if (more && !all.empty() && part.back() <= all.back()) return damagedList(drive);
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

Result<std::vector<uint16_t>> readControllerList(nvme::Drive& drive, uint8_t cns, uint32_t nsid) {
    std::vector<uint16_t> all;
    uint16_t first = 0;
    for (bool more = true; more;) {
        TRY(const Payload data, drive.identify(cns, nsid, first));
        const std::vector<uint16_t> part = nvme::decodeControllerList(data);
        all.insert(all.end(), part.begin(), part.end());
        more = part.size() == MAX_CONTROLLERS_IN_A_LIST && part.back() != LAST_CONTROLLER;
        if (more && part.back() < first) return damagedList(drive);
        if (more) first = static_cast<uint16_t>(part.back() + 1);
    }
    return all;
}

Result<std::vector<uint32_t>> readAllNamespaces(nvme::Drive& drive, const nvme::ControllerCapabilities& controller) {
    if (controller.supportsNamespaceManagement()) {
        auto allocated = readNamespaceList(drive, nvme::CNS_ALLOCATED_NAMESPACES);
        // A controller may claim namespace management without having it: then all namespaces are attached.
        if (allocated || !isRefusal(allocated.error())) return allocated;
    }
    return readNamespaceList(drive, nvme::CNS_ACTIVE_NAMESPACES);
}

Result<Payload, nvme::CommandError> identifyAnyNamespace(nvme::Drive& drive,
                                                         const nvme::ControllerCapabilities& controller,
                                                         uint32_t nsid) {
    auto data = drive.identify(nvme::CNS_NAMESPACE, nsid);
    if (data && !isThere(*data) && controller.supportsNamespaceManagement())
        data = drive.identify(nvme::CNS_ALLOCATED_NAMESPACE, nsid);
    if (!data) {
        return nvme::CommandError(mapNvmeStatus(REFUSALS, statuses::nvmeCommandProblem, data.error()),
                                  data.error().completion);
    }
    if (isThere(*data)) return *data;
    return withDetails(statuses::invalidNamespaceId(),
                       "Drive " + drive.name() + " has no namespace " + std::to_string(nsid) + ".");
}

}  // namespace features::jobs
