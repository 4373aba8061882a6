#include <gtest/gtest.h>

#include "features/jobs/inventory/IdentifyJob.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"
#include "tests/support/Golden.h"
#include "tests/unit/features/jobs/Commands.h"
#include "tests/unit/features/jobs/JobRun.h"
#include "tests/unit/features/jobs/Models.h"
#include "tests/unit/features/jobs/StatusAnswer.h"
#include "tests/unit/features/jobs/Unplugged.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::core;
using namespace ostrel::interfaces::ostreli;

constexpr const char* CNS = "ControllerNamespaceStructure";
constexpr const char* GOLDENS = JOBS_TEST_DATA "/goldens/";

/// The answer of a job that shows nothing but this status of drive S1.
std::string refusal(const std::string& category, const std::string& code, const std::string& message) {
    return statusAnswer("Identify", category, code, message);
}

TEST(IdentifyJob, ShowsTheController) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(identifyController()));
    IdentifyJob job;
    expectGolden(std::string(GOLDENS) + "identify_controller.xml",
                 JobRun(job, JOBTYPE_METHOD).with(CNS, "1").with("NamespaceId", "0").on({&drive}));
}

TEST(IdentifyJob, WithoutAStructureItIsTheController) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(identifyController()));
    IdentifyJob job;
    expectGolden(std::string(GOLDENS) + "identify_controller.xml", JobRun(job, JOBTYPE_METHOD).on({&drive}));
}

TEST(IdentifyJob, ShowsANamespace) {
    FakeDrive drive;
    drive.expect(identify(0x00, 5).answers(identifyNamespace(2097152, 12)))
        .expect(identify(0x01).answers(identifyController()));
    IdentifyJob job;
    expectGolden(std::string(GOLDENS) + "identify_namespace.xml",
                 JobRun(job, JOBTYPE_METHOD).with(CNS, "0").with("NamespaceId", "0x5").on({&drive}));
}

TEST(IdentifyJob, TheLastOfTwoStructuresCounts) {
    FakeDrive drive;
    // A UUID and a EUI-64.
    DriveBytes descriptors(4096);
    descriptors.put(0, {3, 16, 0, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16});
    descriptors.put(20, {1, 8, 0, 0, 0xA0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5, 0xA6, 0xA7});
    drive.expect(identify(0x01).answers(identifyController())).expect(identify(0x03, 1).answers(descriptors));
    IdentifyJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with(CNS, "0").with("NamespaceId", "1").with(CNS, "3").on({&drive}),
              R"(0/0
<Object category="Output">
<Object key="S1" name="Namespace Identification Descriptors of Namespace 1">
<Property description="Namespace UUID" name="UUID" value="01020304-0506-0708-090a-0b0c0d0e0f10"/>
<Property description="IEEE Extended Unique Identifier" name="EUI64" value="A0A1A2A3A4A5A6A7"/>
</Object>
</Object>)");
}

TEST(IdentifyJob, ShowsAttachedAndAllocatedNamespaces) {
    FakeDrive drive;
    drive.expect(identify(0x02).answers(namespaceList({1, 3})));
    IdentifyJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with(CNS, "2").with("NamespaceId", "0").on({&drive}), R"(0/0
<Object category="Output">
<Object key="S1" name="Attached Namespaces">
<Object name="Namespaces">
<Property name="Entry 0" value="1"/>
<Property name="Entry 1" value="3"/>
</Object>
</Object>
</Object>)");
    drive.expect(identify(0x01).answers(identifyController().le16(256, 0x0008)))
        .expect(identify(0x10).answers(namespaceList({})));
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with(CNS, "16").with("NamespaceId", "0").on({&drive}), R"(0/0
<Object category="Output">
<Object key="S1" name="Allocated Namespaces">
<Object name="Namespaces">
</Object>
</Object>
</Object>)");
}

TEST(IdentifyJob, AFullListOfNamespacesGoesOnAfterItsLast) {
    FakeDrive drive;
    DriveBytes full(4096);
    std::string entries;
    for (uint32_t i = 0; i < 1024; ++i) {
        full.le32(i * 4, i + 10);
        entries += "<Property name=\"Entry " + std::to_string(i) + "\" value=\"" + std::to_string(i + 10) + "\"/>\n";
    }
    drive.expect(identify(0x01).answers(identifyController().le16(256, 0x0008)))
        .expect(identify(0x10).answers(full))
        .expect(identify(0x10, 1033).answers(namespaceList({2000})));
    IdentifyJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with(CNS, "16").on({&drive}),
              "0/0\n<Object category=\"Output\">\n<Object key=\"S1\" name=\"Allocated Namespaces\">\n"
              "<Object name=\"Namespaces\">\n" +
                  entries + "<Property name=\"Entry 1024\" value=\"2000\"/>\n</Object>\n</Object>\n</Object>");
    // A drive that gives the same list again must not be asked for ever.
    drive.expect(identify(0x01).answers(identifyController().le16(256, 0x0008)))
        .expect(identify(0x10).answers(full))
        .expect(identify(0x10, 1033).answers(full));
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with(CNS, "16").on({&drive}),
              refusal("10", "33", "Drive S1 (/dev/nvme0) gave a list whose entries do not increase."));
}

