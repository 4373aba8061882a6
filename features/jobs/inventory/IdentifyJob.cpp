#include "features/jobs/inventory/IdentifyJob.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

#include "features/ata/IdentifyLog.h"
#include "features/ata/Identity.h"
#include "features/ata/LogAddresses.h"
#include "features/errors/Result.h"
#include "features/jobs/drive/HostSide.h"
#include "features/jobs/drive/Namespaces.h"
#include "features/jobs/inventory/IdentifyStructures.h"
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

/// 10/3, without asking for it, where the drive does not offer the structure.
Status requireOffered(nvme::Drive& drive, const IdentifyStructure& row) {
    if (row.isSupported == nullptr) return Status();
    TRY(const uint8_t* const identify, drive.identifyController());
    if ((Controller(identify).*row.isSupported)()) return Status();
    return withDetails(
        statuses::driveDoesNotSupportFeature(),
        "Drive " + drive.name() + " does not offer the " + row.name + " (CNS " + nvme::hexText(row.cns, 2) + ").");
}

/// Of log 30h. Page 01h repeats IDENTIFY DEVICE.
constexpr uint8_t IDENTIFY_LOG_PAGES[] = {ata::IDENTIFY_PAGE_CAPACITY, ata::IDENTIFY_PAGE_CAPABILITIES,
                                          ata::IDENTIFY_PAGE_SETTINGS, ata::IDENTIFY_PAGE_STRINGS,
                                          ata::IDENTIFY_PAGE_SECURITY, ata::IDENTIFY_PAGE_SATA};

struct IdentifyRequest {
    const IdentifyStructure* structure = nullptr;
    std::optional<uint64_t> nsid;
};

Result<IdentifyRequest> read(const Arguments& arguments) {
    const std::string key = attributes::feature::controllerNamespaceStructure().getName();
    TRY(const std::optional<uint64_t> cns, arguments.number(key, UINT8_MAX));
    const IdentifyStructure* const found = findIdentifyStructure(cns.value_or(nvme::CNS_CONTROLLER));
    if (found == nullptr) {
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

Status IdentifyJob::actOnAtaDrive(ata::Drive& drive, const Arguments& arguments, DriveOutput& out) {
    TRY(const IdentifyRequest request, read(arguments));
    if (request.structure->cns != nvme::CNS_CONTROLLER)
        return refuseAta(drive.device(), statuses::commandSetNotSupported());
    TRY(const Payload data, drive.identifyData());
    out.addTree(ata::decodeIdentifyDevice(data));
    for (const uint8_t page : IDENTIFY_LOG_PAGES) {
        TRY(const std::optional<Payload> listed, drive.readListedPage(ata::LOG_IDENTIFY_DATA, page));
        if (listed) out.addTree(ata::decodeIdentifyPage(page, *listed));
    }
    return Status();
}

}  // namespace features::jobs
