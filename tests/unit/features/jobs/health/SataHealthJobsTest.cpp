#include <gtest/gtest.h>

#include "features/jobs/health/EnduranceAnalyzerJob.h"
#include "features/jobs/health/HealthMetricsJob.h"
#include "features/jobs/health/PerformanceJob.h"
#include "features/jobs/health/SmartJob.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"
#include "tests/support/Golden.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/unit/features/jobs/JobRun.h"
#include "tests/unit/features/jobs/SataCommands.h"
#include "tests/unit/features/jobs/StatusAnswer.h"
#include "tests/unit/features/jobs/Unplugged.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::core;
using namespace ostrel::interfaces::ostreli;

constexpr const char* GOLDENS = JOBS_TEST_DATA "/goldens/";

std::string number(const std::string& name, const std::string& displayName, const std::string& type,
                   const std::string& value, const std::string& unit = "") {
    const std::string description = unit.empty() ? "" : " description=\"" + unit + "\"";
    return "<Property category=\"attribute\"" + description + " displayName=\"" + displayName + "\" name=\"" + name +
           "\" size=\"8\" type=\"" + type + "\" value=\"" + value + "\"/>\n";
}
std::string attributes(const std::string& title, const std::string& properties) {
    return output("<Object category=\"attributeList\" key=\"" + title + " S1\">\n" + properties + "</Object>\n");
}

FakeSataDrive& answeringSmart(FakeSataDrive& drive) {
    drive.expect(identifyAta().answers(identifyDevice()))
        .expect(smartPage(0xD0).answers(smartData(10)))
        .expect(smartPage(0xD1).answers(smartThresholds()));
    return drive;
}

TEST(SmartJobAta, ShowsEachAttributeUnderItsNumber) {
    FakeSataDrive drive;
    SmartJob job;
    expectGolden(std::string(GOLDENS) + "sata_smart.xml",
                 JobRun(job, JOBTYPE_GET_PROPERTIES).on({&answeringSmart(drive)}));
}

TEST(SmartJobAta, ShowsOneAttributeByItsNumber) {
    for (const char* id : {"C2", "0xc2", "0xC2"}) {
        FakeSataDrive drive;
        SmartJob job;
        EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).with("ID", id).asking("Raw").on({&answeringSmart(drive)}),
                  attributes("SMART Attribute 0xC2",
                             "<Property category=\"attribute\" displayName=\"Raw\" name=\"Raw\" size=\"5\" "
                             "type=\"string\" value=\"36 C\"/>\n"))
            << id;
    }
}

TEST(SmartJobAta, ShowsTheAttributeOfANameAsOnAnNvmeDrive) {
    FakeSataDrive drive;
    SmartJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).with("ID", "temperature").asking("Raw").on({&answeringSmart(drive)}),
              attributes("SMART Attribute 0xC2",
                         "<Property category=\"attribute\" displayName=\"Raw\" name=\"Raw\" size=\"5\" "
                         "type=\"string\" value=\"36 C\"/>\n"));
}

TEST(SmartJobAta, ReportsAnAttributeThatTheDriveDoesNotHave) {
    for (const std::string id : {"C3", "1C2", "PercentageUsed"}) {
        FakeSataDrive drive;
        SmartJob job;
        EXPECT_EQ(
            JobRun(job, JOBTYPE_GET_PROPERTIES).with("ID", id).on({&answeringSmart(drive)}),
            statusAnswer("SMART Attributes", "10", "36", "Drive S1 (/dev/sda) has no SMART attribute '" + id + "'."));
    }
}

constexpr const char* UNPLUGGED = "0/70 The drive /dev/nvme0 is gone.";

/// What is read of the statistics of a drive that has these pages.
Script statistics(std::initializer_list<uint8_t> pages) {
    Script script{logExt(0x00).answers(logDirectory({0x04})), logExt(0x04).answers(pageList(pages))};
    for (const uint8_t page : pages) script.push_back(logExt(0x04, page).answers(statisticsPage(page)));
    return script;
}
Script after(Script first, const Script& then) {
    first.insert(first.end(), then.begin(), then.end());
    return first;
}

