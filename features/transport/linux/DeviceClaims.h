#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "features/transport/LookErrors.h"
#include "features/transport/linux/BlockOpener.h"
#include "features/transport/linux/LinuxPaths.h"

namespace features::transport {

/// A use of a device that is neither in the table of mounts nor among the holders of sysfs.
struct DeviceClaim {
    /// Block and character devices are numbered apart from each other.
    enum class Kind { BLOCK, CHARACTER } kind;
    dev_t device;      ///< of the block device, or of the controller's character device
    std::string user;  ///< what uses it: "loop0 (/dev/nvme0n1)"
    /// The block devices whose mounts are mounts of this one, too: what is built on it, the others of its file system.
    std::vector<std::string> blocks = {};
};

/// All such uses that the kernel shows: a row of the table in DeviceClaims.cpp for each kind. A snapshot.
class DeviceClaims {
public:
    DeviceClaims(const LinuxPaths& paths, const BlockOpener& opener);

    const std::vector<DeviceClaim>& all() const { return claims_; }
    /// What could not be looked at: any device may be in use that way.
    const LookErrors& errors() const { return errors_; }

private:
    std::vector<DeviceClaim> claims_;
    LookErrors errors_;
};

}  // namespace features::transport
