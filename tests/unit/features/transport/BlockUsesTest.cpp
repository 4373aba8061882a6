#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <cerrno>
#include <filesystem>

#include "features/transport/linux/BlockUses.h"
#include "tests/unit/features/transport/FakeMachine.h"

namespace features::transport {
namespace {

using Texts = std::vector<std::string>;

/// "MOUNTED /dev/nvme0n1p1 /data", with " SYSTEM" after what the running system needs.
std::string text(const NamespaceUse& use) {
    constexpr const char* KINDS[] = {"PARTITION", "MOUNTED", "SWAP",    "HELD",
                                     "OPENED",    "UNKNOWN", "CONTENT", "UNREADABLE"};
    std::string line = std::string(KINDS[static_cast<int>(use.kind)]) + " " + use.node;
    if (!use.detail.empty()) line += " " + use.detail;
    return line + (use.holdsSystem ? " SYSTEM" : "");
}

/// A drive with two namespaces; the first has two partitions.
class BlockUsesTest : public ::testing::Test {
protected:
    BlockUsesTest() {
        machine_.controller("nvme0", "nvme-subsys0");
        machine_.disk("pci/nvme0", "nvme0n1", "259:0", 1);
        machine_.partition("pci/nvme0/nvme0n1", "nvme0n1p1", "259:1", 1);
        machine_.partition("pci/nvme0/nvme0n1", "nvme0n1p2", "259:2", 2);
        machine_.disk("pci/nvme0", "nvme0n2", "259:3", 2);
    }

    Texts uses(const std::string& block, UseCheck check = UseCheck::SHOW) const {
        Texts texts;
        for (const NamespaceUse& use : BlockUses(machine_.paths(), check).usesOf(block)) texts.push_back(text(use));
        return texts;
    }
    Texts rootDevices() const { return BlockUses(machine_.paths()).rootDevices(); }

