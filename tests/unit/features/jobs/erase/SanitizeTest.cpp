#include <gtest/gtest.h>

#include "features/jobs/erase/FormatJob.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"
#include "tests/unit/features/jobs/Commands.h"
#include "tests/unit/features/jobs/FakeClock.h"
#include "tests/unit/features/jobs/JobRun.h"
#include "tests/unit/features/jobs/StatusAnswer.h"
#include "tests/unit/features/jobs/UsedNamespaces.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::core;
using namespace ostrel::interfaces::ostreli;
using Words = std::vector<std::pair<const char*, const char*>>;

std::string answerOf(const std::string& status) {
    return statusAnswer("Format", status);
}

constexpr uint32_t ALL_ACTIONS = 0x7;
constexpr uint32_t NDI = 1U << 29;
constexpr uint32_t MEDIA_MODIFIED = 2U << 30;

DriveBytes sanitizingController(uint32_t sanicap = ALL_ACTIONS) {
    return identifyController().le32(328, sanicap);
}

enum State : uint8_t { NEVER = 0, DONE = 1, RUNNING = 2, FAILED = 3, DEALLOCATED = 4, UNKNOWN = 5 };

/// The Sanitize Status log: overwrite takes 60 s, block erase 30 s, crypto erase 2 s, and without deallocation 100,
/// 200 and 300 s.
DriveBytes log(State state, uint16_t progress = 0xFFFF) {
    return DriveBytes(512)
        .le16(0, progress)
        .le16(2, 0x0100 | state)
        .le32(8, 60)
        .le32(12, 30)
        .le32(16, 2)
        .le32(20, 100)
        .le32(24, 200)
        .le32(28, 300);
}
Expected askLog(const DriveBytes& bytes) {
    return lookAtLog(0x81, 512).answers(bytes);
}
Expected sanitizeCommand(uint32_t dword10, uint32_t dword11 = 0) {
    return Expected::admin(0x84).dword(10, dword10).dword(11, dword11).timeoutMs(120000);
}

class SanitizeTest : public testing::Test {
protected:
    std::string run(const Words& words) {
        JobRun run(job_, JOBTYPE_METHOD);
        run.with("Type", "Sanitize");
        for (const auto& [key, value] : words) run.with(key, value);
        return run.on({&drive_});
    }
    /// All that comes before the command.
    void expectLook(const DriveBytes& controller = sanitizingController(), const DriveBytes& before = log(NEVER)) {
        drive_.expect(hostUses({unusedNamespace(1)}))
            .expect(identify(1).answers(controller))
            .expect(askLog(before))
            .expect(hostUses({unusedNamespace(1)}));
    }
    /// A block erase that was started.
    void expectStart() {
        expectLook();
        drive_.expect(sanitizeCommand(0x002).completes());
    }

    FakeDrive drive_;
    std::shared_ptr<FakeClock> clock_ = std::make_shared<FakeClock>();
    FormatJob job_{clock_};
};

const Words BLOCK{{"SanitizeAction", "2"}};

TEST_F(SanitizeTest, IsFollowedToTheEnd) {
    expectStart();
    drive_.expect(askLog(log(RUNNING, 0)))
        .expect(askLog(log(RUNNING, 0x8000)))
        .expect(askLog(log(DONE)))
        .expect(lookAgain());
    EXPECT_EQ(run(BLOCK), answerOf("0/0 The drive was sanitized."));
    EXPECT_EQ(clock_->sleeps(), (std::vector<uint64_t>{1000, 1000}));
}

TEST_F(SanitizeTest, ALongOneIsAskedLessOften) {
    expectStart();
    for (uint16_t poll = 0; poll < 63; ++poll) drive_.expect(askLog(log(RUNNING, poll)));
    drive_.expect(askLog(log(DONE))).expect(lookAgain());
    EXPECT_EQ(run(BLOCK), answerOf("0/0 The drive was sanitized."));
    std::vector<uint64_t> sleeps(60, 1000);
    sleeps.insert(sleeps.end(), 3, 10000);
    EXPECT_EQ(clock_->sleeps(), sleeps);
}

