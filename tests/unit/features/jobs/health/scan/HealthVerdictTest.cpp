#include <gtest/gtest.h>

#include <set>
#include <string>

#include "features/jobs/health/scan/HealthVerdict.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/fakedrive/DriveBytes.h"

namespace features::jobs {
namespace {

using fakedrive::DriveBytes;
using fakedrive::smartLog;

/// A drive of 38 C with the thresholds 70 C and 80 C that has nothing to report.
HealthEvidence healthy() {
    HealthEvidence evidence;
    evidence.smart = smartLog().payload();
    evidence.warningKelvin = 343;
    evidence.criticalKelvin = 353;
    return evidence;
}

/// "101 Temperature: words" of each finding, a line each.
std::string verdict(const HealthEvidence& evidence) {
    std::string text;
    for (const HealthFinding& finding : findHealthProblems(evidence)) {
        text += std::to_string(static_cast<unsigned>(finding.row->outcome)) + " " + finding.row->condition + ": " +
                finding.words + "\n";
    }
    return text;
}
std::string verdictOf(const DriveBytes& smart) {
    HealthEvidence evidence = healthy();
    evidence.smart = smart.payload();
    return verdict(evidence);
}

TEST(HealthVerdict, FindsNothingWithAHealthyDriveNorWithoutEvidence) {
    EXPECT_EQ(verdict(healthy()), "");
    EXPECT_EQ(verdict(HealthEvidence()), "");
    EXPECT_EQ(gravestOutcome({}), HealthOutcome::NOTHING_FOUND);
}

TEST(HealthVerdict, FindsEachConditionOfTheSmartLog) {
    const struct {
        DriveBytes smart;
        const char* found;
        const char* why;
    } CASES[] = {
        {smartLog().byte(0, 0x01), "102 Available Spare: 100 % is left, the threshold is 10 %.\n",
         "the drive's word counts"},
        {smartLog().byte(3, 9), "102 Available Spare: 9 % is left, the threshold is 10 %.\n", "so do the numbers"},
        {smartLog().byte(3, 10), "", "at the threshold is not below it"},
        {smartLog().byte(0, 0x02), "101 Temperature: A temperature is beyond its threshold.\n", "or too cold"},
        {smartLog().byte(0, 0x04), "102 Reliability: Reliability is degraded.\n", ""},
        {smartLog().byte(0, 0x08), "102 Read Only: Media is in read only mode.\n", ""},
        {smartLog().byte(0, 0x10), "102 Volatile Memory Backup: The volatile memory backup device has failed.\n", ""},
        {smartLog().byte(0, 0x20),
         "101 Persistent Memory Region: The persistent memory region is read only or unreliable.\n", ""},
        {smartLog().byte(0, 0xC0), "101 Critical Warning: The drive sets the bits 0xC0, which are reserved.\n", ""},
        {smartLog().le16(1, 342), "", "1 K below the warning threshold"},
        {smartLog().le16(1, 343), "101 Temperature: It is 70 C, the warning threshold is 70 C.\n", ""},
        {smartLog().byte(0, 0x02).le16(1, 352), "101 Temperature: It is 79 C, the warning threshold is 70 C.\n", ""},
        {smartLog().byte(0, 0x02).le16(1, 353), "102 Temperature: It is 80 C, the critical threshold is 80 C.\n",
         "the graver one alone"},
        {smartLog().byte(5, 99), "", ""},
        {smartLog().byte(5, 100), "101 Percentage Used: 100 % of the rated endurance is used.\n", ""},
        {smartLog().byte(5, 255), "101 Percentage Used: 255 % of the rated endurance is used.\n", ""},
        {smartLog().le64(160, 46), "101 Media Errors: The drive counts 46.\n", ""},
        {smartLog().byte(168, 1), "101 Media Errors: The drive counts 18446744073709551616.\n", "128 bits count"},
    };
    for (const auto& c : CASES) EXPECT_EQ(verdictOf(c.smart), c.found) << c.why;
}

TEST(HealthVerdict, AThresholdThatIsNotReportedIsNone) {
    HealthEvidence evidence = healthy();
    evidence.smart = smartLog().le16(1, 400).payload();
    evidence.warningKelvin = evidence.criticalKelvin = 0;
    EXPECT_EQ(verdict(evidence), "");
}

/// A Device Self-test log with these results, the newest first.
ostrel::core::Payload selfTests(std::initializer_list<uint8_t> results) {
    DriveBytes log(564);
    for (size_t i = 0; i < 20; ++i) log.byte(4 + 28 * i, 0x0F);
    size_t at = 4;
    for (const uint8_t result : results) {
        log.byte(at, result)
            .byte(at + 1, 3)
            .byte(at + 2, result == 0x27 ? 0x02 : 0)
            .le64(at + 4, 123)
            .le64(at + 16, 5000);
        at += 28;
    }
    return log.payload();
}

TEST(HealthVerdict, TheLastSelfTestThatPassedOrFailedDecides) {
    const struct {
        std::initializer_list<uint8_t> results;
        const char* found;
        const char* why;
    } CASES[] = {
        {{}, "", "none was run"},
        {{0x10}, "", "passed"},
        {{0x10, 0x27}, "", "an older failure was mended"},
        {{0x25},
         "the last one, extended, failed after 123 power on hours: a fatal error or an unknown test error occurred.",
         ""},
        {{0x16},
         "the last one, short, failed after 123 power on hours: completed with a failed segment that is not known.",
         ""},
        {{0x27},
         "the last one, extended, failed after 123 power on hours: completed with one or more failed segments, the "
         "first is segment 3, failing LBA 5000.",
         ""},
        {{0x11, 0x12, 0x13, 0x14, 0x18, 0x19, 0x17},
         "the last one, short, failed after 123 power on hours: completed with one or more failed segments, the first "
         "is "
         "segment 3.",
         "those that were aborted say nothing"},
        {{0x1A}, "", "reserved"},
    };
    for (const auto& c : CASES) {
        HealthEvidence evidence = healthy();
        evidence.selfTest = selfTests(c.results);
        std::string expected = c.found;
        if (!expected.empty()) expected = "102 Self-test: T" + expected.substr(1) + "\n";
        EXPECT_EQ(verdict(evidence), expected) << c.why;
    }
}

TEST(HealthVerdict, FindsAPanic) {
    HealthEvidence evidence = healthy();
    evidence.panic = "The drive's firmware has panicked with the ID 0x1F.";
    EXPECT_EQ(verdict(evidence), "102 Panic: The drive's firmware has panicked with the ID 0x1F.\n");
}

TEST(HealthVerdict, FindsWhatTheScansFound) {
    HealthEvidence evidence = healthy();
    evidence.unreadableBlocks = 4;
    evidence.mismatches = 3;
    evidence.isCompleted = false;
    EXPECT_EQ(verdict(evidence),
              "103 Read Scan: Blocks that cannot be read: 4.\n"
              "103 Data Integrity: Blocks of 4096 bytes with a data miscompare: 3.\n"
              "100 Scan: Not everything could be looked at.\n");
}

TEST(HealthVerdict, EveryFindingIsReportedAndTheGravestDecides) {
    HealthEvidence evidence = healthy();
    evidence.isCompleted = false;
    EXPECT_EQ(gravestOutcome(findHealthProblems(evidence)), HealthOutcome::NOT_COMPLETED);
    evidence.smart = smartLog().le64(160, 46).payload();
    EXPECT_EQ(gravestOutcome(findHealthProblems(evidence)), HealthOutcome::WARNING);
    evidence.selfTest = selfTests({0x27});
    EXPECT_EQ(gravestOutcome(findHealthProblems(evidence)), HealthOutcome::FAILING);
    evidence.unreadableBlocks = 1;
    EXPECT_EQ(gravestOutcome(findHealthProblems(evidence)), HealthOutcome::ERRORS);
    EXPECT_EQ(findHealthProblems(evidence).size(), 4U);
}

TEST(HealthVerdict, TheDocumentShowsTheSameTable) {
    std::string table = "| finding | what is looked at | exit status |\n|---|---|---|\n";
    for (const HealthRow* row = healthRowsBegin(); row != healthRowsEnd(); ++row) {
        table += std::string("| ") + row->condition + " | " + row->source + " | " +
                 std::to_string(static_cast<unsigned>(row->outcome)) + " |\n";
    }
    const std::string document = readWholeFile(JOBS_TEST_DATA "/../../../../../../docs/health-scan.md");
    EXPECT_NE(document.find("\n" + table + "\n"), std::string::npos) << table;
    for (const HealthOutcome outcome : {HealthOutcome::NOTHING_FOUND, HealthOutcome::NOT_COMPLETED,
                                        HealthOutcome::WARNING, HealthOutcome::FAILING, HealthOutcome::ERRORS}) {
        const std::string row =
            "| " + std::to_string(static_cast<unsigned>(outcome)) + " | " + healthOutcomeText(outcome);
        EXPECT_NE(document.find("\n" + row + " |"), std::string::npos) << row;
    }
}

}  // namespace
}  // namespace features::jobs
