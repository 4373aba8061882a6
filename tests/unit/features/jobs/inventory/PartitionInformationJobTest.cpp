#include <gtest/gtest.h>

#include "features/jobs/inventory/PartitionInformationJob.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"
#include "tests/unit/features/jobs/Commands.h"
#include "tests/unit/features/jobs/JobRun.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::interfaces::ostreli;
using transport::HostNamespace;
using transport::NamespaceUse;
using transport::PartitionInfo;

/// p1 is mounted twice, p2 is swap, p3 part of an array, p4 unused.
HostNamespace partitionedNamespace() {
    HostNamespace part = unusedNamespace(1);
    part.uses = {
        {NamespaceUse::Kind::MOUNTED, "/dev/nvme0n1p1", "/data", false},
        {NamespaceUse::Kind::MOUNTED, "/dev/nvme0n1p1", "/srv", false},
        {NamespaceUse::Kind::SWAP, "/dev/nvme0n1p2", "", true},
        {NamespaceUse::Kind::HELD, "/dev/nvme0n1p3", "md0", false},
        {NamespaceUse::Kind::PARTITION, "/dev/nvme0n1p4", "", false},
    };
    PartitionInfo first;
    first.node = "/dev/nvme0n1p1";
    first.startBytes = 1048576;
    first.sizeBytes = 400000000;
    first.fileSystem = "ext4";
    first.label = "data";
    first.uuid = "0b1c2d3e-0000-0000-0000-000000000001";
    first.mountPoint = "/data";
    first.freeBytes = 100000000;
    part.partitions = {first, {}, {}, {}};
    for (std::size_t i = 1; i < 4; ++i) {
        part.partitions[i].node = "/dev/nvme0n1p" + std::to_string(i + 1);
        part.partitions[i].startBytes = i * 500000000;
        part.partitions[i].sizeBytes = 1024;
    }
    return part;
}

constexpr const char* FIRST_PARTITION = R"(<Object category="attributeList" key="Partition /dev/nvme0n1p1 S1">
<Property category="attribute" displayName="File System Type" name="FileSystemType" size="5" type="string" value="ext4"/>
<Property category="attribute" description="bytes" displayName="Free Space" name="FreeSpace" size="8" type="uint64" value="100000000"/>
<Property category="attribute" description="%" displayName="Free Space Percentage" name="FreeSpacePercentage" size="8" type="uint64" value="25"/>
<Property category="attribute" displayName="Label" name="Label" size="5" type="string" value="data"/>
<Property category="attribute" displayName="Mount Point" name="MountPoint" size="6" type="string" value="/data"/>
<Property category="attribute" displayName="Mount Point 2" name="MountPoint 2" size="5" type="string" value="/srv"/>
<Property category="attribute" description="bytes" displayName="Offset" name="Offset" size="8" type="uint64" value="1048576"/>
<Property category="attribute" description="bytes" displayName="Size" name="Size" size="8" type="uint64" value="400000000"/>
<Property category="attribute" displayName="UUID" name="UUID" size="37" type="string" value="0b1c2d3e-0000-0000-0000-000000000001"/>
<Property category="attribute" displayName="Use" name="Use" size="5" type="string" value="none"/>
<Property category="attribute" description="bytes" displayName="Used Space" name="UsedSpace" size="8" type="uint64" value="300000000"/>
</Object>
)";

std::string unmountedPartition(const std::string& number, const std::string& offset, const std::string& use) {
    return "<Object category=\"attributeList\" key=\"Partition /dev/nvme0n1p" + number +
           " S1\">\n"
           "<Property category=\"attribute\" displayName=\"File System Type\" name=\"FileSystemType\" size=\"13\" "
           "type=\"string\" value=\"not reported\"/>\n"
           "<Property category=\"attribute\" displayName=\"Mount Point\" name=\"MountPoint\" size=\"12\" "
           "type=\"string\" value=\"not mounted\"/>\n"
           "<Property category=\"attribute\" description=\"bytes\" displayName=\"Offset\" name=\"Offset\" size=\"8\" "
           "type=\"uint64\" value=\"" +
           offset +
           "\"/>\n"
           "<Property category=\"attribute\" description=\"bytes\" displayName=\"Size\" name=\"Size\" size=\"8\" "
           "type=\"uint64\" value=\"1024\"/>\n"
           "<Property category=\"attribute\" displayName=\"Use\" name=\"Use\" size=\"" +
           std::to_string(use.size() + 1) + "\" type=\"string\" value=\"" + use + "\"/>\n</Object>\n";
}

