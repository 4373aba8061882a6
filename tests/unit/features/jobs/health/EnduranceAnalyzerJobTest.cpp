#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "features/jobs/health/EnduranceAnalyzerJob.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/unit/features/jobs/Commands.h"
#include "tests/unit/features/jobs/JobRun.h"
#include "tests/unit/features/jobs/StatusAnswer.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::core;
using namespace ostrel::interfaces::ostreli;

constexpr int64_t RESET_TIME = 1700000000;
int64_t now = RESET_TIME;

/// The answer of a job that holds nothing but this status of drive S1.
std::string answerOf(const std::string& code, const std::string& message, const std::string& category = "10") {
    return statusAnswer("Endurance Analyzer", category, code, message);
}

const std::string NOT_YET = answerOf("75",
                                     "Media Workload Indicators have reset values. Run 60+ minute workload prior to "
                                     "running the endurance analyzer.");
const std::string NO_WEAR = answerOf("74",
                                     "Workload did not induce any wear on the drive. Expected life calculation is "
                                     "invalid. Ensure that workloads run for an hour or more for valid "
                                     "calculations.");

class EnduranceAnalyzerJobTest : public testing::Test {
protected:
    EnduranceAnalyzerJobTest() { now = RESET_TIME; }

    /// Resets at RESET_TIME with 3 per cent used and 2,000 data units written.
    void reset() {
        FakeDrive drive;
        drive.expect(lookAtLog(0x02, 512).answers(smartLog()));
        EXPECT_EQ(JobRun(job_, JOBTYPE_METHOD).on({&drive}),
                  answerOf("0",
                           "The workload indicators were reset. Run the workload for 60 minutes or more before the "
                           "endurance analyzer is shown.",
                           "0"));
    }
    std::string show(const DriveBytes& smart) {
        FakeDrive drive;
        drive.expect(lookAtLog(0x02, 512).answers(smart));
        return JobRun(job_, JOBTYPE_GET_PROPERTIES).on({&drive});
    }
    /// Without a question to the drive.
    std::string showUnasked() {
        FakeDrive drive;
        return JobRun(job_, JOBTYPE_GET_PROPERTIES).on({&drive});
    }

    TemporaryFolder folder_;
    std::string baseline_ = folder_ / "lib/S1.endurance";
    EnduranceAnalyzerJob job_{folder_ / "lib", [] { return now; }};
};

TEST_F(EnduranceAnalyzerJobTest, AResetKeepsTheWearOfTheMoment) {
    reset();
    EXPECT_EQ(readWholeFile(baseline_), "TimeSeconds 1700000000\nPercentageUsed 3\nDataUnitsWritten 2000\n");
}

TEST_F(EnduranceAnalyzerJobTest, TheWearSinceGivesTheYearsThatAreLeft) {
    reset();
    now += 31557600;  // a year, in which 7 per cent went: 90 are left
    EXPECT_EQ(show(smartLog().byte(5, 10).le64(48, 12000)), R"(0/0
<Object category="Output">
<Object category="attributeList" key="Endurance Analyzer S1">
<Property category="attribute" description="units of 512000 bytes" displayName="Data Units Written Since Reset" name="DataUnitsWrittenSinceReset" size="6" type="string" value="10000"/>
<Property category="attribute" description="years" displayName="Endurance Analyzer" name="EnduranceAnalyzer" size="6" type="string" value="12.85"/>
<Property category="attribute" description="%" displayName="Percentage Used" name="PercentageUsed" size="1" type="uint8" value="10"/>
<Property category="attribute" description="minutes" displayName="Time Since Reset" name="TimeSinceReset" size="8" type="uint64" value="525960"/>
<Property category="attribute" description="%" displayName="Wear Since Reset" name="WearSinceReset" size="4" type="uint32" value="7"/>
</Object>
</Object>)");
}

TEST_F(EnduranceAnalyzerJobTest, AWornOutDriveHasNoYearsLeft) {
    reset();
    now += 3600;
    EXPECT_EQ(show(smartLog().byte(5, 255).le64(48, 1999)), R"(0/0
<Object category="Output">
<Object category="attributeList" key="Endurance Analyzer S1">
<Property category="attribute" description="units of 512000 bytes" displayName="Data Units Written Since Reset" name="DataUnitsWrittenSinceReset" size="13" type="string" value="not reported"/>
<Property category="attribute" description="years" displayName="Endurance Analyzer" name="EnduranceAnalyzer" size="5" type="string" value="0.00"/>
<Property category="attribute" description="%" displayName="Percentage Used" name="PercentageUsed" size="1" type="uint8" value="255"/>
<Property category="attribute" description="minutes" displayName="Time Since Reset" name="TimeSinceReset" size="8" type="uint64" value="60"/>
<Property category="attribute" description="%" displayName="Wear Since Reset" name="WearSinceReset" size="4" type="uint32" value="252"/>
</Object>
</Object>)");
}

