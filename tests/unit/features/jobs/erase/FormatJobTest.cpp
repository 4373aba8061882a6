#include <gtest/gtest.h>

#include "features/jobs/erase/FormatJob.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"
#include "tests/unit/features/jobs/Commands.h"
#include "tests/unit/features/jobs/FakeClock.h"
#include "tests/unit/features/jobs/JobRun.h"
#include "tests/unit/features/jobs/Models.h"
#include "tests/unit/features/jobs/StatusAnswer.h"
#include "tests/unit/features/jobs/UsedNamespaces.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::core;
using namespace ostrel::interfaces::ostreli;
using Words = std::vector<std::pair<const char*, const char*>>;

constexpr uint32_t HOUR_MS = 3600000;

/// What the answer is when it is one status of the drive.
std::string answerOf(const std::string& status) {
    return statusAnswer("Format", status);
}

/// A controller that has Format NVM, and these bits of FNA.
DriveBytes formatController(uint8_t fna = 0) {
    return identifyController().le16(256, 0x0002).byte(524, fna);
}
/// One with namespace management too.
DriveBytes managingController(uint8_t fna = 0) {
    return formatController(fna).le16(256, 0x000A);
}

/// A namespace of 1,000,000 blocks in `format` of three: blocks of 512 bytes, of 4,096, and of 4,096 with 8 bytes of
/// metadata. Protection of types 1 and 3, in the last eight bytes; metadata in both ways.
DriveBytes space(uint8_t format = 0) {
    return identifyNamespace(1000000)
        .byte(25, 2)
        .byte(26, format)
        .byte(27, 0x03)
        .byte(28, 0x15)
        .le32(128, 9U << 16)
        .le32(132, 12U << 16)
        .le32(136, 12U << 16 | 8);
}

Expected formatCommand(uint32_t nsid, uint32_t dword10) {
    return Expected::admin(0x80).nsid(nsid).dword(10, dword10);
}

class FormatJobTest : public testing::Test {
protected:
    std::string run(const std::string& type, const Words& words = {}) {
        JobRun run(job_, JOBTYPE_METHOD);
        run.with("Type", type);
        for (const auto& [key, value] : words) run.with(key, value);
        return run.on({&drive_});
    }
    /// The gate, the controller's identity, and the namespace before.
    void expectLook(uint32_t nsid, const DriveBytes& controller = formatController(),
                    const DriveBytes& before = space()) {
        drive_.expect(hostUses({unusedNamespace(1)}))
            .expect(identify(1).answers(controller))
            .expect(identify(0, nsid).answers(before));
    }

    FakeDrive drive_;
    std::shared_ptr<FakeClock> clock_ = std::make_shared<FakeClock>();
    FormatJob job_{clock_};
};

const std::string ERASED_1 = "Namespace 1 was formatted and its user data erased: LBA format 0, blocks of 512 bytes.";

// The request.

TEST_F(FormatJobTest, AnotherTypeIsRefusedUnasked) {
    const std::string refused =
        "10/32 Invalid format type. Supported types are sanitize, ATA secure erase, delete and NVMe format.";
    EXPECT_EQ(run("SecureErase"), refused);
    EXPECT_EQ(run("delete"), refused) << "the words are compared exactly";
    EXPECT_EQ(run(""), refused);
}

TEST_F(FormatJobTest, ItTakesExactlyOneDrive) {
    JobRun run(job_, JOBTYPE_METHOD);
    run.with("Type", "Delete");
    EXPECT_EQ(run.on({}), "10/5 No device selected.");
    FakeDrive other("S2", "/dev/nvme1");
    EXPECT_EQ(run.on({&drive_, &other}), "10/6 Multiple devices selected.");
}

TEST_F(FormatJobTest, ArgumentsThatNoFieldHoldsAreRefusedUnasked) {
    const struct {
        Words words;
        std::string refusal;
    } CASES[] = {
        {{{"SecureEraseSetting", "3"}},
         "10/27 Invalid setting for secure erase. SecureEraseSetting must be a number from 0 to 2, not '3'."},
        {{{"SecureEraseSetting", "b"}},
         "10/27 Invalid setting for secure erase. SecureEraseSetting must be a number from 0 to 2, not 'b'."},
        {{{"LBAFormat", "64"}}, "10/28 Invalid LBA format. LBAFormat must be a number from 0 to 63, not '64'."},
        {{{"LBAFormat", "-1"}}, "10/28 Invalid LBA format. LBAFormat must be a number from 0 to 63, not '-1'."},
        {{{"ProtectionInformation", "4"}},
         "10/29 Invalid protection information value. ProtectionInformation must be a number from 0 to 3, not '4'."},
        {{{"ProtectionInformationLocation", "2"}},
         "10/30 Invalid protection information location. ProtectionInformationLocation must be a number from 0 to 1, "
         "not '2'."},
        {{{"MetadataSettings", "2"}},
         "10/31 Invalid metadata settings. MetadataSettings must be a number from 0 to 1, not '2'."},
        {{{"NamespaceId", "0"}},
         "10/80 Invalid namespace ID given. It must be a number from 1 to 0xFFFFFFFE, or 0xFFFFFFFF for all, not '0'."},
        {{{"NamespaceId", "0x100000000"}},
         "10/36 Invalid value given for NamespaceId: '0x100000000'. It must be a number from 0 to 4294967295."},
    };
    for (const auto& c : CASES) EXPECT_EQ(run("NVMeFormat", c.words), c.refusal);
}

