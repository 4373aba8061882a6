#include <gtest/gtest.h>

#include <cstring>

#include "features/jobs/health/DriveSelfTestJob.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"
#include "tests/support/Golden.h"
#include "tests/unit/features/jobs/JobRun.h"
#include "tests/unit/features/jobs/SataCommands.h"
#include "tests/unit/features/jobs/StatusAnswer.h"
#include "tests/unit/features/jobs/Unplugged.h"
#include "tests/unit/features/jobs/UsedNamespaces.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::core;
using namespace ostrel::interfaces::ostreli;

constexpr const char* GOLDENS = JOBS_TEST_DATA "/goldens/";
constexpr const char* TITLE = "Drive Self-Test";

/// A short test of 2 minutes, an extended one of 30, a conveyance test of 3, and the state of the newest.
DriveBytes smartWith(uint8_t selfTestStatus) {
    return smartData().byte(363, selfTestStatus);
}

/// Log 06h with this one test: LBA 7:0, status, power-on hours 1000.
DriveBytes logOf(uint8_t test, uint8_t status) {
    return DriveBytes(512).le16(0, 1).byte(508, 1).put(2, {test, status, 0xE8, 0x03});
}
DriveBytes emptyLog() {
    return DriveBytes(512).le16(0, 1);
}

Expected execute(uint8_t test) {
    return Expected::ata(0xB0, ata::Protocol::NON_DATA, ata::Addressing::BITS_28).feature(0xD4).lba(0xC24F00U | test);
}
Expected executeCaptive(uint8_t test, uint32_t timeoutMs, uint16_t signature) {
    ata::Registers registers;
    registers.status = signature == SMART_GOOD ? 0x50 : 0x51;
    registers.error = signature == SMART_GOOD ? 0x00 : 0x04;
    registers.lba = uint64_t{signature} << 8;
    return execute(test).wantsRegisters().timeoutMs(timeoutMs).returns(registers);
}

/// Without general purpose logs, so that the results are in log 06h.
FakeSataDrive& identified(FakeSataDrive& drive, uint8_t selfTestStatus = 0x00) {
    drive.expect(identifyAta().answers(identifyDevice().word(84, 0x4102)))
        .expect(smartPage(0xD0).answers(smartWith(selfTestStatus)));
    return drive;
}

std::string start(const std::string& type, const std::string& mode, FakeSataDrive& drive) {
    DriveSelfTestJob job;
    return JobRun(job, JOBTYPE_METHOD).with("TestType", type).with("Mode", mode).on({&drive});
}

TEST(DriveSelfTestJobAta, ShowsTimesAndResults) {
    FakeSataDrive drive;
    identified(drive).expect(smartLogPage(0x06).answers(logOf(0x02, 0x70).put(7, {0x78, 0x56, 0x34, 0x12})));
    DriveSelfTestJob job;
    expectGolden(std::string(GOLDENS) + "sata_self_test.xml", JobRun(job, JOBTYPE_GET_PROPERTIES).on({&drive}));
}

TEST(DriveSelfTestJobAta, ShowsTheProgressOfATestThatRuns) {
    FakeSataDrive drive;
    identified(drive, 0xF3).expect(smartLogPage(0x06).answers(emptyLog()));
    DriveSelfTestJob job;
    const std::string answer = JobRun(job, JOBTYPE_GET_PROPERTIES).on({&drive});
    EXPECT_NE(answer.find("name=\"SelfTestProgress\" size=\"1\" type=\"uint8\" value=\"70\""), std::string::npos)
        << answer;
    EXPECT_NE(answer.find("value=\"Self-test in progress\""), std::string::npos) << answer;
    EXPECT_EQ(answer.find("SelfTestStatusCode"), std::string::npos) << answer;
}

TEST(DriveSelfTestJobAta, TakesTheLogOf48BitsWhereItIs) {
    FakeSataDrive drive;
    drive.expect(identifyAta().answers(identifyDevice()))
        .expect(smartPage(0xD0).answers(smartWith(0x00)))
        .expect(logExt(0x00).answers(logDirectory({0x07})))
        .expect(logExt(0x07).answers(DriveBytes(512).byte(0, 1).le16(2, 1).put(4, {0x01, 0x00, 0x64, 0x00})));
    DriveSelfTestJob job;
    const std::string answer = JobRun(job, JOBTYPE_GET_PROPERTIES).on({&drive});
    EXPECT_NE(answer.find("value=\"Short self-test: Completed without error, or never run\""), std::string::npos)
        << answer;
}

