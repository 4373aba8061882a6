#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>

#include "features/nvme/NvmeCommand.h"
#include "features/transport/linux/LinuxDeviceFinder.h"
#include "ostrel/core/CommandResult.h"
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

TEST(LinuxDeviceFinder, AControllerHasTheIdentityThatTheKernelReports) {
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
    machine.kernel->identity = {"S1", "QEMU NVMe Ctrl", "", "7.2.19"};
    const Scan scan(machine);
    EXPECT_EQ(scan.errors, machine.path("/sys") + ": sysfs is not mounted.");
    ASSERT_EQ(scan.devices.size(), 2U);
    EXPECT_EQ(
        attributesOf(*scan.devices[0]),
        (Attributes{{"DevicePath", "/dev/nvme12"},
                    {"ErrorString", "Requires admin privileges. No permission for " + machine.path("/dev/nvme12") +
                                        ": it needs the root user or CAP_SYS_ADMIN (errno 13: Permission denied)."},
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
    machine.kernel->onIdentify = [](const std::string&) { return 0x4002; };
    const Scan refused(machine);
    EXPECT_EQ(refused.errors, "") << "the drive was found";
    ASSERT_EQ(refused.devices.size(), 1U);
    EXPECT_EQ(attributesOf(*refused.devices[0])["ErrorString"],
              "Identify failed on drive /dev/nvme0: Invalid Field in Command (status code type 0x0, status code 0x02, "
              "opcode 0x06).");
    machine.kernel->onIdentify = [](const std::string&) { return 0; };
    machine.kernel->identity.serialNumber = "S9";
    const Scan answered(machine);
    ASSERT_EQ(answered.devices.size(), 1U);
    EXPECT_EQ(attributesOf(*answered.devices[0])["SerialNumber"], "S9");
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

/// What the device's drive answers to a Format NVM: "0/0" or a refusal.
std::string format(ostrel::core::Device& device) {
    ostrel::core::CommandResult result;
    device.sendCommand(nvme::NvmeCommand(nvme::Queue::ADMIN, 0x80, "Format NVM"), result);
    return std::to_string(result.status.getCategory()) + "/" + std::to_string(result.status.getCode());
}

TEST(LinuxDeviceFinder, ADeviceIsChangedWhileItIsTheDriveThatTheScanSaw) {
    FakeMachine machine;
    machine.controller("nvme0", "nvme-subsys0");
    machine.file("/sys/class/nvme/nvme0/model", "M1                                      \n");
    machine.file("/sys/class/nvme/nvme0/serial", "S1                  \n");
    machine.file("/sys/class/nvme/nvme0/subsysnqn", "nqn.1\n");
    const auto scan = [&machine] {
        Devices devices;
        LinuxDeviceFinder(machine.paths(), std::make_shared<LookErrors>()).scan(devices);
        return devices.front();
    };
    EXPECT_EQ(format(*scan()), "0/0");
    const auto selected = scan();
    machine.file("/sys/class/nvme/nvme0/serial", "S2                  \n");
    machine.kernel->identity.serialNumber = "S2";
    EXPECT_EQ(format(*selected), "0/70");
    EXPECT_EQ(format(*scan()), "0/0") << "the other drive, selected as such";
    machine.kernel->identity.subsystemName = "nqn.2";
    EXPECT_EQ(format(*scan()), "0/70") << "its name counts";
    std::filesystem::remove(machine.path("/sys/class/nvme/nvme0/subsysnqn"));
    EXPECT_EQ(format(*scan()), "0/0") << "a kernel that shows no names";
    std::filesystem::remove(machine.path("/sys/class/nvme/nvme0/model"));
    EXPECT_EQ(format(*scan()), "10/33") << "it is not known which drive was selected";
    std::filesystem::remove(machine.path("/sys/class/nvme/nvme0/serial"));
    machine.kernel->mounted.clear();
    const auto asked = scan();
    EXPECT_EQ(format(*asked), "0/0") << "without sysfs the drive says at the scan who it is";
    const auto another = scan();
    machine.kernel->identity.serialNumber = "S3";
    EXPECT_EQ(format(*another), "0/70");
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