// The gate.

TEST_F(FormatJobTest, AUsedDriveIsRefusedBeforeAnythingIsAsked) {
    const struct {
        const char* force;
        transport::HostNamespace space;
        std::string refusal;
    } CASES[] = {
        {"false", withSystem(1), systemRefusal(1)},     {"true", withSystem(1), systemRefusal(1)},
        {"false", mounted(2), mountedRefusal(2)},       {"true", mounted(2), mountedRefusal(2)},
        {"false", partitioned(2), partitionRefusal(2)}, {"", partitioned(2), partitionRefusal(2)},
    };
    for (const auto& c : CASES) {
        for (const char* type : {"Delete", "NVMeFormat"}) {
            drive_.expect(hostUses({unusedNamespace(3), c.space}));
            EXPECT_EQ(run(type, {{"Force", c.force}}), answerOf(c.refusal)) << type;
        }
    }
}

TEST_F(FormatJobTest, TheGateLooksAgainImmediatelyBeforeTheCommand) {
    expectLook(1);
    drive_.expect(hostUses({mounted(1)}));
    EXPECT_EQ(run("NVMeFormat", {{"NamespaceId", "1"}, {"Force", "true"}}), answerOf(mountedRefusal(1)));

    drive_.expect(hostUses({unusedNamespace(1)}))
        .expect(identify(1).answers(formatController()))
        .expect(identify(2).answers(namespaceList({1})))
        .expect(identify(0, 1).answers(space()))
        .expect(hostUses({unusedNamespace(1), partitioned(2)}));
    EXPECT_EQ(run("Delete", {{"Force", "false"}}), answerOf(partitionRefusal(2)));
}

TEST_F(FormatJobTest, ForceOverridesPartitionsAlone) {
    drive_.expect(hostUses({partitioned(1)}))
        .expect(identify(1).answers(formatController()))
        .expect(identify(2).answers(namespaceList({1})))
        .expect(identify(0, 1).answers(space()))
        .expect(hostUses({partitioned(1)}))
        .expect(formatCommand(1, 0x200).completes())
        .expect(identify(0, 1).answers(space()))
        .expect(lookAgain());
    EXPECT_EQ(run("Delete", {{"Force", "true"}}), answerOf("0/0 " + ERASED_1));
}

TEST_F(FormatJobTest, WhatAFormatOfOneNamespaceDoesNotReachMayBeUsed) {
    drive_.expect(hostUses({unusedNamespace(1), mounted(2)}))
        .expect(identify(1).answers(formatController()))
        .expect(identify(0, 1).answers(space()))
        .expect(hostUses({unusedNamespace(1), mounted(2)}))
        .expect(formatCommand(1, 0x001).completes())
        .expect(identify(0, 1).answers(space(1)))
        .expect(lookAgain());
    EXPECT_EQ(run("NVMeFormat", {{"NamespaceId", "1"}, {"LBAFormat", "1"}}),
              answerOf("0/0 Namespace 1 was formatted: LBA format 1, blocks of 4096 bytes."));
}

// Delete.

TEST_F(FormatJobTest, DeleteErasesEachNamespaceAndKeepsItsFormat) {
    const DriveBytes protectedSpace = space(2).byte(29, 0x01);
    drive_.expect(hostUses({unusedNamespace(1), unusedNamespace(3)}))
        .expect(identify(1).answers(managingController()))
        .expect(identify(0x10).answers(namespaceList({1, 3, 7})))
        .expect(identify(0, 1).answers(space()))
        .expect(identify(0, 3).answers(protectedSpace))
        .expect(identify(0, 7).answers(DriveBytes(4096)))  // not attached here
        .expect(identify(0x11, 7).answers(space(1)));
    const auto namespaces = std::vector<transport::HostNamespace>{unusedNamespace(1), unusedNamespace(3)};
    drive_.expect(hostUses(namespaces))
        .expect(formatCommand(1, 0x200).timeoutMs(HOUR_MS + 512 + 4096 + 4096).completes())
        .expect(identify(0, 1).answers(space()))
        .expect(lookAgain())
        .expect(hostUses(namespaces))
        .expect(formatCommand(3, 0x222).completes())
        .expect(identify(0, 3).answers(protectedSpace))
        .expect(lookAgain())
        .expect(hostUses(namespaces))
        .expect(formatCommand(7, 0x201).completes())
        .expect(identify(0, 7).answers(DriveBytes(4096)))
        .expect(identify(0x11, 7).answers(space(1)))
        .expect(lookAgain());
    EXPECT_EQ(run("Delete"),
              answerOf("0/0 " + ERASED_1 +
                       " Namespace 3 was formatted and its user data erased: LBA format 2, blocks of 4096 "
                       "bytes, 8 bytes of metadata, protection type 1. Namespace 7 was formatted and its "
                       "user data erased: LBA format 1, blocks of 4096 bytes."));
}

