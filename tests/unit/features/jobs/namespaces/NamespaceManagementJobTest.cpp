#include <gtest/gtest.h>

#include "features/jobs/namespaces/NamespaceManagementJob.h"
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
using transport::HostRequest;
using Words = std::vector<std::pair<const char*, const char*>>;

std::string answerOf(const std::string& status) {
    return statusAnswer("Namespace Management", status);
}

/// Controller 3, with namespace management, four namespaces at most, and 1 GiB of 2 left.
DriveBytes managingController() {
    return identifyController()
        .le16(78, 3)
        .le16(256, 0x0008)
        .le64(280, uint64_t{2} << 30)
        .le64(296, uint64_t{1} << 30)
        .le32(516, 4);
}
/// What all namespaces have in common: formats of 512 bytes, 4,096, and 4,096 with 8 bytes of metadata; protection of
/// types 1 and 3, in the last eight bytes; metadata in both ways.
DriveBytes common() {
    return DriveBytes(4096)
        .byte(25, 2)
        .byte(27, 0x03)
        .byte(28, 0x15)
        .le32(128, 9U << 16)
        .le32(132, 12U << 16)
        .le32(136, 12U << 16 | 8);
}
/// The structure of a create.
DriveBytes newNamespace(uint64_t size, uint64_t capacity) {
    return DriveBytes(4096).le64(0, size).le64(8, capacity);
}
Expected createCommand(const DriveBytes& data) {
    return Expected::admin(0x0D).writes(data).timeoutMs(600000);
}
Expected deleteCommand(uint32_t nsid) {
    return Expected::admin(0x0D).nsid(nsid).dword(10, 1).timeoutMs(600000);
}
Expected attachmentCommand(uint32_t select, uint32_t nsid, uint16_t controller) {
    return Expected::admin(0x15).nsid(nsid).dword(10, select).writes(controllerList({controller})).timeoutMs(600000);
}

Expected allocated() {
    return identify(0x10).answers(namespaceList({1, 2}));
}

class NamespaceManagementJobTest : public testing::Test {
protected:
    std::string run(const std::string& action, const Words& words) {
        JobRun run(job_, JOBTYPE_METHOD);
        run.with("Action", action);
        for (const auto& [key, value] : words) run.with(key, value);
        return run.on({&drive_});
    }
    /// All that comes before the size is looked at.
    void expectLook(const DriveBytes& controller = managingController(), const DriveBytes& of = common()) {
        drive_.expect(identify(1).answers(controller)).expect(allocated()).expect(identify(0, 0xFFFFFFFF).answers(of));
    }

    FakeDrive drive_;
    std::shared_ptr<FakeClock> clock_ = std::make_shared<FakeClock>();
    NamespaceManagementJob job_{clock_};
};

// The request.

TEST_F(NamespaceManagementJobTest, BadRequestsAreRefusedUnasked) {
    const std::string action =
        "10/79 Invalid namespace management action. Supported actions are create, delete, attach, and detach.";
    const std::string size = "10/78 No namespace size given.";
    const std::string forms =
        " must be a number of blocks from 1 on, an amount like 100GB or 100GiB, or 1% to 100% of the unallocated "
        "capacity, not ";
    const std::string noSize = "10/269 Invalid Capacity. Size" + forms;
    const std::string id = "10/80 Invalid namespace ID given. It must be a number from 1 to 0xFFFFFFFE, not '";
    const std::string idOrAll =
        "10/80 Invalid namespace ID given. It must be a number from 1 to 0xFFFFFFFE, or 0xFFFFFFFF for all, not '";
    const struct {
        const char* action;
        Words words;
        std::string refusal;
    } CASES[] = {
        {"", {}, action},
        {"Create", {{"Size", "1"}}, action},
        {"create", {}, size},
        {"create", {{"Size", ""}}, size},
        {"create", {{"Size", "0"}}, "10/269 Invalid Capacity. Size" + forms + "'0'."},
        {"create", {{"Size", "s"}}, "10/269 Invalid Capacity. Size" + forms + "'s'."},
        {"create", {{"Size", "0GB"}}, noSize + "'0GB'."},
        {"create", {{"Size", "0%"}}, noSize + "'0%'."},
        {"create", {{"Size", "101%"}}, noSize + "'101%'."},
        {"create", {{"Size", "GB"}}, noSize + "'GB'."},
        {"create", {{"Size", "%"}}, noSize + "'%'."},
        {"create", {{"Size", "1.5GB"}}, noSize + "'1.5GB'."},
        {"create", {{"Size", "-1GB"}}, noSize + "'-1GB'."},
        {"create", {{"Size", "1  GB"}}, noSize + "'1  GB'."},
        {"create", {{"Size", "1 "}}, noSize + "'1 '."},
        {"create", {{"Size", "1TB"}}, noSize + "'1TB'."},
        {"create", {{"Size", "18446744074GB"}}, noSize + "'18446744074GB'."},
        {"create", {{"Size", "17179869184GiB"}}, noSize + "'17179869184GiB'."},
        {"create", {{"Size", "18446744073709551616"}}, noSize + "'18446744073709551616'."},
        {"create",
         {{"Size", "1GB"}, {"Capacity", "2GB"}},
         "10/237 Cannot create a namespace with a capacity larger than it's size."},
        {"create", {{"Size", "1"}, {"Capacity", "c"}}, "10/269 Invalid Capacity. Capacity" + forms + "'c'."},
        {"create", {{"Size", "1"}, {"Capacity", "0"}}, "10/269 Invalid Capacity. Capacity" + forms + "'0'."},
        {"create",
         {{"Size", "1"}, {"Capacity", "2"}},
         "10/237 Cannot create a namespace with a capacity larger than it's size."},
        {"create",
         {{"Size", "1"}, {"LBAFormat", "64"}},
         "10/28 Invalid LBA format. LBAFormat must be a number from 0 to 63, not '64'."},
        {"create",
         {{"Size", "1"}, {"ProtectionInformation", "p"}},
         "10/29 Invalid protection information value. ProtectionInformation must be a number from 0 to 3, not 'p'."},
        {"create",
         {{"Size", "1"}, {"MultiPathIoCapabilities", "2"}},
         "10/216 Invalid Namespace multi-path IO capabilities. MultiPathIoCapabilities must be a number from 0 to 1, "
         "not '2'."},
        {"delete", {}, "10/76 No namespace ID given."},
        {"attach", {{"NamespaceId", ""}}, "10/76 No namespace ID given."},
        {"delete", {{"NamespaceId", "0"}}, idOrAll + "0'."},
        {"delete", {{"NamespaceId", "x"}}, idOrAll + "x'."},
        {"detach", {{"NamespaceId", "0x1FFFFFFFF"}}, id + "0x1FFFFFFFF'."},
        {"attach", {{"NamespaceId", "0xFFFFFFFF"}}, id + "0xFFFFFFFF'."},
        {"detach", {{"NamespaceId", "4294967295"}}, id + "4294967295'."},
        {"attach",
         {{"NamespaceId", "1"}, {"NVMeControllerID", "65520"}},
         "10/36 Invalid value given for NVMeControllerID: '65520'. It must be a number from 0 to 65519."},
    };
    for (const auto& c : CASES) EXPECT_EQ(run(c.action, c.words), c.refusal);
    JobRun none(job_, JOBTYPE_METHOD);
    EXPECT_EQ(none.with("Action", "delete").with("NamespaceId", "1").on({}), "10/5 No device selected.");
}

