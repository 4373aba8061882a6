#include <gtest/gtest.h>

#include "features/jobs/erase/TrimJob.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"
#include "tests/unit/features/jobs/Commands.h"
#include "tests/unit/features/jobs/JobRun.h"
#include "tests/unit/features/jobs/Models.h"
#include "tests/unit/features/jobs/StatusAnswer.h"
#include "tests/unit/features/jobs/UsedNamespaces.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::core;
using namespace ostrel::interfaces::ostreli;

std::string answerOf(const std::string& status) {
    return statusAnswer("Trim", status);
}

/// A controller with Dataset Management, of NVMe 1.3: there is one command set.
DriveBytes trimmingController() {
    return identifyController().le32(80, 0x00010300).le16(520, 0x0004);
}
/// One of NVMe 2.0, which may report limits.
DriveBytes newController() {
    return trimmingController().le32(80, 0x00020000);
}

struct Range {
    uint32_t blocks;
    uint64_t start;
};
Expected trimCommand(uint32_t nsid, const std::vector<Range>& ranges) {
    DriveBytes data(ranges.size() * 16);
    for (size_t i = 0; i < ranges.size(); ++i)
        data.le32(i * 16 + 4, ranges[i].blocks).le64(i * 16 + 8, ranges[i].start);
    return Expected::io(0x09)
        .nsid(nsid)
        .dword(10, static_cast<uint32_t>(ranges.size() - 1))
        .dword(11, 0x4)
        .writes(data)
        .timeoutMs(600000);
}

class TrimJobTest : public testing::Test {
protected:
    std::string run(const std::string& start, const std::string& count) {
        TrimJob job;
        return JobRun(job, JOBTYPE_METHOD).with("StartLBA", start).with("Count", count).on({&drive_});
    }
    /// All that comes before the last look of the gate, for the only namespace of the drive.
    void expectLook(const DriveBytes& space, const DriveBytes& controller = trimmingController()) {
        drive_.expect(hostNamespaces({unusedNamespace(1)}))
            .expect(hostUses({unusedNamespace(1)}))
            .expect(identify(1).answers(controller))
            .expect(identify(0, 1).answers(space));
    }
    /// The same with limits: ranges of a command, blocks of a range, blocks of a command.
    void expectLimits(uint8_t dmrl, uint32_t dmrsl, uint64_t dmsl, const DriveBytes& space) {
        drive_.expect(hostNamespaces({unusedNamespace(1)}))
            .expect(hostUses({unusedNamespace(1)}))
            .expect(identify(1).answers(newController()))
            .expect(identify(6).answers(DriveBytes(4096).byte(3, dmrl).le32(4, dmrsl).le64(8, dmsl)))
            .expect(identify(3, 1).answers(descriptorsOf(0)))
            .expect(identify(0, 1).answers(space));
    }
    void expectCommand(const std::vector<Range>& ranges) {
        drive_.expect(hostUses({unusedNamespace(1)})).expect(trimCommand(1, ranges).completes());
    }

    FakeDrive drive_;
};

TEST_F(TrimJobTest, DeallocatesTheRange) {
    expectLook(identifyNamespace(2097152));
    expectCommand({{8, 100}});
    EXPECT_EQ(run("100", "8"),
              answerOf("0/0 8 blocks of 512 bytes from block 100 on were deallocated in namespace 1."));
}

TEST_F(TrimJobTest, BlocksAreThoseOfTheNamespace) {
    expectLook(identifyNamespace(262144, 12));
    expectCommand({{262144, 0}});
    EXPECT_EQ(run("0", "262144"),
              answerOf("0/0 262144 blocks of 4096 bytes from block 0 on were deallocated in namespace 1."));
}

TEST_F(TrimJobTest, NumbersMayBeHexadecimal) {
    expectLook(identifyNamespace(2097152));
    expectCommand({{16, 0x1F0000}});
    EXPECT_EQ(run("0x1F0000", "0x10"),
              answerOf("0/0 16 blocks of 512 bytes from block 2031616 on were deallocated in namespace 1."));
}