TEST_F(SanitizeTest, TheFinalStateIsTheOutcome) {
    const struct {
        State state;
        std::string outcome;
    } CASES[] = {
        {DONE, "0/0 The drive was sanitized."},
        {DEALLOCATED,
         "0/0 The drive was sanitized. Drive S1 (/dev/nvme0) says: the most recent sanitize operation completed "
         "successfully and deallocated all blocks though it was not to."},
        {FAILED,
         "10/25 Sanitize command failed. Drive S1 (/dev/nvme0) says: the most recent sanitize operation failed."},
        {NEVER,
         "10/26 Sanitize failed for an unknown reason. Drive S1 (/dev/nvme0) says: the drive has never been "
         "sanitized."},
        {UNKNOWN, "10/26 Sanitize failed for an unknown reason. Drive S1 (/dev/nvme0) says: reserved (0x5)."},
    };
    for (const auto& c : CASES) {
        expectStart();
        drive_.expect(askLog(log(RUNNING, 9))).expect(askLog(log(c.state)));
        if (c.outcome[0] == '0') drive_.expect(lookAgain());
        EXPECT_EQ(run(BLOCK), answerOf(c.outcome));
        drive_.expectDone();
    }
}

TEST_F(SanitizeTest, EachFieldOfTheCommandDword) {
    const struct {
        Words words;
        uint32_t dword10;
        uint32_t dword11;
    } CASES[] = {
        {{{"SanitizeAction", "2"}}, 0x002, 0},
        {{{"SanitizeAction", "4"}}, 0x004, 0},
        {{{"SanitizeAction", "3"}}, 0x013, 0},
        {{{"SanitizeAction", "3"}, {"OverwritePassCount", "15"}}, 0x0F3, 0},
        {{{"SanitizeAction", "3"}, {"OverwritePassCount", "16"}}, 0x003, 0},
        {{{"SanitizeAction", "3"}, {"OverwriteInvertPattern", "true"}}, 0x113, 0},
        {{{"SanitizeAction", "3"}, {"OverwriteInvertPattern", "false"}, {"OverwritePattern", ""}}, 0x013, 0},
        {{{"SanitizeAction", "3"}, {"OverwritePattern", "0xdeadbeef"}}, 0x013, 0xDEADBEEF},
        {{{"SanitizeAction", "3"}, {"OverwritePattern", "10"}}, 0x013, 0x10},
        {{{"SanitizeAction", "2"}, {"AllowUnrestrictedExit", "TRUE"}}, 0x00A, 0},
        {{{"SanitizeAction", "4"}, {"NoDeallocateAfterSanitize", "1"}}, 0x204, 0},
        {{{"SanitizeAction", "3"},
          {"NoDeallocateAfterSanitize", "true"},
          {"OverwriteInvertPattern", "true"},
          {"OverwritePassCount", "2"},
          {"AllowUnrestrictedExit", "true"},
          {"OverwritePattern", "FFFFFFFF"},
          {"ReturnImmediately", "false"}},
         0x32B,
         0xFFFFFFFF},
    };
    for (const auto& c : CASES) {
        expectLook();
        drive_.expect(sanitizeCommand(c.dword10, c.dword11).completes()).expect(askLog(log(DONE))).expect(lookAgain());
        EXPECT_EQ(run(c.words), answerOf("0/0 The drive was sanitized."));
        drive_.expectDone();
    }
}

TEST_F(SanitizeTest, ReturnsAtOnceWhenAskedTo) {
    expectStart();
    EXPECT_EQ(run({{"SanitizeAction", "2"}, {"ReturnImmediately", "true"}}),
              answerOf("0/0 The sanitize operation was started and goes on in the drive."));
}

TEST_F(SanitizeTest, LeavesTheFailureMode) {
    expectLook(sanitizingController(), log(FAILED));
    drive_.expect(sanitizeCommand(0x001).completes());
    EXPECT_EQ(run({{"SanitizeAction", "1"}}),
              answerOf("0/0 The drive has left the failure mode of its last sanitize operation."));
}

