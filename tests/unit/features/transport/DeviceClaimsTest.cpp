#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <cerrno>
#include <filesystem>

#include "features/transport/linux/DeviceClaims.h"
#include "tests/unit/features/transport/FakeMachine.h"

namespace features::transport {
namespace {

using Texts = std::vector<std::string>;

constexpr const char* NVMET = "/sys/kernel/config/nvmet/subsystems/";
constexpr const char* TARGET = "/sys/kernel/config/target/core/";

/// Two namespaces, and what the kernel says of their uses.
class DeviceClaimsTest : public ::testing::Test {
protected:
    DeviceClaimsTest() {
        machine_.disk("pci/nvme0", "nvme0n1", "259:1", 1);
        machine_.disk("pci/nvme0", "nvme0n2", "259:2", 2);
    }

    /// "259:1 USER", and the errors last.
    Texts claims() const {
        Texts texts;
        const DeviceClaims found(machine_.paths(), BlockOpener(machine_.paths(), BlockOpener::MissingNode::REPORT));
        for (const DeviceClaim& claim : found.all()) {
            std::string text = std::to_string(major(claim.device)) + ":" + std::to_string(minor(claim.device));
            texts.push_back(text + " " + claim.user);
        }
        if (!found.errors().isEmpty()) texts.push_back(found.errors().text());
        return texts;
    }
    std::string path(const std::string& place) const { return machine_.path(place); }
    /// A namespace of the NVMe target.
    void exported(const std::string& entry, const std::string& device, const std::string& enable = "1") {
        machine_.file(NVMET + entry + "/device_path", device + "\n");
        machine_.file(NVMET + entry + "/enable", enable + "\n");
    }
    /// A backstore of the SCSI target.
    void backstore(const std::string& entry, const std::string& info, const std::string& enable = "1") {
        machine_.file(TARGET + entry + "/info", info);
        machine_.file(TARGET + entry + "/enable", enable + "\n");
    }

