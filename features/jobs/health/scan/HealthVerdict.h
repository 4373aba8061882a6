#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "ostrel/core/Payload.h"

namespace features::jobs {

/// What came of a health scan, by its exit status: the higher the graver.
enum class HealthOutcome : uint8_t {
    NOTHING_FOUND = 0,
    NOT_COMPLETED = 100,  ///< not everything could be looked at
    WARNING = 101,
    FAILING = 102,  ///< the drive has failed, or is about to
    ERRORS = 103,   ///< blocks that cannot be read, or data that is not what was written
};

/// The outcome in a sentence.
const char* healthOutcomeText(HealthOutcome outcome);

/// What the verdict on a SATA drive rests on.
struct SataEvidence {
    std::string failing;  ///< that the drive is failing, by its SMART status or its attributes, in sentences
    bool isLocked = false;
    std::string failedSelfTest;  ///< the last test that passed or failed has failed, in a sentence
    std::optional<int64_t> percentageUsed;
    std::optional<int64_t> uncorrectable;  ///< errors
    std::optional<int64_t> pending;        ///< sectors
    std::optional<int64_t> celsius;
    std::optional<int64_t> maximumCelsius;  ///< that the maker specifies
};

/// What the verdict on a drive rests on. What is not known is empty or 0, and no row finds anything in it: it is for
/// the scan to say that it could not look.
struct HealthEvidence {
    ostrel::core::Payload smart;     ///< the 512 bytes of the SMART / Health log
    ostrel::core::Payload selfTest;  ///< the Device Self-test log
    uint16_t warningKelvin = 0;      ///< WCTEMP of Identify Controller
    uint16_t criticalKelvin = 0;     ///< CCTEMP
    std::string panic;               ///< of the firmware, by the OCP Error Recovery log, in sentences
    SataEvidence sata;
    uint64_t unreadableBlocks = 0;  ///< found by a read scan
    uint64_t mismatches = 0;        ///< blocks of 4,096 bytes, found by a data integrity scan
    bool isCompleted = true;
};

/// A row of the verdict: docs/health-scan.md shows the same table.
struct HealthRow {
    const char* condition;  ///< heads the finding
    const char* source;     ///< what is looked at
    HealthOutcome outcome;
    std::string (*find)(const HealthEvidence& evidence);  ///< the finding in a sentence; empty: there is none
};
const HealthRow* healthRowsBegin();
const HealthRow* healthRowsEnd();

struct HealthFinding {
    const HealthRow* row;
    std::string words;
};

/// Everything that was found, in the order of the rows.
std::vector<HealthFinding> findHealthProblems(const HealthEvidence& evidence);
/// The gravest of them.
HealthOutcome gravestOutcome(const std::vector<HealthFinding>& findings);

}  // namespace features::jobs