TEST_F(SanitizeTest, BadArgumentsAreRefusedUnasked) {
    const std::string bad = "10/24 Unsupported value for sanitize.";
    const std::string action =
        bad + " SanitizeAction must be 1 (exit failure mode), 2 (block erase), 3 (overwrite) or 4 (crypto erase), not ";
    const struct {
        Words words;
        std::string refusal;
    } CASES[] = {
        {{}, action + "''."},
        {{{"SanitizeAction", "0"}}, action + "'0'."},
        {{{"SanitizeAction", "5"}}, action + "'5'."},
        {{{"SanitizeAction", "block"}}, action + "'block'."},
        {{{"SanitizeAction", "2"}, {"ReturnImmediately", "maybe"}},
         "10/36 Invalid value given for ReturnImmediately: 'maybe'. It must be true or false."},
        {{{"SanitizeAction", "2"}, {"NoDeallocateAfterSanitize", "a"}},
         "10/36 Invalid value given for NoDeallocateAfterSanitize: 'a'. It must be true or false."},
        {{{"SanitizeAction", "2"}, {"AllowUnrestrictedExit", "d"}},
         "10/36 Invalid value given for AllowUnrestrictedExit: 'd'. It must be true or false."},
        {{{"SanitizeAction", "3"}, {"OverwriteInvertPattern", "b"}},
         "10/36 Invalid value given for OverwriteInvertPattern: 'b'. It must be true or false."},
        {{{"SanitizeAction", "3"}, {"OverwritePassCount", "0"}},
         bad + " OverwritePassCount must be a number from 1 to 16, not '0'."},
        {{{"SanitizeAction", "3"}, {"OverwritePassCount", "17"}},
         bad + " OverwritePassCount must be a number from 1 to 16, not '17'."},
        {{{"SanitizeAction", "3"}, {"OverwritePattern", "100000000"}},
         "10/36 Invalid value given for OverwritePattern: '100000000'. It must be a hexadecimal number from 0 to "
         "0xFFFFFFFF."},
        {{{"SanitizeAction", "2"}, {"OverwritePassCount", "16"}},
         bad + " OverwritePassCount does not belong to this action."},
        {{{"SanitizeAction", "4"}, {"OverwriteInvertPattern", "false"}},
         bad + " OverwriteInvertPattern does not belong to this action."},
        {{{"SanitizeAction", "1"}, {"OverwritePattern", "0"}},
         bad + " OverwritePattern does not belong to this action."},
        {{{"SanitizeAction", "1"}, {"NoDeallocateAfterSanitize", "true"}},
         bad + " NoDeallocateAfterSanitize does not belong to this action."},
        {{{"SanitizeAction", "1"}, {"AllowUnrestrictedExit", "true"}},
         bad + " AllowUnrestrictedExit does not belong to this action."},
    };
    for (const auto& c : CASES) EXPECT_EQ(run(c.words), c.refusal);
}

TEST_F(SanitizeTest, AUsedDriveIsRefusedBeforeAnythingIsAsked) {
    const struct {
        const char* force;
        transport::HostNamespace space;
        std::string refusal;
    } CASES[] = {
        {"true", withSystem(2), systemRefusal(2)},
        {"true", mounted(2), mountedRefusal(2)},
        {"false", partitioned(2), partitionRefusal(2)},
    };
    for (const auto& c : CASES) {
        drive_.expect(hostUses({unusedNamespace(1), c.space}));
        EXPECT_EQ(run({{"SanitizeAction", "2"}, {"Force", c.force}}), answerOf(c.refusal));
    }
}

TEST_F(SanitizeTest, TheGateLooksAgainImmediatelyBeforeTheCommand) {
    drive_.expect(hostUses({partitioned(1)}))
        .expect(identify(1).answers(sanitizingController()))
        .expect(askLog(log(NEVER)))
        .expect(hostUses({mounted(1)}));
    EXPECT_EQ(run({{"SanitizeAction", "2"}, {"Force", "true"}}), answerOf(mountedRefusal(1)));
}

TEST_F(SanitizeTest, WhatTheControllerDoesNotHaveIsNotSent) {
    const struct {
        uint32_t sanicap;
        const char* action;
        std::string refusal;
    } CASES[] = {
        {0x0, "2", "10/20 Sanitize command not supported on the selected device."},
        {0x0, "1", "10/20 Sanitize command not supported on the selected device."},
        {0x6, "4", "10/21 Sanitize crypto scramble not supported on the selected device."},
        {0x5, "2", "10/22 Sanitize block erase not supported on the selected device."},
        {0x3, "3", "10/224 Sanitize overwrite erase not supported on this device."},
    };
    for (const auto& c : CASES) {
        drive_.expect(hostUses({})).expect(identify(1).answers(sanitizingController(c.sanicap)));
        EXPECT_EQ(run({{"SanitizeAction", c.action}}), answerOf(c.refusal));
        drive_.expectDone();
    }
}

