#include "features/jobs/health/scan/DriveHealthScan.h"

#include <sys/stat.h>

#include <algorithm>
#include <set>
#include <vector>

#include "features/jobs/drive/CriticalWarnings.h"
#include "features/jobs/drive/DeviceStatus.h"
#include "features/jobs/drive/DriveFacts.h"
#include "features/jobs/drive/LogReading.h"
#include "features/jobs/drive/HostSide.h"
#include "features/jobs/health/scan/DataIntegrity.h"
#include "features/jobs/health/scan/ReadScan.h"
#include "features/jobs/logs/DriveLogs.h"
#include "features/jobs/logs/LogFolder.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/LogPageIds.h"
#include "features/nvme/structures/IdentifyController.h"
#include "features/nvme/structures/SelfTestLog.h"
#include "features/nvme/structures/SmartHealthLog.h"
#include "features/transport/HostCommand.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/Device.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/Strings.h"

namespace features::jobs {

using namespace ostrel::core;
using nvme::FieldTree;
using transport::HostNamespace;
using transport::NamespaceUse;

namespace {

constexpr std::size_t MAX_RANGES_SHOWN = 16;

/// Of Identify Controller (NVMe Base Specification 1.4, figure 247); in kelvins, 0 where the drive does not report it.
constexpr size_t OFFSET_WCTEMP = offsetof(nvme::IdentifyController, wctemp);
constexpr size_t OFFSET_CCTEMP = offsetof(nvme::IdentifyController, cctemp);

constexpr const char* NOT_COMPLETED = "Not completed";
constexpr const char* HOLDS_SYSTEM = "It holds the running system, which is left out unless IncludeOS is true.";

bool holdsSystem(const HostNamespace& space) {
    return std::any_of(space.uses.begin(), space.uses.end(), [](const NamespaceUse& use) { return use.holdsSystem; });
}

/// "100-103", "200": the first of them, and how many more there are.
void addRanges(FieldTree& tree, const std::vector<LbaRange>& ranges) {
    std::vector<std::string> texts;
    for (std::size_t i = 0; i < std::min(ranges.size(), MAX_RANGES_SHOWN); ++i) {
        texts.push_back(std::to_string(ranges[i].first));
        if (ranges[i].last != ranges[i].first) texts.back().append("-").append(std::to_string(ranges[i].last));
    }
    if (ranges.size() > texts.size()) tree.add("More Unreadable Ranges", std::to_string(ranges.size() - texts.size()));
    tree.addList("Unreadable LBAs", texts);
}

bool isOnSameFileSystem(const std::string& path, const std::string& other) {
    struct stat properties = {};
    struct stat otherProperties = {};
    return ::stat(path.c_str(), &properties) == 0 && ::stat(other.c_str(), &otherProperties) == 0 &&
           properties.st_dev == otherProperties.st_dev;
}

class Scan {
public:
    Scan(nvme::Drive& drive, const HealthScans& scans, FieldTree& tree) : facts_(drive), scans_(scans), tree_(tree) {}

    HealthOutcome run(const std::string& directory) {
        readSmart();
        if (isReachable()) readIdentify();
        if (scans_.logs && isReachable()) storeLogs(directory);
        if ((scans_.read || scans_.dataIntegrity) && isReachable()) scanNamespaces();
        return showVerdict();
    }

private:
    bool isReachable() const { return succeeded(facts_.failure()); }
    void notCompleted(FieldTree& tree, const std::string& why) {
        tree.add(NOT_COMPLETED, why);
        evidence_.isCompleted = false;
    }
    void notRead(const char* what, const Status& status) {
        tree_.add(what, "Not read", status.getMessage());
        evidence_.isCompleted = false;
    }
    /// Something that the request leaves out: a drive that was named is then not scanned as it should be.
    void leftOut(FieldTree& tree, const std::string& why) {
        tree.add("Left out", why);
        if (scans_.isNamed) evidence_.isCompleted = false;
    }