TEST(DriveSelfTestJobAta, StartsATestAndReturns) {
    constexpr struct {
        const char* type;
        uint8_t code;
    } TESTS[] = {{"short", 1}, {"extended", 2}, {"conveyance", 3}};
    for (const auto& test : TESTS) {
        FakeSataDrive drive;
        identified(drive).expect(execute(test.code));
        EXPECT_EQ(start(test.type, "offline", drive),
                  statusAnswer(TITLE, "0", "0", "The " + std::string(test.type) + " self-test was started."));
    }
}

TEST(DriveSelfTestJobAta, RefusesWhatTheDriveCannotTest) {
    FakeSataDrive without;
    without.expect(identifyAta().answers(identifyDevice().word(84, 0x4100)))
        .expect(smartPage(0xD0).answers(smartData()));
    EXPECT_EQ(
        start("short", "", without),
        statusAnswer(TITLE, "10", "44", "The selected device does not support SMART Self-Test. Drive S1 (/dev/sda)."));
    FakeSataDrive notConveyance;
    notConveyance.expect(identifyAta().answers(identifyDevice().word(84, 0x4102)))
        .expect(smartPage(0xD0).answers(smartData().byte(367, 0x5B)));
    EXPECT_EQ(start("conveyance", "", notConveyance),
              statusAnswer(TITLE, "10", "46",
                           "Invalid parameter(s) for drive self test feature. Drive S1 (/dev/sda) does not support the "
                           "conveyance test."));
    FakeSataDrive running;
    identified(running, 0xF9);
    EXPECT_EQ(start("short", "", running),
              statusAnswer(TITLE, "10", "209", "Drive Self-Test Already In Progress. Drive S1 (/dev/sda)."));
    FakeSataDrive any;
    EXPECT_EQ(start("selective", "", any),
              "10/46 Invalid parameter(s) for drive self test feature. A SATA drive has the tests 'short', 'extended' "
              "and 'conveyance', but not 'selective'.");
}

TEST(DriveSelfTestJobAta, WaitsForACaptiveTestAndGivesItsResult) {
    FakeSataDrive drive;
    identified(drive)
        .expect(hostUses({unusedNamespace(1)}))
        .expect(smartLogPage(0x06).answers(emptyLog()))
        .expect(executeCaptive(0x82, 60 * 60000, SMART_GOOD))
        .expect(smartLogPage(0x06).answers(logOf(0x82, 0x00)));
    const std::string answer = start("extended", "captive", drive);
    EXPECT_NE(answer.find("<Property name=\"Test\" value=\"Extended, captive\"/>\n"), std::string::npos) << answer;
    EXPECT_EQ(answer.find("category=\"status\""), std::string::npos) << answer;
}

/// Twice 35792 minutes are more milliseconds than a command's time-out has: by their rest the test would be cut off.
TEST(DriveSelfTestJobAta, ALongCaptiveTestHasTheLongestTime) {
    FakeSataDrive drive;
    drive.expect(identifyAta().answers(identifyDevice().word(84, 0x4102)))
        .expect(smartPage(0xD0).answers(smartWith(0x00).byte(373, 0xFF).le16(375, 35792)))
        .expect(hostUses({unusedNamespace(1)}))
        .expect(smartLogPage(0x06).answers(emptyLog()))
        .expect(executeCaptive(0x82, 4294920000, SMART_GOOD))
        .expect(smartLogPage(0x06).answers(logOf(0x82, 0x00)));
    (void)start("extended", "captive", drive);
}

TEST(DriveSelfTestJobAta, ACaptiveTestThatFailsIsAFailure) {
    FakeSataDrive drive;
    identified(drive)
        .expect(hostUses({unusedNamespace(1)}))
        .expect(smartLogPage(0x06).answers(emptyLog()))
        .expect(executeCaptive(0x81, 4 * 60000, SMART_EXCEEDED))
        .expect(smartLogPage(0x06).answers(logOf(0x81, 0x40)));
    const std::string answer = start("short", "captive", drive);
    EXPECT_NE(answer.find(statusObject(TITLE, "10", "215",
                                       "Drive Self-Test failed. Drive S1 (/dev/sda), Failed, unknown element.")),
              std::string::npos)
        << answer;
}

