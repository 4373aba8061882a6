#include <gtest/gtest.h>

#include <filesystem>

#include "features/transport/linux/LinuxDriveSource.h"
#include "tests/unit/features/transport/FakeMachine.h"

namespace features::transport {
namespace {

/// "/dev/nvme0", "/dev/nvme0 namespace 2", or "nothing".
std::string text(const std::optional<DriveLocation>& location) {
    if (!location) return "nothing";
    return location->devicePath + (location->nsid ? " namespace " + std::to_string(*location->nsid) : "");
}

/// nvme0 with a partitioned namespace 7; nvme1 and nvme2 with namespace 3 on both.
class LinuxDriveSourceTest : public ::testing::Test {
protected:
    LinuxDriveSourceTest() {
        machine_.controller("nvme0", "nvme-subsys0");
        machine_.disk("pci/nvme0", "nvme0n1", "259:0", 7);
        machine_.partition("pci/nvme0/nvme0n1", "nvme0n1p1", "259:1", 1);
        machine_.controller("nvme1", "nvme-subsys1");
        machine_.controller("nvme2", "nvme-subsys1");
        machine_.hiddenPath("nvme1", "nvme1c1n1", 3);
        machine_.hiddenPath("nvme2", "nvme1c2n1", 3);
        machine_.disk("virtual/nvme-subsys1", "nvme1n1", "259:2", 3);
    }

    std::string locate(const std::string& place) const {
        LookErrors errors;
        const std::string location = text(LinuxDriveSource(machine_.paths()).locate(machine_.path(place), errors));
        return location + (errors.isEmpty() ? "" : ", " + errors.text());
    }
    std::string bootDrive() const {
        LookErrors errors;
        const std::string location = text(LinuxDriveSource(machine_.paths()).bootDrive("BootDrive", errors));
        return location + (errors.isEmpty() ? "" : ", " + errors.text());
    }