TEST_F(FormatJobTest, DeleteTakesTheWholeDriveAlsoWhenItsPathNamedANamespace) {
    nameNamespace(drive_, 1);
    drive_.expect(hostUses({unusedNamespace(1), mounted(2)}));
    EXPECT_EQ(run("Delete"), answerOf(mountedRefusal(2)));
}

TEST_F(FormatJobTest, ADriveThatFormatsAllTogetherGetsOneCommand) {
    const struct {
        uint8_t fna;
        uint32_t nsid;
        const char* why;
    } CASES[] = {
        {0x01, 0xFFFFFFFF, "formats all"},
        {0x09, 4, "formats all, but does not take the broadcast identifier"},
        {0x03, 0xFFFFFFFF, "formats and erases all"},
        {0x02, 4, "erases all: a broadcast would be one format more than is needed"},
    };
    for (const auto& c : CASES) {
        drive_.expect(hostUses({}))
            .expect(identify(1).answers(formatController(c.fna)))
            .expect(identify(2).answers(namespaceList({4, 5})))
            .expect(identify(0, 4).answers(space()))
            .expect(identify(0, 5).answers(space()))
            .expect(hostUses({}))
            .expect(formatCommand(c.nsid, 0x200).completes())
            .expect(identify(0, 4).answers(space()))
            .expect(identify(0, 5).answers(space()))
            .expect(lookAgain());
        EXPECT_EQ(run("Delete"),
                  answerOf("0/0 Namespace 4 was formatted and its user data erased: LBA format 0, blocks of "
                           "512 bytes. Namespace 5 was formatted and its user data erased: LBA format 0, "
                           "blocks of 512 bytes."))
            << c.why;
        drive_.expectDone();
    }
}

TEST_F(FormatJobTest, ADriveThatErasesAllTogetherStillFormatsEach) {
    drive_.expect(hostUses({}))
        .expect(identify(1).answers(formatController(0x02)))
        .expect(identify(2).answers(namespaceList({1, 2, 3})))
        .expect(identify(0, 1).answers(space(1)))
        .expect(identify(0, 2).answers(space(0)))
        .expect(identify(0, 3).answers(space(1)))
        .expect(hostUses({}))
        .expect(formatCommand(1, 0x201).completes())
        .expect(identify(0, 1).answers(space(1)))
        .expect(identify(0, 3).answers(space(1)))
        .expect(lookAgain())
        .expect(hostUses({}))
        .expect(formatCommand(2, 0x201).completes())
        .expect(identify(0, 2).answers(space(1)))
        .expect(lookAgain());
    const std::string rest = " was formatted and its user data erased: LBA format 1, blocks of 4096 bytes.";
    EXPECT_EQ(run("NVMeFormat", {{"LBAFormat", "1"}, {"SecureEraseSetting", "1"}}),
              answerOf("0/0 Namespace 1" + rest + " Namespace 3" + rest + " Namespace 2" + rest));
}

TEST_F(FormatJobTest, ADriveThatFormatsAllTogetherIsNotGivenDifferentFormats) {
    drive_.expect(hostUses({}))
        .expect(identify(1).answers(formatController(0x01)))
        .expect(identify(2).answers(namespaceList({1, 2})))
        .expect(identify(0, 1).answers(space(1)))
        .expect(identify(0, 2).answers(space(0)));
    EXPECT_EQ(run("Delete"), answerOf("10/241 Cannot run selected feature with the given configuration. Drive S1 "
                                      "(/dev/nvme0) formats all its namespaces alike, but they differ."));
}

TEST_F(FormatJobTest, ADriveWithoutNamespacesHasNothingToErase) {
    drive_.expect(hostUses({}))
        .expect(identify(1).answers(formatController()))
        .expect(identify(2).answers(namespaceList({})));
    EXPECT_EQ(run("Delete"), answerOf("10/80 Invalid namespace ID given. Drive S1 (/dev/nvme0) has no namespace."));
}

TEST_F(FormatJobTest, AControllerThatOnlyClaimsNamespaceManagementIsAskedForItsAttachedOnes) {
    drive_.expect(hostUses({}))
        .expect(identify(1).answers(managingController()))
        .expect(identify(0x10).refuses(0x4002))
        .expect(identify(2).answers(namespaceList({1})))
        .expect(identify(0, 1).answers(space()))
        .expect(hostUses({}))
        .expect(formatCommand(1, 0x200).completes())
        .expect(identify(0, 1).answers(space()))
        .expect(lookAgain());
    EXPECT_EQ(run("Delete"), answerOf("0/0 " + ERASED_1));
}

