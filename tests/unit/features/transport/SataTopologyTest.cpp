#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>

#include "features/ata/Identity.h"
#include "features/transport/linux/SataTopology.h"
#include "tests/unit/features/transport/AtaIdentifyBytes.h"
#include "tests/unit/features/transport/FakeMachine.h"

namespace features::transport {
namespace {

using Names = std::vector<std::string>;

Names blocksOf(const FakeMachine& machine, LookErrors& errors) {
    Names names;
    for (const ScsiDisk& disk : SataTopology(machine.paths()).disks(errors)) names.push_back(disk.block);
    return names;
}

std::optional<ScsiDisk> diskOf(const FakeMachine& machine, const std::string& block) {
    LookErrors errors;
    auto disk = SataTopology(machine.paths()).disk(block, errors);
    EXPECT_EQ(errors.text(), "");
    return disk;
}

TEST(ScsiAddress, IsReadOfItsText) {
    const auto address = toScsiAddress("10:1:2:18446744073709551615");
    ASSERT_TRUE(address);
    EXPECT_EQ(address->host, 10U);
    EXPECT_EQ(address->channel, 1U);
    EXPECT_EQ(address->target, 2U);
    EXPECT_EQ(address->lun, UINT64_MAX);
    for (const char* const text :
         {"", "0:0:0", "0:0:0:", "0:0:0:0:0", "0:0:0:0 ", "a:0:0:0", "0:0:-1:0", "0,0,0,0", "4294967296:0:0:0"}) {
        EXPECT_FALSE(toScsiAddress(text)) << '"' << text << '"';
    }
}

TEST(SataTopology, DisksAreInTheOrderOfTheirAddresses) {
    FakeMachine machine;
    machine.scsiDisk("pci/ata10/host9", "9:0:0:0", "sda", "8:0", "sg0");
    machine.scsiDisk("pci/ata2/host1", "1:0:0:0", "sdc", "8:32", "sg2");
    machine.scsiDisk("pci/ata2/host1", "1:0:1:0", "sdb", "8:16", "sg1");
    LookErrors errors;
    EXPECT_EQ(blocksOf(machine, errors), (Names{"sdc", "sdb", "sda"}));
    EXPECT_EQ(errors.text(), "");
}

TEST(SataTopology, TheWayToADiskNamesPortAndEnclosure) {
    FakeMachine machine;
    machine.scsiDisk("pci/ata12/host0", "0:0:0:0", "sda", "8:0", "sg0");
    machine.scsiDisk("pci/usb2/2-1/2-1:1.0/host1", "1:0:0:0", "sdb", "8:16", "sg1");
    machine.scsiDisk("pci/host2/port-2:0/end_device-2:0", "2:0:0:0", "sdc", "8:32", "sg2");
    machine.ataInformation("sdc", ataIdentifyBytes({}));
    machine.file("/sys/class/block/sdc/queue/rotational", "1\n");
    EXPECT_EQ(diskOf(machine, "sda")->port, "ata12");
    EXPECT_FALSE(diskOf(machine, "sda")->isUsb);
    EXPECT_EQ(diskOf(machine, "sdb")->port, "");
    EXPECT_TRUE(diskOf(machine, "sdb")->isUsb);
    EXPECT_FALSE(diskOf(machine, "sda")->isAtaVendor);
    EXPECT_FALSE(diskOf(machine, "sda")->isRotational);
    EXPECT_EQ(diskOf(machine, "sdc")->port, "");
    EXPECT_TRUE(diskOf(machine, "sdc")->isSas);
    EXPECT_FALSE(diskOf(machine, "sda")->isSas);
    EXPECT_TRUE(diskOf(machine, "sdc")->isAtaVendor);
    EXPECT_TRUE(diskOf(machine, "sdc")->isRotational);
}

TEST(SataTopology, IdentifyDeviceIsThatOfTheVpdPage) {
    FakeMachine machine;
    machine.scsiDisk("pci/ata1/host0", "0:0:0:0", "sda", "8:0", "sg0");
    EXPECT_EQ(diskOf(machine, "sda")->identify.getSize(), 0U) << "no page";
    machine.ataInformation("sda", ataIdentifyBytes({"S9", "MODEL", "FW2"}));
    const auto disk = diskOf(machine, "sda");
    ASSERT_EQ(disk->identify.getSize(), 512U);
    EXPECT_EQ(ata::Identity(disk->identify.getData()).serialNumber(), "S9");
    EXPECT_EQ(ata::Identity(disk->identify.getData()).model(), "MODEL");
    const std::string place = "/sys/class/block/sda/device/vpd_pg89";
    std::string page(572, '\0');
    page[1] = '\x89';
    page[56] = '\xA1';
    machine.file(place, page);
    EXPECT_EQ(diskOf(machine, "sda")->identify.getSize(), 0U) << "a packet device";
    page[56] = '\xEC';
    machine.file(place, page.substr(0, 571));
    EXPECT_EQ(diskOf(machine, "sda")->identify.getSize(), 0U) << "cut off";
    page[1] = '\x80';
    machine.file(place, page);
    EXPECT_EQ(diskOf(machine, "sda")->identify.getSize(), 0U) << "another page";
}

TEST(SataTopology, TrimIsWhatLibataSaysOfTheDevice) {
    FakeMachine machine;
    machine.scsiDisk("pci/ata2/host1", "1:0:1:0", "sda", "8:0", "sg0");
    machine.scsiDisk("pci/ata12/host2", "2:3:0:0", "sdb", "8:16", "sg1");
    machine.scsiDisk("pci/host3/port-3:0/end_device-3:0", "3:0:0:0", "sdc", "8:32", "sg2");
    machine.file("/sys/class/ata_device/dev2.0/trim", "unsupported\n");
    machine.file("/sys/class/ata_device/dev2.1/trim", "unqueued\n");
    machine.file("/sys/class/ata_device/dev12.0/trim", "unsupported\n");  // the port multiplier itself
    machine.file("/sys/class/ata_device/dev12.3.0/trim", "forced_unsupported\n");
    LookErrors errors;
    const SataTopology topology(machine.paths());
    EXPECT_EQ(topology.trim(*diskOf(machine, "sda"), errors), "unqueued");
    EXPECT_EQ(topology.trim(*diskOf(machine, "sdb"), errors), "forced_unsupported");
    EXPECT_EQ(topology.trim(*diskOf(machine, "sdc"), errors), std::nullopt) << "not a drive of libata";
    EXPECT_TRUE(errors.isEmpty());
}

TEST(SataTopology, OnlyDirectAccessDevicesAreDisks) {
    FakeMachine machine;
    machine.scsiDisk("pci/ata1/host0", "0:0:0:0", "sda", "8:0", "sg0");
    machine.partition("pci/ata1/host0/target0:0:0/0:0:0:0/block/sda", "sda1", "8:1", 1);
    machine.scsiDisk("pci/ata2/host1", "1:0:0:0", "sdb", "8:16", "sg1");
    machine.file("/sys/class/block/sdb/device/type", "5\n");
    machine.virtualDisk("dm-0", "253:0");
    machine.disk("pci/nvme0", "nvme0n1", "259:0", 1);
    LookErrors errors;
    EXPECT_EQ(blocksOf(machine, errors), Names{"sda"});
    for (const char* const name : {"sda1", "sdb", "dm-0", "nvme0n1", "sdz", "sd", "", "sdA", "../sda"})
        EXPECT_FALSE(diskOf(machine, name)) << name;
}

TEST(SataTopology, AGenericNodeLeadsToItsDisk) {
    FakeMachine machine;
    machine.scsiDisk("pci/ata1/host0", "0:0:0:0", "sda", "8:0", "sg3");
    LookErrors errors;
    const SataTopology topology(machine.paths());
    EXPECT_EQ(topology.diskOfGeneric("sg3", errors), "sda");
    for (const char* const name : {"sg0", "sg", "sda", "sg3x", ""}) EXPECT_EQ(topology.diskOfGeneric(name, errors), "");
    EXPECT_EQ(errors.text(), "");
}

TEST(SataTopology, WhatCannotBeLookedAtIsAnError) {
    FakeMachine machine;
    machine.scsiDisk("pci/ata1/host0", "0:0:0:0", "sda", "8:0", "sg0");
    LookErrors hidden;
    machine.kernel->mounted = {"/proc"};
    EXPECT_EQ(blocksOf(machine, hidden), Names{"sda"});
    EXPECT_EQ(hidden.text(), machine.path("/sys") + ": sysfs is not mounted.");
    machine.kernel->mounted = {"/sys", "/proc"};
    std::filesystem::remove(machine.path("/sys/class/block/sda/device"));
    machine.link("/sys/devices/pci/ata1/host0/target0:0:0/0:0:0:0/block/sda/device",
                 "/sys/devices/pci/ata1/host0/target0:0:0/0:0:0:0/vpd_pg89/x");
    machine.file("/sys/devices/pci/ata1/host0/target0:0:0/0:0:0:0/vpd_pg89", "");
    LookErrors none;
    EXPECT_EQ(blocksOf(machine, none), Names());
    EXPECT_EQ(none.text(), "") << "a disk that went away";
    std::filesystem::remove(machine.path("/sys/devices/pci/ata1/host0/target0:0:0/0:0:0:0/vpd_pg89"));
    machine.folder("/sys/devices/pci/ata1/host0/target0:0:0/0:0:0:0/vpd_pg89");
    std::filesystem::remove(machine.path("/sys/class/block/sda/device"));
    machine.link("/sys/devices/pci/ata1/host0/target0:0:0/0:0:0:0/block/sda/device",
                 "/sys/devices/pci/ata1/host0/target0:0:0/0:0:0:0");
    LookErrors unreadable;
    EXPECT_EQ(blocksOf(machine, unreadable), Names{"sda"});
    EXPECT_NE(unreadable.text().find("/vpd_pg89: Is a directory."), std::string::npos) << unreadable.text();
}

}  // namespace
}  // namespace features::transport
