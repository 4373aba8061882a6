#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>

#include "features/jobs/settings/AnyFeature.h"
#include "features/jobs/settings/NvmeFeaturesJob.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/unit/features/jobs/Commands.h"
#include "tests/unit/features/jobs/JobRun.h"
#include "tests/unit/features/jobs/Models.h"
#include "tests/unit/features/jobs/OcpLog.h"
#include "tests/unit/features/jobs/StatusAnswer.h"
#include "tests/unit/features/jobs/Unplugged.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::core;
using namespace ostrel::interfaces::ostreli;
using features::transport::HostNamespace;
using features::transport::NamespaceUse;

struct Argument {
    const char* key;
    std::string value;
};

std::string run(const char* type, const std::vector<Argument>& arguments, const std::vector<const FakeDrive*>& drives) {
    NvmeFeaturesJob job;
    JobRun request(job, JOBTYPE_METHOD);
    request.with("SetGetType", type);
    for (const Argument& argument : arguments) request.with(argument.key, argument.value);
    return request.on(drives);
}
std::string get(const std::vector<Argument>& arguments, const FakeDrive& drive) {
    return run("get", arguments, {&drive});
}
std::string set(const std::vector<Argument>& arguments, const FakeDrive& drive) {
    return run("set", arguments, {&drive});
}

/// What one drive's status looks like.
std::string status(const std::string& category, const std::string& code, const std::string& message) {
    return statusAnswer("NVMe Feature", category, code, message);
}

/// Saves features, reports their defaults, and has wide host identifiers.
DriveBytes ableController() {
    return identifyController().le16(520, 0x0010).le32(96, 0x00000001);
}

// Reading.

TEST(AnyFeature, ShowsAKnownFeatureDecoded) {
    FakeDrive drive;
    drive.expect(getFeature(0x08).completes(0x00000A05));
    EXPECT_EQ(get({{"Select", "0"}, {"FeatureId", "0x8"}}, drive), R"x(0/0
<Object category="Output">
<Object key="S1" name="Interrupt Coalescing">
<Property description="Feature Identifier" name="FID" value="0x08"/>
<Property description="Select" name="SEL" value="current"/>
<Property name="Dword 0" value="0x00000A05"/>
<Property description="Aggregation Threshold 0-based" name="AggregationThreshold" value="5"/>
<Property description="Aggregation Time" name="AggregationTime" value="10 units of 100 microseconds"/>
</Object>
</Object>)x");
}

constexpr struct {
    const char* text;
    uint8_t fid;
} FEATURE_IDS[] = {{"8", 0x08}, {"0x8", 0x08}, {"0B", 0x0B}, {"11", 0x0B}, {"a", 0x0A}};

TEST(AnyFeature, ReadsTheIdentifierAsTheToolDoes) {
    for (const auto& c : FEATURE_IDS) {
        FakeDrive drive;
        drive.expect(getFeature(c.fid).breaks(Status(CATEGORY_CORE, 70, "gone")));
        EXPECT_EQ(get({{"FeatureId", c.text}}, drive), status("0", "70", "gone")) << c.text;
    }
}

TEST(AnyFeature, ShowsTheDataOfAKnownFeature) {
    FakeDrive drive;
    drive.expect(identify(1).answers(identifyController().le16(520, 0x0040)))
        .expect(getFeature(0x0E, 0, 0, 8).answers({0x00, 0xE8, 0x76, 0x48, 0x17, 0x00, 0x02, 0x00}));
    EXPECT_EQ(get({{"FeatureId", "14"}}, drive), R"x(0/0
<Object category="Output">
<Object key="S1" name="Timestamp">
<Property description="Feature Identifier" name="FID" value="0x0E"/>
<Property description="Select" name="SEL" value="current"/>
<Property name="Dword 0" value="0x00000000"/>
<Property description="Timestamp" name="Timestamp" value="100000000000 milliseconds"/>
<Property description="Timestamp Origin" name="TimestampOrigin" value="set by the host"/>
<Property description="Timestamp Synch" name="TimestampSynch" value="counted without a stop"/>
<Property name="Date" value="1973-03-03 09:46:40.000 UTC"/>
<Object name="Data">
<Property name="Offset 0x000" value="00 E8 76 48 17 00 02 00"/>
</Object>
</Object>
</Object>)x");
}

TEST(AnyFeature, AsksForTheGroupOfTheNamespace) {
    FakeDrive drive;
    drive.expect(identify(1).answers(identifyController().le32(96, 1U << 19)))
        .expect(hostNamespaces({unusedNamespace(4)}))
        .expect(identify(0, 4).answers(identifyNamespace(4096).le16(102, 3)))
        .expect(getFeature(0x1D).dword(11, 3).completes(0x0201));
    EXPECT_EQ(get({{"FeatureId", "0x1D"}}, drive), R"x(0/0
<Object category="Output">
<Object key="S1" name="Flexible Data Placement">
<Property description="Feature Identifier" name="FID" value="0x1D"/>
<Property description="Select" name="SEL" value="current"/>
<Property name="Dword 0" value="0x00000201"/>
<Property description="Flexible Data Placement Enable" name="FDPE" value="True"/>
<Property description="Flexible Data Placement Configuration Index" name="FDPCIDX" value="2"/>
</Object>
</Object>)x");
}

