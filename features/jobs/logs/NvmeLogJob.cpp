#include "features/jobs/logs/NvmeLogJob.h"

#include <set>

#include "features/jobs/base/LogLimits.h"
#include "features/jobs/drive/CommandSets.h"
#include "features/jobs/drive/DriveFacts.h"
#include "features/jobs/drive/LogReading.h"
#include "features/jobs/drive/OcpLogOffers.h"
#include "features/jobs/drive/OcpSmartLog.h"
#include "features/jobs/drive/Offers.h"
#include "features/jobs/drive/VendorDialect.h"
#include "features/jobs/logs/FileSink.h"
#include "features/jobs/logs/LogPageNames.h"
#include "features/jobs/logs/NvmeLogPage.h"
#include "features/jobs/logs/NvmeLogRequest.h"
#include "features/jobs/logs/VendorNames.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/IdentifyCns.h"
#include "features/nvme/LogPageIds.h"
#include "features/nvme/LogPages.h"
#include "features/nvme/OcpLogPages.h"
#include "features/nvme/VelkoLogPages.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/UserFile.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace features::jobs {

using namespace ostrel::core;
using nvme::FieldTree;
using nvme::LogPageRow;

namespace {

std::string lidText(uint8_t lid) {
    return "LID " + nvme::hexText(lid, 2);
}

/// The drive's own list; without fields on drives without one.
Result<FieldTree> askForList(DriveFacts& facts) {
    TRY(const Payload* const list, facts.drive().supportedLogs());
    if (list == nullptr) return FieldTree();
    FieldTree tree = nvme::decodeSupportedLogs(*list);
    RETURN_IF_FAILED(nameVendorPages(facts, tree));
    return tree;
}

Status addOcpPages(DriveFacts& facts, FieldTree& tree) {
    for (const nvme::OcpLogPageRow* row = nvme::ocpLogPagesBegin(); row != nvme::ocpLogPagesEnd(); ++row) {
        TRY(const bool there, isOcpLogOffered(facts, *row));
        if (there) tree.add(lidText(row->page.lid), row->page.name);
    }
    return Status();
}

/// A VELKO drive has all pages of the maker that fit its ports.
Status addVelkoPages(DriveFacts& facts, FieldTree& tree) {
    if (!isVelkoDrive(facts.drive())) return Status();
    for (const LogPageRow* row = nvme::velkoLogPagesBegin(); row != nvme::velkoLogPagesEnd(); ++row) {
        TRY(const bool there, isLogOffered(facts.drive(), *row));
        if (there) tree.add(lidText(row->lid), row->name);
    }
    return Status();
}

Status showList(DriveFacts& facts, DriveOutput& out) {
    TRY(FieldTree tree, askForList(facts));
    if (!tree.fields.empty()) {
        out.addTree(tree);
        return Status();
    }
    tree.heading = "Supported Log Pages";
    for (const LogPageRow* row = nvme::logPagesBegin(); row != nvme::logPagesEnd(); ++row) {
        TRY(const bool there, isLogOffered(facts.drive(), *row));
        if (there && row->lid != nvme::LID_SUPPORTED_LOGS) tree.add(lidText(row->lid), row->name);
    }
    RETURN_IF_FAILED(addOcpPages(facts, tree));
    RETURN_IF_FAILED(addVelkoPages(facts, tree));
    out.addTree(tree);
    return Status();
}

/// What the commands of the other I/O command sets of the controller's namespaces are and do. That one is refused is
/// shown in its place.
Status addCommandSets(DriveFacts& facts, const NvmeLogRequest& request, FieldTree& tree) {
    TRY(const std::set<uint8_t> commandSets, readCommandSets(facts.drive()));
    for (const uint8_t csi : commandSets) {
        if (csi == nvme::CSI_NVM) continue;
        NvmeLogRequest ofCommandSet = request;
        ofCommandSet.csi = csi;
        const auto data = readLogPage(facts, ofCommandSet, nvme::LID_COMMAND_EFFECTS);
        if (!data && !isRefusal(data.error())) return data.error().status;
        tree.parts.push_back(nvme::decodeCommandEffectsOf(csi, data ? *data : Payload()));
        if (!data) tree.parts.back().add("Not read", data.error().status.getMessage());
    }
    return Status();
}

Status showPage(DriveFacts& facts, const NvmeLogRequest& request, uint8_t lid, DriveOutput& out) {
    TRY(const Payload data, readLogPage(facts, request, lid));
    if (lid == nvme::LID_OCP_SMART && request.offset == 0) noteOcpSmartLog(facts.drive(), data);
    FieldTree tree = showLogPage(facts, lid, request.offset, data);
    if (lid == nvme::LID_COMMAND_EFFECTS && !request.isPart()) RETURN_IF_FAILED(addCommandSets(facts, request, tree));
    if (lid == nvme::LID_SUPPORTED_LOGS) RETURN_IF_FAILED(nameVendorPages(facts, tree));
    if (lid == nvme::LID_SUPPORTED_FEATURES) RETURN_IF_FAILED(nameVendorFeatures(facts, tree));
    out.addTree(tree);
    return Status();
}

/// A page among all pages was not asked for by its name: that the drive refuses it, or that it is too long, is shown,
/// and is no failure.
Status showPageOfAll(DriveFacts& facts, const NvmeLogRequest& request, uint8_t lid, DriveOutput& out) {
    Status status = showPage(facts, request, lid, out);
    if (!isRefusal(status) && !isTooLong(status)) return status;
    FieldTree tree{logName(findLogRow(facts, lid), lid), {}, {}};
    tree.add("Not read", status.getMessage());
    out.addTree(tree);
    return Status();
}

Status showOcpPages(DriveFacts& facts, const NvmeLogRequest& request, DriveOutput& out) {
    for (const nvme::OcpLogPageRow* row = nvme::ocpLogPagesBegin(); row != nvme::ocpLogPagesEnd(); ++row) {
        TRY(const bool there, isOcpLogOffered(facts, *row));
        if (there) RETURN_IF_FAILED(showPageOfAll(facts, request, row->page.lid, out));
    }
    return Status();
}

Status showRows(DriveFacts& facts, const NvmeLogRequest& request, const LogPageRow* row, const LogPageRow* end,
                DriveOutput& out) {
    for (; row != end; ++row) {
        TRY(const bool there, isLogOffered(facts.drive(), *row));
        if (there) RETURN_IF_FAILED(showPageOfAll(facts, request, row->lid, out));
    }
    return Status();
}

Status showAll(DriveFacts& facts, const NvmeLogRequest& request, DriveOutput& out) {
    RETURN_IF_FAILED(showRows(facts, request, nvme::logPagesBegin(), nvme::logPagesEnd(), out));
    RETURN_IF_FAILED(showOcpPages(facts, request, out));
    if (!isVelkoDrive(facts.drive())) return Status();
    return showRows(facts, request, nvme::velkoLogPagesBegin(), nvme::velkoLogPagesEnd(), out);
}

/// The file that a page goes into. A whole page without data is refused before it is written.
class PageFile : public FileSink {
public:
    PageFile(UserFile& file, const nvme::Drive& drive, const NvmeLogRequest& request)
        : FileSink(file), drive_(drive), request_(request) {}

