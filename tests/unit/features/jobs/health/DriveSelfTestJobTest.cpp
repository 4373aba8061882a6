#include <gtest/gtest.h>

#include "features/jobs/health/DriveSelfTestJob.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"
#include "tests/unit/features/jobs/Commands.h"
#include "tests/unit/features/jobs/FakeClock.h"
#include "tests/unit/features/jobs/JobRun.h"
#include "tests/unit/features/jobs/Models.h"
#include "tests/unit/features/jobs/StatusAnswer.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::core;
using namespace ostrel::interfaces::ostreli;

constexpr uint16_t EXTENDED_MINUTES = 35;

DriveBytes controller(uint16_t extendedMinutes = EXTENDED_MINUTES) {
    return identifyController().le16(256, 0x0010).le16(316, extendedMinutes);
}

/// Log 06h with no result.
DriveBytes emptyLog(uint8_t running = 0, uint8_t percent = 0) {
    DriveBytes log(564);
    log.put(0, {running, percent});
    for (size_t at = 4; at < 564; at += 28) log.byte(at, 0x0F);
    return log;
}

/// The newest result, at 700 hours.
DriveBytes ended(uint8_t testAndResult) {
    return emptyLog().put(4, {testAndResult, 0}).le64(8, 700);
}

Expected selfTest(uint32_t code, uint32_t nsid = 0xFFFFFFFF) {
    return Expected::admin(0x14).nsid(nsid).dword(10, code);
}

Expected testLog(const DriveBytes& log) {
    return lookAtLog(0x06, 564).answers(log);
}

std::string status(const std::string& category, const std::string& code, const std::string& message) {
    return statusObject("Drive Self-Test", category, code, message);
}

/// The result of a captive test.
std::string result(const std::string& test, const std::string& outcome) {
    return "<Object key=\"S1\" name=\"Drive Self-Test Result 1\">\n<Property name=\"Test\" value=\"" + test +
           "\"/>\n<Property name=\"Result\" value=\"" + outcome + "\"/>\n" +
           R"xml(<Property description="Power On Hours" name="POH" value="700 hours"/>
<Property description="Namespace" name="NSID" value="not reported"/>
<Property description="Failing LBA" name="FLBA" value="not reported"/>
<Property description="Status Code Type" name="SCT" value="not reported"/>
<Property description="Status Code" name="SC" value="not reported"/>
<Property name="Vendor Specific" value="0x0000"/>
</Object>
)xml";
}

class DriveSelfTestJobTest : public testing::Test {
protected:
    std::string start(const FakeDrive& drive, const std::string& type = "", const std::string& mode = "") {
        DriveSelfTestJob job(clock_);
        JobRun run(job, JOBTYPE_METHOD);
        if (!type.empty()) run.with("TestType", type);
        if (!mode.empty()) run.with("Mode", mode);
        return run.on({&drive});
    }
    std::string show(const FakeDrive& drive) {
        DriveSelfTestJob job(clock_);
        return JobRun(job, JOBTYPE_GET_PROPERTIES).on({&drive});
    }

    const std::shared_ptr<FakeClock> clock_ = std::make_shared<FakeClock>();
};

TEST_F(DriveSelfTestJobTest, AShortTestOfAllNamespacesIsStarted) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(controller())).expect(selfTest(1));
    EXPECT_EQ(start(drive), output(status("0", "0", "The short self-test was started.")));
    drive.expect(identify(0x01).answers(controller())).expect(selfTest(1));
    EXPECT_EQ(start(drive, "SHORT", "OffLine"), output(status("0", "0", "The short self-test was started.")));
    EXPECT_EQ(clock_->sleeps(), std::vector<uint64_t>());
}

TEST_F(DriveSelfTestJobTest, AnExtendedTestOfTheNamespaceThatThePathNamed) {
    FakeDrive drive;
    nameNamespace(drive, 3);
    drive.expect(identify(0x01).answers(controller())).expect(selfTest(2, 3));
    EXPECT_EQ(start(drive, "Extended"), output(status("0", "0", "The extended self-test was started.")));
}

TEST_F(DriveSelfTestJobTest, WhatNvmeDoesNotHaveIsRefusedWithoutACommand) {
    const std::string head = "10/46 Invalid parameter(s) for drive self test feature. ";
    FakeDrive drive;
    EXPECT_EQ(start(drive, "CONVEYANCE", "offline"),
              head + "An NVMe drive has the tests 'short' and 'extended', but not 'CONVEYANCE'.");
    EXPECT_EQ(start(drive, "short", "later"), head + "A test runs 'captive' or 'offline', but not 'later'.");
}

TEST_F(DriveSelfTestJobTest, ADriveWithoutSelfTestsIsReported) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(identifyController()));
    EXPECT_EQ(start(drive), output(status("10", "208", "Drive Self-Test Not Supported.")));
    drive.expect(identify(0x01).answers(identifyController()));
    EXPECT_EQ(show(drive), output(status("10", "208", "Drive Self-Test Not Supported.")));
}