TEST(IdentifyJob, ShowsControllersOfTheSubsystemAndOfANamespace) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(identifyController().le16(256, 0x0008)))
        .expect(identify(0x13).answers(controllerList({0, 1, 65})));
    IdentifyJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with(CNS, "19").with("NamespaceId", "0").on({&drive}), R"(0/0
<Object category="Output">
<Object key="S1" name="Controllers">
<Object name="Controllers">
<Property name="Entry 0" value="0"/>
<Property name="Entry 1" value="1"/>
<Property name="Entry 2" value="65"/>
</Object>
</Object>
</Object>)");
    drive.expect(identify(0x01).answers(identifyController().le16(256, 0x0008)))
        .expect(identify(0x12, 2).answers(controllerList({})));
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with(CNS, "18").with("NamespaceId", "2").on({&drive}), R"(0/0
<Object category="Output">
<Object key="S1" name="Controllers of Namespace 2">
<Object name="Controllers">
</Object>
</Object>
</Object>)");
}

TEST(IdentifyJob, AFullListOfControllersGoesOnAfterItsLast) {
    FakeDrive drive;
    DriveBytes full(4096);
    full.le16(0, 2047);
    std::string entries;
    for (uint16_t i = 0; i < 2047; ++i) {
        full.le16(2 + i * 2U, i);
        entries += "<Property name=\"Entry " + std::to_string(i) + "\" value=\"" + std::to_string(i) + "\"/>\n";
    }
    drive.expect(identify(0x01).answers(identifyController().le16(256, 0x0008)))
        .expect(identify(0x13).answers(full))
        .expect(identify(0x13, 0, 2047).answers(controllerList({3000})));
    IdentifyJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with(CNS, "19").on({&drive}),
              "0/0\n<Object category=\"Output\">\n<Object key=\"S1\" name=\"Controllers\">\n"
              "<Object name=\"Controllers\">\n" +
                  entries + "<Property name=\"Entry 2047\" value=\"3000\"/>\n</Object>\n</Object>\n</Object>");
    drive.expect(identify(0x01).answers(identifyController().le16(256, 0x0008)))
        .expect(identify(0x13).answers(full))
        .expect(identify(0x13, 0, 2047).answers(full));
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with(CNS, "19").on({&drive}),
              refusal("10", "33", "Drive S1 (/dev/nvme0) gave a list whose entries do not increase."));
}

TEST(IdentifyJob, ShowsTheUuidList) {
    FakeDrive drive;
    DriveBytes list(4096);
    list.byte(32, 1).put(48, {0xF0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15});
    drive.expect(identify(0x01).answers(identifyController().le32(96, 0x0200))).expect(identify(0x17).answers(list));
    IdentifyJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with(CNS, "23").with("NamespaceId", "0").on({&drive}), R"(0/0
<Object category="Output">
<Object key="S1" name="UUID List">
<Object name="UUID 1">
<Property name="UUID" value="f0010203-0405-0607-0809-0a0b0c0d0e0f"/>
<Property name="Identifier Association" value="PCI Vendor ID"/>
</Object>
</Object>
</Object>)");
}

TEST(IdentifyJob, ANamespaceThatIsNotAttachedIsNoRowOfZeros) {
    FakeDrive drive;
    drive.expect(identify(0x00, 2).answers(DriveBytes(4096)));
    IdentifyJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with(CNS, "0").with("NamespaceId", "2").on({&drive}),
              refusal("10", "80", "Namespace 2 is not attached to drive S1 (/dev/nvme0)."));
}

TEST(IdentifyJob, TheNamespaceOfThePathCountsWhereNoneIsGiven) {
    FakeDrive drive;
    nameNamespace(drive, 7);
    drive.expect(identify(0x01).answers(identifyController().le16(256, 0x0008)))
        .expect(identify(0x12, 7).answers(controllerList({4})));
    IdentifyJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with(CNS, "18").with("NamespaceId", "").on({&drive}), R"(0/0
<Object category="Output">
<Object key="S1" name="Controllers of Namespace 7">
<Object name="Controllers">
<Property name="Entry 0" value="4"/>
</Object>
</Object>
</Object>)");
}

