#pragma once

#include <memory>
#include <string>

#include "features/transport/DriveLock.h"
#include "features/transport/linux/KernelCalls.h"

namespace features::transport {

/// Where this machine keeps what the transport reads, and the calls that reach its drivers. A test lays out a machine
/// of its own below a folder.
///
/// Ownership: copies share the calls.
struct LinuxPaths {
    explicit LinuxPaths(const std::string& root = {},
                        std::shared_ptr<KernelCalls> calls = std::make_shared<KernelCalls>())
        : sys(root + "/sys"),
          proc(root + "/proc"),
          dev(root + "/dev"),
          etc(root + "/etc"),
          locks(root + DRIVE_LOCKS),
          kernel(std::move(calls)) {}

    std::string sys;
    std::string proc;
    std::string dev;
    std::string etc;
    std::string locks;                    ///< of the drives that are being changed
    std::shared_ptr<KernelCalls> kernel;  ///< never null
};

}  // namespace features::transport
