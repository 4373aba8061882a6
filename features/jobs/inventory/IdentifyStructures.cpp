#include "features/jobs/inventory/IdentifyStructures.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <string>

#include "features/errors/Result.h"
#include "features/jobs/drive/CommandSets.h"
#include "features/jobs/drive/HostSide.h"
#include "features/jobs/drive/Namespaces.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/ControllerCapabilities.h"
#include "features/nvme/HexTree.h"
#include "features/nvme/Identify.h"
#include "features/nvme/IdentifyCns.h"
#include "features/nvme/NamespaceIds.h"
#include "features/nvme/NamespaceProperties.h"
#include "features/nvme/NvmeVersions.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/Device.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/Strings.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace features::jobs {

using namespace ostrel::core;
using nvme::FieldTree;
using Controller = nvme::ControllerCapabilities;

namespace {

Result<uint16_t> nvmeVersion(nvme::Drive& drive) {
    TRY(const uint8_t* const identify, drive.identifyController());
    return nvme::majorAndMinor(Controller(identify).version);
}

Result<FieldTree> showController(nvme::Drive& drive, uint8_t cns, uint32_t) {
    TRY(const Payload data, drive.identify(cns, 0));
    return nvme::decodeIdentifyController(data);
}

Result<FieldTree> showNamespace(nvme::Drive& drive, uint8_t cns, uint32_t nsid) {
    TRY(const Payload data, drive.identify(cns, nsid));
    // All zero means a namespace that is not attached; what all namespaces have in common has no size either.
    if (nsid != nvme::NSID_ALL && nvme::NamespaceProperties(data.getData()).sizeBlocks == 0) {
        return Status(CATEGORY_FEATURE, statuses::invalidNamespaceId().getCode(),
                      "Namespace " + std::to_string(nsid) + " is not attached to drive " + drive.name() + ".");
    }
    TRY(const uint16_t version, nvmeVersion(drive));
    return nvme::decodeIdentifyNamespace(data, nsid, version);
}

/// What the command set of the namespace has of it.
Result<FieldTree> showCommandSetNamespace(nvme::Drive& drive, uint8_t cns, uint32_t nsid) {
    TRY(const Payload descriptors, drive.identify(nvme::CNS_NAMESPACE_DESCRIPTORS, nsid));
    const uint8_t csi = nvme::commandSetOf(descriptors);
    TRY(const Payload data, drive.identify(cns, nsid, 0, csi));
    TRY(const uint16_t version, nvmeVersion(drive));
    if (csi == nvme::CSI_NVM) return nvme::decodeNvmNamespace(data, nsid, version);
    if (csi == nvme::CSI_ZONED) return nvme::decodeZonedNamespace(data, nsid);
    return nvme::hexTree("Namespace " + std::to_string(nsid) + " of command set " + nvme::commandSetName(csi), 0, data);
}

Result<FieldTree> showCommandSetController(nvme::Drive& drive, uint8_t cns, uint32_t) {
    TRY(const Payload data, drive.identify(cns, 0, 0, nvme::CSI_NVM));
    TRY(const uint16_t version, nvmeVersion(drive));
    FieldTree tree = nvme::decodeNvmController(data, version);
    TRY(const std::set<uint8_t> commandSets, readCommandSets(drive));
    if (commandSets.count(nvme::CSI_ZONED) == 0) return tree;
    TRY(const Payload zoned, drive.identify(cns, 0, 0, nvme::CSI_ZONED));
    tree.parts.push_back(nvme::decodeZonedController(zoned));
    return tree;
}

Result<FieldTree> showIndependentNamespace(nvme::Drive& drive, uint8_t cns, uint32_t nsid) {
    TRY(const Payload data, drive.identify(cns, nsid));
    TRY(const uint16_t version, nvmeVersion(drive));
    return nvme::decodeIndependentNamespace(data, nsid, version);
}

template <FieldTree (*DECODE)(const Payload&)>
Result<FieldTree> showList(nvme::Drive& drive, uint8_t cns, uint32_t) {
    TRY(const Payload data, drive.identify(cns, 0));
    return DECODE(data);
}

/// Of the controller that asks itself, whatever its number.
Result<FieldTree> showCombinations(nvme::Drive& drive, uint8_t cns, uint32_t) {
    TRY(const uint8_t* const identify, drive.identifyController());
    TRY(const Payload data, drive.identify(cns, 0, Controller(identify).cntlid));
    return nvme::decodeCommandSetCombinations(data);
}

Result<FieldTree> showDescriptors(nvme::Drive& drive, uint8_t cns, uint32_t nsid) {
    TRY(const Payload data, drive.identify(cns, nsid));
    return nvme::decodeNamespaceDescriptors(data, nsid);
}

Result<FieldTree> showNamespaces(nvme::Drive& drive, uint8_t cns, uint32_t) {
    TRY(const std::vector<uint32_t> all, readNamespaceList(drive, cns));
    FieldTree tree{cns == nvme::CNS_ALLOCATED_NAMESPACES ? "Allocated Namespaces" : "Attached Namespaces", {}, {}};
    tree.addList("Namespaces", all);
    return tree;
}

Result<FieldTree> showControllers(nvme::Drive& drive, uint8_t cns, uint32_t nsid) {
    TRY(const std::vector<uint16_t> all, readControllerList(drive, cns, nsid));
    FieldTree tree{"Controllers", {}, {}};
    if (cns == nvme::CNS_NAMESPACE_CONTROLLERS) tree.heading += " of Namespace " + std::to_string(nsid);
    tree.addList("Controllers", all);
    return tree;
}

// clang-format off
constexpr IdentifyStructure STRUCTURES[] = {
    {nvme::CNS_NAMESPACE,             true,  showNamespace,   "Identify Namespace",                  nullptr},
    {nvme::CNS_CONTROLLER,            false, showController,  "Identify Controller",                 nullptr},
    {nvme::CNS_ACTIVE_NAMESPACES,     false, showNamespaces,  "Active Namespace ID list",            nullptr},
    {nvme::CNS_NAMESPACE_DESCRIPTORS, true,  showDescriptors, "Namespace Identification Descriptor list",
                                                              &Controller::supportsNamespaceDescriptors},
    {nvme::CNS_COMMAND_SET_NAMESPACE, true,  showCommandSetNamespace,  "I/O Command Set specific Identify Namespace",  &Controller::followsNvme20},
    {nvme::CNS_COMMAND_SET_CONTROLLER, false, showCommandSetController, "I/O Command Set specific Identify Controller", &Controller::followsNvme20},
    {nvme::CNS_INDEPENDENT_NAMESPACE, true,  showIndependentNamespace, "I/O Command Set Independent Identify Namespace", &Controller::followsNvme20},
    {nvme::CNS_ALLOCATED_NAMESPACES,  false, showNamespaces,  "Allocated Namespace ID list",         &Controller::supportsNamespaceManagement},
    {nvme::CNS_NAMESPACE_CONTROLLERS, true,  showControllers, "list of controllers of a namespace",  &Controller::supportsNamespaceManagement},
    {nvme::CNS_CONTROLLERS,           false, showControllers, "list of controllers",                 &Controller::supportsNamespaceManagement},
    {nvme::CNS_GRANULARITIES,         false, showList<nvme::decodeGranularities>, "Namespace Granularity List", &Controller::supportsNamespaceGranularity},
    {nvme::CNS_UUID_LIST,             false, showList<nvme::decodeUuidList>, "UUID List",                    &Controller::supportsUuidList},
    {nvme::CNS_DOMAIN_LIST,           false, showList<nvme::decodeDomains>, "Domain List",                   &Controller::supportsDomains},
    {nvme::CNS_COMMAND_SET_COMBINATIONS, false, showCombinations, "I/O Command Set combinations",            &Controller::followsNvme20},
};
// clang-format on

}  // namespace

std::vector<IdentifyStructure> identifyStructures() {
    return {std::begin(STRUCTURES), std::end(STRUCTURES)};
}

const IdentifyStructure* findIdentifyStructure(uint64_t cns) {
    const auto* found = std::find_if(std::begin(STRUCTURES), std::end(STRUCTURES),
                                     [cns](const IdentifyStructure& row) { return row.cns == cns; });
    return found == std::end(STRUCTURES) ? nullptr : found;
}

}  // namespace features::jobs