const std::string BEGIN = "0/0\n<Object category=\"Output\">\n";
const std::string END = "</Object>";

std::string statusObject(const std::string& category, const std::string& code, const std::string& message,
                         const std::string& key) {
    return "<Object category=\"status\" key=\"" + key +
           "\" name=\"Partition Information\">\n<Property name=\"Category\" "
           "value=\"" +
           category + "\"/>\n<Property name=\"Code\" value=\"" + code + "\"/>\n<Property name=\"Message\" value=\"" +
           message + "\"/>\n</Object>\n";
}

TEST(PartitionInformationJob, ShowsEachPartitionWithItsUse) {
    FakeDrive drive;
    drive.expect(hostUses({partitionedNamespace()}));
    PartitionInformationJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).on({&drive}),
              BEGIN + FIRST_PARTITION + unmountedPartition("2", "500000000", "swap") +
                  unmountedPartition("3", "1000000000", "part of md0") + unmountedPartition("4", "1500000000", "none") +
                  END);
}

TEST(PartitionInformationJob, ShowsTheOneThatWasNamed) {
    FakeDrive drive;
    drive.expect(hostUses({partitionedNamespace()}));
    PartitionInformationJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).with("Path", "/dev/nvme0n1p1").on({&drive}),
              BEGIN + FIRST_PARTITION + END);
}

TEST(PartitionInformationJob, ANamespaceInUseWithoutPartitionsIsShownAsAWhole) {
    HostNamespace mounted = unusedNamespace(2);
    mounted.uses = {{NamespaceUse::Kind::MOUNTED, "/dev/nvme0n2", "/scratch", false},
                    {NamespaceUse::Kind::OPENED, "/dev/nvme0n2", "", false},
                    {NamespaceUse::Kind::UNKNOWN, "/dev/nvme0n2", "open: No", false}};
    FakeDrive drive;
    drive.expect(hostUses({unusedNamespace(1), mounted}));
    PartitionInformationJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).on({&drive}),
              BEGIN + R"(<Object category="attributeList" key="Namespace /dev/nvme0n2 S1">
<Property category="attribute" displayName="Mount Point" name="MountPoint" size="9" type="string" value="/scratch"/>
<Property category="attribute" description="bytes" displayName="Size" name="Size" size="8" type="uint64" value="1073741824"/>
<Property category="attribute" displayName="Use" name="Use" size="57" type="string" value="opened exclusively by another program, unknown: open: No"/>
</Object>
)" + END);
}

/// What a file system that is damaged may say of itself.
TEST(PartitionInformationJob, SpaceThatCannotBeIsNotCounted) {
    const struct {
        uint64_t size, free;
        bool isCounted;
    } CASES[] = {{1000, 1000, true}, {1000, 1001, false}, {0, 0, false}};
    for (const auto& c : CASES) {
        HostNamespace part = unusedNamespace(1);
        PartitionInfo partition;
        partition.node = "/dev/nvme0n1p1";
        partition.mountPoint = "/data";
        partition.sizeBytes = c.size;
        partition.freeBytes = c.free;
        part.partitions = {partition};
        FakeDrive drive;
        drive.expect(hostUses({part}));
        PartitionInformationJob job;
        const std::string shown = JobRun(job, JOBTYPE_GET_PROPERTIES).on({&drive});
        EXPECT_NE(shown.find("name=\"FreeSpace\" size=\"8\" type=\"uint64\" value=\"" + std::to_string(c.free)),
                  std::string::npos)
            << shown;
        EXPECT_EQ(shown.find("\"UsedSpace\"") != std::string::npos, c.isCounted) << shown;
        EXPECT_EQ(shown.find("\"FreeSpacePercentage\"") != std::string::npos, c.isCounted) << shown;
    }
}