TEST(AnyFeature, AsksForAllTypesOfPlacementEvents) {
    FakeDrive drive;
    drive.expect(hostNamespaces({unusedNamespace(4)}))
        .expect(identify(1).answers(identifyController().le32(96, 1U << 19)))
        .expect(getFeature(0x1E, 0, 4, 512)
                    .dword(11, 0x00FF0000)
                    .answers(DriveBytes(512).put(0, {0x00, 0x01, 0x80, 0x00}), 2));
    EXPECT_EQ(get({{"FeatureId", "0x1E"}}, drive), R"x(0/0
<Object category="Output">
<Object key="S1" name="Flexible Data Placement Events">
<Property description="Feature Identifier" name="FID" value="0x1E"/>
<Property description="Select" name="SEL" value="current"/>
<Property description="Namespace Identifier" name="NSID" value="4"/>
<Property name="Dword 0" value="0x00000002"/>
<Property description="Number of FDP Event Types" name="NOET" value="2"/>
<Object name="Event 1">
<Property description="Event Type" name="FDPET" value="Reclaim Unit not fully written to capacity"/>
<Property description="Event Enabled" name="FDPEE" value="True"/>
</Object>
<Object name="Event 2">
<Property description="Event Type" name="FDPET" value="media reallocated"/>
<Property description="Event Enabled" name="FDPEE" value="False"/>
</Object>
<Object name="Data">
<Property name="Offset 0x000" value="00 01 80 00 00 00 00 00 00 00 00 00 00 00 00 00"/>
</Object>
</Object>
</Object>)x");
}

TEST(AnyFeature, ShowsFieldsOfTheVersionOfTheController) {
    for (const bool isNew : {false, true}) {
        FakeDrive drive;
        drive.expect(getFeature(0x04).completes(0x00C00157))
            .expect(identify(1).answers(identifyController().le32(80, isNew ? 0x00020100 : 0x00020000)));
        const std::string shown = get({{"FeatureId", "4"}}, drive);
        EXPECT_EQ(shown.find("value=\"3 C\"") != std::string::npos, isNew) << shown;
    }
}

TEST(AnyFeature, ShowsAnUnknownFeatureByItsBytes) {
    FakeDrive drive;
    drive.expect(withoutList())
        .expect(getFeature(0xD0, 0, 0, 4096)
                    .answers(DriveBytes(4096).put(0, {1, 2, 3}).byte(16, 0xFF).byte(33, 0xAA), 0x12345678));
    EXPECT_EQ(get({{"FeatureId", "0xD0"}}, drive), R"x(0/0
<Object category="Output">
<Object key="S1" name="Feature 0xD0">
<Property description="Feature Identifier" name="FID" value="0xD0"/>
<Property description="Select" name="SEL" value="current"/>
<Property name="Dword 0" value="0x12345678"/>
<Object name="Data">
<Property name="Offset 0x000" value="01 02 03 00 00 00 00 00 00 00 00 00 00 00 00 00"/>
<Property name="Offset 0x010" value="FF 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"/>
<Property name="Offset 0x020" value="00 AA 00 00 00 00 00 00 00 00 00 00 00 00 00 00"/>
</Object>
</Object>
</Object>)x");
}

TEST(AnyFeature, ShowsCapabilitiesAlsoOfAnUnknownFeature) {
    FakeDrive drive;
    drive.expect(identify(1).answers(ableController())).expect(getFeature(0xD0, 3).completes(5));
    EXPECT_EQ(get({{"Select", "3"}, {"FeatureId", "0xD0"}}, drive), R"x(0/0
<Object category="Output">
<Object key="S1" name="Feature 0xD0 Capabilities">
<Property description="Feature Identifier" name="FID" value="0xD0"/>
<Property description="Select" name="SEL" value="capabilities"/>
<Property name="Dword 0" value="0x00000005"/>
<Property description="Can be saved" name="Saveable" value="True"/>
<Property description="Each namespace has its own" name="Namespace Specific" value="False"/>
<Property description="Can be changed" name="Changeable" value="True"/>
</Object>
</Object>)x");
}

TEST(AnyFeature, ShowsTheDefaultValue) {
    FakeDrive drive;
    drive.expect(identify(1).answers(ableController())).expect(getFeature(0x04, 1).completes(0x157));
    EXPECT_EQ(get({{"Select", "1"}, {"FeatureId", "4"}}, drive), R"x(0/0
<Object category="Output">
<Object key="S1" name="Temperature Threshold">
<Property description="Feature Identifier" name="FID" value="0x04"/>
<Property description="Select" name="SEL" value="default"/>
<Property name="Dword 0" value="0x00000157"/>
<Property description="Temperature Threshold" name="TempThreshold" value="70 C"/>
</Object>
</Object>)x");
}

