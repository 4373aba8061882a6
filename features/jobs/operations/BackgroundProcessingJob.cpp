#include "features/jobs/operations/BackgroundProcessingJob.h"

#include <iterator>
#include <string>
#include <vector>

#include "features/errors/Result.h"
#include "features/jobs/drive/LogReading.h"
#include "features/jobs/drive/VendorDialect.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/ControllerCapabilities.h"
#include "features/nvme/FieldTable.h"
#include "features/nvme/LogPageIds.h"
#include "features/nvme/LogPages.h"
#include "features/nvme/Units.h"
#include "features/nvme/VelkoInterface.h"
#include "features/nvme/VelkoLogPages.h"
#include "features/nvme/structures/FirmwareSlotLog.h"
#include "features/nvme/structures/SanitizeStatusLog.h"
#include "features/nvme/structures/SelfTestLog.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace features::jobs {

using namespace ostrel::core;
using nvme::ControllerCapabilities;

namespace {

/// What one log reports.
struct Finding {
    std::string text;
    bool isRunning = false;
    bool isKnown = true;
};

Finding sanitize(const uint8_t* bytes) {
    constexpr unsigned IN_PROGRESS = 2;
    const auto log = nvme::structureAt<nvme::SanitizeStatusLog>(bytes);
    const unsigned status = log.sstat & 7U;
    Finding finding{nvme::sanitizeStatusText(status), status == IN_PROGRESS};
    if (nvme::isMediaVerification(bytes)) return {nvme::MEDIA_VERIFICATION_TEXT, finding.isRunning};
    // Progress counts in parts of 65,536.
    if (finding.isRunning)
        finding.text +=
            ", " + nvme::decimalFraction(uint64_t{log.sprog} * 10000 / nvme::SANITIZE_PROGRESS_OF_ALL, 2) + " % done";
    return finding;
}

Finding selfTest(const uint8_t* bytes) {
    const auto log = nvme::structureAt<nvme::SelfTestLog>(bytes);
    const unsigned operation = log.operation & 0x0FU;
    if (operation == 0) return {"no self-test is in progress"};
    return {nvme::selfTestOperationText(operation) + " self-test in progress, " +
                std::to_string(log.completion & 0x7FU) + " % done",
            true};
}

/// Firmware that waits is not at work.
Finding firmware(const uint8_t* log) {
    const unsigned next = nvme::structureAt<nvme::FirmwareSlotLog>(log).afi >> 4 & 7;
    if (next == 0) return {"no activation is pending"};
    return {"revision " + nvme::firmwareSlotRevision(log, next) + " in slot " + std::to_string(next) +
            " waits for a controller level reset"};
}

struct ProcessRow {
    const char* name;
    bool (ControllerCapabilities::*isSupported)() const;  ///< null: by all
    uint8_t lid;
    uint32_t bytes;
    Finding (*find)(const uint8_t* log);
};
constexpr ProcessRow PROCESSES[] = {
    {"Sanitize", &ControllerCapabilities::supportsSanitize, nvme::LID_SANITIZE_STATUS, sizeof(nvme::SanitizeStatusLog),
     sanitize},
    {"Device Self-test", &ControllerCapabilities::supportsSelfTest, nvme::LID_DEVICE_SELF_TEST,
     sizeof(nvme::SelfTestLog), selfTest},
    {"Firmware", nullptr, nvme::LID_FIRMWARE_SLOT, sizeof(nvme::FirmwareSlotLog), firmware},
};

Finding forceFlush(const uint8_t* log) {
    constexpr unsigned IN_PROGRESS = 1;
    Finding finding{nvme::forceFlushStateText(log[0]), log[0] == IN_PROGRESS};
    if (finding.isRunning) finding.text += ", " + std::to_string(log[1]) + " % done";
    return finding;
}

Finding maintenance(const uint8_t* log) {
    const uint64_t atWork = nvme::le64(log);
    return {nvme::backgroundActivityText(atWork), atWork != 0};
}

/// Of VELKO drives alone.
constexpr ProcessRow VELKO_PROCESSES[] = {
    {"Force Flush", nullptr, nvme::LID_VELKO_FORCE_FLUSH, nvme::VELKO_FORCE_FLUSH_BYTES, forceFlush},
    {"Maintenance", nullptr, nvme::LID_VELKO_BACKGROUND, nvme::VELKO_BACKGROUND_BYTES, maintenance},
};

Result<Finding> find(nvme::Drive& drive, const ControllerCapabilities& controller, const ProcessRow& row) {
    if (row.isSupported != nullptr && !(controller.*row.isSupported)()) return Finding{"not supported"};
    const auto log = readLog(drive, row.lid, row.bytes);
    if (log) return row.find(log->getData());
    if (isRefusal(log.error())) {
        // Firmware that waits is not at work: without that log it is known whether anything is.
        const bool isKnown = row.lid == nvme::LID_FIRMWARE_SLOT;
        return Finding{"not reported: " + log.error().status.getMessage(), false, isKnown};
    }
    return log.error();
}

}  // namespace

BackgroundProcessingJob::BackgroundProcessingJob()
    : CloneableJob(ostrel::interfaces::ostreli::JOB_BACKGROUND_PROCESSING, "Background Processing") {}

Status BackgroundProcessingJob::actOnDrive(nvme::Drive& drive, const Arguments&, DriveOutput& out) {
    TRY(const uint8_t* const identify, drive.identifyController());
    const ControllerCapabilities controller(identify);
    nvme::FieldTree tree{title(), {}, {}};
    bool isRunning = false;
    bool isKnown = true;
    std::vector<ProcessRow> rows(std::begin(PROCESSES), std::end(PROCESSES));
    if (isVelkoDrive(drive)) rows.insert(rows.end(), std::begin(VELKO_PROCESSES), std::end(VELKO_PROCESSES));
    for (const ProcessRow& row : rows) {
        TRY(const Finding finding, find(drive, controller, row));
        tree.add(row.name, finding.text);
        isRunning = isRunning || finding.isRunning;
        isKnown = isKnown && finding.isKnown;
    }
    const std::string whole = isRunning ? statuses::backgroundProcessRunning().getMessage()
                              : isKnown ? statuses::backgroundProcessNotRunning().getMessage()
                                        : nvme::NOT_REPORTED;
    tree.add(attributes::feature::backgroundProcessing().getName(), whole);
    out.addTree(tree);
    return Status();
}

}  // namespace features::jobs