DriveBytes controllerOf20() {
    return identifyController().le32(80, 0x00020000);
}
Expected ofCommandSet(uint8_t cns, uint8_t csi, uint32_t nsid = 0) {
    return identify(cns, nsid).dword(11, uint32_t{csi} << 24);
}

TEST(IdentifyJob, ShowsWhatTheCommandSetOfANamespaceHasOfIt) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(controllerOf20()))
        .expect(identify(0x03, 2).answers(descriptorsOf(2)))
        .expect(ofCommandSet(0x05, 2, 2)
                    .answers(DriveBytes(4096).byte(0, 3).le32(4, 13).le32(8, 0xFFFFFFFF).le64(2816, 4096)));
    IdentifyJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with(CNS, "5").with("NamespaceId", "2").on({&drive}), R"(0/0
<Object category="Output">
<Object key="S1" name="Zoned Namespace 2">
<Property description="Zone Operation Characteristics" name="ZOC" value="0x0003"/>
<Property description="Optional Zoned Command Support" name="OZCS" value="0x0000"/>
<Property description="Maximum Active Resources" name="MAR" value="14 zones"/>
<Property description="Maximum Open Resources" name="MOR" value="no limit"/>
<Object name="LBA Format 0">
<Property description="Zone Size" name="ZSZE" value="4096 blocks"/>
<Property description="Zone Descriptor Extension Size" name="ZDES" value="0 units of 64 bytes"/>
</Object>
</Object>
</Object>)");
}

TEST(IdentifyJob, ShowsAKeyValueNamespaceByItsBytes) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(controllerOf20()))
        .expect(identify(0x03, 2).answers(descriptorsOf(1)))
        .expect(ofCommandSet(0x05, 1, 2).answers(DriveBytes(4096).byte(17, 0xAB)));
    IdentifyJob job;
    const std::string shown = JobRun(job, JOBTYPE_METHOD).with(CNS, "5").with("NamespaceId", "2").on({&drive});
    EXPECT_NE(shown.find("name=\"Namespace 2 of command set Key Value\""), std::string::npos) << shown;
    EXPECT_NE(shown.find("name=\"Offset 0x00000010\" value=\"00AB0000000000000000000000000000\""), std::string::npos);
}

TEST(IdentifyJob, AsksTheControllerForTheZonesOfAZonedNamespaceAlone) {
    for (const bool isZoned : {false, true}) {
        FakeDrive drive;
        drive.expect(identify(0x01).answers(controllerOf20()))
            .expect(ofCommandSet(0x06, 0).answers(DriveBytes(4096).byte(3, 64)))
            .expect(identify(0x02).answers(namespaceList({1, 2})))
            .expect(identify(0x03, 1).answers(descriptorsOf(0)))
            .expect(identify(0x03, 2).answers(descriptorsOf(isZoned ? 2 : 0)));
        if (isZoned) drive.expect(ofCommandSet(0x06, 2).answers(DriveBytes(4096).byte(0, 5)));
        IdentifyJob job;
        const std::string zones = R"(<Object name="Zoned Namespace Command Set Controller">
<Property description="Zone Append Size Limit as Power of 2 of Memory Pages" name="ZASL" value="5"/>
</Object>
)";
        EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with(CNS, "6").on({&drive}), R"(0/0
<Object category="Output">
<Object key="S1" name="NVM Command Set Controller">
<Property description="Verify Size Limit as Power of 2 of Memory Pages" name="VSL" value="no limit"/>
<Property description="Write Zeroes Size Limit as Power of 2 of Memory Pages" name="WZSL" value="no limit"/>
<Property description="Write Uncorrectable Size Limit as Power of 2 of Memory Pages" name="WUSL" value="no limit"/>
<Property description="Dataset Management Ranges Limit" name="DMRL" value="64"/>
<Property description="Dataset Management Range Size Limit" name="DMRSL" value="no limit"/>
<Property description="Dataset Management Size Limit" name="DMSL" value="no limit"/>
)" + (isZoned ? zones : "") + "</Object>\n</Object>");
    }
}

TEST(IdentifyJob, ShowsTheCombinationsOfTheControllerThatIsAsked) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(controllerOf20().le16(78, 7)))
        .expect(identify(0x1C, 0, 7).answers(DriveBytes(4096).byte(0, 5)));
    IdentifyJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with(CNS, "28").on({&drive}), R"(0/0
<Object category="Output">
<Object key="S1" name="I/O Command Set Combinations">
<Property name="Combination 0" value="NVM; Zoned Namespace"/>
</Object>
</Object>)");
}