TEST(AnyFeature, DoesNotPassTheCurrentValueOffAsAnother) {
    FakeDrive drive;
    drive.expect(identify(1).answers(identifyController()));
    EXPECT_EQ(get({{"Select", "2"}, {"FeatureId", "4"}}, drive),
              status("10", "3",
                     "The selected drive does not support this feature. Drive S1 (/dev/nvme0) reports only the current "
                     "values of its features."));
}

TEST(AnyFeature, AsksForTheHostIdentifierInTheWidthOfTheController) {
    FakeDrive wide;
    wide.expect(identify(1).answers(ableController()))
        .expect(getFeature(0x81, 0, 0, 16).dword(11, 1).breaks(Status(CATEGORY_CORE, 70, "gone")));
    EXPECT_EQ(get({{"FeatureId", "0x81"}}, wide), status("0", "70", "gone"));
    FakeDrive narrow;
    narrow.expect(identify(1).answers(identifyController()))
        .expect(getFeature(0x81, 0, 0, 8).answers({1, 2, 3, 4, 5, 6, 7, 8}));
    EXPECT_EQ(get({{"FeatureId", "0x81"}}, narrow), R"x(0/0
<Object category="Output">
<Object key="S1" name="Host Identifier">
<Property description="Feature Identifier" name="FID" value="0x81"/>
<Property description="Select" name="SEL" value="current"/>
<Property name="Dword 0" value="0x00000000"/>
<Property description="Host Identifier" name="HOSTID" value="0102030405060708"/>
<Object name="Data">
<Property name="Offset 0x000" value="01 02 03 04 05 06 07 08"/>
</Object>
</Object>
</Object>)x");
}

TEST(AnyFeature, GoesToTheOnlyNamespaceForAFeatureOfNamespaces) {
    FakeDrive drive;
    drive.expect(hostNamespaces({unusedNamespace(4)})).expect(getFeature(0x05, 0, 4).completes(0x00010003));
    EXPECT_EQ(get({{"FeatureId", "5"}, {"NamespaceId", ""}}, drive), R"x(0/0
<Object category="Output">
<Object key="S1" name="Error Recovery">
<Property description="Feature Identifier" name="FID" value="0x05"/>
<Property description="Select" name="SEL" value="current"/>
<Property description="Namespace Identifier" name="NSID" value="4"/>
<Property name="Dword 0" value="0x00010003"/>
<Property description="Time Limited Error Recovery" name="TimeLimitedErrorRecovery" value="3 units of 100 milliseconds"/>
<Property description="Deallocated or Unwritten Logical Block Error Enable" name="DULBE" value="True"/>
</Object>
</Object>)x");
}

TEST(AnyFeature, GoesToTheNamespaceThatThePathOrTheRequestNames) {
    FakeDrive byPath;
    nameNamespace(byPath, 2);
    byPath.expect(hostNamespaces({unusedNamespace(1), unusedNamespace(2)}))
        .expect(getFeature(0x05, 0, 2).breaks(Status(CATEGORY_CORE, 70, "gone")));
    EXPECT_EQ(get({{"FeatureId", "5"}}, byPath), status("0", "70", "gone"));
    FakeDrive byRequest;
    byRequest.expect(getFeature(0x05, 0, 0xFFFFFFFF).refuses(0x400B));
    EXPECT_EQ(get({{"FeatureId", "5"}, {"NamespaceId", "0xFFFFFFFF"}}, byRequest),
              status("10", "80",
                     "Invalid namespace ID given. Get Features failed on drive S1 (/dev/nvme0): Invalid Namespace or "
                     "Format (status code type 0x0, status code 0x0B, opcode 0x0A)."));
}

TEST(AnyFeature, DoesNotChooseAmongSeveralNamespaces) {
    const std::string refusal = status(
        "10", "76",
        "No namespace ID given. Each namespace of drive S1 (/dev/nvme0) has this feature for itself; name one with "
        "-namespace.");
    FakeDrive several;
    several.expect(hostNamespaces({unusedNamespace(1), unusedNamespace(2)}));
    EXPECT_EQ(get({{"FeatureId", "5"}}, several), refusal);
    FakeDrive none;
    none.expect(hostNamespaces({}));
    EXPECT_EQ(set({{"FeatureId", "5"}, {"DWORD11", "1"}}, none), refusal);
}