TEST_F(FormatJobTest, AFailureInTheMiddleReportsWhatWasDoneBefore) {
    drive_.expect(hostUses({}))
        .expect(identify(1).answers(formatController()))
        .expect(identify(2).answers(namespaceList({1, 2})))
        .expect(identify(0, 1).answers(space()))
        .expect(identify(0, 2).answers(space()))
        .expect(hostUses({}))
        .expect(formatCommand(1, 0x200).completes())
        .expect(identify(0, 1).answers(space()))
        .expect(lookAgain())
        .expect(hostUses({}))
        .expect(formatCommand(2, 0x200).refuses(0x4006));
    EXPECT_EQ(
        run("Delete"),
        answerOf("10/171 Failed to format drive. Format NVM failed on drive S1 (/dev/nvme0): Internal Error (status "
                 "code type 0x0, status code 0x06, opcode 0x80). It was for namespace 2. Before that: " +
                 ERASED_1));
}

// NVMeFormat.

TEST_F(FormatJobTest, EachFieldOfTheCommandDword) {
    const DriveBytes before = space(2);
    const struct {
        Words words;
        uint32_t dword;
        DriveBytes after;
        std::string outcome;
    } CASES[] = {
        {{}, 0x002, before, "was formatted: LBA format 2, blocks of 4096 bytes, 8 bytes of metadata."},
        {{{"LBAFormat", "1"}}, 0x001, space(1), "was formatted: LBA format 1, blocks of 4096 bytes."},
        {{{"SecureEraseSetting", "1"}},
         0x202,
         before,
         "was formatted and its user data erased: LBA format 2, blocks of 4096 bytes, 8 bytes of metadata."},
        {{{"SecureEraseSetting", "2"}},
         0x402,
         before,
         "was formatted and its data erased cryptographically: LBA format 2, blocks of 4096 bytes, 8 bytes of "
         "metadata."},
        {{{"ProtectionInformation", "3"}},
         0x062,
         space(2).byte(29, 0x03),
         "was formatted: LBA format 2, blocks of 4096 bytes, 8 bytes of metadata, protection type 3."},
        {{{"MetadataSettings", "1"}},
         0x012,
         space(0x12),
         "was formatted: LBA format 2, blocks of 4096 bytes, 8 bytes of metadata."},
        {{{"SecureEraseSetting", "0"},
          {"LBAFormat", "2"},
          {"ProtectionInformation", "1"},
          {"MetadataSettings", "1"},
          {"Force", "false"}},
         0x032,
         space(0x12).byte(29, 0x01),
         "was formatted: LBA format 2, blocks of 4096 bytes, 8 bytes of metadata, protection type 1."},
    };
    for (const auto& c : CASES) {
        expectLook(1, formatController(0x04), before);
        drive_.expect(hostUses({unusedNamespace(1)}))
            .expect(formatCommand(1, c.dword).completes())
            .expect(identify(0, 1).answers(c.after))
            .expect(lookAgain());
        Words words = c.words;
        words.push_back({"NamespaceId", "0x1"});
        EXPECT_EQ(run("NVMeFormat", words), answerOf("0/0 Namespace 1 " + c.outcome));
        drive_.expectDone();
    }
}

TEST_F(FormatJobTest, WhatIsNotGivenStays) {
    // Format 2, extended metadata, type 3 in the first eight bytes.
    const DriveBytes before = space(0x12).byte(28, 0x1F).byte(29, 0x0B);
    expectLook(1, formatController(), before);
    drive_.expect(hostUses({unusedNamespace(1)}))
        .expect(formatCommand(1, 0x372).completes())
        .expect(identify(0, 1).answers(before))
        .expect(lookAgain());
    EXPECT_EQ(
        run("NVMeFormat", {{"NamespaceId", "1"}, {"SecureEraseSetting", "1"}}),
        answerOf("0/0 Namespace 1 was formatted and its user data erased: LBA format 2, blocks of 4096 bytes, 8 bytes "
                 "of metadata, protection type 3."));
}

TEST_F(FormatJobTest, ALocationOfTheProtectionMayBeGiven) {
    const DriveBytes before = space(2).byte(28, 0x1F);
    expectLook(1, formatController(), before);
    drive_.expect(hostUses({unusedNamespace(1)}))
        .expect(formatCommand(1, 0x122).completes())
        .expect(identify(0, 1).answers(space(2).byte(28, 0x1F).byte(29, 0x09)))
        .expect(lookAgain());
    EXPECT_EQ(
        run("NVMeFormat",
            {{"NamespaceId", "1"}, {"ProtectionInformation", "1"}, {"ProtectionInformationLocation", "1"}}),
        answerOf("0/0 Namespace 1 was formatted: LBA format 2, blocks of 4096 bytes, 8 bytes of metadata, protection "
                 "type 1."));
}

TEST_F(FormatJobTest, FormatsThatTheDriveDoesNotShowYetAreNamed) {
    const std::string refusal =
        "10/28 Invalid LBA format. Namespace 1 of drive S1 (/dev/nvme0) has the formats 0 to 15.";
    const struct {
        const char* format;
        uint32_t ctratt;
        std::string more;
    } CASES[] = {
        {"16", 0x8000,
         " More are shown once LBA Format Extension Enable (LBAFEE) is set in Host Behavior Support (feature 0x16)."},
        {"16", 0, ""},
    };
    for (const auto& c : CASES) {
        expectLook(1, formatController().le32(96, c.ctratt), identifyNamespace(8).byte(25, 15));
        EXPECT_EQ(run("NVMeFormat", {{"NamespaceId", "1"}, {"LBAFormat", c.format}}), answerOf(refusal + c.more));
        drive_.expectDone();
    }
}