TEST_F(EnduranceAnalyzerJobTest, UnderSixtyMinutesItIsTooEarly) {
    EXPECT_EQ(showUnasked(), NOT_YET) << "never reset";
    reset();
    now += 3599;
    EXPECT_EQ(showUnasked(), NOT_YET);
    now = RESET_TIME - 100000;
    EXPECT_EQ(showUnasked(), NOT_YET) << "the clock was set back";
}

TEST_F(EnduranceAnalyzerJobTest, WithoutWearThereIsNothingToReport) {
    reset();
    now += 3600;
    EXPECT_EQ(show(smartLog()), NO_WEAR);
    EXPECT_EQ(show(smartLog().byte(5, 2)), NO_WEAR) << "less than before";
}

TEST_F(EnduranceAnalyzerJobTest, RequestedNamesInAnyCase) {
    reset();
    now += 3600;
    FakeDrive drive;
    drive.expect(lookAtLog(0x02, 512).answers(smartLog().byte(5, 4)));
    EXPECT_EQ(JobRun(job_, JOBTYPE_GET_PROPERTIES).asking("PERCENTAGEUSED").asking("Foo").on({&drive}), R"(0/0
<Object category="Output">
<Object category="attributeList" key="Endurance Analyzer S1">
<Property category="attribute" displayName="" name="Foo" size="19" type="string" value="Property not found"/>
<Property category="attribute" description="%" displayName="Percentage Used" name="PercentageUsed" size="1" type="uint8" value="4"/>
</Object>
</Object>)");
}

TEST_F(EnduranceAnalyzerJobTest, ASecondResetReplacesTheFirst) {
    reset();
    now += 10;
    FakeDrive drive;
    // 2 to the power of 64 data units: more than 64 bits.
    drive.expect(lookAtLog(0x02, 512).answers(smartLog().byte(5, 4).le64(48, 0).le64(56, 1)));
    (void)JobRun(job_, JOBTYPE_METHOD).on({&drive});
    EXPECT_EQ(readWholeFile(baseline_),
              "TimeSeconds 1700000010\nPercentageUsed 4\nDataUnitsWritten 18446744073709551616\n");
}

TEST_F(EnduranceAnalyzerJobTest, ADriveThatCannotBeAskedKeepsItsBaseline) {
    reset();
    const std::string before = readWholeFile(baseline_);
    now += 7200;
    FakeDrive first;
    first.expect(lookAtLog(0x02, 512).breaks(gone())).expect(lookAtLog(0x02, 512).refuses(0x0006));
    EXPECT_EQ(JobRun(job_, JOBTYPE_METHOD).on({&first}), answerOf("70", "The drive /dev/nvme0 is gone.", "0"));
    EXPECT_EQ(JobRun(job_, JOBTYPE_GET_PROPERTIES).on({&first}),
              answerOf("25",
                       "Get Log Page failed on drive S1 (/dev/nvme0): Internal Error (status code type 0x0, status "
                       "code 0x06, opcode 0x02).",
                       "0"));
    EXPECT_EQ(readWholeFile(baseline_), before);
}

TEST_F(EnduranceAnalyzerJobTest, OneOfSeveralDrivesFails) {
    FakeDrive first("S1", "/dev/nvme0");
    first.expect(lookAtLog(0x02, 512).breaks(gone()));
    FakeDrive second("S2", "/dev/nvme1");
    second.expect(lookAtLog(0x02, 512).answers(smartLog()));
    EXPECT_EQ(JobRun(job_, JOBTYPE_METHOD).on({&first, &second}), R"(0/0
<Object category="Output">
<Object category="status" key="S1" name="Endurance Analyzer">
<Property name="Category" value="0"/>
<Property name="Code" value="70"/>
<Property name="Message" value="The drive /dev/nvme0 is gone."/>
</Object>
<Object category="status" key="S2" name="Endurance Analyzer">
<Property name="Category" value="0"/>
<Property name="Code" value="0"/>
<Property name="Message" value="The workload indicators were reset. Run the workload for 60 minutes or more before the endurance analyzer is shown."/>
</Object>
</Object>)");
    EXPECT_FALSE(std::filesystem::exists(baseline_));
    EXPECT_TRUE(std::filesystem::exists(folder_ / "lib/S2.endurance"));
}

constexpr struct {
    const char* text;
    const char* why;
} DAMAGED[] = {
    {"", "empty"},
    {"TimeSeconds 1700000000\nPercentageUsed 3\n", "a line is missing"},
    {"TimeSeconds 1700000000\nPercentageUsed 3\nDataUnitsWritten 2000", "the end is missing"},
    {"TimeSeconds 1700000000\nPercentageUsed 3\nDataUnitsWritten 2000\nmore\n", "a line too many"},
    {"TimeSeconds -5\nPercentageUsed 3\nDataUnitsWritten 2000\n", "no number"},
    {"TimeSeconds 99999999999999999999\nPercentageUsed 3\nDataUnitsWritten 2000\n", "a number that is no time"},
    {"TimeSeconds 1700000000\nPercentageUsed 256\nDataUnitsWritten 2000\n", "more than the drive can report"},
    {"TimeSeconds 1700000000\nPercentageUsed 3\nDataUnitsWritten 08\n", "never written so"},
    {"TimeSeconds 1700000000\nPercentageUsed 3\nDataUnitsWritten 1000000000000000000000000000000000000000\n",
     "more than 128 bits"},
    {"TimeSeconds 1700000000\nPercentageUsed 3\nDataUnitsWritten \n", "neither a number nor \"not reported\""},
    {"PercentageUsed 3\nTimeSeconds 1700000000\nDataUnitsWritten 2000\n", "another order"},
};

