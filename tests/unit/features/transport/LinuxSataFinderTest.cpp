#include <gtest/gtest.h>

#include <filesystem>

#include "features/transport/linux/LinuxSataFinder.h"
#include "features/transport/linux/LinuxSataSource.h"
#include "ostrel/core/Device.h"
#include "tests/unit/features/transport/AtaIdentifyBytes.h"
#include "tests/unit/features/transport/FakeMachine.h"

namespace features::transport {
namespace {

using Attributes = std::map<std::string, std::string>;
using Calls = std::vector<std::string>;

Attributes attributesOf(const ostrel::core::Device& device) {
    Attributes texts;
    for (const auto& [name, attribute] : device.getAttributes()) texts[name] = attribute.getText();
    return texts;
}

/// What a scan found, and what it could not look at.
struct Scan {
    explicit Scan(const FakeMachine& machine) {
        const auto shared = std::make_shared<LinuxSataFinder::ScanResult>();
        LinuxSataFinder(machine.paths(), shared).clone()->scan(devices);
        errors = shared->errors.text();
        EXPECT_EQ(shared->devicePaths.size(), devices.size());
    }
    std::string paths() const {
        std::string text;
        for (const auto& device : devices) text += attributesOf(*device)["DevicePath"] + " ";
        return text;
    }

