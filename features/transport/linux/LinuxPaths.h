#pragma once

#include <string>

namespace features::transport {

/// Where this machine keeps what the transport reads. A test lays out a machine of its own below a folder.
struct LinuxPaths {
    explicit LinuxPaths(const std::string& root = {})
        : sys(root + "/sys"), proc(root + "/proc"), dev(root + "/dev"), etc(root + "/etc") {}

    std::string sys;
    std::string proc;
    std::string dev;
    std::string etc;
};

}  // namespace features::transport