TEST(IdentifyJob, ADriveBeforeNvme20IsNotAskedForItsStructures) {
    for (const char* cns : {"5", "6", "8", "28", "22", "24"}) {
        FakeDrive drive;
        drive.expect(identify(0x01).answers(identifyController()));
        IdentifyJob job;
        const std::string shown = JobRun(job, JOBTYPE_METHOD).with(CNS, cns).with("NamespaceId", "1").on({&drive});
        EXPECT_NE(shown.find("does not offer the "), std::string::npos) << cns << shown;
    }
}

TEST(IdentifyJob, NothingIsShownOfAnUnpluggedDrive) {
    const Expected of14 = identify(0x01).answers(identifyController().le16(256, 0x0008).le32(96, 0x0280));
    const Expected of20 = identify(0x01).answers(controllerOf20().le16(78, 7).le32(96, 0x0400));
    const Expected space = identify(0x00, 2).answers(identifyNamespace(4096, 12));
    const struct {
        const char* cns;
        Script script;
    } CASES[] = {
        {"0", {space, identify(0x01)}},
        {"1", {identify(0x01)}},
        {"2", {identify(0x02)}},
        {"3", {of20, identify(0x03, 2)}},
        {"5", {of20, identify(0x03, 2).answers(descriptorsOf(2)), ofCommandSet(0x05, 2, 2)}},
        {"6",
         {of20, ofCommandSet(0x06, 0), identify(0x02).answers(namespaceList({1})),
          identify(0x03, 1).answers(descriptorsOf(2)), ofCommandSet(0x06, 2)}},
        {"8", {of20, identify(0x08, 2)}},
        {"16", {of14, identify(0x10)}},
        {"18", {of14, identify(0x12, 2)}},
        {"19", {of14, identify(0x13)}},
        {"22", {of14, identify(0x16)}},
        {"23", {of14, identify(0x17)}},
        {"24", {of20, identify(0x18)}},
        {"28", {of20, identify(0x1C, 0, 7)}},
    };
    for (const auto& c : CASES) {
        SCOPED_TRACE(c.cns);
        expectUnplugged<FakeDrive>(
            c.script, refusal("0", "70", "The drive /dev/nvme0 is gone."), [&c](const FakeDrive& drive) {
                IdentifyJob job;
                return JobRun(job, JOBTYPE_METHOD).with(CNS, c.cns).with("NamespaceId", "2").on({&drive});
            });
    }
}

TEST(IdentifyJob, ANamespaceIsNeeded) {
    FakeDrive drive;
    IdentifyJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with(CNS, "0").on({&drive}), refusal("10", "76", "No namespace ID given."));
}

TEST(IdentifyJob, BadArgumentsTouchNoDrive) {
    FakeDrive drive;
    IdentifyJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with(CNS, "4").on({&drive}),
              "10/36 Invalid value given for ControllerNamespaceStructure: '4'. It must be 0, 1, 2, 3, 5, 6, 8, 16, "
              "18, 19, 22, 23, 24 or 28.");
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with(CNS, "256").on({&drive}),
              "10/36 Invalid value given for ControllerNamespaceStructure: '256'. It must be a number from 0 to 255.");
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with(CNS, "0").with("NamespaceId", "0").on({&drive}),
              "10/80 Invalid namespace ID given.");
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with(CNS, "0").with("NamespaceId", "4294967296").on({&drive}),
              "10/36 Invalid value given for NamespaceId: '4294967296'. It must be a number from 0 to 4294967295.");
}

TEST(IdentifyJob, AFailingDriveDoesNotSpoilTheOthers) {
    FakeDrive first("S1", "/dev/nvme0");
    first.expect(identify(0x02).breaks(gone()));
    FakeDrive second("S2", "/dev/nvme1");
    second.expect(identify(0x02).answers(namespaceList({1})));
    FakeDrive third("S3", "/dev/nvme2");
    third.expect(identify(0x02).refuses(0x4002));
    IdentifyJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with(CNS, "2").on({&first, &second, &third}), R"(0/0
<Object category="Output">
<Object category="status" key="S1" name="Identify">
<Property name="Category" value="0"/>
<Property name="Code" value="70"/>
<Property name="Message" value="The drive /dev/nvme0 is gone."/>
</Object>
<Object key="S2" name="Attached Namespaces">
<Object name="Namespaces">
<Property name="Entry 0" value="1"/>
</Object>
</Object>
<Object category="status" key="S3" name="Identify">
<Property name="Category" value="0"/>
<Property name="Code" value="25"/>
<Property name="Message" value="Identify failed on drive S3 (/dev/nvme2): Invalid Field in Command (status code type 0x0, status code 0x02, opcode 0x06)."/>
</Object>
</Object>)");
}

}  // namespace
}  // namespace features::jobs
