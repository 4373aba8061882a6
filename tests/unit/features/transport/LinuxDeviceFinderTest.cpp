#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include "features/transport/linux/LinuxDeviceFinder.h"
#include "ostrel/core/Device.h"
#include "tests/unit/features/transport/FakeMachine.h"

namespace features::transport {
namespace {

using Attributes = std::map<std::string, std::string>;
using Devices = std::vector<std::shared_ptr<ostrel::core::Device>>;

Attributes attributesOf(const ostrel::core::Device& device) {
    Attributes texts;
    for (const auto& [name, attribute] : device.getAttributes()) texts[name] = attribute.getText();
    return texts;
}

TEST(LinuxDeviceFinder, FindsNothingOnAMachineWithoutDrives) {
    FakeMachine machine;
    Devices devices;
    LinuxDeviceFinder(machine.paths(), std::make_shared<LookErrors>()).scan(devices);
    EXPECT_EQ(devices, Devices());
}

TEST(LinuxDeviceFinder, AControllerHasTheIdentityThatTheKernelTells) {
    FakeMachine machine;
    machine.controller("nvme1", "nvme-subsys1");
    machine.file("/sys/class/nvme/nvme1/model", "QEMU NVMe Ctrl                          \n");
    machine.file("/sys/class/nvme/nvme1/serial", "S1                  \n");
    machine.file("/sys/class/nvme/nvme1/firmware_rev", "7.2.19  \n");
    machine.controller("nvme0", "nvme-subsys0");
    machine.file("/sys/class/nvme/nvme0/serial", "bad\x01\x80\n");
    Devices devices;
    LinuxDeviceFinder(machine.paths(), std::make_shared<LookErrors>()).scan(devices);
    ASSERT_EQ(devices.size(), 2U);
    EXPECT_EQ(
        attributesOf(*devices[0]),
        (Attributes{{"DevicePath", "/dev/nvme0"}, {"Firmware", ""}, {"ModelNumber", ""}, {"SerialNumber", "bad??"}}));
    EXPECT_EQ(attributesOf(*devices[1]), (Attributes{{"DevicePath", "/dev/nvme1"},
                                                     {"Firmware", "7.2.19"},
                                                     {"ModelNumber", "QEMU NVMe Ctrl"},
                                                     {"SerialNumber", "S1"}}));
}

TEST(LinuxDeviceFinder, ADeviceTakesNvmeAndHostCommands) {
    FakeMachine machine;
    machine.controller("nvme0", "nvme-subsys0");
    Devices devices;
    LinuxDeviceFinder(machine.paths(), std::make_shared<LookErrors>()).clone()->scan(devices);
    ASSERT_EQ(devices.size(), 1U);
    EXPECT_EQ(devices[0]->getCommandSets(),
              (ostrel::core::Device::CommandSets{{"Host", "Linux NVMe"}, {"NVMe", "Linux NVMe"}}));
    EXPECT_TRUE(devices[0]->supportsCommandSet("NVMe"));
    EXPECT_TRUE(devices[0]->isCommandPathAvailable());
    std::filesystem::remove_all(machine.path("/sys/devices/pci/nvme0"));
    EXPECT_FALSE(devices[0]->isCommandPathAvailable()) << "the drive was unplugged";
}

/// What a scan found, and what it could not look at.
struct Scan {
    explicit Scan(const FakeMachine& machine) {
        const auto shared = std::make_shared<LookErrors>();
        LinuxDeviceFinder(machine.paths(), shared).clone()->scan(devices);
        errors = shared->text();
    }

