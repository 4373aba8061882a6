#include "features/jobs/logs/NvmeLogJob.h"

#include "features/jobs/base/LogLimits.h"
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
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/LogPages.h"
#include "features/nvme/OcpLogPages.h"
#include "features/nvme/Opcodes.h"
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

/// The drive's own list; `tree` stays empty on drives without one.
Status askForList(DriveFacts& facts, FieldTree& tree) {
    const Payload* list = nullptr;
    const Status status = facts.drive().supportedLogs(list);
    if (failed(status) || list == nullptr) return status;
    tree = nvme::decodeSupportedLogs(*list);
    const bool isOcp = facts.ocpSmart() != nullptr;
    for (nvme::Field& field : tree.fields) {
        for (const nvme::OcpLogPageRow* row = nvme::ocpLogPagesBegin(); row != nvme::ocpLogPagesEnd(); ++row) {
            if (isOcp && field.name == lidText(row->page.lid)) field.value = row->page.name;
        }
        for (const LogPageRow* row = nvme::velkoLogPagesBegin(); row != nvme::velkoLogPagesEnd(); ++row) {
            if (isVelkoDrive(facts.drive()) && field.name == lidText(row->lid)) field.value = row->name;
        }
    }
    return facts.failure();
}

Status addOcpPages(DriveFacts& facts, FieldTree& tree) {
    for (const nvme::OcpLogPageRow* row = nvme::ocpLogPagesBegin(); row != nvme::ocpLogPagesEnd(); ++row) {
        bool there = false;
        const Status status = isOcpLogOffered(facts, *row, there);
        if (failed(status)) return status;
        if (there) tree.add(lidText(row->page.lid), row->page.name);
    }
    return Status();
}

/// A VELKO drive has all pages of the maker that fit its ports.
Status addVelkoPages(DriveFacts& facts, FieldTree& tree) {
    if (!isVelkoDrive(facts.drive())) return Status();
    for (const LogPageRow* row = nvme::velkoLogPagesBegin(); row != nvme::velkoLogPagesEnd(); ++row) {
        bool there = false;
        Status status = moveTo(there, isLogOffered(facts.drive(), *row));
        if (failed(status)) return status;
        if (there) tree.add(lidText(row->lid), row->name);
    }
    return Status();
}

Status showList(DriveFacts& facts, DriveOutput& out) {
    FieldTree tree;
    Status status = askForList(facts, tree);
    if (failed(status)) return status;
    if (!tree.fields.empty()) {
        out.addTree(tree);
        return Status();
    }
    tree.heading = "Supported Log Pages";
    for (const LogPageRow* row = nvme::logPagesBegin(); row != nvme::logPagesEnd(); ++row) {
        bool there = false;
        status = moveTo(there, isLogOffered(facts.drive(), *row));
        if (failed(status)) return status;
        if (there && row->lid != nvme::LID_SUPPORTED_LOGS) tree.add(lidText(row->lid), row->name);
    }
    status = addOcpPages(facts, tree);
    if (succeeded(status)) status = addVelkoPages(facts, tree);
    if (succeeded(status)) out.addTree(tree);
    return status;
}

Status showPage(DriveFacts& facts, const NvmeLogRequest& request, uint8_t lid, DriveOutput& out) {
    Payload data;
    Status status = readLogPage(facts, request, lid, data);
    if (failed(status)) return status;
    if (lid == nvme::LID_OCP_SMART && request.offset == 0) noteOcpSmartLog(facts.drive(), data);
    out.addTree(showLogPage(facts, lid, request.offset, data));
    return status;
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
        bool there = false;
        Status status = isOcpLogOffered(facts, *row, there);
        if (succeeded(status) && there) status = showPageOfAll(facts, request, row->page.lid, out);
        if (failed(status)) return status;
    }
    return Status();
}

Status showRows(DriveFacts& facts, const NvmeLogRequest& request, const LogPageRow* row, const LogPageRow* end,
                DriveOutput& out) {
    for (; row != end; ++row) {
        bool there = false;
        Status status = moveTo(there, isLogOffered(facts.drive(), *row));
        if (succeeded(status) && there) status = showPageOfAll(facts, request, row->lid, out);
        if (failed(status)) return status;
    }
    return Status();
}

Status showAll(DriveFacts& facts, const NvmeLogRequest& request, DriveOutput& out) {
    Status status = showRows(facts, request, nvme::logPagesBegin(), nvme::logPagesEnd(), out);
    if (succeeded(status)) status = showOcpPages(facts, request, out);
    if (succeeded(status) && isVelkoDrive(facts.drive()))
        status = showRows(facts, request, nvme::velkoLogPagesBegin(), nvme::velkoLogPagesEnd(), out);
    return status;
}

/// The file that a page goes into. A whole page without data is refused before it is written.
class PageFile : public FileSink {
public:
    PageFile(UserFile& file, const nvme::Drive& drive, const NvmeLogRequest& request)
        : FileSink(file), drive_(drive), request_(request) {}

    Status begin(uint64_t bytes) override {
        const Status status = request_.isPart() ? Status() : checkHasData(drive_, *request_.lid, bytes);
        return succeeded(status) ? FileSink::begin(bytes) : status;
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
    Status status = file.open(request.file);
    if (succeeded(status)) status = copyLogPage(facts, request, *request.lid, log);
    if (succeeded(status)) status = file.finish();
    if (failed(status)) return status;
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
    NvmeLogRequest request;
    return NvmeLogRequest::read(arguments, request);
}

Status NvmeLogJob::runMethod(const std::shared_ptr<xml::XmlObject>& output) {
    NvmeLogRequest request;
    Status status = NvmeLogRequest::read(arguments(), request);
    if (failed(status)) return status;
    if (request.file.empty()) return DriveJob::runMethod(output);
    if (getDevices().empty()) return statuses::noDeviceSelected();
    if (getDevices().size() > 1) return statuses::multipleDevicesSelected();
    nvme::Drive drive(*getDevices().front());
    DriveOutput out(drive.serialNumber(), nullptr, &drive.device());
    status = ofFile(writePage(drive, request, out, title()), statuses::fileWriteFailed());
    if (succeeded(status)) addOutput(*output, out);
    return status;
}

Status NvmeLogJob::actOnDrive(nvme::Drive& drive, const Arguments& arguments, DriveOutput& out) {
    NvmeLogRequest request;
    const Status status = NvmeLogRequest::read(arguments, request);
    if (failed(status)) return status;
    DriveFacts facts(drive);
    if (request.list) return showList(facts, out);
    return request.lid ? showPage(facts, request, *request.lid, out) : showAll(facts, request, out);
}

}  // namespace features::jobs
