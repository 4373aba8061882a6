#include <gtest/gtest.h>

#include <filesystem>

#include "features/ata/AtaCommand.h"
#include "features/ata/Commands.h"
#include "features/transport/HostCommand.h"
#include "features/transport/linux/LinuxSataSource.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/CommandResult.h"
#include "ostrel/core/Device.h"
#include "tests/support/StatusText.h"
#include "tests/unit/features/transport/AtaIdentifyBytes.h"
#include "tests/unit/features/transport/FakeMachine.h"

namespace features::transport {
namespace {

class LinuxSataSourceTest : public testing::Test {
protected:
    LinuxSataSourceTest() {
        machine_.scsiDisk("pci/ata1/host0", "0:0:0:0", "sda", "8:0", "sg4");
        machine_.ataInformation("sda", ataIdentifyBytes({}));
        machine_.partition("pci/ata1/host0/target0:0:0/0:0:0:0/block/sda", "sda1", "8:1", 1);
    }

    /// "/dev/sda", or "" for no drive.
    std::string locate(const std::string& place) {
        errors_ = LookErrors();
        const auto location = source().locate(machine_.path(place), errors_);
        EXPECT_FALSE(location && location->nsid);
        return location ? location->devicePath : "";
    }
    std::string bootDrive() {
        errors_ = LookErrors();
        const auto location = source().bootDrive("boot", errors_);
        return location ? location->devicePath : "";
    }
    LinuxSataSource source() const { return LinuxSataSource(machine_.paths()); }