template <typename Job>
std::string shown(const FakeSataDrive& drive) {
    Job job;
    return JobRun(job, JOBTYPE_GET_PROPERTIES).on({&drive});
}

TEST(SataHealthJobs, ShowNothingOfAnUnpluggedDrive) {
    const Expected identified = identifyAta().answers(identifyDevice());
    expectUnplugged<FakeSataDrive>({identified, smartPage(0xD0).answers(smartData()), smartPage(0xD1)},
                                   statusAnswer("SMART Attributes", UNPLUGGED), shown<SmartJob>);
    expectUnplugged<FakeSataDrive>(after({identified, smartStatus(SMART_GOOD)}, statistics({5})),
                                   statusAnswer("Health Sensors", UNPLUGGED), shown<HealthMetricsJob>);
    expectUnplugged<FakeSataDrive>(after({identified}, statistics({1})), statusAnswer("Performance Metrics", UNPLUGGED),
                                   shown<PerformanceJob>);
}

TEST(SmartJobAta, OfAPropertyThatIsAskedForTheDataAreNotShown) {
    FakeSataDrive drive;
    SmartJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).asking("Normalized").on({&answeringSmart(drive)}),
              output("<Object category=\"attributeList\" key=\"SMART Attribute 0x05 S1\">\n<Property "
                     "category=\"attribute\" displayName=\"Normalized\" name=\"Normalized\" size=\"3\" "
                     "type=\"string\" value=\"10\"/>\n</Object>\n"
                     "<Object category=\"attributeList\" key=\"SMART Attribute 0xC2 S1\">\n<Property "
                     "category=\"attribute\" displayName=\"Normalized\" name=\"Normalized\" size=\"3\" "
                     "type=\"string\" value=\"64\"/>\n</Object>\n"));
}

TEST(SmartJobAta, IsRefusedWhereSmartIsDisabled) {
    FakeSataDrive drive;
    drive.expect(identifyAta().answers(identifyDevice().word(85, 0x0020)));
    SmartJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).on({&drive}),
              statusAnswer("SMART Attributes", "10", "60", "SMART is not enabled. (drive S1 (/dev/sda))"));
}

TEST(HealthMetricsJobAta, TakesStatisticsWhereTheyAre) {
    FakeSataDrive drive;
    drive.expect(identifyAta().answers(identifyDevice()))
        .expect(smartStatus(SMART_GOOD))
        .expect(logExt(0x00).answers(logDirectory({0x04})))
        .expect(logExt(0x04).answers(pageList({0x00, 0x01, 0x04, 0x05, 0x06, 0x07})))
        .expect(logExt(0x04, 0x05)
                    .answers(statisticsPage(5)
                                 .le64(0x08, STATISTIC | 38)
                                 .le64(0x20, STATISTIC | 61)
                                 .le64(0x28, STATISTIC | 0xFB)
                                 .le64(0x58, STATISTIC | 70)
                                 .le64(0x68, STATISTIC)))
        .expect(logExt(0x04, 0x06).answers(statisticsPage(6).le64(0x18, STATISTIC | 3)))
        .expect(logExt(0x04, 0x04).answers(statisticsPage(4).le64(0x08, STATISTIC | 2)))
        .expect(logExt(0x04, 0x01).answers(statisticsPage(1).le64(0x08, STATISTIC | 12).le64(0x10, STATISTIC | 345)))
        .expect(logExt(0x04, 0x07).answers(statisticsPage(7).le64(0x08, STATISTIC | 4)));
    HealthMetricsJob job;
    expectGolden(std::string(GOLDENS) + "sata_sensors.xml", JobRun(job, JOBTYPE_GET_PROPERTIES).on({&drive}));
}

