#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "features/transport/linux/LinuxPaths.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/unit/features/transport/FakeKernel.h"

/// A machine's /sys, /proc and /dev below a temporary folder, laid out as the kernel does it: what a class folder shows
/// are links into the tree of devices.
///
///     FakeMachine machine;
///     machine.controller("nvme0", "nvme-subsys0");
///     machine.disk("pci/nvme0", "nvme0n1", "259:0", 1);
///     machine.partition("pci/nvme0/nvme0n1", "nvme0n1p1", "259:1", 1);
class FakeMachine {
public:
    FakeMachine();

    features::transport::LinuxPaths paths() const { return features::transport::LinuxPaths(root_, kernel); }
    /// Of a place in the machine: "/dev/nvme0".
    std::string path(const std::string& place) const { return root_ + place; }

    /// A file, with the folders above it.
    void file(const std::string& place, const std::string& text);
    void folder(const std::string& place);
    /// A link; `target` is a place in the machine.
    void link(const std::string& place, const std::string& target);

    /// A controller in devices/pci, in its class and in its subsystem. Of a drive that is alive.
    void controller(const std::string& name, const std::string& subsystem);
    /// A namespace's block device below devices/`parent`, with its node.
    void disk(const std::string& parent, const std::string& block, const std::string& number, uint32_t nsid);
    /// A disk of the SCSI layer below devices/`parent`, with its node and "sgN" for its generic one: "pci/ata1/host0",
    /// "0:0:0:0", "sda", "8:0". Of a virtual machine until it has IDENTIFY DEVICE.
    void scsiDisk(const std::string& parent, const std::string& address, const std::string& block,
                  const std::string& number, const std::string& generic);
    /// What the kernel read of an ATA drive.
    void ataInformation(const std::string& block, const std::vector<uint8_t>& identify);
    /// The hidden entry of one path to a namespace, which has no node.
    void hiddenPath(const std::string& controller, const std::string& block, uint32_t nsid);
    /// A namespace's character device below devices/`parent`, with its node.
    void generic(const std::string& parent, const std::string& name);
    void partition(const std::string& disk, const std::string& block, const std::string& number, int index);
    /// Another block device (md, dm) in devices/virtual, with its node.
    void virtualDisk(const std::string& block, const std::string& number);
    /// `upper` is built on `lower`: names in class/block.
    void stack(const std::string& upper, const std::string& lower);
    /// Lines of /proc/self/mountinfo.
    void mounts(const std::string& lines) { file("/proc/self/mountinfo", lines); }
    /// Lines of /proc/swaps, below its heading.
    void swaps(const std::string& lines);

    /// Answers what is opened below /dev.
    std::shared_ptr<FakeKernel> kernel;

private:
    void blockDevice(const std::string& place, const std::string& block, const std::string& number);

    TemporaryFolder folder_;
    std::string root_;
};
