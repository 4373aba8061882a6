#include "features/jobs/inventory/IdentifyJob.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

#include "features/errors/Result.h"
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

/// Whether the controller has a namespace of a command set attached: asking for one that it does not support would be
/// an error for it.
Result<bool> hasCommandSet(nvme::Drive& drive, uint8_t csi) {
    TRY(const std::vector<uint32_t> all, readNamespaceList(drive, nvme::CNS_ACTIVE_NAMESPACES));
    for (const uint32_t nsid : all) {
        TRY(const Payload descriptors, drive.identify(nvme::CNS_NAMESPACE_DESCRIPTORS, nsid));
        if (nvme::commandSetOf(descriptors) == csi) return true;
    }
    return false;
}

Result<FieldTree> showCommandSetController(nvme::Drive& drive, uint8_t cns, uint32_t) {
    TRY(const Payload data, drive.identify(cns, 0, 0, nvme::CSI_NVM));
    TRY(const uint16_t version, nvmeVersion(drive));
    FieldTree tree = nvme::decodeNvmController(data, version);
    TRY(const bool isZoned, hasCommandSet(drive, nvme::CSI_ZONED));
    if (!isZoned) return tree;
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

struct StructureRow {
    uint8_t cns;
    bool ofOneNamespace;
    Result<FieldTree> (*show)(nvme::Drive& drive, uint8_t cns, uint32_t nsid);
    const char* name;
    /// Which controllers have it (NVMe Base Specification 1.4, figure 244); null: all.
    bool (Controller::*isSupported)() const;
};
// clang-format off
constexpr StructureRow STRUCTURES[] = {
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

/// 10/3, without asking for it, where the drive does not offer the structure.
Status requireOffered(nvme::Drive& drive, const StructureRow& row) {
    if (row.isSupported == nullptr) return Status();
    TRY(const uint8_t* const identify, drive.identifyController());
    if ((Controller(identify).*row.isSupported)()) return Status();
    return withDetails(
        statuses::driveDoesNotSupportFeature(),
        "Drive " + drive.name() + " does not offer the " + row.name + " (CNS " + nvme::hexText(row.cns, 2) + ").");
}

struct IdentifyRequest {
    const StructureRow* structure = nullptr;
    std::optional<uint64_t> nsid;
};

Result<IdentifyRequest> read(const Arguments& arguments) {
    const std::string key = attributes::feature::controllerNamespaceStructure().getName();
    TRY(const std::optional<uint64_t> cns, arguments.number(key, UINT8_MAX));
    const auto* found = std::find_if(std::begin(STRUCTURES), std::end(STRUCTURES), [&](const StructureRow& row) {
        return row.cns == cns.value_or(nvme::CNS_CONTROLLER);
    });
    if (found == std::end(STRUCTURES)) {
        return Status(CATEGORY_FEATURE, statuses::invalidProperty().getCode(),
                      "Invalid value given for " + key + ": '" + std::to_string(*cns) +
                          "'. It must be 0, 1, 2, 3, 5, 6, 8, 16, 18, 19, 22, 23, 24 or 28.");
    }
    TRY(const std::optional<uint64_t> nsid,
        arguments.number(attributes::device::namespaceId().getName(), UINT32_MAX, Digits::DECIMAL_OR_HEX));
    return IdentifyRequest{found, nsid};
}

}  // namespace

IdentifyJob::IdentifyJob() : CloneableJob(ostrel::interfaces::ostreli::JOB_IDENTIFY, "Identify") {}

Status IdentifyJob::checkRequest(const Arguments& arguments) {
    TRY(const IdentifyRequest request, read(arguments));
    return request.structure->ofOneNamespace && request.nsid == 0 ? statuses::invalidNamespaceId() : Status();
}

Status IdentifyJob::actOnDrive(nvme::Drive& drive, const Arguments& arguments, DriveOutput& out) {
    TRY(IdentifyRequest request, read(arguments));
    if (request.structure->ofOneNamespace && !request.nsid) {
        request.nsid = namedNamespace(drive.device());
        if (!request.nsid) return statuses::noNamespaceId();
    }
    const uint32_t nsid = request.structure->ofOneNamespace ? static_cast<uint32_t>(*request.nsid) : 0;
    RETURN_IF_FAILED(requireOffered(drive, *request.structure));
    TRY(const FieldTree tree, request.structure->show(drive, request.structure->cns, nsid));
    out.addTree(tree);
    return Status();
}

}  // namespace features::jobs