TEST_F(NamespaceManagementJobTest, AControllerWithoutNamespaceManagement) {
    const std::string refused =
        "10/3 The selected drive does not support this feature. Drive S1 (/dev/nvme0) has no namespace management.";
    drive_.expect(identify(1).answers(identifyController()));
    EXPECT_EQ(run("create", {{"Size", "1"}}), answerOf(refused));
    drive_.expect(identify(1).answers(identifyController()));
    EXPECT_EQ(run("attach", {{"NamespaceId", "1"}}), answerOf(refused));
    drive_.expect(hostUses({})).expect(identify(1).answers(identifyController()));
    EXPECT_EQ(run("delete", {{"NamespaceId", "1"}}), answerOf(refused));
}

// Create.

TEST_F(NamespaceManagementJobTest, ReportsWhichNamespaceWasCreated) {
    expectLook();
    drive_.expect(createCommand(newNamespace(1000, 1000)).completes(3));
    EXPECT_EQ(run("create", {{"Size", "1000"}, {"MultiPathIoCapabilities", "0"}, {"NamespaceId", ""}}),
              answerOf("0/0 Namespace 3 was created: 1000 blocks of 512 bytes. It can be used when it is attached to a "
                       "controller."));
}

TEST_F(NamespaceManagementJobTest, EachFieldOfANewNamespace) {
    const DriveBytes thin = common().byte(24, 0x01);
    const DriveBytes extendedOnly = common().byte(27, 0x01);
    const DriveBytes firstOnly = common().byte(28, 0x0F);
    const struct {
        Words words;
        DriveBytes common;
        DriveBytes data;
        const char* blocks;
    } CASES[] = {
        {{{"Size", "0x10"}}, common(), newNamespace(16, 16), "16 blocks of 512 bytes"},
        {{{"Size", "9"}, {"Capacity", "9"}}, common(), newNamespace(9, 9), "9 blocks of 512 bytes"},
        {{{"Size", "9"}, {"Capacity", "4"}}, thin, newNamespace(9, 4), "9 blocks of 512 bytes, capacity 4 blocks"},
        {{{"Size", "9"}, {"LBAFormat", "1"}}, common(), newNamespace(9, 9).byte(26, 0x01), "9 blocks of 4096 bytes"},
        {{{"Size", "9"}, {"LBAFormat", "2"}}, common(), newNamespace(9, 9).byte(26, 0x02), "9 blocks of 4096 bytes"},
        {{{"Size", "9"}, {"LBAFormat", "2"}},
         extendedOnly,
         newNamespace(9, 9).byte(26, 0x12),
         "9 blocks of 4096 bytes"},
        {{{"Size", "9"}, {"LBAFormat", "2"}, {"ProtectionInformation", "3"}},
         common(),
         newNamespace(9, 9).byte(26, 0x02).byte(29, 0x03),
         "9 blocks of 4096 bytes"},
        {{{"Size", "9"}, {"LBAFormat", "2"}, {"ProtectionInformation", "2"}},
         firstOnly,
         newNamespace(9, 9).byte(26, 0x02).byte(29, 0x0A),
         "9 blocks of 4096 bytes"},
        {{{"Size", "9"}, {"MultiPathIoCapabilities", "1"}},
         common(),
         newNamespace(9, 9).byte(30, 1),
         "9 blocks of 512 bytes"},
    };
    for (const auto& c : CASES) {
        expectLook(managingController(), c.common);
        drive_.expect(createCommand(c.data).completes(3));
        EXPECT_EQ(run("create", c.words), answerOf(std::string("0/0 Namespace 3 was created: ") + c.blocks +
                                                   ". It can be used when it is attached to a controller."));
        drive_.expectDone();
    }
}

