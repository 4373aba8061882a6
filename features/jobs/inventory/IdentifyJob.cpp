#include "features/jobs/inventory/IdentifyJob.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

#include "features/errors/Result.h"
#include "features/jobs/drive/Namespaces.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/ControllerCapabilities.h"
#include "features/nvme/Identify.h"
#include "features/nvme/IdentifyCns.h"
#include "features/nvme/NamespaceIds.h"
#include "features/nvme/NamespaceProperties.h"
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
    return nvme::decodeIdentifyNamespace(data, nsid);
}

Result<FieldTree> showDescriptors(nvme::Drive& drive, uint8_t cns, uint32_t nsid) {
    TRY(const Payload data, drive.identify(cns, nsid));
    return nvme::decodeNamespaceDescriptors(data, nsid);
}

Result<FieldTree> showUuids(nvme::Drive& drive, uint8_t cns, uint32_t) {
    TRY(const Payload data, drive.identify(cns, 0));
    return nvme::decodeUuidList(data);
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
    {nvme::CNS_ALLOCATED_NAMESPACES,  false, showNamespaces,  "Allocated Namespace ID list",         &Controller::supportsNamespaceManagement},
    {nvme::CNS_NAMESPACE_CONTROLLERS, true,  showControllers, "list of controllers of a namespace",  &Controller::supportsNamespaceManagement},
    {nvme::CNS_CONTROLLERS,           false, showControllers, "list of controllers",                 &Controller::supportsNamespaceManagement},
    {nvme::CNS_UUID_LIST,             false, showUuids,       "UUID List",                           &Controller::supportsUuidList},
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
                          "'. It must be 0, 1, 2, 3, 16, 18, 19 or 23.");
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
        request.nsid = namedNamespace(drive);
        if (!request.nsid) return statuses::noNamespaceId();
    }
    const uint32_t nsid = request.structure->ofOneNamespace ? static_cast<uint32_t>(*request.nsid) : 0;
    RETURN_IF_FAILED(requireOffered(drive, *request.structure));
    TRY(const FieldTree tree, request.structure->show(drive, request.structure->cns, nsid));
    out.addTree(tree);
    return Status();
}

}  // namespace features::jobs