TEST(HealthMetricsJobAta, TakesAttributesWhereThereAreNoStatistics) {
    FakeSataDrive drive;
    drive.expect(identifyAta().answers(identifyDevice().word(84, 0x4102)))
        .expect(smartStatus(SMART_GOOD))
        .expect(smartPage(0xD0).answers(smartData()
                                            .put(26, {0x09, 0x32, 0, 99, 99, 0xE8, 0x03, 0, 0, 0x07, 0x07})
                                            .put(38, {0xC7, 0x32, 0, 100, 100, 5})));
    HealthMetricsJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).on({&drive}),
              attributes("Health Sensors",
                         number("CrcErrorCount", "CRC Error Count", "sint64", "5") +
                             "<Property category=\"attribute\" displayName=\"Device Status\" name=\"DeviceStatus\" "
                             "size=\"8\" type=\"string\" value=\"Healthy\"/>\n" +
                             number("PowerOnHours", "Power On Hours", "sint64", "1000", "hours") +
                             number("Temperature", "Temperature", "sint64", "36", "C")));
}

TEST(HealthMetricsJobAta, TakesTheTemperatureOfSctBeforeThatOfAnAttribute) {
    FakeSataDrive drive;
    drive.expect(identifyAta().answers(identifyDevice().word(84, 0x4102).word(206, 0x0001)))
        .expect(smartStatus(SMART_GOOD))
        .expect(smartLogPage(0xE0).answers(DriveBytes(512).byte(200, 0xF6)))
        .expect(smartPage(0xD0).answers(smartData()));
    HealthMetricsJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).asking("Temperature").on({&drive}),
              attributes("Health Sensors", number("Temperature", "Temperature", "sint64", "-10", "C")));
}

TEST(HealthMetricsJobAta, WithoutASampleOfSctTheAttributesAreAsked) {
    const struct {
        DriveBytes data;
        std::string temperature;
        const char* why;
    } CASES[] = {
        {smartData(), number("Temperature", "Temperature", "sint64", "36", "C"), "194"},
        {DriveBytes(512).put(2, {190, 0x22, 0, 64, 50, 41}), number("Temperature", "Temperature", "sint64", "41", "C"),
         "190"},
        {DriveBytes(512).put(2, {194, 0x22, 0, 64, 50, 0xFF, 0xFF, 0xFF, 0xFF}).put(14, {190, 0x22, 0, 64, 50, 41}),
         number("Temperature", "Temperature", "sint64", "41", "C"), "194 has no temperature"},
        {DriveBytes(512).put(2, {9, 0x22, 0, 64, 50, 36}),
         "<Property category=\"attribute\" displayName=\"\" name=\"Temperature\" size=\"19\" type=\"string\" "
         "value=\"Property not found\"/>\n",
         "neither"},
    };
    for (const auto& c : CASES) {
        FakeSataDrive drive;
        drive.expect(identifyAta().answers(identifyDevice().word(84, 0x4102).word(206, 0x0001)))
            .expect(smartStatus(SMART_GOOD))
            .expect(smartLogPage(0xE0).answers(DriveBytes(512).byte(200, 0x80)))
            .expect(smartPage(0xD0).answers(c.data));
        HealthMetricsJob job;
        EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).asking("Temperature").on({&drive}),
                  attributes("Health Sensors", c.temperature))
            << c.why;
    }
}

TEST(PerformanceJobAta, CountsSectorsAndBytes) {
    FakeSataDrive drive;
    drive.expect(identifyAta().answers(identifyDevice().word(106, 0x5000).le32(234, 2048)))
        .expect(logExt(0x00).answers(logDirectory({0x04})))
        .expect(logExt(0x04).answers(pageList({0x00, 0x01})))
        .expect(logExt(0x04, 0x01)
                    .answers(statisticsPage(1)
                                 .le64(0x18, STATISTIC | 1000)
                                 .le64(0x20, STATISTIC | 20)
                                 .le64(0x28, STATISTIC | 3000)
                                 .le64(0x30, STATISTIC | 40)));
    PerformanceJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).on({&drive}),
              attributes("Performance Metrics",
                         number("BytesRead", "Bytes Read", "uint64", "12288000", "bytes") +
                             number("BytesWritten", "Bytes Written", "uint64", "4096000", "bytes") +
                             number("HostReadCommands", "Host Read Commands", "uint64", "40") +
                             number("HostWriteCommands", "Host Write Commands", "uint64", "20") +
                             number("TotalLBAsRead", "Total LBAs Read", "uint64", "3000", "sectors") +
                             number("TotalLBAsWritten", "Total LBAs Written", "uint64", "1000", "sectors")));
}