/// 1 GiB is not allocated: 2,097,152 blocks of 512 bytes.
TEST_F(NamespaceManagementJobTest, AmountsInOtherUnitsAreRoundedDownToBlocks) {
    const DriveBytes thin = common().byte(24, 0x01);
    const struct {
        Words words;
        DriveBytes common;
        DriveBytes data;
        const char* blocks;
    } CASES[] = {
        {{{"Size", "1GB"}}, common(), newNamespace(1953125, 1953125), "1953125 blocks of 512 bytes"},
        {{{"Size", "1 gb"}, {"LBAFormat", "1"}},
         common(),
         newNamespace(244140, 244140).byte(26, 0x01),
         "244140 blocks of 4096 bytes"},
        {{{"Size", "1GiB"}}, common(), newNamespace(2097152, 2097152), "2097152 blocks of 512 bytes"},
        {{{"Size", "100%"}}, common(), newNamespace(2097152, 2097152), "2097152 blocks of 512 bytes"},
        {{{"Size", "1 %"}}, common(), newNamespace(20971, 20971), "20971 blocks of 512 bytes"},
        {{{"Size", "1GiB"}, {"Capacity", "50%"}},
         thin,
         newNamespace(2097152, 1048576),
         "2097152 blocks of 512 bytes, capacity 1048576 blocks"},
        {{{"Size", "1GiB"}, {"Capacity", "100%"}},
         common(),
         newNamespace(2097152, 2097152),
         "2097152 blocks of 512 bytes"},
    };
    for (const auto& c : CASES) {
        expectLook(managingController(), c.common);
        drive_.expect(createCommand(c.data).completes(3));
        EXPECT_EQ(run("create", c.words), answerOf(std::string("0/0 Namespace 3 was created: ") + c.blocks +
                                                   ". It can be used when it is attached to a controller."));
        drive_.expectDone();
    }
}

TEST_F(NamespaceManagementJobTest, AmountsThatDoNotFitCreateNothing) {
    const struct {
        Words words;
        DriveBytes controller;
        std::string refusal;
    } CASES[] = {
        {{{"Size", "2GB"}},
         managingController(),
         "10/82 More free space is required to create the namespace. Drive S1 (/dev/nvme0) has 1073741824 bytes left: "
         "2097152 blocks of 512 bytes would fit."},
        {{{"Size", "18446744073GB"}},
         managingController(),
         "10/82 More free space is required to create the namespace. Drive S1 (/dev/nvme0) has 1073741824 bytes left: "
         "2097152 blocks of 512 bytes would fit."},
        {{{"Size", "50%"}},
         managingController().le64(296, 0),
         "10/82 More free space is required to create the namespace. Size is less than 512 bytes, the smallest amount "
         "on drive S1 (/dev/nvme0)."},
        {{{"Size", "50%"}},
         managingController().le64(280, 0).le64(296, 0),
         "10/269 Invalid Capacity. Drive S1 (/dev/nvme0) does not report its unallocated capacity: give Size in "
         "blocks, "
         "GB or GiB."},
        {{{"Size", "1000"}, {"Capacity", "1GB"}},
         managingController(),
         "10/237 Cannot create a namespace with a capacity larger than it&apos;s size."},
        {{{"Size", "1GB"}, {"Capacity", "50%"}},
         managingController(),
         "10/84 Thin provisioning is not supported by the controller."},
    };
    for (const auto& c : CASES) {
        expectLook(c.controller);
        EXPECT_EQ(run("create", c.words), answerOf(c.refusal));
        drive_.expectDone();
    }
}

TEST_F(NamespaceManagementJobTest, FormatsAboveFifteenGoIntoTheUpperBits) {
    expectLook(managingController(), common().byte(25, 63).le32(128 + 4 * 50, 12U << 16));
    drive_.expect(createCommand(newNamespace(9, 9).byte(26, 0x62)).completes(3));
    EXPECT_EQ(run("create", {{"Size", "9"}, {"LBAFormat", "50"}}),
              answerOf("0/0 Namespace 3 was created: 9 blocks of 4096 bytes. It can be used when it is attached to a "
                       "controller."));
}

