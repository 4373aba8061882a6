#include "features/jobs/health/scan/HealthScanJob.h"

#include <algorithm>

#include "features/jobs/logs/LogFolder.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/jobs/support/SystemInformation.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/File.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace features::jobs {

using namespace ostrel::core;
namespace keys = attributes::feature;

namespace {

constexpr const char* STATUS_CODE = "HealthScanStatusCode";

struct Request {
    HealthScans scans;
    bool includeSystemInfo = false;
    std::string directory;
};

Result<Request> readRequest(const Arguments& arguments) {
    Request request;
    const struct {
        Attribute attribute;
        bool& flag;
    } flags[] = {
        {keys::storeLogs(), request.scans.logs},
        {keys::readScan(), request.scans.read},
        {keys::dataIntegrityScan(), request.scans.dataIntegrity},
        {keys::fullScan(), request.scans.full},
        {keys::includeOS(), request.scans.includeSystemDrive},
        {keys::includeSystemInfo(), request.includeSystemInfo},
    };
    for (const auto& row : flags) {
        TRY(const std::optional<bool> flag, arguments.boolean(row.attribute.getName()));
        row.flag = flag.value_or(false);
    }
    if (!request.scans.read && !request.scans.dataIntegrity) request.scans.logs = true;
    request.scans.path = arguments.text(keys::path().getName());
    request.directory = arguments.text(keys::directoryPath().getName());
    for (const std::string& folder : {request.scans.path, request.directory}) {
        if (!folder.empty() && !isDirectory(folder))
            return withDetails(statuses::directoryNotFound(), "'" + folder + "'.");
    }
    return request;
}

/// The path of a new folder below the current one, with the date.
Result<std::string> makeLogFolder(std::time_t now) {
    std::tm date{};
    localtime_r(&now, &date);
    char name[64];
    (void)std::strftime(name, sizeof name, "HealthScan_%Y-%m-%d_%H-%M-%S", &date);  // it fits
    TRY(const LogFolder folder, LogFolder::create(".", name));
    return folder.path();
}

}  // namespace

HealthScanJob::HealthScanJob(std::function<std::time_t()> now, const HealthScanExtent& extent)
    : CloneableJob(ostrel::interfaces::ostreli::JOB_HEALTH_SCAN, "Health Scan"),
      now_(std::move(now)),
      extent_(extent) {}

Status HealthScanJob::runMethod(const std::shared_ptr<xml::XmlObject>& output) {
    TRY(Request request, readRequest(arguments()));
    request.scans.extent = extent_;
    if (request.scans.logs && !getDevices().empty() && request.directory.empty()) {
        TRY(request.directory, makeLogFolder(now_()));
    }
    DriveOutput out("", nullptr, nullptr);
    if (request.includeSystemInfo) out.add(systemInformation().toXml({}));
    request.scans.isNamed = isOneDriveNamed();
    HealthOutcome gravest = HealthOutcome::NOTHING_FOUND;
    const std::vector<std::string> names = driveNames();
    if (names.empty()) {
        // A script that watches a drive that has vanished must not read that all is well.
        gravest = HealthOutcome::NOT_COMPLETED;
        nvme::FieldTree tree{title(), {}, {}};
        tree.add("Result", "No drive was found.");
        tree.add("Result Code", std::to_string(static_cast<unsigned>(gravest)));
        out.add(tree.toXml(""));
    }
    for (std::size_t i = 0; i < names.size(); ++i) {
        Device& device = *getDevices()[i];
        nvme::FieldTree tree{title(), {}, {}};
        nvme::Drive nvmeDrive(device);
        ata::Drive ataDrive(device);
        gravest = std::max(gravest, isAta(device) ? scanDrive(ataDrive, request.scans, request.directory, tree)
                                                  : scanDrive(nvmeDrive, request.scans, request.directory, tree));
        DriveOutput scanned(names[i], nullptr, getDevices()[i].get());
        scanned.addTree(tree);
        for (auto& object : scanned.take()) out.add(std::move(object));
    }
    addOutput(*output, out);
    output->objects.back()->addProperty(STATUS_CODE, std::to_string(static_cast<unsigned>(gravest)));
    return Status();
}

}  // namespace features::jobs
