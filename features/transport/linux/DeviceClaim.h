#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

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

}  // namespace features::transport