TEST(DriveSelfTestJobAta, TheLogDecidesWhereTheRegistersOfACaptiveTestAreLost) {
    for (const bool passed : {true, false}) {
        FakeSataDrive drive;
        identified(drive)
            .expect(hostUses({unusedNamespace(1)}))
            .expect(smartLogPage(0x06).answers(emptyLog()))
            .expect(execute(0x81).wantsRegisters().lacksRegisters(ata::RegistersMissing::NO_DESCRIPTOR))
            .expect(smartLogPage(0x06).answers(passed ? logOf(0x81, 0x00) : emptyLog()));
        EXPECT_EQ(start("short", "captive", drive).find("\"Code\" value=\"215\"") == std::string::npos, passed);
    }
}

TEST(DriveSelfTestJobAta, ADriveWithoutCaptiveTestsAnswersForItself) {
    FakeSataDrive drive;
    identified(drive)
        .expect(hostUses({unusedNamespace(1)}))
        .expect(smartLogPage(0x06).answers(logOf(0x81, 0x00)))
        .expect(execute(0x81).wantsRegisters().aborts())
        .expect(smartLogPage(0x06).answers(logOf(0x81, 0x00)));
    EXPECT_EQ(start("short", "captive", drive),
              statusAnswer(TITLE, "0", "10",
                           "SMART EXECUTE OFF-LINE IMMEDIATE failed on drive S1 (/dev/sda): command aborted (command "
                           "0xB0, FEATURE 0xD4, ERROR 0x04, STATUS 0x51)."));
}

TEST(DriveSelfTestJobAta, ACaptiveTestIsRefusedOnADriveThatIsUsed) {
    FakeSataDrive drive;
    identified(drive).expect(hostUses({mounted(1)}));
    EXPECT_EQ(start("short", "captive", drive), statusAnswer(TITLE, mountedRefusal(1)));
}

TEST(DriveSelfTestJobAta, AnUnpluggedDriveIsNotOneWithoutTests) {
    const Script begin{identifyAta().answers(identifyDevice().word(84, 0x4102)),
                       smartPage(0xD0).answers(smartWith(0x00))};
    Script shows = begin, starts = begin, waits = begin;
    shows.push_back(smartLogPage(0x06));
    starts.push_back(execute(1));
    waits.push_back(hostUses({unusedNamespace(1)}));
    waits.push_back(smartLogPage(0x06).answers(emptyLog()));
    waits.push_back(executeCaptive(0x81, 4 * 60000, SMART_GOOD));
    waits.push_back(smartLogPage(0x06));
    const std::string unplugged = statusAnswer(TITLE, "0/70 The drive /dev/nvme0 is gone.");
    expectUnplugged<FakeSataDrive>(shows, unplugged, [](FakeSataDrive& drive) {
        DriveSelfTestJob job;
        return JobRun(job, JOBTYPE_GET_PROPERTIES).on({&drive});
    });
    expectUnplugged<FakeSataDrive>(starts, unplugged,
                                   [](FakeSataDrive& drive) { return start("short", "offline", drive); });
    expectUnplugged<FakeSataDrive>(waits, unplugged,
                                   [](FakeSataDrive& drive) { return start("short", "captive", drive); });
}

TEST(DriveSelfTestJobAta, SmartDataWithoutSelfTestsHasNone) {
    FakeSataDrive drive;
    drive.expect(identifyAta().answers(identifyDevice().word(84, 0x4102)))
        .expect(smartPage(0xD0).answers(smartData().byte(367, 0x6B)));
    EXPECT_EQ(
        start("short", "", drive),
        statusAnswer(TITLE, "10", "44", "The selected device does not support SMART Self-Test. Drive S1 (/dev/sda)."));
}

TEST(DriveSelfTestJobAta, WithoutALogTheStateOfTheNewestTestCounts) {
    const struct {
        uint8_t state;
        const char* text;
    } CASES[] = {{0x00, "no self-test has been run"}, {0x70, "Failed, read element"}};
    for (const auto& c : CASES) {
        FakeSataDrive drive;
        identified(drive, c.state).expect(smartLogPage(0x06).answers(emptyLog()));
        DriveSelfTestJob job;
        const std::string answer = JobRun(job, JOBTYPE_GET_PROPERTIES).on({&drive});
        EXPECT_NE(answer.find(std::string("name=\"SelfTestStatus\" size=\"") + std::to_string(std::strlen(c.text) + 1) +
                              "\" type=\"string\" value=\"" + c.text + "\""),
                  std::string::npos)
            << answer;
        EXPECT_EQ(answer.find("SelfTestStatusCode"), std::string::npos) << answer;
    }
}