    Status begin(uint64_t bytes) override {
        if (!request_.isPart()) RETURN_IF_FAILED(checkHasData(drive_, *request_.lid, bytes));
        return FileSink::begin(bytes);
    }

private:
    const nvme::Drive& drive_;
    const NvmeLogRequest& request_;
};

/// One page of one drive into a file.
Status writePage(nvme::Drive& drive, const NvmeLogRequest& request, DriveOutput& out, const std::string& title) {
    DriveFacts facts(drive);
    UserFile file;
    PageFile log(file, drive, request);
    RETURN_IF_FAILED(file.open(request.file));
    RETURN_IF_FAILED(copyLogPage(facts, request, *request.lid, log));
    RETURN_IF_FAILED(file.finish());
    out.addStatus(
        title,
        Status(0, 0,
               "Wrote " + std::to_string(log.bytes()) + " bytes of log page " + nvme::hexText(*request.lid, 2) + " (" +
                   logName(findLogRow(facts, *request.lid), *request.lid) + ") to " + request.file + "."));
    return Status();
}

}  // namespace

NvmeLogJob::NvmeLogJob() : CloneableJob(ostrel::interfaces::ostreli::JOB_NVME_LOG, "NVMe Log") {}

Status NvmeLogJob::checkRequest(const Arguments& arguments) {
    return statusOf(NvmeLogRequest::read(arguments));
}

Status NvmeLogJob::runMethod(const std::shared_ptr<xml::XmlObject>& output) {
    TRY(const NvmeLogRequest request, NvmeLogRequest::read(arguments()));
    if (request.file.empty()) return DriveJob::runMethod(output);
    if (getDevices().empty()) return statuses::noDeviceSelected();
    if (getDevices().size() > 1) return statuses::multipleDevicesSelected();
    if (isAta(*getDevices().front())) return refuseAta(*getDevices().front(), ataRefusal());
    nvme::Drive drive(*getDevices().front());
    DriveOutput out(drive.serialNumber(), nullptr, &drive.device());
    RETURN_IF_FAILED(ofFile(writePage(drive, request, out, title()), statuses::fileWriteFailed()));
    addOutput(*output, out);
    return Status();
}

Status NvmeLogJob::actOnDrive(nvme::Drive& drive, const Arguments& arguments, DriveOutput& out) {
    TRY(const NvmeLogRequest request, NvmeLogRequest::read(arguments));
    DriveFacts facts(drive);
    if (request.list) return showList(facts, out);
    return request.lid ? showPage(facts, request, *request.lid, out) : showAll(facts, request, out);
}

Status NvmeLogJob::ataRefusal() const {
    return statuses::commandSetNotSupported();
}

}  // namespace features::jobs