TEST(AnyFeature, ReadsC0ToC7AsOcpsOnAnOcpDriveAlone) {
    FakeDrive ocp;
    ocp.expect(withList())
        .expect(logList(0xC0))
        .expect(ocpLog().answers(ocpSmart()))
        .expect(getFeature(0xC2).completes(2));
    EXPECT_EQ(get({{"FeatureId", "0xC2"}}, ocp), R"x(0/0
<Object category="Output">
<Object key="S1" name="EOL/PLP Failure Mode">
<Property description="Feature Identifier" name="FID" value="0xC2"/>
<Property description="Select" name="SEL" value="current"/>
<Property name="Dword 0" value="0x00000002"/>
<Property description="End of Life and PLP Failure Mode" name="Mode" value="write through mode"/>
</Object>
</Object>)x");
    FakeDrive other;
    other.expect(withoutList()).expect(getFeature(0xC2, 0, 0, 4096).completes(2));
    EXPECT_EQ(get({{"FeatureId", "0xC2"}}, other), R"x(0/0
<Object category="Output">
<Object key="S1" name="Feature 0xC2">
<Property description="Feature Identifier" name="FID" value="0xC2"/>
<Property description="Select" name="SEL" value="current"/>
<Property name="Dword 0" value="0x00000002"/>
</Object>
</Object>)x");
}

TEST(AnyFeature, ReportsWhatTheDriveDoesNotSupport) {
    FakeDrive drive;
    drive.expect(identify(1).answers(identifyController().le16(322, 1))).expect(getFeature(0x10).refuses(0x4002));
    EXPECT_EQ(get({{"FeatureId", "0x10"}}, drive),
              status("10", "3",
                     "The selected drive does not support this feature. Get Features failed on drive S1 (/dev/nvme0): "
                     "Invalid Field in Command (status code type 0x0, status code 0x02, opcode 0x0A)."));
}

// Writing.

TEST(AnyFeature, WritesAllDwords) {
    FakeDrive drive;
    drive.expect(identify(1).answers(ableController()))
        .expect(setFeature(0x02, 0x1F, true, 7).dword(12, 0xABCDEF01).dword(13, 0x10).completes());
    EXPECT_EQ(set({{"NamespaceId", "7"},
                   {"FeatureId", "2"},
                   {"DWORD11", "1f"},
                   {"DWORD12", "0xABCDEF01"},
                   {"DWORD13", "10"},
                   {"Save", "true"}},
                  drive),
              status("0", "0", "Feature 0x02 (Power Management) is set and saved."));
}

TEST(AnyFeature, WritesDataFromAFile) {
    TemporaryFolder folder;
    writeWholeFile(folder / "t.bin", std::string("\x01\x02\x03\x04\x05\x06\0\0", 8));
    FakeDrive drive;
    drive.expect(setFeature(0x0E, 0).writes({1, 2, 3, 4, 5, 6, 0, 0}).completes());
    EXPECT_EQ(set({{"FeatureId", "0xE"}, {"InputFile", folder / "t.bin"}, {"Save", "False"}}, drive),
              status("0", "0",
                     "Feature 0x0E (Timestamp) is set. It holds until the next controller reset, when Linux sets this "
                     "feature."));
}

TEST(AnyFeature, FailsWhenTheDriveReportsAnotherValueThanItAccepted) {
    FakeDrive drive;
    drive.expect(setFeature(0x04, 0x00010143).completes())
        .expect(getFeature(0x04).dword(11, 0x00010000).completes(0x00010157));
    EXPECT_EQ(set({{"FeatureId", "4"}, {"DWORD11", "10143"}}, drive),
              status("10", "164",
                     "Configuration update failed. Drive S1 (/dev/nvme0) accepted 0x00010143 for Feature 0x04 "
                     "(Temperature Threshold) and reports 0x00010157."));
    FakeDrive lost;
    lost.expect(setFeature(0x01, 1).completes()).expect(getFeature(0x01).breaks(gone()));
    EXPECT_EQ(set({{"FeatureId", "1"}, {"DWORD11", "1"}}, lost), status("0", "70", "The drive /dev/nvme0 is gone."));
}

TEST(AnyFeature, ReadsNothingBackThatHasNoOneValue) {
    FakeDrive everySensor;
    everySensor.expect(setFeature(0x04, 0x000F0143).completes());
    EXPECT_EQ(
        set({{"FeatureId", "4"}, {"DWORD11", "F0143"}}, everySensor),
        status("0", "0", "Feature 0x04 (Temperature Threshold) is set. It holds until the next controller reset."));
    FakeDrive everyNamespace;
    everyNamespace.expect(setFeature(0x05, 0x10, false, 0xFFFFFFFF).completes());
    EXPECT_EQ(set({{"FeatureId", "5"}, {"DWORD11", "10"}, {"NamespaceId", "0xFFFFFFFF"}}, everyNamespace),
              status("0", "0", "Feature 0x05 (Error Recovery) is set. It holds until the next controller reset."));
}

TEST(AnyFeature, ReadsNothingBackThatTheDriveChangesByItself) {
    FakeDrive sleeping;  // it may have left the power state before it is asked
    sleeping.expect(setFeature(0x02, 4).completes());
    EXPECT_EQ(set({{"FeatureId", "2"}, {"DWORD11", "4"}}, sleeping),
              status("0", "0", "Feature 0x02 (Power Management) is set. It holds until the next controller reset."));
    FakeDrive polling;  // whose poll interval, bits 31:16, is its own
    polling.expect(setFeature(0x15, 0x00000005).completes());
    EXPECT_EQ(set({{"FeatureId", "0x15"}, {"DWORD11", "5"}}, polling),
              status("0", "0",
                     "Feature 0x15 (LBA Status Information Attributes) is set. It holds until the next controller "
                     "reset."));
}