TEST_F(NamespaceManagementJobTest, TheDrivesLimitsAreCheckedBeforeAnythingIsCreated) {
    const struct {
        Words words;
        DriveBytes common;
        std::string refusal;
    } CASES[] = {
        {{{"Size", "9"}, {"LBAFormat", "3"}},
         common(),
         "10/81 The LBA Format specified is not supported. Drive S1 (/dev/nvme0) has the formats 0 to 2."},
        {{{"Size", "9"}, {"LBAFormat", "1"}},
         common().le32(132, 0),
         "10/81 The LBA Format specified is not supported. Drive S1 (/dev/nvme0) has the formats 0 to 2."},
        {{{"Size", "9"}, {"ProtectionInformation", "1"}},
         common(),
         "10/29 Invalid protection information value. Type 1 needs a format with 8 bytes of metadata; format 0 has 0."},
        {{{"Size", "9"}, {"LBAFormat", "2"}, {"ProtectionInformation", "2"}},
         common(),
         "10/29 Invalid protection information value. Drive S1 (/dev/nvme0) does not support type 2."},
        {{{"Size", "9"}, {"Capacity", "8"}}, common(), "10/84 Thin provisioning is not supported by the controller."},
    };
    for (const auto& c : CASES) {
        expectLook(managingController(), c.common);
        EXPECT_EQ(run("create", c.words), answerOf(c.refusal));
        drive_.expectDone();
    }
}

TEST_F(NamespaceManagementJobTest, TheNumberOfNamespacesIsLimited) {
    const std::string refused =
        "10/83 The number of namespaces supported has been exceeded. Drive S1 (/dev/nvme0) has 4 of them already.";
    drive_.expect(identify(1).answers(managingController()))
        .expect(identify(0x10).answers(namespaceList({1, 2, 3, 9})));
    EXPECT_EQ(run("create", {{"Size", "9"}}), answerOf(refused));
    drive_.expect(identify(1).answers(managingController().le32(516, 128).le32(540, 4)))
        .expect(identify(0x10).answers(namespaceList({1, 2, 3, 4})));
    EXPECT_EQ(run("create", {{"Size", "9"}}), answerOf(refused)) << "MNAN counts where it is given";
}

TEST_F(NamespaceManagementJobTest, MoreThanIsLeftIsReportedWithWhatFits) {
    const std::string left = "10/82 More free space is required to create the namespace. Drive S1 (/dev/nvme0) has ";
    expectLook();
    EXPECT_EQ(run("create", {{"Size", "2097153"}}),
              answerOf(left + "1073741824 bytes left: 2097152 blocks of 512 bytes would fit."));
    expectLook();
    EXPECT_EQ(run("create", {{"Size", "262145"}, {"LBAFormat", "1"}}),
              answerOf(left + "1073741824 bytes left: 262144 blocks of 4096 bytes would fit."));
    expectLook();
    EXPECT_EQ(run("create", {{"Size", "18446744073709551615"}}),
              answerOf(left + "1073741824 bytes left: 2097152 blocks of 512 bytes would fit."));
    expectLook(managingController().le64(296, 0));
    EXPECT_EQ(run("create", {{"Size", "1"}}), answerOf(left + "0 bytes left."));
    expectLook();
    drive_.expect(createCommand(newNamespace(2097152, 2097152)).completes(3));
    EXPECT_EQ(
        run("create", {{"Size", "2097152"}}),
        answerOf("0/0 Namespace 3 was created: 2097152 blocks of 512 bytes. It can be used when it is attached to a "
                 "controller."));
}

TEST_F(NamespaceManagementJobTest, ACapacityThatIsNotCountedDoesNotCount) {
    const DriveBytes uncounted = managingController().le64(280, 0).le64(296, 0);
    const DriveBytes vast = managingController().le64(288, 1).le64(304, 1);  // 2 to the power of 64 bytes and more
    for (const DriveBytes& controller : {uncounted, vast}) {
        expectLook(controller);
        drive_.expect(createCommand(newNamespace(4000000, 4000000)).completes(3));
        EXPECT_EQ(
            run("create", {{"Size", "4000000"}}),
            answerOf("0/0 Namespace 3 was created: 4000000 blocks of 512 bytes. It can be used when it is attached to "
                     "a controller."));
        drive_.expectDone();
    }
}

/// A controller that has the granularity list: the first descriptor counts for all formats, or each for its own.
DriveBytes granularController() {
    return managingController().le32(96, 0x80);
}
DriveBytes granularity(uint8_t attributes, std::initializer_list<std::pair<uint64_t, uint64_t>> descriptors) {
    DriveBytes list = DriveBytes(4096).byte(0, attributes).byte(4, static_cast<uint8_t>(descriptors.size() - 1));
    size_t offset = 32;
    for (const auto& [size, capacity] : descriptors) {
        list.le64(offset, size).le64(offset + 8, capacity);
        offset += 16;
    }
    return list;
}