TEST_F(SanitizeTest, ADriveThatAlwaysDeallocatesSaysByAFeatureWhetherItGoesOn) {
    const Words words{{"SanitizeAction", "2"}, {"NoDeallocateAfterSanitize", "true"}};
    const auto expectFeature = [&](Expected feature) {
        drive_.expect(hostUses({}))
            .expect(identify(1).answers(sanitizingController(ALL_ACTIONS | NDI)))
            .expect(feature);
    };
    expectFeature(getFeature(0x17).completes(0));
    EXPECT_EQ(run(words), answerOf("10/24 Unsupported value for sanitize. Drive S1 (/dev/nvme0) always deallocates its "
                                   "blocks after a sanitize operation."));
    for (Expected feature : {getFeature(0x17).completes(1), getFeature(0x17).refuses(0x4002)}) {
        expectFeature(feature);
        drive_.expect(askLog(log(NEVER)))
            .expect(hostUses({}))
            .expect(sanitizeCommand(0x202).completes())
            .expect(askLog(log(DONE)))
            .expect(lookAgain());
        EXPECT_EQ(run(words), answerOf("0/0 The drive was sanitized."));
        drive_.expectDone();
    }
    expectFeature(getFeature(0x17).breaks(gone()));
    EXPECT_EQ(run(words), answerOf("0/70 The drive /dev/nvme0 is gone."));
}

TEST_F(SanitizeTest, OneThatRunsAlreadyIsReported) {
    drive_.expect(hostUses({}))
        .expect(identify(1).answers(sanitizingController()))
        .expect(askLog(log(RUNNING, 0x4000)));
    EXPECT_EQ(run(BLOCK),
              answerOf("10/226 Sanitize operation in progress. It was begun before, 25.00 percent are done."));
}

TEST_F(SanitizeTest, MediaVerificationOfAnotherHostEndsTheWait) {
    const std::string words =
        "10/226 Sanitize operation in progress. Drive S1 (/dev/nvme0) says: the drive is in the Media Verification "
        "state "
        "until a host sends a Sanitize command with the action Exit Media Verification State (5h).";
    const DriveBytes verifying = log(RUNNING, 0xFFFF).byte(36, 0x05);
    drive_.expect(hostUses({})).expect(identify(1).answers(sanitizingController())).expect(askLog(verifying));
    EXPECT_EQ(run(BLOCK), answerOf(words)) << "begun before";
    drive_.expectDone();

    drive_.expect(hostUses({}))
        .expect(identify(1).answers(sanitizingController()))
        .expect(askLog(log(NEVER)))
        .expect(hostUses({}))
        .expect(sanitizeCommand(0x002).completes())
        .expect(askLog(log(RUNNING, 0x8000).byte(36, 0x01)))
        .expect(askLog(verifying));
    EXPECT_EQ(run(BLOCK), answerOf(words)) << "met during the wait";
}

/// The questions of an operation that moves once, after two seconds, and then stalls for `seconds`.
int expectStandstill(FakeDrive& drive, int seconds) {
    drive.expect(askLog(log(RUNNING, 0))).expect(askLog(log(RUNNING, 0))).expect(askLog(log(RUNNING, 0x8000)));
    int polls = 0;
    // A second between questions in the first minute, then ten.
    for (int waited = 0; waited < seconds; ++polls) {
        waited += waited + 2 < 60 ? 1 : 10;
        drive.expect(askLog(log(RUNNING, 0x8000)));
    }
    return polls + 2;
}

TEST_F(SanitizeTest, OneThatStallsIsGivenUpAtTwiceTheDrivesEstimate) {
    const struct {
        uint32_t sanicap;
        Words words;
        uint32_t dword10;
        DriveBytes before;
        int limit;  // seconds
        const char* why;
    } CASES[] = {
        {ALL_ACTIONS, {{"SanitizeAction", "3"}}, 0x013, log(NEVER), 720, "overwrite: 60 s"},
        {ALL_ACTIONS, {{"SanitizeAction", "2"}}, 0x002, log(NEVER), 660, "block erase: 30 s"},
        {ALL_ACTIONS, {{"SanitizeAction", "4"}}, 0x004, log(NEVER), 604, "crypto erase: 2 s"},
        {ALL_ACTIONS,
         {{"SanitizeAction", "2"}, {"NoDeallocateAfterSanitize", "true"}},
         0x202,
         log(NEVER),
         660,
         "no deallocation, which takes no longer on this drive"},
        {ALL_ACTIONS | MEDIA_MODIFIED,
         {{"SanitizeAction", "3"}, {"NoDeallocateAfterSanitize", "true"}},
         0x213,
         log(NEVER),
         800,
         "overwrite: 100 s"},
        {ALL_ACTIONS | MEDIA_MODIFIED,
         {{"SanitizeAction", "2"}, {"NoDeallocateAfterSanitize", "true"}},
         0x202,
         log(NEVER),
         1000,
         "block erase: 200 s"},
        {ALL_ACTIONS | MEDIA_MODIFIED,
         {{"SanitizeAction", "4"}, {"NoDeallocateAfterSanitize", "true"}},
         0x204,
         log(NEVER),
         1200,
         "crypto erase: 300 s"},
        {ALL_ACTIONS | MEDIA_MODIFIED, {{"SanitizeAction", "2"}}, 0x002, log(NEVER), 660, "with deallocation"},
        {ALL_ACTIONS, {{"SanitizeAction", "2"}}, 0x002, log(NEVER).le32(12, 0xFFFFFFFF), 86400, "not reported"},
        {ALL_ACTIONS, {{"SanitizeAction", "2"}}, 0x002, log(NEVER).le32(12, 0), 86400, "a field before NVMe 1.4"},
    };
    for (const auto& c : CASES) {
        expectLook(sanitizingController(c.sanicap), c.before);
        drive_.expect(sanitizeCommand(c.dword10).completes());
        const size_t waits = clock_->sleeps().size() + static_cast<size_t>(expectStandstill(drive_, c.limit));
        EXPECT_EQ(run(c.words), answerOf("10/226 Sanitize operation in progress. It has stayed at 50.00 percent for " +
                                         std::to_string(c.limit) + " seconds."))
            << c.why;
        EXPECT_EQ(clock_->sleeps().size(), waits) << c.why;
        drive_.expectDone();
    }
}

