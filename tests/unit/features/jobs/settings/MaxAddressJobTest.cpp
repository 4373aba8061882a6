#include <gtest/gtest.h>

#include "features/jobs/settings/MaxAddressJob.h"
#include "tests/unit/features/jobs/Commands.h"
#include "tests/unit/features/jobs/Models.h"
#include "tests/unit/features/jobs/OcpLog.h"
#include "tests/unit/features/jobs/SetRun.h"
#include "tests/unit/features/jobs/Unplugged.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using features::transport::HostNamespace;
using features::transport::HostRequest;
using features::transport::NamespaceUse;
using ostrel::core::CATEGORY_OS;
using ostrel::core::Status;

constexpr const char* NOT_SUPPORTED =
    "10/237 Max address command not supported on this drive, use namespace management instead.";
constexpr uint64_t NATIVE = 134217727;  // 64 GiB in blocks of 512 bytes

std::string set(const std::string& text, const FakeDrive& drive) {
    MaxAddressJob job;
    return setText(job, "MaximumLBA", text, drive);
}

Expected noUse() {
    return hostUses({unusedNamespace(1)});
}
Expected readNative() {
    return getFeature(0xC2, 0, 0, 16);
}
Expected writeLba(uint64_t lba) {
    return Expected::admin(0x09).dword(10, 0xC1).writes(DriveBytes(16).le64(0, lba));
}

Expected readLba() {
    return getFeature(0xC1, 0, 0, 16);
}

/// All that comes before the native maximum: a VELKO drive without OCP features and with one namespace.
FakeDrive& oneNamespace(FakeDrive& drive) {
    return velko(drive)
        .expect(noUse())
        .expect(identify(0x01).answers(identifyController().le16(256, 0x0008)))
        .expect(ocpLog().refuses(NO_SUCH_LOG))
        .expect(identify(0x10).answers(namespaceList({1})));
}

constexpr struct {
    const char* text;
    uint64_t lba;
} LBAS[] = {
    {"1", 1},           {"99999999", 99999999}, {"134217727", NATIVE}, {"native", NATIVE},
    {"NATIVE", NATIVE}, {"100%", NATIVE},       {"1%", 1342176},  // 1,342,177.28 blocks
    {"50%", 67108863},                                            // 67,108,864 blocks
};
TEST(MaxAddressJob, SetsBlocksPercentOrTheNativeMaximum) {
    for (const auto& c : LBAS) {
        SCOPED_TRACE(c.text);
        FakeDrive drive;
        oneNamespace(drive)
            .expect(readNative().answers(DriveBytes(16).le64(0, NATIVE)))
            .expect(noUse())
            .expect(writeLba(c.lba).completes())
            .expect(Expected::host(HostRequest::RESCAN).completes())
            .expect(readLba().answers(DriveBytes(16).le64(0, c.lba)));
        EXPECT_EQ(set(c.text, drive), "0/0 The maximum LBA is " + std::to_string(c.lba) + ".");
    }
}

constexpr struct {
    const char* text;
    uint8_t blockShift;
    uint64_t lba;
} GIGABYTES[] = {
    {"1GB", 9, 1953124},  // 1,953,125 blocks
    {"60gb", 9, 117187499},
    {"1Gb", 12, 244139},  // 244,140.625 blocks
};
TEST(MaxAddressJob, SetsGigabytesInBlocksOfTheNamespace) {
    for (const auto& c : GIGABYTES) {
        SCOPED_TRACE(c.text);
        FakeDrive drive;
        oneNamespace(drive)
            .expect(readNative().answers(DriveBytes(16).le64(0, NATIVE)))
            .expect(identify(0x00, 1).answers(identifyNamespace(1000, c.blockShift)))
            .expect(noUse())
            .expect(writeLba(c.lba).completes())
            .expect(Expected::host(HostRequest::RESCAN).completes())
            .expect(readLba().answers(DriveBytes(16).le64(0, c.lba)));
        EXPECT_EQ(set(c.text, drive), "0/0 The maximum LBA is " + std::to_string(c.lba) + ".");
    }
}

TEST(MaxAddressJob, WithoutNamespaceManagementTheAttachedNamespacesCount) {
    FakeDrive drive;
    velko(drive)
        .expect(noUse())
        .expect(identify(0x01).answers(identifyController()))
        .expect(ocpLog().refuses(NO_SUCH_LOG))
        .expect(identify(0x02).answers(namespaceList({1})))
        .expect(readNative().answers(DriveBytes(16).le64(0, 0)))
        .expect(noUse())
        .expect(writeLba(1).completes())
        .expect(Expected::host(HostRequest::RESCAN).breaks(Status(CATEGORY_OS, EACCES, "No right to rescan.")))
        .expect(readLba().answers(DriveBytes(16).le64(0, 1)));
    EXPECT_EQ(set("1%", drive), "0/0 The maximum LBA is 1. The system has not seen it yet: No right to rescan.");
}