TEST(DriveSelfTestJobAta, OfAPropertyThatIsAskedForNoResultsAreShown) {
    FakeSataDrive drive;
    drive.expect(identifyAta().answers(identifyDevice().word(84, 0x4102)))
        .expect(smartPage(0xD0).answers(smartWith(0x00).byte(367, 0x5B)))
        .expect(smartLogPage(0x06).answers(logOf(0x02, 0x70)));
    DriveSelfTestJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).asking("SelfTestStatusCode").on({&drive}),
              output("<Object category=\"attributeList\" key=\"Drive Self-Test S1\">\n<Property category=\"attribute\" "
                     "displayName=\"Self Test Status Code\" name=\"SelfTestStatusCode\" size=\"1\" type=\"uint8\" "
                     "value=\"7\"/>\n</Object>\n"));
}

/// Twice the time that the drive says; an hour counts where it says none.
TEST(DriveSelfTestJobAta, ACaptiveTestHasTheTimeOfItsKind) {
    const struct {
        const char* type;
        uint8_t code;
        uint8_t shortMinutes;
        uint32_t minutes;
    } CASES[] = {{"short", 0x81, 2, 4}, {"short", 0x81, 0, 120}, {"conveyance", 0x83, 2, 6}, {"extended", 0x82, 2, 60}};
    for (const auto& c : CASES) {
        FakeSataDrive drive;
        drive.expect(identifyAta().answers(identifyDevice().word(84, 0x4102)))
            .expect(smartPage(0xD0).answers(smartWith(0x00).byte(372, c.shortMinutes)))
            .expect(hostUses({unusedNamespace(1)}))
            .expect(smartLogPage(0x06).answers(emptyLog()))
            .expect(executeCaptive(c.code, c.minutes * 60000, SMART_GOOD))
            .expect(smartLogPage(0x06).answers(logOf(c.code, 0x00)));
        EXPECT_EQ(start(c.type, "captive", drive).find("category=\"status\""), std::string::npos);
    }
}

/// The command of a test that failed may itself fail: by a new entry of the log it was run.
TEST(DriveSelfTestJobAta, ANewResultShowsThatACaptiveTestWasRun) {
    const struct {
        DriveBytes before;
        DriveBytes after;
        bool wasRun;
        const char* why;
    } CASES[] = {
        {emptyLog(), emptyLog(), false, "no result"},
        {logOf(0x81, 0x70), logOf(0x81, 0x70), false, "the old one"},
        {emptyLog(), logOf(0x81, 0x70), true, "the first"},
        {logOf(0x01, 0x70), logOf(0x81, 0x70), true, "of another test"},
        {logOf(0x81, 0x00), logOf(0x81, 0x70), true, "another status"},
        {logOf(0x81, 0x70), logOf(0x81, 0x70).byte(4, 0xE9), true, "an hour later"},
    };
    for (const auto& c : CASES) {
        FakeSataDrive drive;
        identified(drive)
            .expect(hostUses({unusedNamespace(1)}))
            .expect(smartLogPage(0x06).answers(c.before))
            .expect(execute(0x81).wantsRegisters().aborts())
            .expect(smartLogPage(0x06).answers(c.after));
        const std::string answer = start("short", "captive", drive);
        const std::string failure = c.wasRun ? statusObject(TITLE, "10", "215",
                                                            "Drive Self-Test failed. Drive S1 (/dev/sda), Failed, read "
                                                            "element.")
                                             : statusObject(TITLE, "0", "10",
                                                            "SMART EXECUTE OFF-LINE IMMEDIATE failed on drive S1 "
                                                            "(/dev/sda): command aborted (command 0xB0, FEATURE 0xD4, "
                                                            "ERROR 0x04, STATUS 0x51).");
        EXPECT_NE(answer.find(failure), std::string::npos) << c.why << answer;
    }
}

TEST(DriveSelfTestJobAta, ACaptiveTestWithoutAResultHasNotPassed) {
    ata::Registers registers;
    registers.status = 0x50;
    registers.lba = uint64_t{SMART_EXCEEDED} << 8;
    FakeSataDrive drive;
    identified(drive)
        .expect(hostUses({unusedNamespace(1)}))
        .expect(smartLogPage(0x06).answers(emptyLog()))
        .expect(execute(0x81).wantsRegisters().returns(registers))
        .expect(smartLogPage(0x06).answers(logOf(0x01, 0x00)));
    EXPECT_EQ(
        start("short", "captive", drive),
        statusAnswer(TITLE, "10", "215", "Drive Self-Test failed. Drive S1 (/dev/sda), its result is not in the log."));
}

}  // namespace
}  // namespace features::jobs