TEST_F(TrimJobTest, BadNumbersAreRefusedUnasked) {
    const struct {
        const char* start;
        const char* count;
        std::string refusal;
    } CASES[] = {
        {"first", "8",
         "10/36 Invalid value given for StartLBA: 'first'. It must be a number from 0 to 18446744073709551615."},
        {"0", "all", "10/36 Invalid value given for Count: 'all'. It must be a number from 0 to 18446744073709551615."},
        {"0", "-1", "10/36 Invalid value given for Count: '-1'. It must be a number from 0 to 18446744073709551615."},
        {"0", "18446744073709551616",
         "10/36 Invalid value given for Count: '18446744073709551616'. It must be a number from 0 to "
         "18446744073709551615."},
        {"0", "0", "10/36 Invalid property specified. Count must be a number from 1 on."},
        {"0", "", "10/36 Invalid property specified. Count must be a number from 1 on."},
        {"", "8", "10/36 Invalid property specified. StartLBA must be a number from 0 on."},
    };
    for (const auto& c : CASES) EXPECT_EQ(run(c.start, c.count), c.refusal);
}

TEST_F(TrimJobTest, ItTakesExactlyOneDrive) {
    TrimJob job;
    JobRun run(job, JOBTYPE_METHOD);
    run.with("StartLBA", "0").with("Count", "1");
    EXPECT_EQ(run.on({}), "10/5 No device selected.");
    FakeDrive other("S2", "/dev/nvme1");
    EXPECT_EQ(run.on({&drive_, &other}), "10/6 Multiple devices selected.");
}

TEST_F(TrimJobTest, NothingOutsideTheNamespaceIsTouched) {
    const std::string size = " Namespace 1 of drive S1 (/dev/nvme0) has 1000 blocks.";
    const std::string outside = "10/119 Given LBA is not in user LBA range." + size;
    const std::string across = "10/120 Given count will exceed LBA range." + size;
    const struct {
        const char* start;
        const char* count;
        std::string refusal;
    } CASES[] = {
        {"1000", "1", outside},
        {"18446744073709551615", "1", outside},
        {"18446744073709551615", "18446744073709551615", outside},
        {"0", "1001", across},
        {"999", "2", across},
        {"1", "18446744073709551615", across},
    };
    for (const auto& c : CASES) {
        expectLook(identifyNamespace(1000));
        EXPECT_EQ(run(c.start, c.count), answerOf(c.refusal));
        drive_.expectDone();
    }
    expectLook(identifyNamespace(1000));
    expectCommand({{1, 999}});
    EXPECT_EQ(run("999", "1"),
              answerOf("0/0 1 blocks of 512 bytes from block 999 on were deallocated in namespace 1."));
}

TEST_F(TrimJobTest, ALongRangeIsSplit) {
    constexpr uint64_t BLOCKS = 0x300000000;
    expectLook(identifyNamespace(BLOCKS));
    expectCommand({{0xFFFF0000, 1}, {0xFFFF0000, 0xFFFF0001}, {0xFFFF0000, 0x1FFFE0001}, {0x2FFFF, 0x2FFFD0001}});
    EXPECT_EQ(run("1", "12884901887"),
              answerOf("0/0 12884901887 blocks of 512 bytes from block 1 on were deallocated in namespace 1."));
}

TEST_F(TrimJobTest, AfterTwoHundredAndFiftySixRangesComesAnotherCommand) {
    expectLimits(0, 10, 0, identifyNamespace(10000));
    std::vector<Range> first;
    for (uint64_t i = 0; i < 256; ++i) first.push_back({10, 5 + i * 10});
    expectCommand(first);
    expectCommand({{10, 2565}, {7, 2575}});
    EXPECT_EQ(run("5", "2577"),
              answerOf("0/0 2577 blocks of 512 bytes from block 5 on were deallocated in namespace 1."));
}

TEST_F(TrimJobTest, TheControllersLimitsHold) {
    expectLimits(2, 100, 0, identifyNamespace(10000));
    expectCommand({{100, 0}, {100, 100}});
    expectCommand({{50, 200}});
    EXPECT_EQ(run("0", "250"),
              answerOf("0/0 250 blocks of 512 bytes from block 0 on were deallocated in namespace 1."));

    expectLimits(0, 100, 150, identifyNamespace(10000));
    expectCommand({{100, 0}, {50, 100}});
    expectCommand({{100, 150}});
    EXPECT_EQ(run("0", "250"), answerOf("0/0 250 blocks of 512 bytes from block 0 on were deallocated in namespace 1."))
        << "all ranges of a command together";
}