TEST_F(NamespaceManagementJobTest, AmountsInOtherUnitsAreRoundedDownToGranules) {
    constexpr uint64_t MIB = 1 << 20;
    const auto lookAt = [&](uint64_t granule) {
        expectLook(granularController());
        drive_.expect(identify(0x16).answers(granularity(0, {{granule, granule}})));
    };
    lookAt(700 * MIB);
    drive_.expect(createCommand(newNamespace(1433600, 1433600)).completes(3));
    EXPECT_EQ(
        run("create", {{"Size", "1GB"}}),
        answerOf("0/0 Namespace 3 was created: 1433600 blocks of 512 bytes. It can be used when it is attached to a "
                 "controller."));
    lookAt(MIB * 2000);
    EXPECT_EQ(run("create", {{"Size", "1GiB"}}),
              answerOf("10/269 Invalid Capacity. Size is less than 2097152000 bytes, the smallest amount on drive S1 "
                       "(/dev/nvme0)."));
}

TEST_F(NamespaceManagementJobTest, ASizeBetweenGranulesIsReportedWithItsNeighbours) {
    constexpr uint64_t MIB = 1 << 20;
    const DriveBytes thin = common().byte(24, 0x01);
    const std::string invalid = "10/269 Invalid Capacity. ";
    const struct {
        Words words;
        DriveBytes common;
        DriveBytes list;
        std::string refusal;
    } CASES[] = {
        {{{"Size", "3000"}},
         common(),
         granularity(0, {{MIB, MIB}}),
         invalid + "Size must be a multiple of 2048 blocks on drive S1 (/dev/nvme0): 2048 or 4096 would fit."},
        {{{"Size", "1"}},
         common(),
         granularity(0, {{MIB, MIB}}),
         invalid + "Size must be a multiple of 2048 blocks on drive S1 (/dev/nvme0): 2048 would fit."},
        {{{"Size", "3000"}, {"LBAFormat", "1"}},
         common(),
         granularity(0, {{MIB, MIB}, {4 * MIB, 4 * MIB}}),
         invalid + "Size must be a multiple of 256 blocks on drive S1 (/dev/nvme0): 2816 or 3072 would fit."},
        {{{"Size", "3000"}, {"LBAFormat", "1"}},
         common(),
         granularity(1, {{MIB, MIB}, {4 * MIB, 4 * MIB}}),
         invalid + "Size must be a multiple of 1024 blocks on drive S1 (/dev/nvme0): 2048 or 3072 would fit."},
        {{{"Size", "3000"}},
         common(),
         granularity(0, {{MIB, 3 * MIB}}),
         invalid + "Size must be a multiple of 6144 blocks on drive S1 (/dev/nvme0): 6144 would fit."},
        {{{"Size", "4096"}, {"Capacity", "3000"}},
         thin,
         granularity(0, {{MIB, MIB}}),
         invalid + "Capacity must be a multiple of 2048 blocks on drive S1 (/dev/nvme0): 2048 or 4096 would fit."},
        {{{"Size", "5000"}, {"Capacity", "2048"}},
         thin,
         granularity(0, {{MIB, MIB}}),
         invalid + "Size must be a multiple of 2048 blocks on drive S1 (/dev/nvme0): 4096 or 6144 would fit."},
        {{{"Size", "2097153"}},
         common(),
         granularity(0, {{700 * MIB, 700 * MIB}}),
         "10/82 More free space is required to create the namespace. Drive S1 (/dev/nvme0) has 1073741824 bytes left: "
         "1433600 blocks of 512 bytes would fit."},
        {{{"Size", "2000000"}},
         common(),
         granularity(0, {{700 * MIB, 700 * MIB}}),
         invalid + "Size must be a multiple of 1433600 blocks on drive S1 (/dev/nvme0): 1433600 would fit."},
        {{{"Size", "2000000"}},
         common(),
         granularity(0, {{2000 * MIB, 2000 * MIB}}),
         invalid + "Size must be a multiple of 4096000 blocks on drive S1 (/dev/nvme0)."},
        {{{"Size", "2000000"}},
         common(),
         granularity(0, {{0xFFFFFFFFFFFFFE00, 0xFFFFFFFFFFFFFC00}}),
         invalid + "Size must be a multiple of 36028797018963967 blocks on drive S1 (/dev/nvme0)."},
    };
    for (const auto& c : CASES) {
        expectLook(granularController(), c.common);
        drive_.expect(identify(0x16).answers(c.list));
        EXPECT_EQ(run("create", c.words), answerOf(c.refusal));
        drive_.expectDone();
    }
}

TEST_F(NamespaceManagementJobTest, WholeGranulesAndDrivesWithoutThemPass) {
    const Expected lists[] = {
        identify(0x16).answers(granularity(0, {{1 << 20, 1 << 20}})), identify(0x16).answers(granularity(0, {{0, 0}})),
        identify(0x16).answers(granularity(0, {{1000, 1000}})),  // no whole number of blocks
        identify(0x16).answers(granularity(0, {{512, 512}})),         identify(0x16).refuses(0x4002),
    };
    for (const Expected& list : lists) {
        expectLook(granularController());
        drive_.expect(list).expect(createCommand(newNamespace(4096, 4096)).completes(3));
        EXPECT_EQ(
            run("create", {{"Size", "4096"}}),
            answerOf("0/0 Namespace 3 was created: 4096 blocks of 512 bytes. It can be used when it is attached to a "
                     "controller."));
        drive_.expectDone();
    }
}

