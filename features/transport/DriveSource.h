#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "features/transport/LookErrors.h"
#include "ostrel/core/DeviceFinder.h"

namespace features::transport {

/// A drive that a path leads to, and the namespace when the path names one.
struct DriveLocation {
    std::string devicePath;  ///< the "DevicePath" of the drive's Device
    std::optional<uint32_t> nsid;
};

/// One kind of drives: how they are found and how the user's ways of naming one lead to them.
///
/// Errors:  what could not be looked at goes into `errors`, or into those of the scan. Nothing found without an error
///          means that there is nothing.
/// Threads: the main thread.
class DriveSource {
public:
    virtual ~DriveSource() = default;

    /// What the device manager is given. Its scan() adds a Device for each drive: the attributes DevicePath,
    /// SerialNumber, ModelNumber and Firmware, a command path, and the command sets on it: "NVMe" or "ATA", and "Host".
    /// A drive is asked who it is where the system does not know that, and nothing else. One that cannot be opened is
    /// listed too, its reason in ErrorString.
    virtual std::unique_ptr<ostrel::core::DeviceFinder> finder() const = 0;
    /// What the last scan could not look at, of the finder or of any clone of it: there may be more drives.
    virtual const LookErrors& scanErrors() const = 0;
    /// The "DevicePath" of each device of the last scan in the order in which they are shown, where that is not the
    /// order of the paths: letters of disks change between boots. Otherwise empty.
    virtual std::vector<std::string> scanOrder() const { return {}; }

    /// Drives that the last scan found and that this library has no commands for. Each has DevicePath, SerialNumber,
    /// ModelNumber and Firmware as far as they are known, the reason in ErrorString, and no command path.
    virtual std::vector<std::shared_ptr<ostrel::core::Device>> unsupportedDrives() const { return {}; }

    /// Where a path leads: the node of a controller, of a namespace or of a disk (block or generic), or a link to one.
    virtual std::optional<DriveLocation> locate(const std::string& path, LookErrors& errors) const = 0;

    /// The device of a located drive that no scan lists, since drives of its kind are asked nothing unless the user
    /// names them; null when there is none. Asks the drive who it is.
    virtual std::shared_ptr<ostrel::core::Device> namedDevice(const std::string& devicePath) const {
        (void)devicePath;
        return nullptr;
    }

    /// The drive that holds the running system's root file system, if it is one of this kind. The word that the user
    /// wrote does not matter.
    virtual std::optional<DriveLocation> bootDrive(const std::string& word, LookErrors& errors) const = 0;

    /// The controllers that lead to the same drive (NVM subsystem) as the one of `devicePath`, itself included, by
    /// their "DevicePath": those that are live first, and of these the lowest number first.
    virtual std::vector<std::string> controllersOfDrive(const std::string& devicePath, LookErrors&) const {
        return {devicePath};
    }
};

}  // namespace features::transport