TEST_F(TrimJobTest, AControllerWithoutThatStructureHasNoLimits) {
    drive_.expect(hostNamespaces({unusedNamespace(1)}))
        .expect(hostUses({unusedNamespace(1)}))
        .expect(identify(1).answers(newController()))
        .expect(identify(6).refuses(0x4002))
        .expect(identify(3, 1).refuses(0x4002))
        .expect(identify(0, 1).answers(identifyNamespace(10000)));
    expectCommand({{250, 0}});
    EXPECT_EQ(run("0", "250"),
              answerOf("0/0 250 blocks of 512 bytes from block 0 on were deallocated in namespace 1."));
}

TEST_F(TrimJobTest, OneOfSeveralNamespacesIsNamedByItsPath) {
    drive_.expect(hostNamespaces({unusedNamespace(1), unusedNamespace(2)}));
    EXPECT_EQ(run("0", "8"), answerOf("10/242 Operation not permitted if more than one namespace is allocated on the "
                                      "drive. Select the one by its path."));
    nameNamespace(drive_, 2);
    const std::vector<transport::HostNamespace> namespaces{mounted(1), partitioned(2)};
    drive_.expect(hostUses(namespaces))
        .expect(identify(1).answers(trimmingController()))
        .expect(identify(0, 2).answers(identifyNamespace(1000)))
        .expect(hostUses(namespaces))
        .expect(trimCommand(2, {{8, 0}}).completes());
    EXPECT_EQ(run("0", "8"), answerOf("0/0 8 blocks of 512 bytes from block 0 on were deallocated in namespace 2."))
        << "neither the other's use nor partitions alone stop it";
}

TEST_F(TrimJobTest, ADriveWithoutNamespaces) {
    drive_.expect(hostNamespaces({}));
    EXPECT_EQ(run("0", "8"),
              answerOf("10/80 Invalid namespace ID given. Drive S1 (/dev/nvme0) has no namespace attached."));
}

TEST_F(TrimJobTest, AUsedNamespaceIsRefusedBeforeAnythingIsAsked) {
    drive_.expect(hostNamespaces({unusedNamespace(1)})).expect(hostUses({mounted(1)}));
    EXPECT_EQ(run("0", "8"), answerOf(mountedRefusal(1)));
    nameNamespace(drive_, 1);
    drive_.expect(hostUses({unusedNamespace(1), withSystem(2)}));
    EXPECT_EQ(run("0", "8"), answerOf(systemRefusal(2))) << "the system protects the whole drive";
}

TEST_F(TrimJobTest, TheGateLooksAgainImmediatelyBeforeEachCommand) {
    expectLook(identifyNamespace(1000));
    drive_.expect(hostUses({mounted(1)}));
    EXPECT_EQ(run("0", "8"), answerOf(mountedRefusal(1)));

    expectLimits(1, 100, 0, identifyNamespace(1000));
    expectCommand({{100, 0}});
    drive_.expect(hostUses({mounted(1)}));
    EXPECT_EQ(run("0", "250"), answerOf(mountedRefusal(1) + " The first 100 blocks were deallocated before that."));
}

TEST_F(TrimJobTest, AControllerWithoutTheCommand) {
    drive_.expect(hostNamespaces({unusedNamespace(1)}))
        .expect(hostUses({}))
        .expect(identify(1).answers(identifyController()));
    EXPECT_EQ(run("0", "8"), answerOf("10/96 Drive does not support Trim."));
}

TEST_F(TrimJobTest, ANamespaceWithoutBlocksIsRefusedBeforeACommandIsSent) {
    const struct {
        uint8_t csi;
        std::string name;
    } CASES[] = {{1, "Key Value"}, {3, "Subsystem Local Memory"}, {4, "Computational Programs"}};
    for (const auto& c : CASES) {
        drive_.expect(hostNamespaces({unusedNamespace(1)}))
            .expect(hostUses({unusedNamespace(1)}))
            .expect(identify(1).answers(newController()))
            .expect(identify(6).answers(DriveBytes(4096)))
            .expect(identify(3, 1).answers(descriptorsOf(c.csi)));
        EXPECT_EQ(run("0", "8"),
                  answerOf("10/96 Drive does not support Trim. Namespace 1 of drive S1 (/dev/nvme0) is of the " +
                           c.name + " command set, which has no logical blocks."));
        drive_.expectDone();
    }
}