constexpr struct {
    const char* text;
    const char* answer;
} BAD[] = {
    {"0",
     "10/42 Invalid max address value. Please select a positive value less than or equal to the native max LBA. It "
     "cannot be '0'."},
    {"0GB",
     "10/42 Invalid max address value. Please select a positive value less than or equal to the native max LBA. "
     "It cannot be '0GB'."},
    {"101%",
     "10/42 Invalid max address value. Please select a positive value less than or equal to the native max LBA. "
     "It must be 1% to 100%, not '101%'."},
    {"18446744073709551616",
     "10/42 Invalid max address value. Please select a positive value less than or equal to the "
     "native max LBA. It cannot be '18446744073709551616'."},
};
TEST(MaxAddressJob, RefusesABadValueBeforeAnythingIsSent) {
    FakeDrive drive;
    velko(drive);
    for (const auto& c : BAD) EXPECT_EQ(set(c.text, drive), c.answer);
    for (const char* text : {"GB", "%", "1.5GB", "-1", "0x10", "1000=1", "100 GB", "natives", "1TB"}) {
        EXPECT_EQ(set(text, drive),
                  std::string("10/43 Invalid parameter for max address feature. Supported parameters are capacity, "
                              "native, percent, and value. It must be a block's address, gigabytes like 200GB, 1% to "
                              "100%, or native, not '") +
                      text + "'.");
    }
    MaxAddressJob job;
    EXPECT_EQ(setText(job, "NativeMaxLBA", "1", drive),
              "10/36 Invalid property specified. NativeMaxLBA cannot be set.");
}

TEST(MaxAddressJob, RefusesMoreThanTheDriveHas) {
    FakeDrive blocks;
    oneNamespace(blocks).expect(readNative().answers(DriveBytes(16).le64(0, NATIVE)));
    EXPECT_EQ(set("134217728", blocks),
              "10/42 Invalid max address value. Please select a positive value less than or equal to the native max "
              "LBA. The native maximum LBA of drive S1 (/dev/nvme0) is 134217727.");
    for (const char* text : {"69GB", "18446744074GB"}) {  // the second overflows when it is made bytes
        FakeDrive gigabytes;
        oneNamespace(gigabytes)
            .expect(readNative().answers(DriveBytes(16).le64(0, NATIVE)))
            .expect(identify(0x00, 1).answers(identifyNamespace(1000)));
        EXPECT_EQ(set(text, gigabytes),
                  "10/243 Requested LBA resize larger than maximum size of drive. The native maximum LBA of drive S1 "
                  "(/dev/nvme0) is 134217727.");
    }
    FakeDrive oddBlocks;
    oneNamespace(oddBlocks)
        .expect(readNative().answers(DriveBytes(16).le64(0, NATIVE)))
        .expect(identify(0x00, 1).answers(identifyNamespace(1000, 8)));
    EXPECT_EQ(set("1GB", oddBlocks), "10/210 Invalid sector size for max address.");
}

TEST(MaxAddressJob, OtherDrivesDoNotHaveIt) {
    FakeDrive other;
    EXPECT_EQ(set("native", other), NOT_SUPPORTED);
    FakeDrive both;  // C1h is OCP's there: Clear Firmware Update History
    velko(both).expect(noUse()).expect(withoutList()).expect(ocpLog().answers(ocpSmart()));
    EXPECT_EQ(set("native", both),
              std::string(NOT_SUPPORTED) +
                  " On drive S1 (/dev/nvme0) feature 0xC1 (Clear Firmware Update History) is OCP's, and no entry of "
                  "its UUID List is the maker's, by which the maker's own feature of that number could be addressed.");
    FakeDrive refusing;
    oneNamespace(refusing).expect(readNative().refuses(0x4002));
    EXPECT_EQ(set("native", refusing), std::string(NOT_SUPPORTED) +
                                           " Get Features failed on drive S1 (/dev/nvme0): Invalid Field in Command "
                                           "(status code type 0x0, status code 0x02, opcode 0x0A).");
}