TEST_F(DriveSelfTestJobTest, RefusalsAreReported) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(controller())).expect(selfTest(1).refuses(0x411D));
    EXPECT_EQ(start(drive), output(status("10", "209",
                                          "Drive Self-Test Already In Progress. Device Self-test failed on drive S1 "
                                          "(/dev/nvme0): Device Self-test In Progress (status code type 0x1, status "
                                          "code 0x1D, opcode 0x14).")));
    drive.expect(identify(0x01).answers(controller())).expect(selfTest(1).refuses(0x001D));
    EXPECT_EQ(start(drive), output(status("0", "25",
                                          "Device Self-test failed on drive S1 (/dev/nvme0): Sanitize In Progress "
                                          "(status code type 0x0, status code 0x1D, opcode 0x14).")))
        << "the same code of another type";
    drive.expect(identify(0x01).answers(controller())).expect(selfTest(1).breaks(gone()));
    EXPECT_EQ(start(drive), output(status("0", "70", "The drive /dev/nvme0 is gone.")));
}

TEST_F(DriveSelfTestJobTest, ACaptiveTestIsFollowedToItsEnd) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(controller()))
        .expect(selfTest(1))
        .expect(testLog(emptyLog(1, 0)))
        .expect(testLog(emptyLog(1, 60)))
        .expect(testLog(ended(0x10)));
    EXPECT_EQ(start(drive, "short", "Captive"), output(result("short", "completed without error")));
    EXPECT_EQ(clock_->sleeps(), (std::vector<uint64_t>{1000, 1000}));
}

TEST_F(DriveSelfTestJobTest, ATestThatDidNotPassIsAFailure) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(controller()))
        .expect(selfTest(2))
        .expect(testLog(emptyLog(2, 1)))
        .expect(testLog(ended(0x22)));
    EXPECT_EQ(
        start(drive, "extended", "captive"),
        output(result("extended", "aborted by a controller level reset") +
               status("10", "215",
                      "Drive Self-Test failed. Drive S1 (/dev/nvme0), extended self-test: aborted by a controller "
                      "level reset.")));
    drive.expect(identify(0x01).answers(controller())).expect(selfTest(2)).expect(testLog(ended(0x10)));
    EXPECT_EQ(start(drive, "extended", "captive"),
              output(result("short", "completed without error") +
                     status("10", "215",
                            "Drive Self-Test failed. Drive S1 (/dev/nvme0), short self-test: completed without "
                            "error.")))
        << "the newest result is that of another test";
    drive.expect(identify(0x01).answers(controller())).expect(selfTest(2)).expect(testLog(emptyLog()));
    EXPECT_EQ(start(drive, "extended", "captive"),
              output(status("10", "215", "Drive Self-Test failed. Drive S1 (/dev/nvme0), no self-test has been run.")));
}

TEST_F(DriveSelfTestJobTest, AFailureWhileWaitingEndsIt) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(controller()))
        .expect(selfTest(2))
        .expect(testLog(emptyLog(2, 1)))
        .expect(lookAtLog(0x06, 564).breaks(gone()));
    EXPECT_EQ(start(drive, "extended", "captive"), output(status("0", "70", "The drive /dev/nvme0 is gone.")));
}

/// How many seconds a captive test is given that stalls at 7 per cent from its second second on.
size_t secondsUntilGivenUp(const char* type, uint32_t code, uint16_t extendedMinutes, size_t seconds,
                           const std::string& message) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(controller(extendedMinutes))).expect(selfTest(code));
    drive.expect(testLog(emptyLog(static_cast<uint8_t>(code), 0)));
    for (size_t i = 0; i < seconds; ++i) drive.expect(testLog(emptyLog(static_cast<uint8_t>(code), 7)));
    const auto clock = std::make_shared<FakeClock>();
    DriveSelfTestJob job(clock);
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with("TestType", type).with("Mode", "captive").on({&drive}),
              output(status("10", "235", message)));
    return clock->sleeps().size();
}

TEST_F(DriveSelfTestJobTest, ATestThatStallsIsGivenUpAfterTwiceTheDrivesEstimate) {
    EXPECT_EQ(
        secondsUntilGivenUp("short", 1, EXTENDED_MINUTES, 241,
                            "Drive/Host Timeout. No data loss expected. Drive S1 (/dev/nvme0), short self-test in "
                            "progress, has stayed at 7 percent for 4 minutes."),
        241U);
    EXPECT_EQ(
        secondsUntilGivenUp("extended", 2, 5, 601,
                            "Drive/Host Timeout. No data loss expected. Drive S1 (/dev/nvme0), extended self-test "
                            "in progress, has stayed at 7 percent for 10 minutes."),
        601U);
    EXPECT_EQ(
        secondsUntilGivenUp("extended", 2, 0, 7201,
                            "Drive/Host Timeout. No data loss expected. Drive S1 (/dev/nvme0), extended self-test "
                            "in progress, has stayed at 7 percent for 120 minutes."),
        7201U)
        << "the drive gives no estimate";
}