TEST(AnyFeature, SaysHowLongAValueHoldsWhereThatIsKnown) {
    FakeDrive persistent;
    persistent.expect(setFeature(0x80, 0).completes()).expect(getFeature(0x80).completes(0));
    EXPECT_EQ(set({{"FeatureId", "0x80"}, {"DWORD11", "0"}}, persistent),
              status("0", "0", "Feature 0x80 (Software Progress Marker) is set."));
    FakeDrive linux;
    linux.expect(identify(1).answers(ableController()))
        .expect(setFeature(0x0B, 0x100, true).completes())
        .expect(getFeature(0x0B).completes(0x100));
    EXPECT_EQ(set({{"FeatureId", "0x0B"}, {"DWORD11", "100"}, {"Save", "true"}}, linux),
              status("0", "0",
                     "Feature 0x0B (Asynchronous Event Configuration) is set and saved. It holds until the next "
                     "controller reset, when Linux sets this feature."));
}

TEST(AnyFeature, LeavesTheLengthOfAMakersDataToTheUser) {
    TemporaryFolder folder;
    writeWholeFile(folder / "v.bin", "abcd");
    FakeDrive drive;
    drive.expect(withoutList()).expect(setFeature(0xD0, 0).writes({'a', 'b', 'c', 'd'}).completes());
    EXPECT_EQ(set({{"FeatureId", "0xD0"}, {"InputFile", folder / "v.bin"}}, drive),
              status("0", "0", "Feature 0xD0 is set."));
}

TEST(AnyFeature, RefusesDataOfTheWrongLength) {
    TemporaryFolder folder;
    writeWholeFile(folder / "four", "abcd");
    const std::string four = folder / "four";
    FakeDrive drive;
    EXPECT_EQ(
        set({{"FeatureId", "0xE"}, {"InputFile", four}}, drive),
        status("0", "75",
               "Invalid transfer size specified. Feature 0x0E (Timestamp) takes 8 bytes of data, but InputFile has "
               "4 bytes."));
    EXPECT_EQ(
        set({{"FeatureId", "0xE"}, {"DWORD11", "1"}}, drive),
        status("0", "75",
               "Invalid transfer size specified. Feature 0x0E (Timestamp) takes 8 bytes of data, but no InputFile "
               "was given."));
    EXPECT_EQ(
        set({{"FeatureId", "8"}, {"DWORD11", "1"}, {"InputFile", four}}, drive),
        status("0", "75",
               "Invalid transfer size specified. Feature 0x08 (Interrupt Coalescing) takes no data, but InputFile "
               "has 4 bytes."));
    EXPECT_EQ(set({{"FeatureId", "0x81"}, {"DWORD11", "1"}, {"InputFile", four}}, drive),
              status("0", "75",
                     "Invalid transfer size specified. Feature 0x81 (Host Identifier) takes 16 bytes of data, but "
                     "InputFile has 4 bytes."));
    EXPECT_EQ(set({{"FeatureId", "0x81"}, {"InputFile", four}}, drive),
              status("0", "75",
                     "Invalid transfer size specified. Feature 0x81 (Host Identifier) takes 8 bytes of data, but "
                     "InputFile has 4 bytes."));
}

TEST(AnyFeature, DoesNotHandOutHostMemory) {
    FakeDrive drive;
    EXPECT_EQ(
        set({{"FeatureId", "0xD"}, {"DWORD11", "1"}}, drive),
        status(
            "10", "34",
            "Feature is not supported. The Host Memory Buffer is enabled by the kernel&apos;s driver, which owns the "
            "memory."));
    drive.expect(setFeature(0x0D, 0).completes());
    EXPECT_EQ(set({{"FeatureId", "0xD"}, {"DWORD11", "0"}}, drive),
              status("0", "0", "Feature 0x0D (Host Memory Buffer) is set. It holds until the next controller reset."));
}

TEST(AnyFeature, DoesNotAskForASaveThatTheControllerDoesNotKnow) {
    FakeDrive drive;
    drive.expect(identify(1).answers(identifyController()));
    EXPECT_EQ(
        set({{"FeatureId", "8"}, {"DWORD11", "1"}, {"Save", "1"}}, drive),
        status("10", "3",
               "The selected drive does not support this feature. Drive S1 (/dev/nvme0) cannot save features over "
               "a power cycle."));
}

TEST(AnyFeature, ReportsTheRefusalOfASet) {
    FakeDrive drive;
    drive.expect(setFeature(0x07, 0x00030003).refuses(0x400C));
    EXPECT_EQ(
        set({{"FeatureId", "7"}, {"DWORD11", "30003"}}, drive),
        status("0", "25",
               "Set Features failed on drive S1 (/dev/nvme0): Command Sequence Error (status code type 0x0, status "
               "code 0x0C, opcode 0x09)."));
}