TEST_F(FormatJobTest, FormatsAboveFifteenGoIntoTheUpperBits) {
    // 33 formats, number 32 of 4,096 bytes; number 17 in use.
    DriveBytes many = identifyNamespace(8).byte(25, 32).byte(26, 0x21);
    many.le32(128 + 4 * 17, 9U << 16).le32(128 + 4 * 32, 12U << 16);
    DriveBytes after = many;
    expectLook(1, formatController(), many);
    drive_.expect(hostUses({unusedNamespace(1)}))
        .expect(formatCommand(1, 0x2000).completes())
        .expect(identify(0, 1).answers(after.byte(26, 0x40)))
        .expect(lookAgain());
    EXPECT_EQ(run("NVMeFormat", {{"NamespaceId", "1"}, {"LBAFormat", "32"}}),
              answerOf("0/0 Namespace 1 was formatted: LBA format 32, blocks of 4096 bytes."));
}

TEST_F(FormatJobTest, WithoutANamespaceIdItIsTheOneOfThePathOrAll) {
    nameNamespace(drive_, 2);
    expectLook(2);
    drive_.expect(hostUses({unusedNamespace(1)}))
        .expect(formatCommand(2, 0x000).completes())
        .expect(identify(0, 2).answers(space()))
        .expect(lookAgain());
    EXPECT_EQ(run("NVMeFormat", {{"NamespaceId", ""}}),
              answerOf("0/0 Namespace 2 was formatted: LBA format 0, blocks of 512 bytes."));

    FakeDrive whole;
    whole.expect(hostUses({}))
        .expect(identify(1).answers(formatController()))
        .expect(identify(2).answers(namespaceList({1})))
        .expect(identify(0, 1).answers(space()))
        .expect(hostUses({}))
        .expect(formatCommand(1, 0x000).completes())
        .expect(identify(0, 1).answers(space()))
        .expect(lookAgain());
    EXPECT_EQ(JobRun(job_, JOBTYPE_METHOD).with("Type", "NVMeFormat").on({&whole}),
              answerOf("0/0 Namespace 1 was formatted: LBA format 0, blocks of 512 bytes."));
}

TEST_F(FormatJobTest, TheDrivesLimitsAreCheckedBeforeAnythingIsWritten) {
    const struct {
        Words words;
        DriveBytes before;
        std::string refusal;
    } CASES[] = {
        {{{"LBAFormat", "3"}},
         space(),
         "10/28 Invalid LBA format. Namespace 1 of drive S1 (/dev/nvme0) has the formats 0 to 2."},
        {{{"LBAFormat", "1"}},
         space().le32(132, 0),
         "10/28 Invalid LBA format. Namespace 1 of drive S1 (/dev/nvme0) does not offer format 1 at present."},
        {{{"ProtectionInformation", "1"}},
         space(),
         "10/29 Invalid protection information value. Type 1 needs a format with 8 bytes of metadata; format 0 of "
         "Namespace 1 of drive S1 (/dev/nvme0) has 0."},
        {{{"LBAFormat", "0"}},
         space(2).byte(29, 0x01),
         "10/29 Invalid protection information value. Type 1 needs a format with 8 bytes of metadata; format 0 of "
         "Namespace 1 of drive S1 (/dev/nvme0) has 0."},
        {{{"ProtectionInformation", "2"}},
         space(2),
         "10/29 Invalid protection information value. Namespace 1 of drive S1 (/dev/nvme0) does not support type 2."},
        {{{"ProtectionInformation", "1"}, {"ProtectionInformationLocation", "1"}},
         space(2),
         "10/30 Invalid protection information location. Namespace 1 of drive S1 (/dev/nvme0) cannot have it in the "
         "first eight bytes of the metadata."},
        {{{"ProtectionInformation", "1"}},
         space(2).byte(28, 0x0F),
         "10/30 Invalid protection information location. Namespace 1 of drive S1 (/dev/nvme0) cannot have it in the "
         "last eight bytes of the metadata."},
        {{{"LBAFormat", "2"}, {"MetadataSettings", "1"}},
         space().byte(27, 0x02),
         "10/31 Invalid metadata settings. Namespace 1 of drive S1 (/dev/nvme0) cannot transfer metadata as part of "
         "the block."},
        {{{"LBAFormat", "2"}},
         space().byte(27, 0x01),
         "10/31 Invalid metadata settings. Namespace 1 of drive S1 (/dev/nvme0) cannot transfer metadata in a buffer "
         "of its own."},
    };
    for (const auto& c : CASES) {
        expectLook(1, formatController(), c.before);
        Words words = c.words;
        words.push_back({"NamespaceId", "1"});
        EXPECT_EQ(run("NVMeFormat", words), answerOf(c.refusal));
        drive_.expectDone();
    }
}

