#pragma once

#include <string>
#include <vector>

#include "features/transport/HostCommand.h"
#include "features/transport/LookErrors.h"
#include "features/transport/linux/LinuxPaths.h"

namespace features::transport {

/// The names of /dev/disk/by-id, of all drives, in byte order.
std::vector<HostLocation::ById> byIdLinks(const LinuxPaths& paths, LookErrors& errors);

/// Where the controller in `controllerFolder` (sysfs) sits, and the names of /dev/disk/by-id. Nothing is asked of the
/// drive. A link whose speed or width the kernel does not know has none.
HostLocation locateController(const LinuxPaths& paths, const std::string& controllerFolder, LookErrors& errors);

}  // namespace features::transport
