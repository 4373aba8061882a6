#pragma once

#include <memory>
#include <string>
#include <vector>

#include "features/transport/LookErrors.h"
#include "features/transport/linux/LinuxPaths.h"
#include "features/transport/linux/SataTopology.h"
#include "ostrel/core/DeviceFinder.h"

namespace features::transport {

/// Finds the SATA SSDs of the kernel's SCSI layer in sysfs, in the order of their SCSI addresses. A drive whose
/// IDENTIFY DEVICE sysfs shows is asked nothing: a list of many drives, or a drive that hangs, costs nothing here.
///
/// A drive is listed when it reports that it does not rotate. Rotating disks, volumes of RAID controllers and virtual
/// disks are not, nor are the drives of USB enclosures, which a command may hang: makeNamedDevice() is for one that the
/// user names.
///
/// A disk of an ATA driver or controller whose IDENTIFY DEVICE sysfs does not show is asked for it, unless the kernel
/// takes it for a rotating one; one that does not answer is listed with the reason in ErrorString.
///
/// Ownership: clones share `result`, in which each scan leaves what it found and could not look at.
class LinuxSataFinder : public ostrel::core::DeviceFinder {
public:
    struct ScanResult {
        LookErrors errors;
        std::vector<std::string> devicePaths;                          ///< in the order of the addresses
        std::vector<std::shared_ptr<ostrel::core::Device>> sasDrives;  ///< SSDs, which no command here is for
    };
    LinuxSataFinder(LinuxPaths paths, std::shared_ptr<ScanResult> result);

    void scan(std::vector<std::shared_ptr<ostrel::core::Device>>& devices) override;
    std::unique_ptr<DeviceFinder> clone() const override;

private:
    LinuxPaths paths_;
    std::shared_ptr<ScanResult> result_;
};

/// The device of a disk that the user named, which is asked for its IDENTIFY DEVICE where the kernel did not read it.
/// Null for a drive that a scan would not list either: one that rotates, or that is no ATA drive.
std::shared_ptr<ostrel::core::Device> makeNamedDevice(const ScsiDisk& disk, const LinuxPaths& paths);

}  // namespace features::transport