    FakeMachine machine_;
};

TEST_F(BlockUsesTest, AnUnusedNamespaceHasItsPartitionsAlone) {
    EXPECT_EQ(uses("nvme0n1"), (Texts{"PARTITION /dev/nvme0n1p1", "PARTITION /dev/nvme0n1p2"}));
    EXPECT_EQ(uses("nvme0n2"), Texts());
    EXPECT_EQ(uses("nvme9n9"),
              Texts{"UNKNOWN /dev/nvme9n9 " + machine_.path("/sys/class/block/nvme9n9/dev") + ": no device number"});
}

TEST_F(BlockUsesTest, AMountIsKnownByItsDeviceNumber) {
    // After the mount options come any number of fields up to the dash.
    machine_.mounts(
        "29 1 259:2 / /data rw,relatime shared:1 master:2 - ext4 /dev/gone rw\n"
        "30 1 259:3 / /disk rw - xfs /dev/gone rw\n");
    EXPECT_EQ(uses("nvme0n1"), (Texts{"MOUNTED /dev/nvme0n1p2 /data", "PARTITION /dev/nvme0n1p1"}));
    EXPECT_EQ(uses("nvme0n2"), Texts{"MOUNTED /dev/nvme0n2 /disk"});
}

TEST_F(BlockUsesTest, ADeviceNumberIsNotTheBeginningOfAnother) {
    machine_.mounts("29 1 259:30 / /data rw - ext4 /dev/gone rw\n");
    EXPECT_EQ(uses("nvme0n2"), Texts());
}

TEST_F(BlockUsesTest, AFileSystemWithANumberOfItsOwnIsKnownByItsSource) {
    machine_.link("/dev/disk/by-id/data", "/dev/nvme0n1p1");
    machine_.mounts("29 1 0:44 /sub /data rw - btrfs " + machine_.path("/dev/disk/by-id/data") +
                    " rw\n"
                    "30 1 0:45 / /proc rw - proc proc rw\n"
                    "31 1 0:46 / /net rw - nfs4 server:/dev/nvme0n2 rw\n");
    EXPECT_EQ(uses("nvme0n1"), (Texts{"MOUNTED /dev/nvme0n1p1 /data", "PARTITION /dev/nvme0n1p2"}));
    EXPECT_EQ(uses("nvme0n2"), Texts());
}

TEST_F(BlockUsesTest, OneDeviceMayBeMountedMoreThanOnce) {
    machine_.mounts(
        "29 1 259:3 / /one rw - ext4 /dev/gone rw\n"
        "30 1 259:3 /in /two rw - ext4 /dev/gone rw\n");
    EXPECT_EQ(uses("nvme0n2"), (Texts{"MOUNTED /dev/nvme0n2 /one", "MOUNTED /dev/nvme0n2 /two"}));
}

TEST_F(BlockUsesTest, EscapesInAMountPointAreUndone) {
    constexpr struct {
        const char* written;
        const char* meant;
    } CASES[] = {
        {"/my\\040disk", "/my disk"},
        {"/a\\011b\\012c", "/a\tb\nc"},
        {"/back\\134slash", "/back\\slash"},
        {"/hash\\043", "/hash#"},
        {"/utf\\303\\244", "/utf\xC3\xA4"},
        {"/end\\04", "/end\\04"},  // cut short: no escape
        {"/no\\400", "/no\\400"},  // more than a byte
        {"/no\\0x0", "/no\\0x0"},  // not octal
    };
    for (const auto& c : CASES) {
        machine_.mounts(std::string("29 1 259:3 / ") + c.written + " rw - ext4 /dev/gone rw\n");
        EXPECT_EQ(uses("nvme0n2"), Texts{std::string("MOUNTED /dev/nvme0n2 ") + c.meant}) << c.written;
    }
}

TEST_F(BlockUsesTest, AnEscapedSourceIsFollowed) {
    machine_.link("/dev/disk/by-label/my disk", "/dev/nvme0n2");
    machine_.mounts("29 1 0:44 / /data rw - btrfs " + machine_.path("/dev/disk/by-label/my\\040disk") + " rw\n");
    EXPECT_EQ(uses("nvme0n2"), Texts{"MOUNTED /dev/nvme0n2 /data"});
}

TEST_F(BlockUsesTest, LinesThatAreNoMountsArePassedOver) {
    machine_.mounts(
        "\n29\n29 1 259:3 / /cut rw shared:1\n29 1 259:3 / /cut rw - ext4\n"
        "30 1 259:3 / /data rw - ext4 /dev/gone rw\n");
    EXPECT_EQ(uses("nvme0n2"), Texts{"MOUNTED /dev/nvme0n2 /data"});
}

TEST_F(BlockUsesTest, SystemMountsAreReported) {
    constexpr struct {
        const char* point;
        bool isSystem;
    } CASES[] = {
        {"/", true},      {"/usr", true},   {"/boot", true},      {"/boot/efi", true},
        {"/efi", true},   {"/data", false}, {"/usr/src", false},  {"/bootleg", false},
        {"/efi2", false}, {"/home", false}, {"/mnt/boot", false},
    };
    for (const auto& c : CASES) {
        machine_.mounts(std::string("29 1 259:3 / ") + c.point + " rw - ext4 /dev/gone rw\n");
        EXPECT_EQ(uses("nvme0n2"),
                  Texts{std::string("MOUNTED /dev/nvme0n2 ") + c.point + (c.isSystem ? " SYSTEM" : "")});
    }
}

TEST_F(BlockUsesTest, SwapBelongsToTheSystem) {
    machine_.link("/dev/mapper/my swap", "/dev/nvme0n2");
    machine_.swaps(machine_.path("/dev/nvme0n1p1") + "                          partition\t1048572\t\t0\t\t-2\n" +
                   machine_.path("/dev/mapper/my\\040swap") + "\tpartition\t1048572\t\t0\t\t-3\n" +
                   "/swapfile                               file\t\t1048572\t\t0\t\t-4\n");
    EXPECT_EQ(uses("nvme0n1"), (Texts{"SWAP /dev/nvme0n1p1 SYSTEM", "PARTITION /dev/nvme0n1p2"}));
    EXPECT_EQ(uses("nvme0n2"), Texts{"SWAP /dev/nvme0n2 SYSTEM"});
}

TEST_F(BlockUsesTest, AHolderIsNamedWithItsOwnName) {
    machine_.virtualDisk("md0", "9:0");
    machine_.virtualDisk("dm-0", "253:0");
    machine_.file("/sys/class/block/dm-0/dm/name", "vg-data\n");
    machine_.stack("md0", "nvme0n1p1");
    machine_.stack("dm-0", "nvme0n2");
    EXPECT_EQ(uses("nvme0n1"), (Texts{"HELD /dev/nvme0n1p1 md0", "PARTITION /dev/nvme0n1p2"}));
    EXPECT_EQ(uses("nvme0n2"), Texts{"HELD /dev/nvme0n2 dm-0 (vg-data)"});
}

TEST_F(BlockUsesTest, WhatUsesAHolderIsFollowedToTheSystem) {
    // nvme0n1p1 -> md0 -> dm-0 (root); nvme0n2 -> md1 with a partition that is swap
    machine_.virtualDisk("md0", "9:0");
    machine_.virtualDisk("dm-0", "253:0");
    machine_.file("/sys/class/block/dm-0/dm/name", "vg-root\n");
    machine_.virtualDisk("md1", "9:1");
    machine_.partition("virtual/md1", "md1p1", "259:9", 1);
    machine_.stack("md0", "nvme0n1p1");
    machine_.stack("dm-0", "md0");
    machine_.stack("md1", "nvme0n2");
    machine_.mounts("29 1 253:0 / / rw - ext4 /dev/mapper/vg-root rw\n");
    machine_.swaps(machine_.path("/dev/md1p1") + " partition\t1\t0\t-2\n");
    EXPECT_EQ(uses("nvme0n1"), (Texts{"HELD /dev/nvme0n1p1 md0 SYSTEM", "PARTITION /dev/nvme0n1p2"}));
    EXPECT_EQ(uses("nvme0n2"), Texts{"HELD /dev/nvme0n2 md1 SYSTEM"});
}

TEST_F(BlockUsesTest, ADeviceMayHaveSeveralHolders) {
    machine_.virtualDisk("dm-0", "253:0");
    machine_.virtualDisk("dm-1", "253:1");
    machine_.stack("dm-0", "nvme0n2");
    machine_.stack("dm-1", "nvme0n2");
    machine_.mounts("29 1 253:1 / /usr rw - ext4 /dev/gone rw\n");
    EXPECT_EQ(uses("nvme0n2"), (Texts{"HELD /dev/nvme0n2 dm-0", "HELD /dev/nvme0n2 dm-1 SYSTEM"}));
}

TEST_F(BlockUsesTest, RootIsFollowedToTheBottom) {
    EXPECT_EQ(rootDevices(), Texts()) << "no root in the table";

    machine_.mounts(
        "1 1 0:2 / / rw - rootfs rootfs rw\n"  // below the root of a running system lies the first, in memory
        "29 1 259:2 / / rw - ext4 /dev/root rw\n"
        "30 1 259:3 / /data rw - ext4 /dev/gone rw\n");
    EXPECT_EQ(rootDevices(), Texts{"nvme0n1p2"});

    machine_.virtualDisk("md0", "9:0");
    machine_.virtualDisk("dm-0", "253:0");
    machine_.stack("dm-0", "md0");
    machine_.stack("md0", "nvme0n1p1");
    machine_.stack("md0", "nvme0n2");
    machine_.mounts("29 1 253:0 / / rw - ext4 /dev/mapper/vg-root rw\n");
    EXPECT_EQ(rootDevices(), (Texts{"nvme0n1p1", "nvme0n2"}));

    machine_.mounts("29 1 0:33 /@ / rw - btrfs " + machine_.path("/dev/nvme0n2") + " rw\n");
    EXPECT_EQ(rootDevices(), Texts{"nvme0n2"});
}

TEST_F(BlockUsesTest, BottomOfTheRootIsFoundOnceByAllWaysToIt) {
    machine_.virtualDisk("dm-0", "253:0");
    machine_.virtualDisk("dm-1", "253:1");
    machine_.virtualDisk("md0", "9:0");
    machine_.stack("dm-0", "nvme0n2");
    machine_.stack("dm-1", "nvme0n2");
    machine_.stack("md0", "dm-0");
    machine_.stack("md0", "dm-1");
    machine_.link("/sys/class/block/dm-1/slaves/md0", "/sys/class/block/md0");  // no kernel does that: not without end
    machine_.mounts("22 1 9:0 / / rw - ext4 /dev/md0 rw\n");
    EXPECT_EQ(rootDevices(), Texts{"nvme0n2"});
}

TEST_F(BlockUsesTest, PartitionsAreReportedWithPlaceAndMount) {
    machine_.file("/sys/class/block/nvme0n1p2/start", "8192\n");
    machine_.file("/sys/class/block/nvme0n1p2/size", "1\n");
    // A mount point that is there, and yet no file system to ask for free space.
    machine_.mounts("29 1 259:2 / " + machine_.path("/nowhere") + " rw - ext4 /dev/gone rw\n");
    const auto partitions = BlockUses(machine_.paths()).partitionsOf("nvme0n1");
    ASSERT_EQ(partitions.size(), 2U);
    EXPECT_EQ(partitions[0].node, "/dev/nvme0n1p1");
    EXPECT_EQ(partitions[0].startBytes, 1048576U);
    EXPECT_EQ(partitions[0].sizeBytes, 2097152U);
    EXPECT_EQ(partitions[0].fileSystem, "");
    EXPECT_EQ(partitions[0].mountPoint, "");
    EXPECT_EQ(partitions[0].freeBytes, 0U);
    EXPECT_EQ(partitions[1].node, "/dev/nvme0n1p2");
    EXPECT_EQ(partitions[1].startBytes, 4194304U);
    EXPECT_EQ(partitions[1].sizeBytes, 512U);
    EXPECT_EQ(partitions[1].fileSystem, "ext4");
    EXPECT_EQ(partitions[1].mountPoint, machine_.path("/nowhere"));
    EXPECT_EQ(partitions[1].freeBytes, 0U);
    EXPECT_EQ(BlockUses(machine_.paths()).partitionsOf("nvme0n2").size(), 0U);
}

TEST_F(BlockUsesTest, ASwapWhoseNodeIsMissingIsKnownByItsName) {
    std::filesystem::remove(machine_.path("/dev/nvme0n2"));
    machine_.swaps(machine_.path("/dev/nvme0n2") + " partition\t1\t0\t-2\n");
    EXPECT_EQ(uses("nvme0n2"), Texts{"SWAP /dev/nvme0n2 SYSTEM"});
}

TEST_F(BlockUsesTest, AnExclusiveOpenThatFailsForAnyReasonIsAUse) {
    const struct {
        int error;
        std::string use;
    } CASES[] = {
        {EBUSY, "OPENED /dev/nvme0n2"},
        {ENXIO, "UNKNOWN /dev/nvme0n2 open " + machine_.path("/dev/nvme0n2") + ": No such device or address"},
        {EPERM, "UNKNOWN /dev/nvme0n2 open " + machine_.path("/dev/nvme0n2") + ": Operation not permitted"},
        {EACCES, "UNKNOWN /dev/nvme0n2 open " + machine_.path("/dev/nvme0n2") + ": Permission denied"},
        {EROFS, "UNKNOWN /dev/nvme0n2 open " + machine_.path("/dev/nvme0n2") + ": Read-only file system"},
    };
    for (const auto& c : CASES) {
        machine_.kernel->onOpen = [&](const std::string& node) { return node == "/dev/nvme0n2" ? c.error : 0; };
        EXPECT_EQ(uses("nvme0n2"), Texts{c.use});
        EXPECT_EQ(uses("nvme0n1"), (Texts{"PARTITION /dev/nvme0n1p1", "PARTITION /dev/nvme0n1p2"}));
    }
}

TEST_F(BlockUsesTest, ADeviceThatIsBusyForAMomentIsNotInUse) {
    int opens = 0;
    machine_.kernel->onOpen = [&](const std::string&) { return ++opens <= 10 ? EBUSY : 0; };
    EXPECT_EQ(uses("nvme0n2"), Texts());
    EXPECT_EQ(machine_.kernel->slept, std::chrono::milliseconds(500));
    opens = -1;
    EXPECT_EQ(uses("nvme0n2"), Texts{"OPENED /dev/nvme0n2"}) << "one open more";
}

TEST_F(BlockUsesTest, BeforeADestructionAMissingNodeIsReplacedForAMoment) {
    std::filesystem::remove(machine_.path("/dev/nvme0n2"));
    EXPECT_EQ(uses("nvme0n2"),
              Texts{"UNKNOWN /dev/nvme0n2 open " + machine_.path("/dev/nvme0n2") + ": No such file or directory"})
        << "a show makes no node";
    EXPECT_EQ(uses("nvme0n2", UseCheck::DESTROY), Texts());
    machine_.kernel->onOpen = [](const std::string&) { return EBUSY; };
    EXPECT_EQ(uses("nvme0n2", UseCheck::DESTROY), Texts{"OPENED /dev/nvme0n2"});
    for (const auto& entry : std::filesystem::directory_iterator(machine_.path("/dev"))) {
        EXPECT_NE(entry.path().filename().string().substr(0, 8), ".nimbrel");
    }
}

TEST_F(BlockUsesTest, ContentIsReadOnlyWhereItIsAskedFor) {
    // The swap space of 1 MiB: its magic at the end of the first page.
    std::string swap(1 << 20, '\0');
    swap.replace(1024, 4, std::string("\x01\0\0\0", 4));
    swap.replace(1028, 4, std::string("\xFF\0\0\0", 4));
    swap.replace(4086, 10, "SWAPSPACE2");
    machine_.file("/dev/nvme0n2", swap);
    EXPECT_EQ(uses("nvme0n2"), Texts());
    EXPECT_EQ(uses("nvme0n2", UseCheck::DESTROY), Texts());
    EXPECT_EQ(uses("nvme0n2", UseCheck::CONTENT), Texts{"CONTENT /dev/nvme0n2 data (swap)"});
    machine_.file("/dev/nvme0n2", std::string(1 << 20, '\0'));
    EXPECT_EQ(uses("nvme0n2", UseCheck::CONTENT), Texts());
    machine_.file("/dev/nvme0n2", "");
    EXPECT_EQ(uses("nvme0n2", UseCheck::CONTENT),
              Texts{"UNREADABLE /dev/nvme0n2 it has no blocks that the kernel can read"});
    EXPECT_EQ(uses("nvme0n1", UseCheck::CONTENT), (Texts{"PARTITION /dev/nvme0n1p1", "PARTITION /dev/nvme0n1p2"}))
        << "partitions are content enough";
}

/// A loop device on a place of the machine.
void loop(FakeMachine& machine, const std::string& block, const std::string& number, FakeKernel::Loop backing) {
    machine.virtualDisk(block, number);
    machine.file("/sys/class/block/" + block + "/loop/backing_file", "/image\n");
    machine.kernel->loops["/dev/" + block] = backing;
}

TEST_F(BlockUsesTest, ALoopDeviceIsAUseOfWhatBacksIt) {
    loop(machine_, "loop0", "7:0", {makedev(0, 5), makedev(259, 3)});
    loop(machine_, "loop1", "7:1", {makedev(259, 1), 0});
    machine_.mounts("29 1 7:0 / /usr rw - ext4 /dev/loop0 rw\n");
    EXPECT_EQ(uses("nvme0n2"), Texts{"HELD /dev/nvme0n2 loop0 (/image) SYSTEM"});
    EXPECT_EQ(uses("nvme0n1"), (Texts{"HELD /dev/nvme0n1p1 loop1 (/image)", "PARTITION /dev/nvme0n1p2"}))
        << "a file of a file system";
}

TEST_F(BlockUsesTest, WhatCannotBeLookedAtIsAUseOfEveryDevice) {
    loop(machine_, "loop0", "7:0", {0, 0, EIO});
    EXPECT_EQ(uses("nvme0n2"), Texts{"UNKNOWN /dev/nvme0n2 /dev/loop0: Input/output error"});
    loop(machine_, "loop1", "7:1", {makedev(0, 5), makedev(259, 3)});
    EXPECT_EQ(uses("nvme0n2"), Texts{"HELD /dev/nvme0n2 loop1 (/image)"}) << "a use is enough";
}

TEST_F(BlockUsesTest, TheDevicesOfAFileSystemShareItsMounts) {
    for (const char* const block : {"nvme0n1p1", "nvme0n2"}) {
        machine_.link(std::string("/sys/fs/btrfs/0-1/devices/") + block, std::string("/sys/class/block/") + block);
    }
    machine_.folder("/sys/fs/btrfs/features");
    EXPECT_EQ(uses("nvme0n2"), Texts{"HELD /dev/nvme0n2 the btrfs file system 0-1"});
    machine_.mounts("29 1 0:44 / / rw - btrfs " + machine_.path("/dev/nvme0n1p1") + " rw\n");
    EXPECT_EQ(uses("nvme0n2"), Texts{"HELD /dev/nvme0n2 the btrfs file system 0-1 SYSTEM"});
}

TEST_F(BlockUsesTest, AnExportedControllerIsAUse) {
    machine_.file("/sys/class/nvme/nvme0/dev", "247:0\n");
    machine_.kernel->devices["/dev/nvme0"] = {S_IFCHR, makedev(247, 0)};
    machine_.file("/sys/kernel/config/nvmet/subsystems/q/passthru/enable", "1\n");
    machine_.file("/sys/kernel/config/nvmet/subsystems/q/passthru/device_path", machine_.path("/dev/nvme0") + "\n");
    Texts texts;
    for (const auto& use : BlockUses(machine_.paths()).usesOfController("nvme0")) texts.push_back(text(use));
    EXPECT_EQ(texts, Texts{"HELD /dev/nvme0 the exports of the kernel's NVMe target (q)"});
}

TEST_F(BlockUsesTest, ANumberIsOfABlockOrOfACharacterDevice) {
    machine_.file("/sys/class/nvme/nvme0/dev", "259:0\n");
    machine_.kernel->devices["/dev/nvme0"] = {S_IFCHR, makedev(259, 0)};
    machine_.file("/sys/kernel/config/nvmet/subsystems/q/passthru/enable", "1\n");
    machine_.file("/sys/kernel/config/nvmet/subsystems/q/passthru/device_path", machine_.path("/dev/nvme0") + "\n");
    EXPECT_EQ(uses("nvme0n1"), (Texts{"PARTITION /dev/nvme0n1p1", "PARTITION /dev/nvme0n1p2"}))
        << "the controller has the disk's number";
    machine_.file("/sys/kernel/config/nvmet/subsystems/q/passthru/device_path", machine_.path("/dev/nvme0n1") + "\n");
    EXPECT_EQ(uses("nvme0n1").front(), "HELD /dev/nvme0n1 the exports of the kernel's NVMe target (q)");
    EXPECT_TRUE(BlockUses(machine_.paths()).usesOfController("nvme0").empty()) << "the disk has the controller's";
}

TEST_F(BlockUsesTest, WithoutTheTableOfMountsNothingIsKnown) {
    EXPECT_EQ(BlockUses(machine_.paths()).errors().text(), "");
    std::filesystem::remove(machine_.path("/proc/self/mountinfo"));
    EXPECT_EQ(BlockUses(machine_.paths()).errors().text(),
              machine_.path("/proc/self/mountinfo") + ": No such file or directory.");
}

}  // namespace
}  // namespace features::transport