TEST_F(FormatJobTest, TheControllersLimitsAreCheckedToo) {
    drive_.expect(hostUses({})).expect(identify(1).answers(identifyController()));
    EXPECT_EQ(run("Delete"),
              answerOf("10/3 The selected drive does not support this feature. Drive S1 (/dev/nvme0) does "
                       "not support Format NVM."));
    drive_.expect(hostUses({})).expect(identify(1).answers(formatController(0x03)));
    EXPECT_EQ(
        run("NVMeFormat", {{"SecureEraseSetting", "2"}}),
        answerOf("10/27 Invalid setting for secure erase. Drive S1 (/dev/nvme0) has no cryptographic erase as part of "
                 "a format."));
}

TEST_F(FormatJobTest, ANamespaceThatIsNotThere) {
    expectLook(9, managingController(), DriveBytes(4096));
    drive_.expect(identify(0x11, 9).answers(DriveBytes(4096)));
    EXPECT_EQ(run("NVMeFormat", {{"NamespaceId", "9"}}),
              answerOf("10/80 Invalid namespace ID given. Drive S1 (/dev/nvme0) has no namespace 9."));
    drive_.expect(hostUses({})).expect(identify(1).answers(formatController())).expect(identify(0, 9).refuses(0x400B));
    EXPECT_EQ(
        run("NVMeFormat", {{"NamespaceId", "9"}}),
        answerOf("10/80 Invalid namespace ID given. Identify failed on drive S1 (/dev/nvme0): Invalid Namespace or "
                 "Format (status code type 0x0, status code 0x0B, opcode 0x06)."));
}

TEST_F(FormatJobTest, NothingGoesThatWasNotNamed) {
    const struct {
        uint8_t fna;
        Words words;
        std::string word;
    } CASES[] = {{0x01, {}, "formats"}, {0x02, {{"SecureEraseSetting", "1"}}, "erases"}};
    for (const auto& c : CASES) {
        expectLook(1, formatController(c.fna));
        drive_.expect(identify(2).answers(namespaceList({1, 2})));
        Words words = c.words;
        words.push_back({"NamespaceId", "1"});
        EXPECT_EQ(
            run("NVMeFormat", words),
            answerOf("10/242 Operation not permitted if more than one namespace is allocated on the drive. Drive S1 "
                     "(/dev/nvme0) " +
                     c.word + " all its namespaces together: select them all with the namespace ID 0xFFFFFFFF."));
        drive_.expectDone();
    }
}

TEST_F(FormatJobTest, AnOnlyNamespaceMayBeNamedOnADriveThatFormatsAllTogether) {
    expectLook(1, formatController(0x01));
    drive_
        .expect(identify(2).answers(namespaceList({1})))
        // One that appeared since is reached, too.
        .expect(hostUses({unusedNamespace(1), mounted(2)}));
    EXPECT_EQ(run("NVMeFormat", {{"NamespaceId", "1"}}), answerOf(mountedRefusal(2)));
    drive_.expectDone();
    expectLook(1, formatController(0x01));
    drive_.expect(identify(2).answers(namespaceList({1})))
        .expect(hostUses({unusedNamespace(1)}))
        .expect(formatCommand(1, 0x000).completes())
        .expect(identify(0, 1).answers(space()))
        .expect(lookAgain());
    EXPECT_EQ(run("NVMeFormat", {{"NamespaceId", "1"}}),
              answerOf("0/0 Namespace 1 was formatted: LBA format 0, blocks of 512 bytes."));
}

TEST_F(FormatJobTest, AnEraseThatIsNotAskedForDoesNotReachAll) {
    expectLook(1, formatController(0x02));
    drive_.expect(hostUses({unusedNamespace(1), mounted(2)}))
        .expect(formatCommand(1, 0x000).completes())
        .expect(identify(0, 1).answers(space()))
        .expect(lookAgain());
    EXPECT_EQ(run("NVMeFormat", {{"NamespaceId", "1"}}),
              answerOf("0/0 Namespace 1 was formatted: LBA format 0, blocks of 512 bytes."));
}

// The end.

TEST_F(FormatJobTest, AFormatThatGoesOnAfterItsCommandIsWatchedToItsEnd) {
    expectLook(1);
    drive_.expect(hostUses({unusedNamespace(1)}))
        .expect(formatCommand(1, 0x001).completes())
        .expect(identify(0, 1).refuses(0x0084))
        .expect(identify(0, 1).refuses(0x0082))
        .expect(identify(0, 1).answers(space(0).byte(32, 0x80 | 60)))
        .expect(identify(0, 1).answers(space(1).byte(32, 0x80)))
        .expect(lookAgain());
    EXPECT_EQ(run("NVMeFormat", {{"NamespaceId", "1"}, {"LBAFormat", "1"}}),
              answerOf("0/0 Namespace 1 was formatted: LBA format 1, blocks of 4096 bytes."));
    EXPECT_EQ(clock_->sleeps(), (std::vector<uint64_t>{1000, 1000, 1000}));
}

