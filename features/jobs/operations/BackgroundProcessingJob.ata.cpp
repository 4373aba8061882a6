// What SATA drives do by themselves.

#include "features/jobs/operations/BackgroundProcessingJob.h"

#include <algorithm>
#include <string>

#include "features/ata/SmartAttributes.h"
#include "features/jobs/drive/AtaHealth.h"
#include "features/nvme/FieldTable.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::jobs {

using namespace ostrel::core;
using ata::AtaError;

namespace {

/// What one question found.
struct Finding {
    std::string text;
    bool isRunning = false;
    bool isKnown = true;
};

/// What the drive refuses is no finding, and no failure of the whole.
Result<Finding, AtaError> orNotReported(const Result<Finding, AtaError>& finding) {
    if (finding || !isRefusal(finding.error())) return finding;
    return Finding{"not reported: " + finding.error().status.getMessage(), false, false};
}

Result<Finding, AtaError> sanitize(ata::Drive& drive) {
    TRY(const ata::Identity* const identity, drive.identify());
    if (!identity->has(ata::identify::SANITIZE)) return Finding{"not supported"};
    TRY(const ata::SanitizeState state, drive.sanitizeState());
    if (state.isRunning) {
        return Finding{"a sanitize operation is in progress, " +
                           nvme::decimalFraction(uint64_t{state.progress} * 10000 / ata::SANITIZE_PROGRESS_OF_ALL, 2) +
                           " % done",
                       true};
    }
    return Finding{state.hasCompleted ? "the most recent sanitize operation completed successfully"
                                      : "no sanitize operation has completed successfully"};
}

Finding selfTest(const ata::SmartData& smart) {
    constexpr unsigned RUNNING = 0xF;
    if (smart.selfTestStatus >> 4 != RUNNING) return {"no self-test is in progress"};
    const unsigned left = std::min(smart.selfTestStatus & 0xFU, 10U) * 10;
    return {"self-test in progress, " + std::to_string(100 - left) + " % done", true};
}

Finding offlineCollection(const ata::SmartData& smart) {
    constexpr unsigned IN_PROGRESS = 3;
    constexpr unsigned STATE = 0x7F;  // bit 7 is the automatic collection
    return (smart.offlineStatus & STATE) == IN_PROGRESS ? Finding{"in progress", true} : Finding{"not in progress"};
}

struct ProcessRow {
    const char* name;
    Finding (*find)(const ata::SmartData& smart);
};
constexpr ProcessRow OF_SMART_DATA[] = {{"Device Self-test", selfTest}, {"Offline Collection", offlineCollection}};

}  // namespace

Status BackgroundProcessingJob::actOnAtaDrive(ata::Drive& drive, const Arguments&, DriveOutput& out) {
    nvme::FieldTree tree{title(), {}, {}};
    bool isRunning = false;
    bool isKnown = true;
    const auto add = [&](const char* name, const Finding& finding) {
        tree.add(name, finding.text);
        isRunning = isRunning || finding.isRunning;
        isKnown = isKnown && finding.isKnown;
    };
    TRY(const Finding ofSanitize, orNotReported(sanitize(drive)));
    add("Sanitize", ofSanitize);
    const auto data = drive.smartData();
    for (const ProcessRow& row : OF_SMART_DATA) {
        const auto find = [&](const Payload& bytes) {
            return row.find(nvme::structureAt<ata::SmartData>(bytes.getData()));
        };
        TRY(const Finding finding, orNotReported(data ? Result<Finding, AtaError>(find(*data)) : data.error()));
        add(row.name, finding);
    }
    // No command asks a drive whether firmware waits for its activation.
    tree.add("Firmware", nvme::NOT_REPORTED);
    const std::string whole = isRunning ? statuses::backgroundProcessRunning().getMessage()
                              : isKnown ? statuses::backgroundProcessNotRunning().getMessage()
                                        : nvme::NOT_REPORTED;
    tree.add(attributes::feature::backgroundProcessing().getName(), whole);
    out.addTree(tree);
    return Status();
}

}  // namespace features::jobs