TEST(AnyFeature, LooksAtTheUseOfADriveBeforeAMakersFeatureDestroysItsData) {
    HostNamespace mounted = unusedNamespace(1);
    mounted.uses.push_back({NamespaceUse::Kind::MOUNTED, "/dev/nvme0n1", "/mnt", false});
    const std::string refusal =
        status("10", "241",
               "Cannot run selected feature with the given configuration. /dev/nvme0n1 is mounted "
               "on /mnt.");
    FakeDrive quickFormat;
    nameModel(quickFormat, "VELKO X1");
    quickFormat.expect(withoutList()).expect(hostUses({mounted}));
    EXPECT_EQ(set({{"FeatureId", "0xE3"}, {"DWORD11", "1"}}, quickFormat), refusal);
    FakeDrive maximumLba;
    nameModel(maximumLba, "VELKO X1");
    maximumLba.expect(withoutList()).expect(ocpLog().refuses(0x4109)).expect(hostUses({mounted}));
    EXPECT_EQ(set({{"FeatureId", "0xC1"}, {"DWORD11", "1"}}, maximumLba), refusal);
    FakeDrive mountedMeanwhile;
    nameModel(mountedMeanwhile, "VELKO X1");
    mountedMeanwhile.expect(withoutList()).expect(hostUses({unusedNamespace(1)})).expect(hostUses({mounted}));
    EXPECT_EQ(set({{"FeatureId", "0xE3"}, {"DWORD11", "1"}}, mountedMeanwhile), refusal);
    FakeDrive unused;
    nameModel(unused, "VELKO X1");
    unused.expect(withoutList())
        .expect(hostUses({unusedNamespace(1)}))
        .expect(hostUses({unusedNamespace(1)}))
        .expect(setFeature(0xE3, 1).completes());
    EXPECT_EQ(set({{"FeatureId", "0xE3"}, {"DWORD11", "1"}}, unused),
              status("0", "0", "Feature 0xE3 (Quick Format) is set."));
}

TEST(AnyFeature, ShowsAndWritesTheMakersFeaturesOnTheMakersDriveAlone) {
    FakeDrive led;
    velko(led).expect(withoutList()).expect(getFeature(0xC9).completes(0x01328842));
    EXPECT_EQ(get({{"FeatureId", "0xC9"}}, led), R"x(0/0
<Object category="Output">
<Object key="S1" name="LED Activity">
<Property description="Feature Identifier" name="FID" value="0xC9"/>
<Property description="Select" name="SEL" value="current"/>
<Property name="Dword 0" value="0x01328842"/>
<Property description="I/O On Multiplier" name="IoOnMultiplier" value="2"/>
<Property description="I/O Off Multiplier" name="IoOffMultiplier" value="4"/>
<Property description="Format On Multiplier" name="FormatOnMultiplier" value="8"/>
<Property description="Format Off Multiplier" name="FormatOffMultiplier" value="8"/>
<Property description="Duration Base" name="DurationBase" value="50 milliseconds"/>
<Property description="Idle State" name="IdleState" value="on"/>
</Object>
</Object>)x");
    FakeDrive native;
    velko(native).expect(withoutList()).expect(getFeature(0xC2, 0, 0, 16).answers(DriveBytes(16).le64(0, 0x07FFFFFF)));
    EXPECT_EQ(get({{"FeatureId", "0xC2"}}, native), R"x(0/0
<Object category="Output">
<Object key="S1" name="Native Maximum LBA">
<Property description="Feature Identifier" name="FID" value="0xC2"/>
<Property description="Select" name="SEL" value="current"/>
<Property name="Dword 0" value="0x00000000"/>
<Property description="Native Maximum LBA" name="NativeMaxLBA" value="134217727"/>
<Object name="Data">
<Property name="Offset 0x000" value="FF FF FF 07 00 00 00 00 00 00 00 00 00 00 00 00"/>
</Object>
</Object>
</Object>)x");
    FakeDrive withoutData;
    velko(withoutData).expect(withoutList()).expect(ocpLog().refuses(0x4109)).expect(hostUses({unusedNamespace(1)}));
    EXPECT_EQ(set({{"FeatureId", "0xC1"}, {"DWORD11", "5"}}, withoutData),
              status("0", "75",
                     "Invalid transfer size specified. Feature 0xC1 (Maximum LBA) takes 16 bytes of data, but no "
                     "InputFile was given."));
    FakeDrive throttle;
    velko(throttle).expect(withoutList()).expect(setFeature(0xD9, 1).completes());
    EXPECT_EQ(
        set({{"FeatureId", "0xD9"}, {"DWORD11", "1"}}, throttle),
        status("0", "0", "Feature 0xD9 (Thermal Throttle Disable) is set. It holds until the next controller reset."));
    FakeDrive other;  // another maker's C9h is not known
    other.expect(withoutList()).expect(ocpLog().refuses(0x4109)).expect(setFeature(0xC9, 1).completes());
    EXPECT_EQ(set({{"FeatureId", "0xC9"}, {"DWORD11", "1"}}, other), status("0", "0", "Feature 0xC9 is set."));
}