TEST(PerformanceJobAta, NamesTheUnitOfAttributesUnknown) {
    FakeSataDrive drive;
    drive.expect(identifyAta().answers(identifyDevice().word(84, 0x4102)))
        .expect(smartPage(0xD0).answers(smartData().put(26, {0xF1, 0x32, 0, 100, 100, 0x10, 0x27})));
    PerformanceJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).on({&drive}),
              attributes("Performance Metrics",
                         number("UnitsWritten", "Units Written", "uint64", "10000", "units of the drive")));
    FakeSataDrive without;
    without.expect(identifyAta().answers(identifyDevice().word(84, 0x4102)))
        .expect(smartPage(0xD0).answers(smartData()));
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).on({&without}),
              statusAnswer("Performance Metrics", "10", "3",
                           "The selected drive does not support this feature. Drive S1 (/dev/sda) does not count what "
                           "it reads and writes."));
}

int64_t now = 0;

FakeSataDrive& wornBy(FakeSataDrive& drive, uint8_t used, uint64_t sectors) {
    drive.expect(identifyAta().answers(identifyDevice()))
        .expect(logExt(0x00).answers(logDirectory({0x04})))
        .expect(logExt(0x04).answers(pageList({0x00, 0x01, 0x07})))
        .expect(logExt(0x04, 0x07).answers(statisticsPage(7).le64(0x08, STATISTIC | used)))
        .expect(logExt(0x04, 0x01).answers(statisticsPage(1).le64(0x18, STATISTIC | sectors)));
    return drive;
}

/// With one attribute, 233, whose normalized value falls from 100.
FakeSataDrive& withLifeLeft(FakeSataDrive& drive, uint8_t left) {
    drive.expect(identifyAta().answers(identifyDevice().word(84, 0x4102)))
        .expect(smartPage(0xD0).answers(DriveBytes(512).put(2, {233, 0x32, 0, left, left})));
    return drive;
}

class EnduranceAnalyzerJobAta : public testing::Test {
protected:
    EnduranceAnalyzerJobAta() { now = 1700000000; }

    TemporaryFolder folder_;
    EnduranceAnalyzerJob job_{folder_ / "lib", [] { return now; }};
};

TEST_F(EnduranceAnalyzerJobAta, JudgesByThePercentageUsed) {
    FakeSataDrive before;
    JobRun(job_, JOBTYPE_METHOD).on({&wornBy(before, 3, 1000)});
    now += 3600 * 1000;
    FakeSataDrive after;
    const std::string answer = JobRun(job_, JOBTYPE_GET_PROPERTIES).on({&wornBy(after, 5, 1001000)});
    // 3,600,000 seconds for 2 per cent: 95 are left for 171,000,000 seconds, 5.41 years.
    EXPECT_NE(answer.find("name=\"EnduranceAnalyzer\" size=\"5\" type=\"string\" value=\"5.41\""), std::string::npos)
        << answer;
    // 1,000 sectors are one unit, 1,001,000 are 1,001.
    EXPECT_NE(answer.find("name=\"DataUnitsWrittenSinceReset\" size=\"5\" type=\"string\" value=\"1000\""),
              std::string::npos)
        << answer;
}