// Delete.

TEST_F(NamespaceManagementJobTest, DeletesANamespaceAndWaitsUntilTheSystemSeesIt) {
    drive_.expect(hostUses({unusedNamespace(1), partitioned(2)}))
        .expect(identify(1).answers(managingController()))
        .expect(allocated())
        .expect(hostUses({unusedNamespace(1), partitioned(2)}))
        .expect(deleteCommand(2).completes())
        .expect(Expected::host(HostRequest::RESCAN))
        .expect(hostNamespaces({unusedNamespace(1), unusedNamespace(2)}))
        .expect(hostNamespaces({unusedNamespace(1), unusedNamespace(2)}))
        .expect(hostNamespaces({unusedNamespace(1)}));
    EXPECT_EQ(run("delete", {{"MultiPathIoCapabilities", "0"}, {"NamespaceId", "0x2"}}),
              answerOf("0/0 Namespace 2 was deleted."))
        << "partitions alone do not stop it";
    EXPECT_EQ(clock_->sleeps(), (std::vector<uint64_t>{100, 100}));
}

TEST_F(NamespaceManagementJobTest, DeletesAllNamespaces) {
    drive_.expect(hostUses({unusedNamespace(1), unusedNamespace(2)}))
        .expect(identify(1).answers(managingController()))
        .expect(hostUses({unusedNamespace(1), unusedNamespace(2)}))
        .expect(deleteCommand(0xFFFFFFFF).completes())
        .expect(Expected::host(HostRequest::RESCAN))
        .expect(hostNamespaces({unusedNamespace(2)}))
        .expect(hostNamespaces({}));
    EXPECT_EQ(run("delete", {{"NamespaceId", "0xFFFFFFFF"}}), answerOf("0/0 All namespaces were deleted."));
    drive_.expect(hostUses({unusedNamespace(1), mounted(2)}));
    EXPECT_EQ(run("delete", {{"NamespaceId", "0xFFFFFFFF"}}), answerOf(mountedRefusal(2)));
}

TEST_F(NamespaceManagementJobTest, WhatIsTakenAwayMustNotBeInUse) {
    for (const char* action : {"delete", "detach"}) {
        drive_.expect(hostUses({unusedNamespace(1), mounted(2)}));
        EXPECT_EQ(run(action, {{"NamespaceId", "2"}}), answerOf(mountedRefusal(2))) << action;
        drive_.expect(hostUses({withSystem(1), unusedNamespace(2)}));
        EXPECT_EQ(run(action, {{"NamespaceId", "2"}}), answerOf(systemRefusal(1))) << action;
        // Immediately before the command.
        drive_.expect(hostUses({unusedNamespace(1), unusedNamespace(2)}))
            .expect(identify(1).answers(managingController()))
            .expect(allocated())
            .expect(hostUses({unusedNamespace(1), mounted(2)}));
        EXPECT_EQ(run(action, {{"NamespaceId", "2"}}), answerOf(mountedRefusal(2))) << action;
        drive_.expectDone();
    }
}

TEST_F(NamespaceManagementJobTest, WhatIsLeftAloneMayBeInUse) {
    drive_.expect(hostUses({mounted(1)}))
        .expect(identify(1).answers(managingController()))
        .expect(allocated())
        .expect(hostUses({mounted(1)}))
        .expect(deleteCommand(2).completes())
        .expect(Expected::host(HostRequest::RESCAN))
        .expect(hostNamespaces({mounted(1)}));
    EXPECT_EQ(run("delete", {{"NamespaceId", "2"}}), answerOf("0/0 Namespace 2 was deleted."));
}

// Attach and detach.

TEST_F(NamespaceManagementJobTest, AttachesToTheDrivesOwnControllerAndReportsTheNode) {
    transport::HostNamespace withoutNode = unusedNamespace(2);
    withoutNode.node.clear();
    drive_.expect(identify(1).answers(managingController()))
        .expect(allocated())
        .expect(attachmentCommand(0, 2, 3).completes())
        .expect(Expected::host(HostRequest::RESCAN))
        .expect(hostNamespaces({unusedNamespace(1)}))
        .expect(hostNamespaces({unusedNamespace(1), withoutNode}))
        .expect(hostNamespaces({unusedNamespace(1), unusedNamespace(2)}));
    EXPECT_EQ(run("attach", {{"MultiPathIoCapabilities", "0"}, {"NamespaceId", "2"}}),
              answerOf("0/0 Namespace 2 was attached to controller 3: /dev/nvme0n2."));
    EXPECT_EQ(clock_->sleeps(), (std::vector<uint64_t>{100, 100}));
}

TEST_F(NamespaceManagementJobTest, ASystemThatDoesNotSeeItIsWaitedForTenSeconds) {
    drive_.expect(identify(1).answers(managingController()))
        .expect(allocated())
        .expect(attachmentCommand(0, 2, 3).completes())
        .expect(Expected::host(HostRequest::RESCAN));
    for (int look = 0; look <= 100; ++look) drive_.expect(hostNamespaces({unusedNamespace(1)}));
    EXPECT_EQ(run("attach", {{"NamespaceId", "2"}}), answerOf("0/0 Namespace 2 was attached to controller 3."));
    EXPECT_EQ(clock_->sleeps(), std::vector<uint64_t>(100, 100));
}