    FakeMachine machine_;
};

TEST_F(DeviceClaimsTest, AMachineWithoutAnySuchUseHasNone) {
    EXPECT_EQ(claims(), Texts());
}

TEST_F(DeviceClaimsTest, TheNvmeTargetsEnabledNamespacesAreUses) {
    machine_.link("/dev/disk/by-id/two", "/dev/nvme0n2");
    exported("a/namespaces/1", path("/dev/nvme0n1"));
    exported("a/namespaces/2", path("/dev/disk/by-id/two"));
    exported("b/namespaces/7", path("/dev/nvme0n1"), "0");
    // By name, and by the node that the path leads to.
    EXPECT_EQ(claims(), (Texts{"259:1 the exports of the kernel's NVMe target (a)",
                               "259:1 the exports of the kernel's NVMe target (a)",
                               "259:2 the exports of the kernel's NVMe target (a)"}));
}

TEST_F(DeviceClaimsTest, AnExportWhoseNodeIsMissingIsKnownByItsName) {
    std::filesystem::remove(path("/dev/nvme0n1"));
    exported("a/namespaces/1", path("/dev/nvme0n1"));
    EXPECT_EQ(claims(), Texts{"259:1 the exports of the kernel's NVMe target (a)"});
}

TEST_F(DeviceClaimsTest, AnExportThatCannotBeLookedUpMayBeAnyDevice) {
    exported("a/namespaces/1", path("/dev/disk/by-id/gone"));
    EXPECT_EQ(claims(), Texts{path("/dev/disk/by-id/gone") +
                              ": the exports of the kernel's NVMe target (a) uses it, and it cannot be looked up."});
}

TEST_F(DeviceClaimsTest, AFileIsAUseOfItsFileSystemsDevice) {
    machine_.file("/image", "");
    exported("a/namespaces/1", path("/image"));
    struct stat status{};
    ASSERT_EQ(::stat(path("/image").c_str(), &status), 0);
    EXPECT_EQ(claims(), Texts{std::to_string(major(status.st_dev)) + ":" + std::to_string(minor(status.st_dev)) +
                              " the exports of the kernel's NVMe target (a)"});
}

TEST_F(DeviceClaimsTest, ATargetThatIsLoadedMustBeVisible) {
    machine_.folder("/sys/module/nvmet");
    EXPECT_EQ(claims(),
              Texts{path("/sys/kernel/config/nvmet") + ": nvmet is loaded, but configfs is not mounted there."});
    machine_.folder("/sys/kernel/config/nvmet/subsystems");
    EXPECT_EQ(claims(), Texts());
    machine_.folder("/sys/module/target_core_mod");
    machine_.folder("/sys/kernel/config/target");
    EXPECT_EQ(claims(), Texts{path("/sys/kernel/config/target") +
                              ": target_core_mod is loaded, but configfs is not mounted there."});
    machine_.folder("/sys/kernel/config/target/core");
    EXPECT_EQ(claims(), Texts());
}

TEST_F(DeviceClaimsTest, ATargetOfWhichNothingCanBeSeenMayExportAnything) {
    machine_.link("/sys/module/nvmet", "/sys/module/nvmet");
    EXPECT_EQ(claims(), Texts{path("/sys/module/nvmet") + ": Too many levels of symbolic links."});
}

TEST_F(DeviceClaimsTest, AnExportByARelativePathIsLookedUp) {
    exported("a/namespaces/1", "none");
    EXPECT_EQ(claims(),
              Texts{"none: the exports of the kernel's NVMe target (a) uses it, and it cannot be looked up."});
}

TEST_F(DeviceClaimsTest, AnExportThatWentAwayMeanwhileIsNone) {
    exported("a/namespaces/1", path("/dev/nvme0n1"));
    std::filesystem::remove(path(std::string(NVMET) + "a/namespaces/1/device_path"));
    machine_.file(std::string(TARGET) + "iblock_0/i/enable", "1\n");
    EXPECT_EQ(claims(), Texts());
}

TEST_F(DeviceClaimsTest, TheScsiTargetsEnabledBackstoresAreUses) {
    const std::string head = "Status: DEACTIVATED  Max Queue Depth: 0  SectorSize: 512  HwMaxSectors: 16384\n        ";
    machine_.file(std::string(TARGET) + "fileio_0/hba_info", "HBA Index: 1\n");
    backstore("fileio_0/f", head + "TCM FILEIO ID: 0        File: " + path("/dev/nvme0n2") +
                                "  Size: 134217728  Mode: O_DSYNC Async: 0\n");
    backstore("iblock_0/i", head + "iBlock device: nvme0n1  UDEV PATH: " + path("/dev/nvme0n1") +
                                "  readonly: 0\n        Major: 259 Minor: 1  CLAIMED: IBLOCK\n");
    backstore("iblock_1/idle", head, "0");
    backstore("rd_mcp_0/memory", head);
    EXPECT_EQ(claims(), (Texts{"259:2 the exports of the kernel's SCSI target (f)",
                               "259:2 the exports of the kernel's SCSI target (f)",
                               "259:1 the exports of the kernel's SCSI target (i)",
                               "259:1 the exports of the kernel's SCSI target (i)"}));
    for (const std::string& info : {head, head + "TCM FILEIO ID: 0        File: " + path("/dev/nvme0n2")}) {
        backstore("fileio_0/f", info);
        EXPECT_EQ(claims().back(), path(std::string(TARGET) + "fileio_0/f/info") + ": no path.");
    }
}

TEST_F(DeviceClaimsTest, ALoopDeviceIsAskedWhatBacksIt) {
    machine_.virtualDisk("loop0", "7:0");
    machine_.virtualDisk("loop1", "7:1");
    machine_.file("/sys/class/block/loop1/loop/backing_file", "/else (deleted)\n");
    machine_.kernel->loops["/dev/loop1"] = {makedev(0, 5), makedev(259, 2)};
    EXPECT_EQ(claims(), Texts{"259:2 loop1 (/else (deleted))"});
    EXPECT_EQ(machine_.kernel->calls, (Texts{"open /dev/loop1", "loop status /dev/loop1"}));
    machine_.kernel->loops["/dev/loop1"].error = ENXIO;
    EXPECT_EQ(claims(), Texts()) << "released since";
    machine_.kernel->onOpen = [](const std::string&) { return EPERM; };
    EXPECT_EQ(claims(), Texts{"open " + path("/dev/loop1") + ": Operation not permitted."});
}

TEST_F(DeviceClaimsTest, BtrfsHasAllDevicesOfAFileSystem) {
    machine_.folder("/sys/fs/btrfs/features");
    machine_.link("/sys/fs/btrfs/0-1/devices/nvme0n1", "/sys/class/block/nvme0n1");
    machine_.link("/sys/fs/btrfs/0-1/devices/nvme0n2", "/sys/class/block/nvme0n2");
    EXPECT_EQ(claims(), (Texts{"259:1 the btrfs file system 0-1", "259:2 the btrfs file system 0-1"}));
}

}  // namespace
}  // namespace features::transport