    void readSmart();
    void readIdentify();
    void readPanic();
    HealthOutcome showVerdict();
    void storeLogs(const std::string& directory);
    void scanNamespaces();
    void readNamespace(const HostNamespace& space);
    void checkFileSystems(const std::vector<HostNamespace>& namespaces);
    void checkFileSystem(const std::string& mountPoint);
    std::vector<HostNamespace> chosen(const std::vector<HostNamespace>& namespaces);

    DriveFacts facts_;
    const HealthScans& scans_;
    FieldTree& tree_;
    HealthEvidence evidence_;
};

void Scan::readSmart() {
    const uint8_t* smart = facts_.smart();
    if (smart == nullptr) {
        notCompleted(tree_, isReachable() ? "The drive gives no SMART / Health log." : facts_.failure().getMessage());
        return;
    }
    const auto log = nvme::structureAt<nvme::SmartHealthLog>(smart);
    tree_.add("Device Status", deviceStatusText(log.criticalWarning));
    tree_.add("Available Spare", nvme::withUnit(std::to_string(log.availableSpare), "%"));
    tree_.add("Percentage Used", nvme::withUnit(std::to_string(log.percentageUsed), "%"));
    tree_.add("Media and Data Integrity Errors", nvme::decimal128(log.mediaErrors));
    evidence_.smart = Payload(smart, sizeof log);
}

void Scan::readIdentify() {
    const nvme::ControllerCapabilities* controller = facts_.controller();
    if (controller == nullptr) {
        notRead("Identify Controller", isReachable() ? statuses::deviceDataRetrievalFailed() : facts_.failure());
        return;
    }
    evidence_.warningKelvin = nvme::le16(facts_.identifyController() + OFFSET_WCTEMP);
    evidence_.criticalKelvin = nvme::le16(facts_.identifyController() + OFFSET_CCTEMP);
    if (controller->supportsSelfTest()) {
        const auto log = readLog(facts_.drive(), nvme::LID_DEVICE_SELF_TEST, sizeof(nvme::SelfTestLog));
        if (!log) notRead("Device Self-test Log", log.error());
        evidence_.selfTest = log.value_or(Payload());
    }
    readPanic();
}

void Scan::readPanic() {
    (void)facts_.ocpSmart();  // a transport error is in failure()
    if (!isReachable()) return notRead("OCP SMART Log", facts_.failure());
    const auto panic = readPanicStatus(facts_);
    if (!panic) return notRead("OCP Error Recovery Log", panic.error());
    evidence_.panic = *panic;
}

/// The verdict comes before its evidence.
HealthOutcome Scan::showVerdict() {
    const std::vector<HealthFinding> findings = findHealthProblems(evidence_);
    const HealthOutcome outcome = gravestOutcome(findings);
    tree_.fields.insert(tree_.fields.begin(), {{"Result", {}, healthOutcomeText(outcome)},
                                               {"Result Code", {}, std::to_string(static_cast<unsigned>(outcome))}});
    if (findings.empty()) return outcome;
    FieldTree part{"Findings", {}, {}};
    for (const HealthFinding& finding : findings) part.add(finding.row->condition, finding.words);
    tree_.parts.insert(tree_.parts.begin(), std::move(part));
    return outcome;
}

void Scan::storeLogs(const std::string& directory) {
    FieldTree& part = tree_.addPart("Logs");
    const auto folder = LogFolder::create(directory, fileNameOf(facts_.drive().serialNumber(), "drive"));
    const Status status = folder ? storeDriveLogs(facts_, *folder, part) : folder.error();
    if (failed(status)) notCompleted(part, status.getMessage());
}

void Scan::scanNamespaces() {
    const auto all = readUsedNamespaces(facts_.drive().device(), transport::UseCheck::SHOW);
    if (!all) {
        notCompleted(tree_, all.error().getMessage());
        return;
    }
    const bool system = std::any_of(all->begin(), all->end(), holdsSystem);
    if (system && !scans_.includeSystemDrive) {
        leftOut(tree_, HOLDS_SYSTEM);
        return;
    }
    const std::vector<HostNamespace> namespaces = chosen(*all);
    if (namespaces.empty()) leftOut(tree_, "It has no namespace that could be scanned.");
    for (const HostNamespace& space : namespaces) {
        if (scans_.read) readNamespace(space);
    }
    if (scans_.dataIntegrity) checkFileSystems(namespaces);
}

/// Those that are attached; of them the one that the path named.
std::vector<HostNamespace> Scan::chosen(const std::vector<HostNamespace>& namespaces) {
    const Attribute named = facts_.drive().device().getAttribute(attributes::device::namespaceId());
    std::vector<HostNamespace> chosen;
    for (const HostNamespace& space : namespaces) {
        const bool isMeant = named.getSize() == 0 || toNumber<uint32_t>(named.getText()) == space.nsid;
        if (space.attached && isMeant) chosen.push_back(space);
    }
    return chosen;
}

void Scan::readNamespace(const HostNamespace& space) {
    FieldTree& part = tree_.addPart("Read Scan - Namespace " + std::to_string(space.nsid));
    ReadScanRequest request;
    request.nsid = space.nsid;
    if (!scans_.full) request.maxBytes = scans_.extent.read;
    const ReadScanResult result = readScan(facts_.drive(), request);
    part.add("Blocks", std::to_string(result.blocks));
    part.add("Blocks Read", std::to_string(result.blocksRead));
    part.add("Unreadable Blocks", std::to_string(result.unreadable));
    if (result.unreadable != 0) {
        addRanges(part, result.ranges);
        evidence_.unreadableBlocks += result.unreadable;
    }
    if (result.unreadable == ReadScanResult::MAX_UNREADABLE)
        part.add("Ended", "So many blocks cannot be read that the rest was not tried.");
    if (failed(result.failure)) notCompleted(part, result.failure.getMessage());
}

void Scan::checkFileSystems(const std::vector<HostNamespace>& namespaces) {
    std::set<std::string> nodes;  // one that is mounted in several places is checked once
    for (const HostNamespace& space : namespaces) {
        for (const NamespaceUse& use : space.uses) {
            if (use.kind != NamespaceUse::Kind::MOUNTED || nodes.count(use.node) != 0) continue;
            if (!scans_.path.empty() && !isOnSameFileSystem(scans_.path, use.detail)) continue;
            nodes.insert(use.node);
            checkFileSystem(scans_.path.empty() ? use.detail : scans_.path);
        }
    }
    if (!nodes.empty()) return;
    leftOut(tree_, scans_.path.empty() ? "None of its file systems is mounted."
                                       : "'" + scans_.path + "' is on none of its file systems.");
}

void Scan::checkFileSystem(const std::string& mountPoint) {
    FieldTree& part = tree_.addPart("Data Integrity Scan");
    part.add("Path", sanitizeValue(mountPoint));
    const DataIntegrityResult result =
        checkDataIntegrity(mountPoint, scans_.full ? scans_.extent.fullWrite : scans_.extent.write);
    part.add("Written and Read", nvme::withUnit(std::to_string(result.bytes), "bytes"));
    part.add("Mismatches", nvme::withUnit(std::to_string(result.mismatches), "units of 4096 bytes"));
    if (result.mismatches != 0) {
        part.add("First Mismatch", "Offset in the file", nvme::withUnit(std::to_string(result.firstOffset), "bytes"));
        evidence_.mismatches += result.mismatches;
    }
    if (failed(result.failure)) notCompleted(part, result.failure.getMessage());
}

}  // namespace

HealthOutcome scanDrive(nvme::Drive& drive, const HealthScans& scans, const std::string& directory, FieldTree& tree) {
    return Scan(drive, scans, tree).run(directory);
}

}  // namespace features::jobs