    Devices devices;
    std::string errors;
};

TEST(LinuxDeviceFinder, WithoutSysfsDrivesAreFoundByTheirNodesAndAsked) {
    FakeMachine machine;
    for (const char* const node : {"/dev/nvme3", "/dev/nvme12", "/dev/nvme3n1", "/dev/nvme-fabrics", "/dev/null"}) {
        machine.file(node, "");
    }
    std::filesystem::remove_all(machine.path("/sys"));
    machine.kernel->mounted = {"/proc"};
    machine.kernel->onOpen = [](const std::string& node) { return node == "/dev/nvme12" ? EACCES : 0; };
    machine.kernel->onCommand = [](nvme_passthru_cmd& command) {
        auto* data = reinterpret_cast<char*>(command.addr);
        EXPECT_EQ(command.opcode, 0x06);
        EXPECT_EQ(command.cdw10, 1U);
        std::fill_n(data + 4, 68, ' ');
        std::copy_n("S1", 2, data + 4);
        std::copy_n("QEMU NVMe Ctrl", 14, data + 24);
        std::copy_n("7.2.19", 6, data + 64);
        return 0;
    };
    const Scan scan(machine);
    EXPECT_EQ(scan.errors, machine.path("/sys") + ": sysfs is not mounted.");
    ASSERT_EQ(scan.devices.size(), 2U);
    EXPECT_EQ(attributesOf(*scan.devices[0]),
              (Attributes{{"DevicePath", "/dev/nvme12"},
                          {"ErrorString", "System error. No permission for " + machine.path("/dev/nvme12") +
                                              ": it needs the root user (CAP_SYS_ADMIN)."},
                          {"Firmware", ""},
                          {"ModelNumber", ""},
                          {"SerialNumber", ""}}));
    EXPECT_EQ(attributesOf(*scan.devices[1]), (Attributes{{"DevicePath", "/dev/nvme3"},
                                                          {"Firmware", "7.2.19"},
                                                          {"ModelNumber", "QEMU NVMe Ctrl"},
                                                          {"SerialNumber", "S1"}}));
}

TEST(LinuxDeviceFinder, AnIdentityThatSysfsDoesNotGiveIsAskedFor) {
    FakeMachine machine;
    machine.controller("nvme0", "nvme-subsys0");
    machine.file("/sys/class/nvme/nvme0/model", "M\n");
    machine.link("/sys/class/nvme/nvme0/serial", "/sys/class/nvme/nvme0/serial");
    machine.kernel->onCommand = [](nvme_passthru_cmd&) { return 0x4002; };
    const Scan refused(machine);
    EXPECT_EQ(refused.errors, "") << "the drive was found";
    ASSERT_EQ(refused.devices.size(), 1U);
    EXPECT_EQ(
        attributesOf(*refused.devices[0])["ErrorString"],
        "Identify failed on drive  (/dev/nvme0): Invalid Field in Command (status code type 0x0, status code 0x02, "
        "opcode 0x06).");
    machine.kernel->onCommand = [](nvme_passthru_cmd& command) {
        std::copy_n("S9", 2, reinterpret_cast<char*>(command.addr) + 4);
        return 0;
    };
    const Scan answered(machine);
    ASSERT_EQ(answered.devices.size(), 1U);
    EXPECT_EQ(attributesOf(*answered.devices[0])["SerialNumber"].substr(0, 2), "S9");
    EXPECT_EQ(attributesOf(*answered.devices[0]).count("ErrorString"), 0U);
}

TEST(LinuxDeviceFinder, AScanForgetsTheErrorsOfTheLast) {
    FakeMachine machine;
    machine.kernel->mounted = {"/proc"};
    const auto errors = std::make_shared<LookErrors>();
    LinuxDeviceFinder finder(machine.paths(), errors);
    Devices devices;
    finder.scan(devices);
    EXPECT_FALSE(errors->isEmpty());
    machine.kernel->mounted = {"/sys", "/proc"};
    finder.scan(devices);
    EXPECT_EQ(errors->text(), "");
}

TEST(LinuxDeviceFinder, KeepsWhatOthersFound) {
    FakeMachine machine;
    machine.controller("nvme0", "nvme-subsys0");
    const auto other = std::make_shared<ostrel::core::Device>();
    Devices devices{other};
    LinuxDeviceFinder(machine.paths(), std::make_shared<LookErrors>()).scan(devices);
    ASSERT_EQ(devices.size(), 2U);
    EXPECT_EQ(devices[0], other);
}

}  // namespace
}  // namespace features::transport
