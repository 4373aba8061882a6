#include <gtest/gtest.h>

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