/// Command sets are older than NVMe 2.0: drives of 1.4 have namespaces of them.
TEST_F(TrimJobTest, ANamespaceOfKeysIsRefusedOnADriveOfNvme14) {
    drive_.expect(hostNamespaces({unusedNamespace(1)}))
        .expect(hostUses({unusedNamespace(1)}))
        .expect(identify(1).answers(trimmingController().le32(80, 0x00010400)))
        .expect(identify(3, 1).answers(descriptorsOf(1)));
    EXPECT_EQ(run("0", "8"),
              answerOf("10/96 Drive does not support Trim. Namespace 1 of drive S1 (/dev/nvme0) is of the "
                       "Key Value command set, which has no logical blocks."));
}

TEST_F(TrimJobTest, AZonedNamespaceHasBlocks) {
    drive_.expect(hostNamespaces({unusedNamespace(1)}))
        .expect(hostUses({unusedNamespace(1)}))
        .expect(identify(1).answers(newController()))
        .expect(identify(6).answers(DriveBytes(4096)))
        .expect(identify(3, 1).answers(descriptorsOf(2)))
        .expect(identify(0, 1).answers(identifyNamespace(1000)));
    expectCommand({{8, 0}});
    EXPECT_EQ(run("0", "8"), answerOf("0/0 8 blocks of 512 bytes from block 0 on were deallocated in namespace 1."));
}

TEST_F(TrimJobTest, EachRefusalHasItsMeaning) {
    const struct {
        uint16_t statusField;
        std::string status;
        std::string words;
    } CASES[] = {
        {0x4001, "10/96 Drive does not support Trim.",
         "Invalid Command Opcode (status code type 0x0, status code 0x01"},
        {0x4080, "10/119 Given LBA is not in user LBA range.",
         "LBA Out of Range (status code type 0x0, status code 0x80"},
        {0x001D, "10/226 Sanitize operation in progress.",
         "Sanitize In Progress (status code type 0x0, status code 0x1D"},
        {0x4020, "10/261 The command is prohibited while the namespace is write protected.",
         "Namespace is Write Protected (status code type 0x0, status code 0x20"},
        {0x4182, "10/261 The command is prohibited while the namespace is write protected.",
         "Attempted Write to Read Only Range (status code type 0x1, status code 0x82"},
        {0x4286, "10/267 Access to the namespace and/or LBA range is denied due to lack of access rights.",
         "Access Denied (status code type 0x2, status code 0x86"},
        {0x4006, "0/25 NVMe command reported a problem.", "Internal Error (status code type 0x0, status code 0x06"},
    };
    for (const auto& c : CASES) {
        expectLook(identifyNamespace(1000));
        drive_.expect(hostUses({})).expect(trimCommand(1, {{8, 0}}).refuses(c.statusField));
        EXPECT_EQ(run("0", "8"), answerOf(c.status + " Dataset Management failed on drive S1 (/dev/nvme0): " + c.words +
                                          ", opcode 0x09)."));
        drive_.expectDone();
    }
}

TEST_F(TrimJobTest, ADriveThatGoesAwayIsReportedWhereverItHappens) {
    const Expected steps[] = {
        hostNamespaces({unusedNamespace(1)}),
        hostUses({}),
        identify(1).answers(newController()),
        identify(6).answers(DriveBytes(4096)),
        identify(3, 1).answers(descriptorsOf(0)),
        identify(0, 1).answers(identifyNamespace(1000)),
        hostUses({}),
        trimCommand(1, {{8, 0}}).completes(),
    };
    for (size_t n = 0; n < std::size(steps); ++n) {
        for (size_t i = 0; i < n; ++i) drive_.expect(steps[i]);
        Expected last = steps[n];
        drive_.expect(last.breaks(gone()));
        EXPECT_EQ(run("0", "8"), answerOf("0/70 The drive /dev/nvme0 is gone.")) << n;
        drive_.expectDone();
    }
}

}  // namespace
}  // namespace features::jobs