/// What is on it is no use of it.
TEST(PartitionInformationJob, NamesEachUse) {
    const struct {
        NamespaceUse::Kind kind;
        const char* detail;
        const char* text;
    } CASES[] = {
        {NamespaceUse::Kind::PARTITION, "", nullptr},
        {NamespaceUse::Kind::SWAP, "", "swap"},
        {NamespaceUse::Kind::HELD, "md0", "part of md0"},
        {NamespaceUse::Kind::OPENED, "", "opened exclusively by another program"},
        {NamespaceUse::Kind::UNKNOWN, "no right", "unknown: no right"},
        {NamespaceUse::Kind::CONTENT, "a file system (ext4)", nullptr},
        {NamespaceUse::Kind::UNREADABLE, "I/O error", nullptr},
    };
    for (const auto& c : CASES) {
        HostNamespace part = unusedNamespace(1);
        part.uses = {{c.kind, "/dev/nvme0n1", c.detail, false}, {c.kind, "/dev/nvme0n1", c.detail, false}};
        FakeDrive drive;
        drive.expect(hostUses({part}));
        PartitionInformationJob job;
        const std::string shown = JobRun(job, JOBTYPE_GET_PROPERTIES).on({&drive});
        const std::string text = c.text == nullptr ? "none" : std::string(c.text) + ", " + c.text;
        EXPECT_NE(shown.find("type=\"string\" value=\"" + text + "\"/>\n</Object>"), std::string::npos) << shown;
    }
}

TEST(PartitionInformationJob, WithoutPartitionsItSaysSo) {
    FakeDrive drive;
    drive.expect(hostUses({unusedNamespace(1)}));
    PartitionInformationJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).on({&drive}),
              BEGIN + statusObject("0", "0", "Device has no partitions.", "S1") + END);
}

TEST(PartitionInformationJob, APartitionThatNoDriveHasIsAnError) {
    FakeDrive first;
    first.expect(hostUses({partitionedNamespace()}));
    FakeDrive second("S2", "/dev/nvme1");
    second.expect(hostUses({}));
    PartitionInformationJob job;
    EXPECT_EQ(
        JobRun(job, JOBTYPE_GET_PROPERTIES).with("Path", "/dev/sda1").on({&first, &second}),
        BEGIN +
            statusObject("10", "108", "This selected partition was not found on the selected device.", "/dev/sda1") +
            END);
}

TEST(PartitionInformationJob, OneDriveOfSeveralHasTheNamedPartition) {
    FakeDrive first("S0", "/dev/nvme1");
    first.expect(hostUses({}));
    FakeDrive second;
    second.expect(hostUses({partitionedNamespace()}));
    PartitionInformationJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).with("Path", "/dev/nvme0n1p1").on({&first, &second}),
              BEGIN + FIRST_PARTITION + END);
}

TEST(PartitionInformationJob, AFailingDriveDoesNotSpoilTheOthers) {
    FakeDrive first("S0", "/dev/nvme1");
    first.expect(Expected::host(transport::HostRequest::USES).breaks(gone()));
    FakeDrive second;
    second.expect(hostUses({unusedNamespace(1)}));
    PartitionInformationJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).on({&first, &second}),
              BEGIN + statusObject("0", "70", "The drive /dev/nvme0 is gone.", "S0") +
                  statusObject("0", "0", "Device has no partitions.", "S1") + END);
}

TEST(PartitionInformationJob, RequestedNamesInAnyCase) {
    FakeDrive drive;
    drive.expect(hostUses({partitionedNamespace()}));
    PartitionInformationJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES)
                  .with("Path", "/dev/nvme0n1p4")
                  .asking("SIZE")
                  .asking("FreeSpace")
                  .on({&drive}),
              BEGIN + R"(<Object category="attributeList" key="Partition /dev/nvme0n1p4 S1">
<Property category="attribute" displayName="" name="FreeSpace" size="19" type="string" value="Property not found"/>
<Property category="attribute" description="bytes" displayName="Size" name="Size" size="8" type="uint64" value="1024"/>
</Object>
)" + END);
}

}  // namespace
}  // namespace features::jobs