TEST(AnyFeature, WritesC1AsOcpsOnADriveWithBothDialects) {
    FakeDrive drive;
    nameModel(drive, "VELKO X1");
    drive.expect(withoutList()).expect(ocpLog().answers(ocpSmart())).expect(setFeature(0xC1, 0x80000000).completes());
    EXPECT_EQ(set({{"FeatureId", "0xC1"}, {"DWORD11", "80000000"}}, drive),
              status("0", "0", "Feature 0xC1 (Clear Firmware Update History) is set."));
}

// Feature C8h of OCP 2.5 is for all namespaces, and OCP's by its UUID; a feature that OCP does not have is the maker's.
TEST(AnyFeature, AddressesVendorSpecificFeaturesByTheirUuid) {
    FakeDrive drive;
    for (int i = 0; i < 2; ++i) {
        velko(drive)
            .expect(withUuids())
            .expect(identify(0x17).answers(makerAndOcpUuids()))
            .expect(ocpLog(2).answers(ocpSmart(4)))
            .expect(i == 0
                        ? Expected::admin(0x0A).nsid(0xFFFFFFFF).dword(10, 0xC8).dword(14, 2).completes(3)
                        : Expected::admin(0x09).nsid(0xFFFFFFFF).dword(10, 0xC8).dword(11, 4).dword(14, 2).completes());
    }
    drive.expect(withUuids())
        .expect(identify(0x17).answers(makerAndOcpUuids()))
        .expect(Expected::admin(0x09).dword(10, 0xD9).dword(11, 1).dword(14, 1).completes());
    EXPECT_EQ(get({{"FeatureId", "0xC8"}}, drive), R"x(0/0
<Object category="Output">
<Object key="S1" name="Telemetry Profile">
<Property description="Feature Identifier" name="FID" value="0xC8"/>
<Property description="Select" name="SEL" value="current"/>
<Property name="Dword 0" value="0x00000003"/>
<Property description="Telemetry Profile Select" name="TPS" value="3"/>
</Object>
</Object>)x");
    EXPECT_EQ(set({{"FeatureId", "0xC8"}, {"DWORD11", "4"}}, drive),
              status("0", "0", "Feature 0xC8 (Telemetry Profile) is set. It holds until the next controller reset."));
    EXPECT_EQ(
        set({{"FeatureId", "0xD9"}, {"DWORD11", "1"}}, drive),
        status("0", "0", "Feature 0xD9 (Thermal Throttle Disable) is set. It holds until the next controller reset."));
}

const Expected WITH_PLACEMENT = identify(1).answers(identifyController().le32(96, 1U << 19));

TEST(AnyFeature, AGroupThatTheRequestNamesIsNotLookedFor) {
    FakeDrive named;
    named.expect(WITH_PLACEMENT).expect(getFeature(0x1D).dword(11, 2).completes(0x0201));
    EXPECT_NE(get({{"FeatureId", "0x1D"}, {"DWORD11", "2"}}, named).find("value=\"0x00000201\""), std::string::npos);
    FakeDrive without;  // Identify is refused, and nothing of a group is known
    without.expect(WITH_PLACEMENT)
        .expect(hostNamespaces({unusedNamespace(4)}))
        .expect(identify(0, 4).refuses(0x400B))
        .expect(getFeature(0x1D).completes(0x0200));
    EXPECT_NE(get({{"FeatureId", "0x1D"}}, without).find("value=\"0x00000200\""), std::string::npos);
}

TEST(AnyFeature, NothingIsShownOrSetOnAnUnpluggedDrive) {
    const std::string unplugged = status("0", "70", "The drive /dev/nvme0 is gone.");
    const struct {
        const char* type;
        std::vector<Argument> arguments;
        Script script;
    } CASES[] = {
        {"get",
         {{"FeatureId", "0x1D"}},
         {WITH_PLACEMENT, hostNamespaces({unusedNamespace(4)}), identify(0, 4), getFeature(0x1D)}},
        {"get", {{"FeatureId", "4"}}, {getFeature(0x04), identify(1)}},
        {"get", {{"FeatureId", "5"}}, {hostNamespaces({unusedNamespace(4)}), getFeature(0x05, 0, 4)}},
        {"get", {{"FeatureId", "8"}, {"Select", "1"}}, {identify(1)}},
        {"get", {{"FeatureId", "0xC2"}}, {withList(), logList(0xC0), ocpLog()}},
        {"set", {{"FeatureId", "0xC1"}, {"DWORD11", "1"}}, {withoutList(), ocpLog()}},
        {"set",
         {{"FeatureId", "8"}, {"DWORD11", "1"}, {"Save", "true"}},
         {identify(1).answers(ableController()), setFeature(0x08, 1, true), getFeature(0x08)}},
        {"set",
         {{"FeatureId", "5"}, {"DWORD11", "1"}},
         {hostNamespaces({unusedNamespace(4)}), setFeature(0x05, 1, false, 4), getFeature(0x05, 0, 4)}},
        {"set",
         {{"FeatureId", "0xE3"}, {"DWORD11", "1"}},  // Quick Format
         {withoutList(), hostUses({unusedNamespace(1)}), hostUses({unusedNamespace(1)}), setFeature(0xE3, 1)}},
    };
    for (const auto& c : CASES) {
        SCOPED_TRACE(c.arguments.front().value);
        expectUnplugged<FakeDrive>(c.script, unplugged,
                                   [&c](FakeDrive& drive) { return run(c.type, c.arguments, {&velko(drive)}); });
    }
}