    std::vector<std::shared_ptr<ostrel::core::Device>> devices;
    std::string errors;
};

TEST(LinuxSataFinder, ADriveHasTheIdentityThatTheKernelReadAndIsAskedNothing) {
    FakeMachine machine;
    machine.scsiDisk("pci/ata1/host0", "0:0:0:0", "sda", "8:0", "sg0");
    machine.ataInformation("sda", ataIdentifyBytes({"SERIAL-1", "A model of more than 16 characters", "FW123456"}));
    const Scan scan(machine);
    EXPECT_EQ(scan.errors, "");
    ASSERT_EQ(scan.devices.size(), 1U);
    EXPECT_EQ(attributesOf(*scan.devices[0]), (Attributes{{"DevicePath", "/dev/sda"},
                                                          {"Firmware", "FW123456"},
                                                          {"ModelNumber", "A model of more than 16 characters"},
                                                          {"SerialNumber", "SERIAL-1"}}));
    EXPECT_EQ(scan.devices[0]->getCommandSets(),
              (ostrel::core::Device::CommandSets{{"ATA", "Linux SATA"}, {"Host", "Linux SATA"}}));
    EXPECT_TRUE(scan.devices[0]->isCommandPathAvailable());
    EXPECT_EQ(machine.kernel->calls, Calls());
    std::filesystem::remove_all(machine.path("/sys/devices/pci/ata1"));
    EXPECT_FALSE(scan.devices[0]->isCommandPathAvailable()) << "the drive was unplugged";
}

TEST(LinuxSataFinder, DrivesAreInTheOrderOfTheirAddresses) {
    FakeMachine machine;
    machine.scsiDisk("pci/ata3/host2", "2:0:0:0", "sda", "8:0", "sg0");
    machine.scsiDisk("pci/ata1/host0", "0:0:0:0", "sdb", "8:16", "sg1");
    for (const char* const block : {"sda", "sdb"}) machine.ataInformation(block, ataIdentifyBytes({}));
    EXPECT_EQ(Scan(machine).paths(), "/dev/sdb /dev/sda ");
    const LinuxSataSource source(machine.paths());
    std::vector<std::shared_ptr<ostrel::core::Device>> devices;
    source.finder()->scan(devices);
    EXPECT_EQ(source.scanOrder(), (std::vector<std::string>{"/dev/sdb", "/dev/sda"}));
}

TEST(LinuxSataFinder, OnlySolidStateDrivesAreListed) {
    constexpr struct {
        uint16_t general;
        uint16_t rotationRate;
        bool isListed;
        const char* why;
    } CASES[] = {
        {0x0040, 0x0001, true, "an SSD"},
        {0x0040, 7200, false, "a rotating disk"},
        {0x0040, 0x0000, false, "the rotation rate is not reported"},
        {0x0040, 0xFFFF, false, "reserved"},
        {0x8580, 0x0001, false, "a packet device"},
        {0x848A, 0x0001, false, "a CompactFlash card"},
    };
    for (const auto& c : CASES) {
        FakeMachine machine;
        machine.scsiDisk("pci/ata1/host0", "0:0:0:0", "sda", "8:0", "sg0");
        AtaIdentifyFields fields;
        fields.general = c.general;
        fields.rotationRate = c.rotationRate;
        machine.ataInformation("sda", ataIdentifyBytes(fields));
        EXPECT_EQ(Scan(machine).paths(), c.isListed ? "/dev/sda " : "") << c.why;
    }
}

TEST(LinuxSataFinder, VolumesVirtualDisksAndUsbEnclosuresAreNotListedAndNotAsked) {
    FakeMachine machine;
    machine.scsiDisk("pci/host0", "0:2:0:0", "sda", "8:0", "sg0");
    machine.scsiDisk("pci/usb1/1-1/1-1:1.0/host1", "1:0:0:0", "sdb", "8:16", "sg1");
    machine.ataInformation("sdb", ataIdentifyBytes({}));
    const Scan scan(machine);
    EXPECT_EQ(scan.paths(), "");
    EXPECT_EQ(scan.errors, "");
    EXPECT_EQ(machine.kernel->calls, Calls());
}

/// A SAS drive, as a host bus adapter shows it.
void addSasDrive(FakeMachine& machine, const std::string& block, const std::string& page80) {
    const std::string host = std::to_string(block.back() - 'a');
    machine.scsiDisk("pci/host" + host + "/port-" + host + ":0/end_device-" + host + ":0", host + ":0:0:0", block,
                     "8:" + host + "0", "sg" + host);
    const std::string device = "/sys/class/block/" + block + "/device";
    machine.file(device + "/vendor", "MAKER   \n");
    machine.file(device + "/model", "FAST SAS SSD    \n");
    machine.file(device + "/rev", "R001\n");
    if (!page80.empty()) machine.file(device + "/vpd_pg80", page80);
}

TEST(LinuxSataFinder, SasSolidStateDrivesAreListedApartWithTheReason) {
    FakeMachine machine;
    addSasDrive(machine, "sda", std::string("\0\x80\0\x0C", 4) + "  SAS-1     ");
    addSasDrive(machine, "sdb", "");
    addSasDrive(machine, "sdc", std::string("\0\x83\0\x04SAS3", 8));
    addSasDrive(machine, "sdd", std::string("\0\x80\0\x04    ", 8));
    addSasDrive(machine, "sde", "");  // a rotating one
    machine.file("/sys/class/block/sde/queue/rotational", "1\n");
    addSasDrive(machine, "sdf", "");  // a SATA drive after the same adapter
    machine.file("/sys/class/block/sdf/device/vendor", "ATA     \n");
    machine.ataInformation("sdf", ataIdentifyBytes({}));
    const LinuxSataSource source(machine.paths());
    std::vector<std::shared_ptr<ostrel::core::Device>> devices;
    source.finder()->scan(devices);
    EXPECT_EQ(source.scanErrors().text(), "");
    EXPECT_EQ(source.scanOrder(), std::vector<std::string>{"/dev/sdf"});
    const auto drives = source.unsupportedDrives();
    ASSERT_EQ(drives.size(), 4U);
    EXPECT_EQ(attributesOf(*drives[0]),
              (Attributes{{"DevicePath", "/dev/sda"},
                          {"ErrorString",
                           "MAKER FAST SAS SSD is a SAS drive, which is not supported: use smartctl for its health, "
                           "sdparm for its settings, and sg_format, sg_sanitize and sg_write_buffer of sg3_utils."},
                          {"Firmware", "R001"},
                          {"ModelNumber", "MAKER FAST SAS SSD"},
                          {"SerialNumber", "SAS-1"}}));
    for (const std::size_t i : {1U, 2U, 3U}) EXPECT_EQ(attributesOf(*drives[i])["SerialNumber"], "") << i;
    EXPECT_TRUE(drives[0]->getCommandSets().empty());
    EXPECT_EQ(machine.kernel->calls, Calls());
    source.finder()->scan(devices);
    EXPECT_EQ(source.unsupportedDrives().size(), 4U) << "a scan forgets those of the last";
}

TEST(LinuxSataFinder, TheSerialNumberOfASasDriveIsShownAsText) {
    FakeMachine machine;
    addSasDrive(machine, "sda", std::string("\0\x80\0\x08S\x1B[2\0J\xFF ", 12));
    const LinuxSataSource source(machine.paths());
    std::vector<std::shared_ptr<ostrel::core::Device>> devices;
    source.finder()->scan(devices);
    ASSERT_EQ(source.unsupportedDrives().size(), 1U);
    EXPECT_EQ(attributesOf(*source.unsupportedDrives()[0])["SerialNumber"], "S?[2?J?") << "no control characters";
}

TEST(LinuxSataFinder, AnAtaDriveWithoutItsPageIsAsked) {
    FakeMachine machine;
    machine.scsiDisk("pci/host0", "0:0:0:0", "sda", "8:0", "sg0");
    machine.file("/sys/class/block/sda/device/vendor", "ATA     \n");
    machine.kernel->ataIdentity = ataIdentifyBytes({"S7", "M7", "FW7"});
    const Scan asked(machine);
    ASSERT_EQ(asked.devices.size(), 1U);
    EXPECT_EQ(
        attributesOf(*asked.devices[0]),
        (Attributes{{"DevicePath", "/dev/sda"}, {"Firmware", "FW7"}, {"ModelNumber", "M7"}, {"SerialNumber", "S7"}}));
    EXPECT_EQ(machine.kernel->calls, (Calls{"open /dev/sda", "ata ECh /dev/sda"}));

    AtaIdentifyFields rotating;
    rotating.rotationRate = 7200;
    machine.kernel->ataIdentity = ataIdentifyBytes(rotating);
    EXPECT_EQ(Scan(machine).paths(), "") << "a rule of the administrator's made it a drive that does not rotate";

    machine.kernel->onAta = [](sg_io_hdr&) { return -EPERM; };
    const Scan refused(machine);
    ASSERT_EQ(refused.devices.size(), 1U);
    EXPECT_EQ(attributesOf(*refused.devices[0]),
              (Attributes{{"DevicePath", "/dev/sda"},
                          {"ErrorString", "Requires admin privileges. No permission for ATA commands to " +
                                              machine.path("/dev/sda") +
                                              ": it needs CAP_SYS_RAWIO (errno 1: Operation not permitted)."},
                          {"Firmware", ""},
                          {"ModelNumber", ""},
                          {"SerialNumber", ""}}));

    machine.kernel->calls.clear();
    machine.file("/sys/class/block/sda/queue/rotational", "1\n");
    EXPECT_EQ(Scan(machine).paths(), "");
    EXPECT_EQ(machine.kernel->calls, Calls()) << "a rotating disk is not asked";
}

TEST(LinuxSataFinder, AScanForgetsTheErrorsOfTheLast) {
    FakeMachine machine;
    machine.kernel->mounted = {"/proc"};
    machine.scsiDisk("pci/ata1/host0", "0:0:0:0", "sda", "8:0", "sg0");
    machine.ataInformation("sda", ataIdentifyBytes({}));
    const auto result = std::make_shared<LinuxSataFinder::ScanResult>();
    LinuxSataFinder finder(machine.paths(), result);
    std::vector<std::shared_ptr<ostrel::core::Device>> devices;
    finder.scan(devices);
    EXPECT_EQ(result->errors.text(), machine.path("/sys") + ": sysfs is not mounted.");
    machine.kernel->mounted = {"/sys", "/proc"};
    finder.scan(devices);
    EXPECT_EQ(result->errors.text(), "");
    EXPECT_EQ(result->devicePaths, std::vector<std::string>{"/dev/sda"});
}

}  // namespace
}  // namespace features::transport
