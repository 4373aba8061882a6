#include "features/jobs/health/scan/DriveScan.h"

#include <sys/stat.h>

#include <algorithm>
#include <set>

#include "features/jobs/drive/HostSide.h"
#include "features/jobs/health/scan/DataIntegrity.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/Strings.h"

namespace features::jobs {

using namespace ostrel::core;
using nvme::FieldTree;
using transport::HostNamespace;
using transport::NamespaceUse;

namespace {

constexpr std::size_t MAX_RANGES_SHOWN = 16;

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

}  // namespace

HealthOutcome DriveScan::run(const std::string& directory) {
    readHealth();
    if (scans_.logs && isReachable()) storeLogs(directory);
    if ((scans_.read || scans_.dataIntegrity) && isReachable()) scanNamespaces();
    return showVerdict();
}

void DriveScan::notCompleted(FieldTree& tree, const std::string& why) {
    tree.add(NOT_COMPLETED, why);
    evidence_.isCompleted = false;
}

void DriveScan::notRead(const char* what, const Status& status) {
    tree_.add(what, "Not read", status.getMessage());
    evidence_.isCompleted = false;
}

void DriveScan::leftOut(FieldTree& tree, const std::string& why) {
    tree.add("Left out", why);
    if (scans_.isNamed) evidence_.isCompleted = false;
}

/// The verdict comes before its evidence.
HealthOutcome DriveScan::showVerdict() {
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

void DriveScan::storeLogs(const std::string& directory) {
    FieldTree& part = tree_.addPart("Logs");
    const std::string serialNumber = device_.getAttribute(attributes::device::serialNumber()).getText();
    const auto folder = LogFolder::create(directory, fileNameOf(serialNumber, "drive"));
    const Status status = folder ? storeLogsIn(*folder, part) : folder.error();
    if (failed(status)) notCompleted(part, status.getMessage());
}

void DriveScan::scanNamespaces() {
    const auto all = readUsedNamespaces(device_, transport::UseCheck::SHOW);
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
std::vector<HostNamespace> DriveScan::chosen(const std::vector<HostNamespace>& namespaces) {
    const Attribute named = device_.getAttribute(attributes::device::namespaceId());
    std::vector<HostNamespace> chosen;
    for (const HostNamespace& space : namespaces) {
        const bool isMeant = named.getSize() == 0 || toNumber<uint32_t>(named.getText()) == space.nsid;
        if (space.attached && isMeant) chosen.push_back(space);
    }
    return chosen;
}

void DriveScan::readNamespace(const HostNamespace& space) {
    FieldTree& part = tree_.addPart(readScanTitle(space));
    ReadScanRequest request;
    request.nsid = space.nsid;
    if (!scans_.full) request.maxBytes = scans_.extent.read;
    const ReadScanResult result = readBlocks(space, request);
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

void DriveScan::checkFileSystems(const std::vector<HostNamespace>& namespaces) {
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

void DriveScan::checkFileSystem(const std::string& mountPoint) {
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

}  // namespace features::jobs