TEST_F(EnduranceAnalyzerJobAta, JudgesByTheLifeThatAnAttributeReports) {
    FakeSataDrive before;
    JobRun(job_, JOBTYPE_METHOD).on({&withLifeLeft(before, 99)});
    now += 3600;
    FakeSataDrive after;
    const std::string answer = JobRun(job_, JOBTYPE_GET_PROPERTIES).on({&withLifeLeft(after, 98)});
    EXPECT_NE(answer.find("name=\"PercentageUsed\" size=\"1\" type=\"uint8\" value=\"2\""), std::string::npos)
        << answer;
    EXPECT_EQ(answer.find("DataUnitsWritten"), std::string::npos) << "the drive does not count it: " << answer;
}

TEST_F(EnduranceAnalyzerJobAta, DataThatWereWrittenBeforeACountAreNotReported) {
    FakeSataDrive before;
    JobRun(job_, JOBTYPE_METHOD).on({&withLifeLeft(before, 99)});
    now += 3600;
    FakeSataDrive after;
    const std::string answer = JobRun(job_, JOBTYPE_GET_PROPERTIES).on({&wornBy(after, 5, 1001000)});
    EXPECT_NE(answer.find("name=\"DataUnitsWrittenSinceReset\" size=\"13\" type=\"string\" value=\"not reported\""),
              std::string::npos)
        << answer;
}

TEST_F(EnduranceAnalyzerJobAta, RefusesADriveThatDoesNotReportItsWear) {
    FakeSataDrive drive;
    drive.expect(identifyAta().answers(identifyDevice().word(84, 0x4102))).expect(smartPage(0xD0).answers(smartData()));
    EXPECT_EQ(JobRun(job_, JOBTYPE_METHOD).on({&drive}),
              statusAnswer("Endurance Analyzer", "10", "3",
                           "The selected drive does not support this feature. Drive S1 (/dev/sda) does not report how "
                           "worn it is."));
}

TEST_F(EnduranceAnalyzerJobAta, ALifeThatIsOutOfItsRangeIsNoneThatIsLeft) {
    const struct {
        uint8_t left233, left177;
        std::string used;  // in the file of the baseline; empty: the drive does not report it
    } CASES[] = {{1, 50, "99"}, {100, 50, "0"}, {0, 50, "50"}, {101, 50, "50"}, {253, 1, "99"}, {0, 0, ""}};
    for (const auto& c : CASES) {
        FakeSataDrive drive;
        drive.expect(identifyAta().answers(identifyDevice().word(84, 0x4102)))
            .expect(smartPage(0xD0).answers(
                DriveBytes(512).put(2, {233, 0x32, 0, c.left233}).put(14, {177, 0x32, 0, c.left177})));
        const std::string answer = JobRun(job_, JOBTYPE_METHOD).on({&drive});
        if (c.used.empty()) {
            EXPECT_NE(answer.find("does not report how worn it is."), std::string::npos) << answer;
            continue;
        }
        EXPECT_EQ(readWholeFile(folder_ / "lib/S1.endurance"),
                  "TimeSeconds 1700000000\nPercentageUsed " + c.used + "\nDataUnitsWritten not reported\n");
    }
}

TEST_F(EnduranceAnalyzerJobAta, AnUnpluggedDriveKeepsItsBaseline) {
    FakeSataDrive before;
    JobRun(job_, JOBTYPE_METHOD).on({&wornBy(before, 3, 1000)});
    now += 3600;
    Script script = after({identifyAta().answers(identifyDevice())}, statistics({7, 1}));
    script[3].answers(statisticsPage(7).le64(0x08, STATISTIC | 4));
    for (const std::string type : {JOBTYPE_METHOD, JOBTYPE_GET_PROPERTIES}) {
        expectUnplugged<FakeSataDrive>(script, statusAnswer("Endurance Analyzer", UNPLUGGED),
                                       [&](const FakeSataDrive& drive) { return JobRun(job_, type).on({&drive}); });
    }
    EXPECT_EQ(readWholeFile(folder_ / "lib/S1.endurance"),
              "TimeSeconds 1700000000\nPercentageUsed 3\nDataUnitsWritten 1\n");
}

}  // namespace
}  // namespace features::jobs