// Requests that are wrong as a whole.

TEST(AnyFeature, RefusesABadRequestBeforeAnyDriveIsTouched) {
    TemporaryFolder folder;
    writeWholeFile(folder / "three", "abc");
    writeWholeFile(folder / "empty", "");
    writeWholeFile(folder / "large", std::string(4100, 'x'));
    const std::string f = std::filesystem::path(folder / "x").parent_path();
    const struct {
        const char* type;
        std::vector<Argument> arguments;
        std::string answer;
    } cases[] = {
        {"Set",
         {{"FeatureId", "8"}},
         "10/36 Invalid property specified. SetGetType must be 'get' or 'set', not 'Set'."},
        {"get", {}, "10/17 Invalid feature ID given."},
        {"set",
         {{"FeatureId", "8"}, {"Save", "true"}, {"DWORD11", ""}},
         "10/38 No properties specified for this feature. Give DWORD11, DWORD12, DWORD13 or InputFile."},
        {"get",
         {{"FeatureId", "256"}},
         "10/17 Invalid feature ID given. Invalid value given for FeatureId: '256'. It must be a number from 0 to "
         "255."},
        {"get",
         {{"FeatureId", "8h"}},
         "10/17 Invalid feature ID given. Invalid value given for FeatureId: '8h'. It must be a number from 0 to 255."},
        {"get",
         {{"FeatureId", "8"}, {"Select", "4"}},
         "10/36 Invalid value given for Select: '4'. It must be a number from 0 to 3."},
        {"get",
         {{"FeatureId", "8"}, {"NamespaceId", "0x100000000"}},
         "10/36 Invalid value given for NamespaceId: '0x100000000'. It must be a number from 0 to 4294967295."},
        {"set",
         {{"FeatureId", "8"}, {"DWORD11", "0xZ1"}},
         "10/36 Invalid value given for DWORD11: '0xZ1'. It must be a hexadecimal number from 0 to 0xFFFFFFFF."},
        {"set",
         {{"FeatureId", "8"}, {"DWORD12", "100000000"}},
         "10/36 Invalid value given for DWORD12: '100000000'. It must be a hexadecimal number from 0 to 0xFFFFFFFF."},
        {"set",
         {{"FeatureId", "8"}, {"DWORD13", "-1"}},
         "10/36 Invalid value given for DWORD13: '-1'. It must be a hexadecimal number from 0 to 0xFFFFFFFF."},
        {"set",
         {{"FeatureId", "8"}, {"Save", "yes"}},
         "10/36 Invalid value given for Save: 'yes'. It must be true or false."},
        {"set",
         {{"FeatureId", "8"}, {"InputFile", f + "/none"}},
         "10/54 Failed reading a file necessary for the feature. '" + f + "/none': No such file or directory."},
        {"set",
         {{"FeatureId", "8"}, {"InputFile", f}},
         "10/54 Failed reading a file necessary for the feature. '" + f + "': not a regular file."},
        {"set",
         {{"FeatureId", "8"}, {"InputFile", f + "/three"}},
         "0/75 Invalid transfer size specified. '" + f +
             "/three' has 3 bytes; data goes to a drive in dwords of 4 bytes."},
        {"set",
         {{"FeatureId", "8"}, {"InputFile", f + "/empty"}},
         "0/75 Invalid transfer size specified. '" + f +
             "/empty' has 0 bytes; data goes to a drive in dwords of 4 bytes."},
        {"set",
         {{"FeatureId", "8"}, {"InputFile", f + "/large"}},
         "10/54 Failed reading a file necessary for the feature. '" + f +
             "/large': it has 4100 bytes, and at most 4096 can be taken."},
    };
    for (const auto& c : cases) {
        FakeDrive drive;
        EXPECT_EQ(run(c.type, c.arguments, {&drive}), c.answer);
    }
}

TEST(AnyFeature, WritesToOneDriveAndNoMore) {
    FakeDrive first;
    FakeDrive second("S2", "/dev/nvme1");
    EXPECT_EQ(run("set", {{"FeatureId", "8"}}, {&first, &second}), "10/6 Multiple devices selected.");
    EXPECT_EQ(run("set", {{"FeatureId", "8"}}, {}), "10/5 No device selected.");
}

}  // namespace
}  // namespace features::jobs