TEST_F(NamespaceManagementJobTest, AttachesToAnotherController) {
    drive_.expect(identify(1).answers(managingController()))
        .expect(allocated())
        .expect(attachmentCommand(0, 2, 0).completes())
        .expect(Expected::host(HostRequest::RESCAN));
    EXPECT_EQ(run("attach", {{"NamespaceId", "2"}, {"NVMeControllerID", "0"}}),
              answerOf("0/0 Namespace 2 was attached to controller 0."));
}

TEST_F(NamespaceManagementJobTest, DetachesANamespace) {
    drive_.expect(hostUses({unusedNamespace(1), partitioned(2)}))
        .expect(identify(1).answers(managingController()))
        .expect(allocated())
        .expect(hostUses({unusedNamespace(1), partitioned(2)}))
        .expect(attachmentCommand(1, 2, 3).completes())
        .expect(Expected::host(HostRequest::RESCAN))
        .expect(hostNamespaces({unusedNamespace(1)}));
    EXPECT_EQ(run("detach", {{"NamespaceId", "2"}}), answerOf("0/0 Namespace 2 was detached from controller 3."));
    drive_.expect(hostUses({}))
        .expect(identify(1).answers(managingController()))
        .expect(allocated())
        .expect(hostUses({}))
        .expect(attachmentCommand(1, 2, 7).completes())
        .expect(Expected::host(HostRequest::RESCAN));
    EXPECT_EQ(run("detach", {{"NamespaceId", "2"}, {"NVMeControllerID", "7"}}),
              answerOf("0/0 Namespace 2 was detached from controller 7."));
}

// What goes wrong.

TEST_F(NamespaceManagementJobTest, EachRefusalHasItsMeaning) {
    const struct {
        uint16_t statusField;
        std::string status;
        std::string words;
    } CASES[] = {
        {0x4001, "10/3 The selected drive does not support this feature.", "Invalid Command Opcode|0x0|0x01"},
        {0x400B, "10/80 Invalid namespace ID given.", "Invalid Namespace or Format|0x0|0x0B"},
        {0x001D, "10/226 Sanitize operation in progress.", "Sanitize In Progress|0x0|0x1D"},
        {0x4020, "10/259 The command is prohibited while the namespace is write protected.",
         "Namespace is Write Protected|0x0|0x20"},
        {0x410A, "10/81 The LBA Format specified is not supported.", "Invalid Format|0x1|0x0A"},
        {0x4115, "10/82 More free space is required to create the namespace.",
         "Namespace Insufficient Capacity|0x1|0x15"},
        {0x4116, "10/83 The number of namespaces supported has been exceeded.",
         "Namespace Identifier Unavailable|0x1|0x16"},
        {0x4118, "10/85 The specified controller is already attached to the given namespace.",
         "Namespace Already Attached|0x1|0x18"},
        {0x4119,
         "10/86 Could not attach the given controller. The specified namespace is private and is already attached to "
         "one controller.",
         "Namespace Is Private|0x1|0x19"},
        {0x411A, "10/87 The specified controller is not attached to the given namespace.",
         "Namespace Not Attached|0x1|0x1A"},
        {0x411B, "10/84 Thin provisioning is not supported by the controller.",
         "Thin Provisioning Not Supported|0x1|0x1B"},
        {0x411C, "10/88 The controller list provided is invalid.", "Controller List Invalid|0x1|0x1C"},
        {0x411F, "10/88 The controller list provided is invalid.", "Invalid Controller Identifier|0x1|0x1F"},
        {0x4124, "10/262 The specified ANA Group Identifier (ANAGRPID) is not supported.",
         "ANA Group Identifier Invalid|0x1|0x24"},
        {0x4125, "10/263 The controller is not attached to the namespace as a result of an ANA condition.",
         "ANA Attach Failed|0x1|0x25"},
        {0x4126, "10/82 More free space is required to create the namespace.", "Insufficient Capacity|0x1|0x26"},
        {0x4127, "10/83 The number of namespaces supported has been exceeded.",
         "Namespace Attachment Limit Exceeded|0x1|0x27"},
        {0x4129, "10/3 The selected drive does not support this feature.", "I/O Command Set Not Supported|0x1|0x29"},
        {0x412A, "10/3 The selected drive does not support this feature.", "I/O Command Set Not Enabled|0x1|0x2A"},
        {0x4006, "0/25 NVMe command reported a problem.", "Internal Error|0x0|0x06"},
    };
    for (const auto& c : CASES) {
        const size_t type = c.words.find('|');
        const size_t code = c.words.rfind('|');
        const std::string words = c.words.substr(0, type) + " (status code type " +
                                  c.words.substr(type + 1, code - type - 1) + ", status code " +
                                  c.words.substr(code + 1);
        expectLook();
        drive_.expect(createCommand(newNamespace(8, 8)).refuses(c.statusField));
        EXPECT_EQ(
            run("create", {{"Size", "8"}}),
            answerOf(c.status + " Namespace Management failed on drive S1 (/dev/nvme0): " + words + ", opcode 0x0D)."));
        drive_.expect(identify(1).answers(managingController()))
            .expect(allocated())
            .expect(attachmentCommand(0, 2, 3).refuses(c.statusField));
        EXPECT_EQ(
            run("attach", {{"NamespaceId", "2"}}),
            answerOf(c.status + " Namespace Attachment failed on drive S1 (/dev/nvme0): " + words + ", opcode 0x15)."));
        drive_.expect(hostUses({}))
            .expect(identify(1).answers(managingController()))
            .expect(allocated())
            .expect(hostUses({}))
            .expect(deleteCommand(2).refuses(c.statusField));
        EXPECT_EQ(
            run("delete", {{"NamespaceId", "2"}}),
            answerOf(c.status + " Namespace Management failed on drive S1 (/dev/nvme0): " + words + ", opcode 0x0D)."));
        drive_.expectDone();
    }
}