TEST(MaxAddressJob, WantsExactlyOneNamespace) {
    FakeDrive two, none;
    velko(two)
        .expect(noUse())
        .expect(identify(0x01).answers(identifyController().le16(256, 0x0008)))
        .expect(ocpLog().refuses(NO_SUCH_LOG))
        .expect(identify(0x10).answers(namespaceList({1, 3})));
    EXPECT_EQ(set("native", two),
              "10/242 Operation not permitted if more than one namespace is allocated on the drive.");
    velko(none)
        .expect(hostUses({}))
        .expect(identify(0x01).answers(identifyController().le16(256, 0x0008)))
        .expect(ocpLog().refuses(NO_SUCH_LOG))
        .expect(identify(0x10).answers(namespaceList({})));
    EXPECT_EQ(
        set("native", none),
        "10/241 Cannot run selected feature with the given configuration. Drive S1 (/dev/nvme0) has no namespace.");
}

TEST(MaxAddressJob, ReportsTheRefusalOfTheSet) {
    FakeDrive drive;
    oneNamespace(drive)
        .expect(readNative().answers(DriveBytes(16).le64(0, NATIVE)))
        .expect(noUse())
        .expect(writeLba(NATIVE).refuses(0x0006));
    EXPECT_EQ(set("native", drive),
              "0/25 NVMe command reported a problem. Set Features failed on drive S1 (/dev/nvme0): Internal Error "
              "(status code type 0x0, status code 0x06, opcode 0x09).");
}

TEST(MaxAddressJob, ADriveInUseIsLeftAlone) {
    HostNamespace mounted = unusedNamespace(1), partitioned = unusedNamespace(1), root = unusedNamespace(2);
    mounted.uses.push_back({NamespaceUse::Kind::MOUNTED, "/dev/nvme0n1", "/mnt", false});
    partitioned.uses.push_back({NamespaceUse::Kind::PARTITION, "/dev/nvme0n1p1", "", false});
    root.uses.push_back({NamespaceUse::Kind::MOUNTED, "/dev/nvme0n2", "/", true});
    const struct {
        HostNamespace space;
        const char* answer;
    } uses[] = {
        {mounted, "10/241 Cannot run selected feature with the given configuration. /dev/nvme0n1 is mounted on /mnt."},
        {partitioned,
         "10/94 Selected Drive contains a partition. Remove all partitions to proceed. /dev/nvme0n1p1 is a partition."},
        {root, "10/192 Restricted feature on OS drive. /dev/nvme0n2 is mounted on /."},
    };
    for (const auto& c : uses) {
        FakeDrive before, meanwhile;
        velko(before).expect(hostUses({c.space}));
        EXPECT_EQ(set("native", before), c.answer);
        oneNamespace(meanwhile)
            .expect(readNative().answers(DriveBytes(16).le64(0, NATIVE)))
            .expect(hostUses({c.space}));
        EXPECT_EQ(set("native", meanwhile), c.answer) << "found immediately before the command";
    }
}

TEST(MaxAddressJob, FailsWhenTheDriveReportsAnotherMaximum) {
    FakeDrive drive;
    oneNamespace(drive)
        .expect(readNative().answers(DriveBytes(16).le64(0, NATIVE)))
        .expect(noUse())
        .expect(writeLba(99).completes())
        .expect(Expected::host(HostRequest::RESCAN).completes())
        .expect(readLba().answers(DriveBytes(16).le64(0, 127)));
    EXPECT_EQ(set("99", drive),
              "10/164 Configuration update failed. Drive S1 (/dev/nvme0) accepted the maximum LBA 99 and reports 127.");
}

TEST(MaxAddressJob, AnUnpluggedDriveIsAskedAndCutNoMore) {
    constexpr uint64_t GIGABYTE = 1953124;
    const Script script{
        noUse(),
        identify(0x01).answers(identifyController().le16(256, 0x0008)),
        ocpLog().refuses(NO_SUCH_LOG),
        identify(0x10).answers(namespaceList({1})),
        readNative().answers(DriveBytes(16).le64(0, NATIVE)),
        identify(0x00, 1).answers(identifyNamespace(NATIVE + 1)),
        noUse(),
        writeLba(GIGABYTE),
        Expected::host(HostRequest::RESCAN),
        readLba(),
    };
    const auto run = [](FakeDrive& drive) { return set("1GB", velko(drive)); };
    const std::string unplugged = "0/70 The drive /dev/nvme0 is gone.";
    expectUnplugged<FakeDrive>({script.begin(), script.begin() + 8}, unplugged, run);
    expectUnplugged<FakeDrive>(script, unplugged, run, 9);
}

}  // namespace
}  // namespace features::jobs