TEST_F(SanitizeTest, EachRefusalHasItsMeaning) {
    const struct {
        uint16_t statusField;
        std::string status;
        std::string words;
    } CASES[] = {
        {0x4001, "10/20 Sanitize command not supported on the selected device.",
         "Invalid Command Opcode (status code type 0x0, status code 0x01"},
        {0x4002, "10/24 Unsupported value for sanitize.",
         "Invalid Field in Command (status code type 0x0, status code 0x02"},
        {0x401D, "10/226 Sanitize operation in progress.",
         "Sanitize In Progress (status code type 0x0, status code 0x1D"},
        {0x4020, "10/259 The command is prohibited while the namespace is write protected.",
         "Namespace is Write Protected (status code type 0x0, status code 0x20"},
        {0x410B, "10/258 The sanitize operation could not be started because a firmware activation is pending.",
         "Firmware Activation Requires Conventional Reset (status code type 0x1, status code 0x0B"},
        {0x4110, "10/258 The sanitize operation could not be started because a firmware activation is pending.",
         "Firmware Activation Requires NVM Subsystem Reset (status code type 0x1, status code 0x10"},
        {0x4111, "10/258 The sanitize operation could not be started because a firmware activation is pending.",
         "Firmware Activation Requires Controller Level Reset (status code type 0x1, status code 0x11"},
        {0x4123, "10/260 A sanitize operation is prohibited while the Persistent Memory Region is enabled.",
         "Sanitize Prohibited While Persistent Memory Region is Enabled (status code type 0x1, status code 0x23"},
        {0x401C, "10/25 Sanitize command failed.", "Sanitize Failed (status code type 0x0, status code 0x1C"},
    };
    for (const auto& c : CASES) {
        expectLook();
        drive_.expect(sanitizeCommand(0x002).refuses(c.statusField));
        EXPECT_EQ(run(BLOCK),
                  answerOf(c.status + " Sanitize failed on drive S1 (/dev/nvme0): " + c.words + ", opcode 0x84)."));
        drive_.expectDone();
    }
}

TEST_F(SanitizeTest, ADriveThatGoesAwayIsReportedWhereverItHappens) {
    const Expected steps[] = {
        hostUses({}), identify(1).answers(sanitizingController()), askLog(log(NEVER)),
        hostUses({}), sanitizeCommand(0x002).completes(),
    };
    for (size_t n = 0; n < std::size(steps); ++n) {
        for (size_t i = 0; i < n; ++i) drive_.expect(steps[i]);
        Expected last = steps[n];
        drive_.expect(last.breaks(gone()));
        EXPECT_EQ(run(BLOCK), answerOf("0/70 The drive /dev/nvme0 is gone.")) << n;
        drive_.expectDone();
    }
    expectStart();
    drive_.expect(askLog(log(RUNNING, 1))).expect(lookAtLog(0x81, 512).breaks(gone()));
    EXPECT_EQ(run(BLOCK),
              answerOf("0/70 The drive /dev/nvme0 is gone. The sanitize operation was started; whether it has "
                       "ended is not known."));
    drive_.expectDone();
    expectStart();
    drive_.expect(askLog(log(DONE))).expect(lookAgain().breaks(gone()));
    EXPECT_EQ(run(BLOCK), answerOf("0/70 The drive /dev/nvme0 is gone. The drive was sanitized."));
}

}  // namespace
}  // namespace features::jobs