TEST_F(FormatJobTest, AnIndicatorThatTheNamespaceDoesNotHaveMeansNothing) {
    expectLook(1);
    drive_.expect(hostUses({unusedNamespace(1)}))
        .expect(formatCommand(1, 0x000).completes())
        .expect(identify(0, 1).answers(space().byte(32, 60)))
        .expect(lookAgain());
    EXPECT_EQ(run("NVMeFormat", {{"NamespaceId", "1"}}),
              answerOf("0/0 Namespace 1 was formatted: LBA format 0, blocks of 512 bytes."));
    EXPECT_EQ(clock_->sleeps(), std::vector<uint64_t>());
}

TEST_F(FormatJobTest, AFormatThatNeverEndsIsReported) {
    expectLook(1);
    drive_.expect(hostUses({unusedNamespace(1)})).expect(formatCommand(1, 0x000).completes());
    for (int second = 0; second <= 3601; ++second) drive_.expect(identify(0, 1).answers(space().byte(32, 0x80 | 100)));
    EXPECT_EQ(
        run("NVMeFormat", {{"NamespaceId", "1"}}),
        answerOf("10/171 Failed to format drive. The format of Namespace 1 of drive S1 (/dev/nvme0) did not end in "
                 "time."));
    EXPECT_EQ(clock_->sleeps().size(), 3601U);
}

TEST_F(FormatJobTest, ANamespaceThatDidNotBecomeWhatWasAskedForIsAFailure) {
    expectLook(1);
    drive_.expect(hostUses({unusedNamespace(1)}))
        .expect(formatCommand(1, 0x001).completes())
        .expect(identify(0, 1).answers(space(0)));
    EXPECT_EQ(
        run("NVMeFormat", {{"NamespaceId", "1"}, {"LBAFormat", "1"}}),
        answerOf("10/171 Failed to format drive. Namespace 1 of drive S1 (/dev/nvme0) has format 0 and protection type "
                 "0, which is not what was asked for."));
}

/// What the drive reports of a namespace after the format, when format 2 with protection of type 1 in the last bytes of
/// metadata in a buffer of its own was asked for.
TEST_F(FormatJobTest, EachFactOfTheNamespaceMustBeWhatWasAskedFor) {
    const struct {
        uint8_t format;      ///< of three, and bit 4: metadata is part of the block
        uint8_t protection;  ///< the type, and bit 3: in the first bytes
        bool isReached;
        const char* words;
    } CASES[] = {
        {0x02, 0x01, true, ""},
        {0x01, 0x01, false, "has format 1 and protection type 1, which is not what was asked for."},
        {0x02, 0x00, false, "has format 2 and protection type 0, which is not what was asked for."},
        {0x02, 0x09, false, "has format 2 and protection type 1, which is not what was asked for."},
        {0x12, 0x01, false, "has format 2 and protection type 1, which is not what was asked for."},
    };
    for (const auto& c : CASES) {
        SCOPED_TRACE(&c - CASES);
        expectLook(1);
        drive_.expect(hostUses({unusedNamespace(1)}))
            .expect(formatCommand(1, 0x022).completes())
            .expect(identify(0, 1).answers(space(c.format).byte(29, c.protection)));
        if (c.isReached) drive_.expect(lookAgain());
        const std::string got =
            run("NVMeFormat",
                {{"NamespaceId", "1"}, {"LBAFormat", "2"}, {"ProtectionInformation", "1"}, {"MetadataSettings", "0"}});
        drive_.expectDone();
        if (c.isReached) {
            EXPECT_NE(got.find("<Property name=\"Code\" value=\"0\"/>"), std::string::npos) << got;
        } else {
            EXPECT_EQ(got, answerOf("10/171 Failed to format drive. Namespace 1 of drive S1 (/dev/nvme0) " +
                                    std::string(c.words)));
        }
    }
}

/// Not known: the error of the drive's answer is the answer.
TEST_F(FormatJobTest, AnErrorThatIsNoProgressEndsTheWatch) {
    expectLook(1);
    drive_.expect(hostUses({unusedNamespace(1)}))
        .expect(formatCommand(1, 0x000).completes())
        .expect(identify(0, 1).refuses(0x0084))
        .expect(identify(0, 1).refuses(0x4006));
    EXPECT_EQ(run("NVMeFormat", {{"NamespaceId", "1"}}),
              answerOf("0/25 NVMe command reported a problem. Identify failed on drive S1 (/dev/nvme0): Internal Error "
                       "(status code type 0x0, status "
                       "code 0x06, opcode 0x06)."));
}