TEST_F(DriveSelfTestJobTest, ADriveThatWasNeverTested) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(controller(0))).expect(testLog(emptyLog()));
    EXPECT_EQ(show(drive), output(R"xml(<Object category="attributeList" key="Drive Self-Test S1">
<Property category="attribute" displayName="Self Test Status" name="SelfTestStatus" size="26" type="string" value="no self-test has been run"/>
<Property category="attribute" description="minutes" displayName="Short Self Test Estimated Time" name="ShortSelfTestEstimatedTime" size="2" type="uint16" value="2"/>
</Object>
)xml"));
}

TEST_F(DriveSelfTestJobTest, ProgressAndOlderResults) {
    FakeDrive drive;
    DriveBytes log = emptyLog(2, 30);
    log.put(4, {0x17, 3, 0x0F}).le64(8, 700).le32(16, 1).le64(20, 4096).put(28, {2, 0x81});
    log.put(32, {0x20, 0}).le64(36, 10);
    drive.expect(identify(0x01).answers(controller())).expect(testLog(log));
    EXPECT_EQ(show(drive), output(R"xml(<Object category="attributeList" key="Drive Self-Test S1">
<Property category="attribute" description="minutes" displayName="Extended Self Test Estimated Time" name="ExtendedSelfTestEstimatedTime" size="2" type="uint16" value="35"/>
<Property category="attribute" description="%" displayName="Self Test Progress" name="SelfTestProgress" size="1" type="uint8" value="30"/>
<Property category="attribute" displayName="Self Test Status" name="SelfTestStatus" size="31" type="string" value="extended self-test in progress"/>
<Property category="attribute" description="minutes" displayName="Short Self Test Estimated Time" name="ShortSelfTestEstimatedTime" size="2" type="uint16" value="2"/>
</Object>
<Object key="S1" name="Drive Self-Test Result 1">
<Property name="Test" value="short"/>
<Property name="Result" value="completed with one or more failed segments"/>
<Property description="Power On Hours" name="POH" value="700 hours"/>
<Property description="Namespace" name="NSID" value="1"/>
<Property description="Failing LBA" name="FLBA" value="4096"/>
<Property description="Status Code Type" name="SCT" value="0x02"/>
<Property description="Status Code" name="SC" value="0x81"/>
<Property name="Vendor Specific" value="0x0000"/>
<Property description="First segment that failed" name="Segment Number" value="3"/>
</Object>
<Object key="S1" name="Drive Self-Test Result 2">
<Property name="Test" value="extended"/>
<Property name="Result" value="completed without error"/>
<Property description="Power On Hours" name="POH" value="10 hours"/>
<Property description="Namespace" name="NSID" value="not reported"/>
<Property description="Failing LBA" name="FLBA" value="not reported"/>
<Property description="Status Code Type" name="SCT" value="not reported"/>
<Property description="Status Code" name="SC" value="not reported"/>
<Property name="Vendor Specific" value="0x0000"/>
</Object>
)xml"));
}

TEST_F(DriveSelfTestJobTest, AFinishedTestHasACode) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(controller())).expect(testLog(ended(0x15)));
    EXPECT_EQ(show(drive), output(R"xml(<Object category="attributeList" key="Drive Self-Test S1">
<Property category="attribute" description="minutes" displayName="Extended Self Test Estimated Time" name="ExtendedSelfTestEstimatedTime" size="2" type="uint16" value="35"/>
<Property category="attribute" displayName="Self Test Status" name="SelfTestStatus" size="65" type="string" value="short self-test: a fatal error or an unknown test error occurred"/>
<Property category="attribute" displayName="Self Test Status Code" name="SelfTestStatusCode" size="1" type="uint8" value="5"/>
<Property category="attribute" description="minutes" displayName="Short Self Test Estimated Time" name="ShortSelfTestEstimatedTime" size="2" type="uint16" value="2"/>
</Object>
<Object key="S1" name="Drive Self-Test Result 1">
<Property name="Test" value="short"/>
<Property name="Result" value="a fatal error or an unknown test error occurred"/>
<Property description="Power On Hours" name="POH" value="700 hours"/>
<Property description="Namespace" name="NSID" value="not reported"/>
<Property description="Failing LBA" name="FLBA" value="not reported"/>
<Property description="Status Code Type" name="SCT" value="not reported"/>
<Property description="Status Code" name="SC" value="not reported"/>
<Property name="Vendor Specific" value="0x0000"/>
</Object>
)xml"));
}

TEST_F(DriveSelfTestJobTest, OneAttributeAlone) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(controller())).expect(testLog(ended(0x10)));
    DriveSelfTestJob job(clock_);
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).asking("selftestprogress").on({&drive}),
              output(R"xml(<Object category="attributeList" key="Drive Self-Test S1">
<Property category="attribute" displayName="" name="selftestprogress" size="19" type="string" value="Property not found"/>
</Object>
)xml"));
}

}  // namespace
}  // namespace features::jobs
