#include "features/jobs/health/scan/HealthVerdict.h"

#include <algorithm>
#include <iterator>

#include "features/jobs/drive/CriticalWarnings.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/FieldTree.h"
#include "features/nvme/LogPages.h"
#include "features/nvme/Units.h"
#include "features/nvme/structures/SelfTestLog.h"
#include "features/nvme/structures/SmartHealthLog.h"

namespace features::jobs {

using nvme::bit;

namespace {

/// The SMART / Health log (NVMe Base Specification 1.4, section 5.14.1.2).
enum CriticalWarning : unsigned { SPARE, TEMPERATURE, RELIABILITY, READ_ONLY, VOLATILE_BACKUP, MEMORY_REGION };
constexpr uint8_t KNOWN_WARNINGS = 0x3F;
constexpr size_t OFFSET_WARNING = offsetof(nvme::SmartHealthLog, criticalWarning);
constexpr size_t OFFSET_TEMPERATURE = offsetof(nvme::SmartHealthLog, compositeTemperature);
constexpr size_t OFFSET_SPARE = offsetof(nvme::SmartHealthLog, availableSpare);
constexpr size_t OFFSET_SPARE_THRESHOLD = offsetof(nvme::SmartHealthLog, availableSpareThreshold);
constexpr size_t OFFSET_PERCENTAGE_USED = offsetof(nvme::SmartHealthLog, percentageUsed);
constexpr size_t OFFSET_MEDIA_ERRORS = offsetof(nvme::SmartHealthLog, mediaErrors);
constexpr uint8_t RATED_ENDURANCE = 100;

/// The Device Self-test log (section 5.14.1.6): the results, the newest first.
constexpr size_t OFFSET_RESULTS = offsetof(nvme::SelfTestLog, results);
constexpr size_t RESULT_BYTES = sizeof(nvme::SelfTestResultEntry);
constexpr unsigned RESULT_PASSED = 0x0;
constexpr unsigned RESULT_FATAL_ERROR = 0x5;
constexpr unsigned RESULT_SEGMENT_FAILED = 0x7;
constexpr unsigned FAILING_LBA_IS_VALID = 1;

const uint8_t* smartOf(const HealthEvidence& evidence) {
    return evidence.smart.getSize() == 0 ? nullptr : evidence.smart.getData();
}

std::string celsius(uint16_t kelvin) {
    return std::to_string(kelvin - nvme::KELVIN_AT_0_CELSIUS) + " C";
}

template <CriticalWarning WARNING>
std::string warning(const HealthEvidence& evidence) {
    const uint8_t* smart = smartOf(evidence);
    return smart != nullptr && bit(smart[OFFSET_WARNING], WARNING)
               ? deviceStatusText(static_cast<uint8_t>(1U << WARNING))
               : "";
}

/// A bit of a later standard is no reason to call the drive healthy.
std::string unknownWarning(const HealthEvidence& evidence) {
    const uint8_t* smart = smartOf(evidence);
    const unsigned unknown = smart == nullptr ? 0U : smart[OFFSET_WARNING] & ~unsigned{KNOWN_WARNINGS};
    return unknown == 0 ? "" : "The drive sets the bits " + nvme::hexText(unknown, 2) + ", which are reserved.";
}

std::string spare(const HealthEvidence& evidence) {
    const uint8_t* smart = smartOf(evidence);
    if (smart == nullptr ||
        (!bit(smart[OFFSET_WARNING], SPARE) && smart[OFFSET_SPARE] >= smart[OFFSET_SPARE_THRESHOLD]))
        return "";
    return std::to_string(smart[OFFSET_SPARE]) + " % is left, the threshold is " +
           std::to_string(smart[OFFSET_SPARE_THRESHOLD]) + " %.";
}

bool reaches(const HealthEvidence& evidence, uint16_t thresholdKelvin) {
    const uint8_t* smart = smartOf(evidence);
    return smart != nullptr && thresholdKelvin != 0 && nvme::le16(smart + OFFSET_TEMPERATURE) >= thresholdKelvin;
}

std::string temperatureText(const HealthEvidence& evidence, const char* which, uint16_t thresholdKelvin) {
    return "It is " + celsius(nvme::le16(smartOf(evidence) + OFFSET_TEMPERATURE)) + ", the " + which +
           " threshold is " + celsius(thresholdKelvin) + ".";
}

std::string criticalTemperature(const HealthEvidence& evidence) {
    if (!reaches(evidence, evidence.criticalKelvin)) return "";
    return temperatureText(evidence, "critical", evidence.criticalKelvin);
}

std::string warningTemperature(const HealthEvidence& evidence) {
    if (reaches(evidence, evidence.criticalKelvin)) return "";
    if (reaches(evidence, evidence.warningKelvin)) return temperatureText(evidence, "warning", evidence.warningKelvin);
    return warning<TEMPERATURE>(evidence);
}

std::string wear(const HealthEvidence& evidence) {
    const uint8_t* smart = smartOf(evidence);
    if (smart == nullptr || smart[OFFSET_PERCENTAGE_USED] < RATED_ENDURANCE) return "";
    return std::to_string(smart[OFFSET_PERCENTAGE_USED]) + " % of the rated endurance is used.";
}

std::string mediaErrors(const HealthEvidence& evidence) {
    const uint8_t* smart = smartOf(evidence);
    const std::string count = smart == nullptr ? "0" : nvme::decimal128(smart + OFFSET_MEDIA_ERRORS);
    return count == "0" ? "" : "The drive counts " + count + ".";
}

/// The last self-test that passed or failed decides: one that was aborted says nothing of the drive.
std::string failedSelfTest(const HealthEvidence& evidence) {
    const size_t size = evidence.selfTest.getSize();
    for (size_t at = OFFSET_RESULTS; at + RESULT_BYTES <= size; at += RESULT_BYTES) {
        const auto entry = nvme::structureAt<nvme::SelfTestResultEntry>(evidence.selfTest.getData() + at);
        const unsigned result = entry.status & 0x0FU;
        if (result == RESULT_PASSED) return "";
        if (result < RESULT_FATAL_ERROR || result > RESULT_SEGMENT_FAILED) continue;
        std::string text = "The last one, " + nvme::selfTestOperationText(entry.status >> 4U) + ", failed after " +
                           std::to_string(entry.powerOnHours) + " power on hours: " + nvme::selfTestResultText(result);
        if (result == RESULT_SEGMENT_FAILED) text += ", the first is segment " + std::to_string(entry.segment);
        if (bit(entry.valid, FAILING_LBA_IS_VALID)) text += ", failing LBA " + std::to_string(entry.failingLba);
        return text + ".";
    }
    return "";
}

std::string panic(const HealthEvidence& evidence) {
    return evidence.panic;
}

std::string sataFailing(const HealthEvidence& evidence) {
    return evidence.sata.failing;
}

std::string sataSelfTest(const HealthEvidence& evidence) {
    return evidence.sata.failedSelfTest;
}

std::string sataLocked(const HealthEvidence& evidence) {
    return evidence.sata.isLocked ? "A password locks the drive: its data cannot be read." : "";
}

std::string sataTemperature(const HealthEvidence& evidence) {
    const SataEvidence& sata = evidence.sata;
    if (!sata.celsius || !sata.maximumCelsius || *sata.celsius <= *sata.maximumCelsius) return "";
    return "It is " + std::to_string(*sata.celsius) + " C, the specified maximum is " +
           std::to_string(*sata.maximumCelsius) + " C.";
}

std::string sataWear(const HealthEvidence& evidence) {
    const auto& used = evidence.sata.percentageUsed;
    return used.value_or(0) < RATED_ENDURANCE ? "" : std::to_string(*used) + " % of the rated endurance is used.";
}

std::string sataErrors(const HealthEvidence& evidence) {
    const auto& errors = evidence.sata.uncorrectable;
    return errors.value_or(0) == 0 ? "" : "The drive counts " + std::to_string(*errors) + ".";
}

std::string sataPending(const HealthEvidence& evidence) {
    const auto& pending = evidence.sata.pending;
    return pending.value_or(0) == 0 ? "" : "Sectors that the drive could not read: " + std::to_string(*pending) + ".";
}

std::string unreadable(const HealthEvidence& evidence) {
    if (evidence.unreadableBlocks == 0) return "";
    return "Blocks that cannot be read: " + std::to_string(evidence.unreadableBlocks) + ".";
}

std::string miscompares(const HealthEvidence& evidence) {
    if (evidence.mismatches == 0) return "";
    return "Blocks of 4096 bytes with a data miscompare: " + std::to_string(evidence.mismatches) + ".";
}

std::string notCompleted(const HealthEvidence& evidence) {
    return evidence.isCompleted ? "" : "Not everything could be looked at.";
}

// clang-format off
constexpr HealthRow ROWS[] = {
    {"Read Scan",                "blocks that cannot be read",                                              HealthOutcome::ERRORS,        unreadable},
    {"Data Integrity",           "data miscompares",                                                        HealthOutcome::ERRORS,        miscompares},
    {"Available Spare",          "SMART log: Critical Warning bit 0, or less than Available Spare Threshold", HealthOutcome::FAILING,     spare},
    {"Reliability",              "SMART log: Critical Warning bit 2",                                       HealthOutcome::FAILING,       warning<RELIABILITY>},
    {"Read Only",                "SMART log: Critical Warning bit 3",                                       HealthOutcome::FAILING,       warning<READ_ONLY>},
    {"Volatile Memory Backup",   "SMART log: Critical Warning bit 4",                                       HealthOutcome::FAILING,       warning<VOLATILE_BACKUP>},
    {"Temperature",              "SMART log: Composite Temperature of CCTEMP or more",                      HealthOutcome::FAILING,       criticalTemperature},
    {"Self-test",                "Device Self-test log: the last test that passed or failed has failed",    HealthOutcome::FAILING,       failedSelfTest},
    {"Panic",                    "OCP Error Recovery log: Panic ID other than 0",                           HealthOutcome::FAILING,       panic},
    {"SMART Status",             "SATA: SMART status, or an attribute at its threshold where the status does not come", HealthOutcome::FAILING, sataFailing},
    {"Self-test",                "SATA: self-test log, the last test that passed or failed has failed",     HealthOutcome::FAILING,       sataSelfTest},
    {"Temperature",              "SMART log: Critical Warning bit 1, or Composite Temperature of WCTEMP or more", HealthOutcome::WARNING, warningTemperature},
    {"Persistent Memory Region", "SMART log: Critical Warning bit 5",                                       HealthOutcome::WARNING,       warning<MEMORY_REGION>},
    {"Critical Warning",         "SMART log: Critical Warning bits 6 and 7, which are reserved",            HealthOutcome::WARNING,       unknownWarning},
    {"Percentage Used",          "SMART log: 100 or more",                                                  HealthOutcome::WARNING,       wear},
    {"Media Errors",             "SMART log: Media and Data Integrity Errors above 0",                      HealthOutcome::WARNING,       mediaErrors},
    {"Temperature",              "SATA: above the specified maximum",                                       HealthOutcome::WARNING,       sataTemperature},
    {"Percentage Used",          "SATA: 100 or more",                                                       HealthOutcome::WARNING,       sataWear},
    {"Uncorrectable Errors",     "SATA: reported uncorrectable errors above 0",                             HealthOutcome::WARNING,       sataErrors},
    {"Pending Sectors",          "SATA: SMART attribute 197 above 0",                                       HealthOutcome::WARNING,       sataPending},
    {"Security",                 "SATA: locked by a password",                                              HealthOutcome::WARNING,       sataLocked},
    {"Scan",                     "something could not be looked at",                                        HealthOutcome::NOT_COMPLETED, notCompleted},
};
// clang-format on

}  // namespace

const HealthRow* healthRowsBegin() {
    return std::begin(ROWS);
}
const HealthRow* healthRowsEnd() {
    return std::end(ROWS);
}

const char* healthOutcomeText(HealthOutcome outcome) {
    switch (outcome) {
        case HealthOutcome::NOTHING_FOUND:
            return "Nothing was found.";
        case HealthOutcome::NOT_COMPLETED:
            return "The scan could not be completed.";
        case HealthOutcome::WARNING:
            return "The drive gives a warning.";
        case HealthOutcome::FAILING:
            return "The drive has failed or is failing.";
        case HealthOutcome::ERRORS:
            return "There are read errors or data miscompares.";
    }
    return "";
}

std::vector<HealthFinding> findHealthProblems(const HealthEvidence& evidence) {
    std::vector<HealthFinding> findings;
    for (const HealthRow& row : ROWS) {
        std::string words = row.find(evidence);
        if (!words.empty()) findings.push_back({&row, std::move(words)});
    }
    return findings;
}

HealthOutcome gravestOutcome(const std::vector<HealthFinding>& findings) {
    HealthOutcome gravest = HealthOutcome::NOTHING_FOUND;
    for (const HealthFinding& finding : findings) gravest = std::max(gravest, finding.row->outcome);
    return gravest;
}

}  // namespace features::jobs