    FakeMachine machine_;
    LookErrors errors_;
};

TEST_F(LinuxSataSourceTest, NodesAndLinksLeadToTheirDrive) {
    machine_.link("/dev/disk/by-id/ata-M1_S1", "/dev/sda");
    machine_.link("/dev/disk/by-id/wwn-0x5000", "/dev/disk/by-id/ata-M1_S1");
    for (const char* const place :
         {"/dev/sda", "/dev/sg4", "/dev/disk/by-id/ata-M1_S1", "/dev/disk/by-id/wwn-0x5000", "/dev/disk/../sda"}) {
        EXPECT_EQ(locate(place), "/dev/sda") << place;
        EXPECT_EQ(errors_.text(), "");
    }
}

TEST_F(LinuxSataSourceTest, OnlyANodeOfADriveNamesOne) {
    machine_.link("/dev/disk/by-id/ata-M1_S1-part1", "/dev/sda1");
    machine_.file("/tmp/sda", "");
    machine_.file("/dev/null", "");
    machine_.link("/dev/dangling", "/dev/sdz");
    for (const char* const place : {"/dev/sda1", "/dev/disk/by-id/ata-M1_S1-part1", "/tmp/sda", "/dev/null", "/dev/sdz",
                                    "/dev/dangling", "/dev/sg0", "/sys/class/block/sda"}) {
        EXPECT_EQ(locate(place), "") << place;
        EXPECT_EQ(errors_.text(), "");
    }
}

TEST_F(LinuxSataSourceTest, TheBootDriveHoldsTheRootFileSystem) {
    EXPECT_EQ(bootDrive(), "");
    machine_.mounts("20 1 8:1 / / rw - ext4 /dev/sda1 rw\n");
    EXPECT_EQ(bootDrive(), "/dev/sda");
    EXPECT_EQ(errors_.text(), "");
    machine_.virtualDisk("dm-0", "253:0");
    machine_.stack("dm-0", "sda1");
    machine_.mounts("20 1 253:0 / / rw - ext4 /dev/mapper/root rw\n");
    EXPECT_EQ(bootDrive(), "/dev/sda") << "below a mapping";
    machine_.disk("pci/nvme0", "nvme0n1", "259:0", 1);
    machine_.mounts("20 1 259:0 / / rw - ext4 /dev/nvme0n1 rw\n");
    EXPECT_EQ(bootDrive(), "") << "another source's";
    machine_.scsiDisk("pci/usb1/1-1/host9", "9:0:0:0", "sdb", "8:16", "sg9");
    machine_.mounts("20 1 8:16 / / rw - ext4 /dev/sdb rw\n");
    EXPECT_EQ(bootDrive(), "") << "a stick";
}

TEST_F(LinuxSataSourceTest, ADriveThatIsConnectedTwiceIsOneDriveByItsWorldWideName) {
    const auto controllers = [&] {
        errors_ = LookErrors();
        return source().controllersOfDrive("/dev/sda", errors_);
    };
    using Paths = std::vector<std::string>;
    machine_.scsiDisk("pci/host7", "7:0:0:0", "sdb", "8:16", "sg7");
    machine_.ataInformation("sdb", ataIdentifyBytes({}));
    EXPECT_EQ(controllers(), Paths{"/dev/sda"}) << "two drives may have one serial number";
    AtaIdentifyFields named;
    named.worldWideName = 0x5000C50012345678;
    machine_.ataInformation("sda", ataIdentifyBytes(named));
    machine_.ataInformation("sdb", ataIdentifyBytes(named));
    EXPECT_EQ(controllers(), (Paths{"/dev/sda", "/dev/sdb"}));
    named.worldWideName += 1;
    machine_.ataInformation("sdb", ataIdentifyBytes(named));
    EXPECT_EQ(controllers(), Paths{"/dev/sda"});
    EXPECT_EQ(source().controllersOfDrive("/dev/nvme0", errors_), Paths{"/dev/nvme0"});
    EXPECT_EQ(source().controllersOfDrive("/elsewhere/sda", errors_), Paths{"/elsewhere/sda"});
    EXPECT_EQ(errors_.text(), "");
}

TEST_F(LinuxSataSourceTest, ADriveThatIsNotKnownIsConnectedOnce) {
    machine_.scsiDisk("pci/host7", "7:0:0:0", "sdb", "8:16", "sg7");  // does not say which drive it is
    EXPECT_EQ(source().controllersOfDrive("/dev/sdb", errors_), std::vector<std::string>{"/dev/sdb"});
    EXPECT_EQ(source().controllersOfDrive("/dev/sda", errors_), std::vector<std::string>{"/dev/sda"});
    EXPECT_EQ(source().controllersOfDrive("/dev/sdz", errors_), std::vector<std::string>{"/dev/sdz"});
    EXPECT_EQ(source().controllersOfDrive("/else/sda", errors_), std::vector<std::string>{"/else/sda"});
    EXPECT_EQ(errors_.text(), "");
}

TEST_F(LinuxSataSourceTest, TheDriveOfAUsbEnclosureIsReadWhenItIsNamed) {
    machine_.scsiDisk("pci/usb1/1-1/host9", "9:0:0:0", "sdb", "8:16", "sg9");
    EXPECT_EQ(locate("/dev/sdb"), "/dev/sdb");
    EXPECT_EQ(source().namedDevice("/dev/sda"), nullptr) << "a scan lists it";
    EXPECT_EQ(source().namedDevice("/dev/sdz"), nullptr);
    EXPECT_EQ(machine_.kernel->calls, std::vector<std::string>());
    machine_.kernel->ataIdentity = ataIdentifyBytes({"S2", "M2"});
    const auto device = source().namedDevice("/dev/sdb");
    ASSERT_NE(device, nullptr);
    EXPECT_EQ(device->getAttribute(ostrel::core::attributes::device::serialNumber()).getText(), "S2");
    machine_.kernel->calls.clear();
    const std::string refused = "10/34 Feature is not supported. The drive of " + machine_.path("/dev/sdb") +
                                " is in a USB enclosure: it is read and not changed.";
    const auto sent = [&](const ostrel::core::Command& command) {
        ostrel::core::CommandResult result;
        device->sendCommand(command, result);
        return statusText(result.status);
    };
    EXPECT_EQ(sent(ata::AtaCommand(ata::commands::securityErasePrepare)), refused);
    EXPECT_EQ(sent(HostCommand(HostRequest::LOCK_DRIVE)), refused);
    EXPECT_EQ(sent(HostCommand(HostRequest::RESCAN)), refused);
    EXPECT_EQ(machine_.kernel->calls, std::vector<std::string>());
    AtaIdentifyFields rotating;
    rotating.rotationRate = 5400;
    machine_.kernel->ataIdentity = ataIdentifyBytes(rotating);
    EXPECT_EQ(source().namedDevice("/dev/sdb"), nullptr);
    machine_.kernel->onAta = [](sg_io_hdr& request) {
        request.host_status = 3;
        return 0;
    };
    const auto silent = source().namedDevice("/dev/sdb");
    ASSERT_NE(silent, nullptr);
    EXPECT_NE(silent->getAttribute(ostrel::core::attributes::device::errorString()).getText(), "");
}

TEST_F(LinuxSataSourceTest, GivesTheFinderOfItsDrives) {
    EXPECT_EQ(source().finder()->name, "Linux SATA");
}

}  // namespace
}  // namespace features::transport
