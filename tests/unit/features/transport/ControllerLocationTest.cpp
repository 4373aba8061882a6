#include <gtest/gtest.h>

#include "features/transport/linux/ControllerLocation.h"
#include "tests/unit/features/transport/FakeMachine.h"

namespace features::transport {
namespace {

constexpr const char* CONTROLLER = "/sys/class/nvme/nvme0";

/// Everything that is known, a line each.
std::string textOf(const HostLocation& location) {
    std::string text = location.pciAddress + "|" + location.slot + "|" + location.linkSpeed + "|" + location.linkWidth +
                       "|" + location.maximumLinkSpeed + "|" + location.maximumLinkWidth + "\n";
    for (const HostLocation::ById& link : location.byId) text += link.name + " " + link.node + "\n";
    return text;
}

class ControllerLocationTest : public testing::Test {
protected:
    ControllerLocationTest() {
        machine_.controller("nvme0", "nvme-subsys0");
        pci("transport", "pcie");
        pci("address", "0000:01:00.0");
    }
    void pci(const std::string& file, const std::string& line) {
        machine_.file(std::string("/sys/devices/pci/nvme0/") + file, line + "\n");
    }
    std::string located() {
        LookErrors errors;
        const HostLocation location = locateController(machine_.paths(), machine_.path(CONTROLLER), errors);
        return textOf(location) + errors.text();
    }

    FakeMachine machine_;
};

TEST_F(ControllerLocationTest, AControllerInASlotWithALinkBelowItsBest) {
    pci("device/current_link_speed", "8.0 GT/s PCIe");
    pci("device/current_link_width", "2");
    pci("device/max_link_speed", "16 GT/s");
    pci("device/max_link_width", "4");
    machine_.file("/sys/bus/pci/slots/3/address", "0000:02:00\n");
    machine_.file("/sys/bus/pci/slots/4-1/address", "0000:01:00\n");
    EXPECT_EQ(located(), "0000:01:00.0|4-1|8.0 GT/s|2|16 GT/s|4\n");
}

/// Intel's Volume Management Device makes a PCI domain of the drives below it, from 10000h on.
TEST_F(ControllerLocationTest, ADomainOfAVolumeManagementDeviceIsLikeAnyOther) {
    pci("address", "10000:e1:00.0");
    pci("device/current_link_speed", "16.0 GT/s PCIe");
    pci("device/current_link_width", "4");
    machine_.file("/sys/bus/pci/slots/7/address", "10000:e1:00\n");
    machine_.file("/sys/bus/pci/slots/8/address", "0000:e1:00\n");
    EXPECT_EQ(located(), "10000:e1:00.0|7|16.0 GT/s|4||\n");
}

TEST_F(ControllerLocationTest, WhatTheKernelDoesNotKnowIsEmpty) {
    pci("device/current_link_speed", "Unknown");
    pci("device/current_link_width", "0");
    pci("device/max_link_speed", "Unknown");
    pci("device/max_link_width", "255");
    machine_.file("/sys/bus/pci/slots/3/address", "0000:02:00\n");
    EXPECT_EQ(located(), "0000:01:00.0|||||\n");
}

TEST_F(ControllerLocationTest, TheNamesOfNamespacesAreThoseOfUdev) {
    machine_.link("/dev/disk/by-id/nvme-eui.0025385b71b0c4a4", "/dev/nvme0n1");
    machine_.link("/dev/disk/by-id/nvme-eui.0025385b71b0c4a4-part1", "/dev/nvme0n1p1");
    machine_.link("/dev/disk/by-id/ata-OTHER", "/dev/sda");
    EXPECT_EQ(located(),
              "0000:01:00.0|||||\n"
              "ata-OTHER /dev/sda\n"
              "nvme-eui.0025385b71b0c4a4 /dev/nvme0n1\n"
              "nvme-eui.0025385b71b0c4a4-part1 /dev/nvme0n1p1\n");
}

TEST_F(ControllerLocationTest, AControllerOnANetworkSitsOnNoBus) {
    pci("transport", "tcp");
    pci("address", "traddr=127.0.0.1,trsvcid=4420");
    EXPECT_EQ(located(), "|||||\n");
}

TEST_F(ControllerLocationTest, WhatCannotBeReadIsAnError) {
    machine_.folder("/sys/devices/pci/nvme0/device/current_link_speed");
    EXPECT_EQ(located(),
              "0000:01:00.0|||||\n" + machine_.path(CONTROLLER) + "/device/current_link_speed: Is a directory.");
}

}  // namespace
}  // namespace features::transport