TEST_F(EnduranceAnalyzerJobTest, ADamagedBaselineIsReportedAndAResetMendsIt) {
    std::filesystem::create_directory(folder_ / "lib");
    now += 7200;
    for (const auto& c : DAMAGED) {
        writeWholeFile(baseline_, c.text);
        EXPECT_EQ(showUnasked(), answerOf("54", "Failed reading a file necessary for the feature. " + baseline_ +
                                                    " is damaged. Reset the endurance analyzer of this drive."))
            << c.why;
    }
    reset();
    now += 60;
    EXPECT_EQ(showUnasked(), NOT_YET);
}

/// "Never reset" would be an answer.
TEST_F(EnduranceAnalyzerJobTest, ABaselineThatCannotBeReadIsAnError) {
    std::filesystem::create_directories(baseline_);
    now += 7200;
    const std::string answer = showUnasked();
    EXPECT_EQ(answer.substr(0, answer.find("<Property name=\"Message\"")),
              "0/0\n<Object category=\"Output\">\n<Object category=\"status\" key=\"S1\" name=\"Endurance "
              "Analyzer\">\n<Property name=\"Category\" value=\"10\"/>\n<Property name=\"Code\" value=\"54\"/>\n");
}

TEST_F(EnduranceAnalyzerJobTest, ALinkInThePlaceOfTheBaselineIsNotFollowed) {
    std::filesystem::create_directory(folder_ / "lib");
    writeWholeFile(folder_ / "other", "precious");
    std::filesystem::create_symlink(folder_ / "other", baseline_);
    FakeDrive drive;
    drive.expect(lookAtLog(0x02, 512).answers(smartLog()));
    const std::string answer = JobRun(job_, JOBTYPE_METHOD).on({&drive});
    EXPECT_EQ(answer.substr(0, answer.find("<Property name=\"Message\"")),
              "0/0\n<Object category=\"Output\">\n<Object category=\"status\" key=\"S1\" name=\"Endurance "
              "Analyzer\">\n<Property name=\"Category\" value=\"10\"/>\n<Property name=\"Code\" value=\"168\"/>\n");
    EXPECT_EQ(readWholeFile(folder_ / "other"), "precious");
}

TEST_F(EnduranceAnalyzerJobTest, AFolderThatCannotBeMadeIsReported) {
    writeWholeFile(folder_ / "lib", "a file");
    FakeDrive drive;
    drive.expect(lookAtLog(0x02, 512).answers(smartLog()));
    EXPECT_EQ(
        JobRun(job_, JOBTYPE_METHOD).on({&drive}),
        answerOf("194", "Failed to create directory. Unable to open " + (folder_ / "lib: Not a directory"), "10"));
}

TEST_F(EnduranceAnalyzerJobTest, WithoutASerialNumberNothingIsKept) {
    FakeDrive drive("", "/dev/nvme0");
    drive.expect(lookAtLog(0x02, 512).answers(smartLog()));
    EXPECT_EQ(JobRun(job_, JOBTYPE_METHOD).on({&drive}), R"(0/0
<Object category="Output">
<Object category="status" key="nvme0" name="Endurance Analyzer">
<Property name="Category" value="10"/>
<Property name="Code" value="34"/>
<Property name="Message" value="The drive has no serial number to keep its workload indicators under."/>
</Object>
</Object>)");
    EXPECT_FALSE(std::filesystem::exists(folder_ / "lib"));
    FakeDrive shown("", "/dev/nvme0");
    now += 7200;
    EXPECT_NE(JobRun(job_, JOBTYPE_GET_PROPERTIES)
                  .on({&shown})
                  .find("The drive has no serial number to keep its workload indicators under."),
              std::string::npos);
}

constexpr struct {
    const char* serialNumber;
    const char* name;
} FILE_NAMES[] = {
    {"S1", "S1.endurance"},
    {"PHLN-0123abc", "PHLN-0123abc.endurance"},
    {"A B", "A%20B.endurance"},
    {"A%20B", "A%2520B.endurance"},
    {"../../etc/passwd", "%2E%2E%2F%2E%2E%2Fetc%2Fpasswd.endurance"},
    {".", "%2E.endurance"},
    {"\xE9\x7F", "%E9%7F.endurance"},
};

TEST(EnduranceBaselines, NoSerialNumberLeadsOutOfTheFolder) {
    for (const auto& c : FILE_NAMES) EXPECT_EQ(EnduranceBaselines::fileName(c.serialNumber), c.name);
}

}  // namespace
}  // namespace features::jobs