    FakeMachine machine_;
};

TEST_F(LinuxDriveSourceTest, NodesLeadToTheirController) {
    EXPECT_EQ(locate("/dev/nvme0"), "/dev/nvme0");
    EXPECT_EQ(locate("/dev/nvme2"), "/dev/nvme2");
    EXPECT_EQ(locate("/dev/nvme0n1"), "/dev/nvme0 namespace 7");
    EXPECT_EQ(locate("/dev/nvme0n1p1"), "nothing") << "a partition is not the namespace around it";
    EXPECT_EQ(locate("/dev/nvme1n1"), "/dev/nvme1 namespace 3") << "of two paths the first";
}

TEST_F(LinuxDriveSourceTest, AGenericNodeLeadsToTheNamespaceBesideIt) {
    machine_.disk("pci/nvme0", "nvme0n11", "259:4", 11);
    machine_.disk("pci/nvme0", "nvme7n3", "259:5", 12);
    machine_.generic("pci/nvme0", "ng0n1");
    machine_.generic("pci/nvme0", "ng0n11");
    machine_.generic("pci/nvme0", "ng0n3");
    machine_.generic("pci/nvme0", "ng0n4");
    machine_.generic("virtual/nvme-subsys1", "ng1n1");
    machine_.generic("virtual", "ngx");
    machine_.file("/dev/ng0n5", "");
    machine_.link("/dev/mine", "/dev/ng0n11");
    EXPECT_EQ(locate("/dev/ng0n1"), "/dev/nvme0 namespace 7");
    EXPECT_EQ(locate("/dev/ng0n11"), "/dev/nvme0 namespace 11");
    EXPECT_EQ(locate("/dev/mine"), "/dev/nvme0 namespace 11");
    EXPECT_EQ(locate("/dev/ng0n3"), "/dev/nvme0 namespace 12") << "the first number is the subsystem's on one alone";
    EXPECT_EQ(locate("/dev/ng1n1"), "/dev/nvme1 namespace 3") << "above all paths";
    EXPECT_EQ(locate("/dev/ng0n4"), "nothing") << "no block device beside it";
    EXPECT_EQ(locate("/dev/ng0n5"), "nothing") << "a stale node";
    EXPECT_EQ(locate("/dev/ngx"), "nothing");
}

TEST_F(LinuxDriveSourceTest, LinksAndRoundaboutPathsAreFollowed) {
    machine_.link("/dev/disk/by-id/nvme-S1", "/dev/nvme0n1");
    machine_.link("/dev/disk/by-id/nvme-S1-part1", "/dev/nvme0n1p1");
    machine_.link("/home/mine", "/dev/disk/by-id/nvme-S1");
    machine_.link("/home/controller", "/dev/nvme1");
    EXPECT_EQ(locate("/dev/disk/by-id/nvme-S1"), "/dev/nvme0 namespace 7");
    EXPECT_EQ(locate("/dev/disk/by-id/nvme-S1-part1"), "nothing") << "a partition names neither drive nor namespace";
    EXPECT_EQ(locate("/home/mine"), "/dev/nvme0 namespace 7");
    EXPECT_EQ(locate("/home/controller"), "/dev/nvme1");
    EXPECT_EQ(locate("/dev/../dev//nvme0"), "/dev/nvme0");
}

TEST_F(LinuxDriveSourceTest, OnlyANodeOfADriveNamesOne) {
    machine_.file("/home/nvme0", "");
    machine_.file("/home/nvme0n1", "");
    machine_.file("/dev/sub/nvme0", "");
    machine_.file("/dev/sda", "");
    machine_.virtualDisk("md0", "9:0");
    machine_.link("/dev/dangling", "/dev/nvme9");
    machine_.folder("/dev/nvme3");
    for (const char* const place : {"/home/nvme0", "/home/nvme0n1", "/dev/sub/nvme0", "/dev/sda", "/dev/md0",
                                    "/dev/dangling", "/dev/nvme3", "/dev/nvme9", "/dev", "/dev/", "/"}) {
        EXPECT_EQ(locate(place), "nothing") << place;
    }
    LookErrors errors;
    EXPECT_EQ(text(LinuxDriveSource(machine_.paths()).locate("", errors)), "nothing");
    EXPECT_EQ(errors.text(), "");
}

TEST_F(LinuxDriveSourceTest, AControllerThatIsGoneIsNotFoundByAStaleNode) {
    machine_.file("/dev/nvme5", "");
    EXPECT_EQ(locate("/dev/nvme5"), "nothing");
}

TEST_F(LinuxDriveSourceTest, TheBootDriveHoldsTheRootFileSystem) {
    EXPECT_EQ(bootDrive(), "nothing") << "no root in the table";

    machine_.mounts("29 1 259:1 / / rw - ext4 /dev/root rw\n");
    EXPECT_EQ(bootDrive(), "/dev/nvme0") << "the whole drive, not the namespace";

    machine_.virtualDisk("sda1", "8:1");
    machine_.mounts("29 1 8:1 / / rw - ext4 /dev/sda1 rw\n30 1 259:1 / /data rw - ext4 /dev/gone rw\n");
    EXPECT_EQ(bootDrive(), "nothing") << "no NVMe drive";

    machine_.virtualDisk("md0", "9:0");
    machine_.virtualDisk("dm-0", "253:0");
    machine_.stack("dm-0", "md0");
    machine_.stack("md0", "sda1");
    machine_.stack("md0", "nvme1n1");
    machine_.mounts("29 1 253:0 / / rw - ext4 /dev/mapper/vg-root rw\n");
    EXPECT_EQ(bootDrive(), "/dev/nvme1") << "the first NVMe drive below the array";
}

TEST_F(LinuxDriveSourceTest, WithoutSysfsANodeNamesItsController) {
    machine_.kernel->mounted = {"/proc"};
    std::filesystem::remove_all(machine_.path("/sys"));
    const std::string unseen = ", " + machine_.path("/sys") + ": sysfs is not mounted.";
    EXPECT_EQ(locate("/dev/nvme0"), "/dev/nvme0" + unseen);
    EXPECT_EQ(locate("/dev/nvme0n1"), "nothing" + unseen) << "whose namespace it is cannot be seen";
    EXPECT_EQ(locate("/dev/nvme9"), "nothing") << "no node";
    machine_.mounts("29 1 259:1 / / rw - ext4 /dev/nvme0n1p1 rw\n");
    EXPECT_EQ(bootDrive(), "nothing" + unseen);
}

TEST_F(LinuxDriveSourceTest, APathThatCannotBeFollowedIsNotUnknown) {
    const std::string path = machine_.path("/proc/self/mountinfo");
    std::filesystem::remove(path);
    EXPECT_EQ(bootDrive(), "nothing, " + path + ": No such file or directory.");
    machine_.mounts("");
    machine_.link("/home/loop", "/home/loop");
    EXPECT_EQ(locate("/home/loop"), "nothing") << "a name that leads nowhere";
    EXPECT_EQ(locate("/proc/self/mountinfo/nvme0"), "nothing");
}

TEST_F(LinuxDriveSourceTest, GivesTheFinderOfItsDrives) {
    EXPECT_EQ(LinuxDriveSource(machine_.paths()).finder()->name, "Linux NVMe");
}

TEST(LinuxDriveSource, TheControllersOfADriveAreThoseOfItsSubsystemLiveOnesFirst) {
    FakeMachine machine;
    for (const char* const name : {"nvme2", "nvme10", "nvme1"}) machine.controller(name, "nvme-subsys1");
    machine.controller("nvme3", "nvme-subsys3");
    const LinuxDriveSource source(machine.paths());
    const auto controllersOf = [&source](const std::string& path) {
        LookErrors errors;
        return source.controllersOfDrive(path, errors);
    };
    using Paths = std::vector<std::string>;
    EXPECT_EQ(controllersOf("/dev/nvme2"), (Paths{"/dev/nvme1", "/dev/nvme2", "/dev/nvme10"})) << "by number";
    machine.file("/sys/devices/pci/nvme1/state", "dead\n");
    EXPECT_EQ(controllersOf("/dev/nvme10"), (Paths{"/dev/nvme2", "/dev/nvme10", "/dev/nvme1"}));
    EXPECT_EQ(controllersOf("/dev/nvme3"), Paths{"/dev/nvme3"});
    EXPECT_EQ(controllersOf("/opt/drives/nvme1/dev/nvme1"), Paths{"/opt/drives/nvme1/dev/nvme1"}) << "another source's";
}

}  // namespace
}  // namespace features::transport