TEST_F(NamespaceManagementJobTest, ANamespaceThatIsNotThere) {
    const std::string refused = "10/80 Invalid namespace ID given. Drive S1 (/dev/nvme0) has no namespace 7.";
    drive_.expect(identify(1).answers(managingController())).expect(allocated());
    EXPECT_EQ(run("attach", {{"NamespaceId", "7"}}), answerOf(refused));
    for (const char* action : {"delete", "detach"}) {
        drive_.expect(hostUses({})).expect(identify(1).answers(managingController())).expect(allocated());
        EXPECT_EQ(run(action, {{"NamespaceId", "7"}}), answerOf(refused)) << action;
    }
    drive_.expect(identify(1).answers(managingController()))
        .expect(identify(0x10).refuses(0x4002))
        .expect(attachmentCommand(0, 7, 3).refuses(0x400B));
    EXPECT_EQ(
        run("attach", {{"NamespaceId", "7"}}),
        answerOf("10/80 Invalid namespace ID given. Namespace Attachment failed on drive S1 (/dev/nvme0): Invalid "
                 "Namespace or Format (status code type 0x0, status code 0x0B, opcode 0x15)."))
        << "a drive without the list";
}

TEST_F(NamespaceManagementJobTest, AControllerThatOnlyClaimsToHaveItCreatesNothing) {
    drive_.expect(identify(1).answers(managingController()))
        .expect(allocated())
        .expect(identify(0, 0xFFFFFFFF).refuses(0x400B));
    EXPECT_EQ(
        run("create", {{"Size", "8"}}),
        answerOf("10/3 The selected drive does not support this feature. Identify failed on drive S1 (/dev/nvme0): "
                 "Invalid Namespace or Format (status code type 0x0, status code 0x0B, opcode 0x06)."));
}

TEST_F(NamespaceManagementJobTest, ASystemThatDoesNotLookAgainIsReportedAfterWhatWasDone) {
    const Status failure(CATEGORY_OS, 5, "System error. No look.");
    drive_.expect(hostUses({}))
        .expect(identify(1).answers(managingController()))
        .expect(allocated())
        .expect(hostUses({}))
        .expect(deleteCommand(2).completes())
        .expect(Expected::host(HostRequest::RESCAN).breaks(failure));
    EXPECT_EQ(run("delete", {{"NamespaceId", "2"}}), answerOf("1/5 System error. No look. Namespace 2 was deleted."));
    drive_.expect(identify(1).answers(managingController()))
        .expect(allocated())
        .expect(attachmentCommand(0, 2, 3).completes())
        .expect(Expected::host(HostRequest::RESCAN).breaks(failure));
    EXPECT_EQ(run("attach", {{"NamespaceId", "2"}}),
              answerOf("1/5 System error. No look. Namespace 2 was attached to controller 3."));
}

TEST_F(NamespaceManagementJobTest, ADriveThatGoesAwayIsReportedWhereverItHappens) {
    const Expected create[] = {
        identify(1).answers(granularController()),      identify(0x10).answers(namespaceList({})),
        identify(0, 0xFFFFFFFF).answers(common()),      identify(0x16).answers(granularity(0, {{512, 512}})),
        createCommand(newNamespace(8, 8)).completes(1),
    };
    for (size_t n = 0; n < std::size(create); ++n) {
        for (size_t i = 0; i < n; ++i) drive_.expect(create[i]);
        Expected last = create[n];
        drive_.expect(last.breaks(gone()));
        EXPECT_EQ(run("create", {{"Size", "8"}}), answerOf("0/70 The drive /dev/nvme0 is gone.")) << n;
        drive_.expectDone();
    }
    const Expected erase[] = {hostUses({}), identify(1).answers(managingController()), allocated(), hostUses({}),
                              deleteCommand(2).completes()};
    for (size_t n = 0; n < std::size(erase); ++n) {
        for (size_t i = 0; i < n; ++i) drive_.expect(erase[i]);
        Expected last = erase[n];
        drive_.expect(last.breaks(gone()));
        EXPECT_EQ(run("delete", {{"NamespaceId", "2"}}), answerOf("0/70 The drive /dev/nvme0 is gone.")) << n;
        drive_.expectDone();
    }
}

}  // namespace
}  // namespace features::jobs
