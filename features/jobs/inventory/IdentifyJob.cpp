#include "features/jobs/inventory/IdentifyJob.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

#include "features/jobs/drive/Namespaces.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/ControllerCapabilities.h"
#include "features/nvme/Identify.h"
#include "features/nvme/NamespaceProperties.h"
#include "features/nvme/Opcodes.h"
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

Status showController(nvme::Drive& drive, uint8_t cns, uint32_t, FieldTree& tree) {
    Payload data;
    Status status = drive.identify(cns, 0, 0, data);
    if (succeeded(status)) tree = nvme::decodeIdentifyController(data);
    return status;
}

Status showNamespace(nvme::Drive& drive, uint8_t cns, uint32_t nsid, FieldTree& tree) {
    Payload data;
    Status status = drive.identify(cns, nsid, 0, data);
    if (failed(status)) return status;
    // All zero means a namespace that is not attached; what all namespaces have in common has no size either.
    if (nsid != nvme::NSID_ALL && nvme::NamespaceProperties(data.getData()).sizeBlocks == 0) {
        return Status(CATEGORY_FEATURE, statuses::invalidNamespaceId().getCode(),
                      "Namespace " + std::to_string(nsid) + " is not attached to drive " + drive.name() + ".");
    }
    tree = nvme::decodeIdentifyNamespace(data, nsid);
    return Status();
}

Status showDescriptors(nvme::Drive& drive, uint8_t cns, uint32_t nsid, FieldTree& tree) {
    Payload data;
    Status status = drive.identify(cns, nsid, 0, data);
    if (succeeded(status)) tree = nvme::decodeNamespaceDescriptors(data, nsid);
    return status;
}

Status showUuids(nvme::Drive& drive, uint8_t cns, uint32_t, FieldTree& tree) {
    Payload data;
    Status status = drive.identify(cns, 0, 0, data);
    if (succeeded(status)) tree = nvme::decodeUuidList(data);
    return status;
}

Status showNamespaces(nvme::Drive& drive, uint8_t cns, uint32_t, FieldTree& tree) {
    std::vector<uint32_t> all;
    Status status = moveTo(all, readNamespaceList(drive, cns));
    if (failed(status)) return status;
    tree = FieldTree{cns == nvme::CNS_ALLOCATED_NAMESPACES ? "Allocated Namespaces" : "Attached Namespaces", {}, {}};
    tree.addList("Namespaces", all);
    return status;
}

Status showControllers(nvme::Drive& drive, uint8_t cns, uint32_t nsid, FieldTree& tree) {
    std::vector<uint16_t> all;
    Status status = moveTo(all, readControllerList(drive, cns, nsid));
    if (failed(status)) return status;
    tree = FieldTree{"Controllers", {}, {}};
    if (cns == nvme::CNS_NAMESPACE_CONTROLLERS) tree.heading += " of Namespace " + std::to_string(nsid);
    tree.addList("Controllers", all);
    return status;
}

struct StructureRow {
    uint8_t cns;
    bool ofOneNamespace;
    Status (*show)(nvme::Drive& drive, uint8_t cns, uint32_t nsid, FieldTree& tree);
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
    {nvme::CNS_ALLOCATED_NAMESPACES,  false, showNamespaces,  "Allocated Namespace ID list",         &Controller::supportsNamespaceManagement},
    {nvme::CNS_NAMESPACE_CONTROLLERS, true,  showControllers, "list of controllers of a namespace",  &Controller::supportsNamespaceManagement},
    {nvme::CNS_CONTROLLERS,           false, showControllers, "list of controllers",                 &Controller::supportsNamespaceManagement},
    {nvme::CNS_UUID_LIST,             false, showUuids,       "UUID List",                           &Controller::supportsUuidList},
};
// clang-format on

/// 10/3, without asking for it, where the drive does not offer the structure.
Status requireOffered(nvme::Drive& drive, const StructureRow& row) {
    if (row.isSupported == nullptr) return Status();
    const uint8_t* identify = nullptr;
    const Status status = drive.identifyController(identify);
    if (failed(status) || (Controller(identify).*row.isSupported)()) return status;
    return withDetails(
        statuses::driveDoesNotSupportFeature(),
        "Drive " + drive.name() + " does not offer the " + row.name + " (CNS " + nvme::hexText(row.cns, 2) + ").");
}

struct IdentifyRequest {
    const StructureRow* structure = nullptr;
    std::optional<uint64_t> nsid;
};

Status read(const Arguments& arguments, IdentifyRequest& request) {
    const std::string key = attributes::feature::controllerNamespaceStructure().getName();
    std::optional<uint64_t> cns;
    Status status = arguments.number(key, UINT8_MAX, cns);
    if (failed(status)) return status;
    const auto* found = std::find_if(std::begin(STRUCTURES), std::end(STRUCTURES), [&](const StructureRow& row) {
        return row.cns == cns.value_or(nvme::CNS_CONTROLLER);
    });
    if (found == std::end(STRUCTURES)) {
        return Status(CATEGORY_FEATURE, statuses::invalidProperty().getCode(),
                      "Invalid value given for " + key + ": '" + std::to_string(*cns) +
                          "'. It must be 0, 1, 2, 3, 16, 18, 19 or 23.");
    }
    request.structure = found;
    return arguments.number(attributes::device::namespaceId().getName(), UINT32_MAX, request.nsid,
                            Digits::DECIMAL_OR_HEX);
}

}  // namespace

IdentifyJob::IdentifyJob() : CloneableJob(ostrel::interfaces::ostreli::JOB_IDENTIFY, "Identify") {}

Status IdentifyJob::checkRequest(const Arguments& arguments) {
    IdentifyRequest request;
    Status status = read(arguments, request);
    if (succeeded(status) && request.structure->ofOneNamespace && request.nsid == 0)
        return statuses::invalidNamespaceId();
    return status;
}

Status IdentifyJob::actOnDrive(nvme::Drive& drive, const Arguments& arguments, DriveOutput& out) {
    IdentifyRequest request;
    Status status = read(arguments, request);
    if (failed(status)) return status;
    if (request.structure->ofOneNamespace && !request.nsid) {
        request.nsid = namedNamespace(drive);
        if (!request.nsid) return statuses::noNamespaceId();
    }
    const uint32_t nsid = request.structure->ofOneNamespace ? static_cast<uint32_t>(*request.nsid) : 0;
    FieldTree tree;
    status = requireOffered(drive, *request.structure);
    if (succeeded(status)) status = request.structure->show(drive, request.structure->cns, nsid, tree);
    if (succeeded(status)) out.addTree(tree);
    return status;
}

}  // namespace features::jobs