TEST_F(FormatJobTest, EachRefusalHasItsMeaning) {
    const struct {
        uint16_t statusField;
        std::string status;
        std::string words;
        bool asksForLocking = false;
    } CASES[] = {
        {0x410A, "10/28 Invalid LBA format.", "Invalid Format (status code type 0x1, status code 0x0A"},
        {0x400B, "10/80 Invalid namespace ID given.",
         "Invalid Namespace or Format (status code type 0x0, status code 0x0B"},
        {0x001D, "10/226 Sanitize operation in progress.",
         "Sanitize In Progress (status code type 0x0, status code 0x1D"},
        {0x4020, "10/259 The command is prohibited while the namespace is write protected.",
         "Namespace is Write Protected (status code type 0x0, status code 0x20"},
        {0x0084, "10/171 Failed to format drive. A format of the namespace is under way: try again when it has ended.",
         "Format In Progress (status code type 0x0, status code 0x84"},
        {0x4286, "10/267 Access to the namespace and/or LBA range is denied due to lack of access rights.",
         "Access Denied (status code type 0x2, status code 0x86", true},
        {0x4002, "10/171 Failed to format drive.", "Invalid Field in Command (status code type 0x0, status code 0x02"},
    };
    for (const auto& c : CASES) {
        expectLook(1);
        drive_.expect(hostUses({unusedNamespace(1)})).expect(formatCommand(1, 0x000).refuses(c.statusField));
        if (c.asksForLocking) drive_.expect(identify(1).answers(formatController()));
        EXPECT_EQ(run("NVMeFormat", {{"NamespaceId", "1"}}),
                  answerOf(c.status + " Format NVM failed on drive S1 (/dev/nvme0): " + c.words + ", opcode 0x80)."));
        drive_.expectDone();
    }
}

TEST_F(FormatJobTest, ARefusalByALockedDriveIsNamed) {
    const DriveBytes locking = formatController().le16(256, 0x0003);
    expectLook(1, locking);
    drive_.expect(hostUses({unusedNamespace(1)}))
        .expect(formatCommand(1, 0x000).refuses(0x4015))
        .expect(identify(1).answers(locking))
        .expect(Expected::admin(0x82).dword(10, 0).dword(11, 512).answers(DriveBytes(512).put(7, {2, 0x00, 0x01})))
        .expect(Expected::admin(0x82)
                    .dword(10, 0x01000100)
                    .dword(11, 4096)
                    .answers(DriveBytes(4096).byte(3, 60).put(48, {0x00, 0x02, 0x10, 12, 0x17})));
    EXPECT_EQ(run("NVMeFormat", {{"NamespaceId", "1"}}),
              answerOf("10/171 Failed to format drive. Format NVM failed on drive S1 (/dev/nvme0): Operation Denied "
                       "(status code type 0x0, status code 0x15, opcode 0x80). Drive S1 (/dev/nvme0) has TCG locking "
                       "enabled (Locking), is locked, shows a shadow MBR: unlock it with the owner's password, or "
                       "revert it."));
}

TEST_F(FormatJobTest, ADriveThatGoesAwayIsReportedWhereverItHappens) {
    const Expected steps[] = {
        hostUses({unusedNamespace(1)}), identify(1).answers(formatController()), identify(0, 1).answers(space()),
        hostUses({unusedNamespace(1)}), formatCommand(1, 0x000).completes(),     identify(0, 1).answers(space()),
    };
    for (size_t n = 0; n < std::size(steps); ++n) {
        for (size_t i = 0; i < n; ++i) drive_.expect(steps[i]);
        Expected last = steps[n];
        drive_.expect(last.breaks(gone()));
        EXPECT_EQ(run("NVMeFormat", {{"NamespaceId", "1"}}), answerOf("0/70 The drive /dev/nvme0 is gone.")) << n;
        drive_.expectDone();
    }
    for (const Expected& step : steps) drive_.expect(step);
    drive_.expect(lookAgain().breaks(gone()));
    EXPECT_EQ(
        run("NVMeFormat", {{"NamespaceId", "1"}}),
        answerOf("0/70 The drive /dev/nvme0 is gone. Namespace 1 was formatted: LBA format 0, blocks of 512 bytes."));
}

/// All namespaces, or whether there are more than the one that was named: nothing is formatted before that is known.
TEST_F(FormatJobTest, ADriveThatGoesAwayWhileItsNamespacesAreCountedIsNotFormatted) {
    const std::string gone = answerOf("0/70 The drive /dev/nvme0 is gone.");
    drive_.expect(hostUses({}))
        .expect(identify(1).answers(formatController()))
        .expect(identify(2).breaks(jobs::gone()));
    EXPECT_EQ(run("Delete"), gone);
    drive_.expectDone();
    drive_.expect(hostUses({}))
        .expect(identify(1).answers(managingController()))
        .expect(identify(0x10).breaks(jobs::gone()));
    EXPECT_EQ(run("Delete"), gone);
    drive_.expectDone();
    drive_.expect(hostUses({}))
        .expect(identify(1).answers(formatController()))
        .expect(identify(2).answers(namespaceList({1, 2})))
        .expect(identify(0, 1).answers(space()))
        .expect(identify(0, 2).breaks(jobs::gone()));
    EXPECT_EQ(run("Delete"), gone);
    drive_.expectDone();
    expectLook(1, formatController(0x01));
    drive_.expect(identify(2).breaks(jobs::gone()));
    EXPECT_EQ(run("NVMeFormat", {{"NamespaceId", "1"}}), gone);
}

}  // namespace
}  // namespace features::jobs
