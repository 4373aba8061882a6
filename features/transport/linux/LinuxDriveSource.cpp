#include "features/transport/linux/LinuxDriveSource.h"

#include <climits>
#include <cstdlib>

#include "features/transport/linux/BlockUses.h"
#include "features/transport/linux/LinuxDeviceFinder.h"
#include "features/transport/linux/NvmeTopology.h"
#include "features/transport/linux/Sysfs.h"
#include "ostrel/core/ScopeTrace.h"

namespace features::transport {

using namespace ostrel::core;

std::unique_ptr<DeviceFinder> LinuxDriveSource::finder() const {
    return std::make_unique<LinuxDeviceFinder>(paths_);
}

std::optional<DriveLocation> LinuxDriveSource::locate(const std::string& path) const {
    OSTREL_TRACE();
    char target[PATH_MAX];
    if (::realpath(path.c_str(), target) == nullptr) return std::nullopt;
    const std::string node = target;
    const std::string name = node.substr(node.rfind('/') + 1);
    // Only a node of the device folder names a drive, not any file that happens to bear such a name.
    if (node != paths_.dev + "/" + name) return std::nullopt;
    if (readLine(NvmeTopology(paths_).controllerFolder(name) + "/state")) return DriveLocation{"/dev/" + name, {}};
    return locateBlock(name);
}

std::optional<DriveLocation> LinuxDriveSource::bootDrive(const std::string&) const {
    OSTREL_TRACE();
    for (const std::string& block : BlockUses(paths_).rootDevices()) {
        if (const auto location = locateBlock(block)) return DriveLocation{location->devicePath, {}};
    }
    return std::nullopt;
}

std::optional<DriveLocation> LinuxDriveSource::locateBlock(const std::string& block) const {
    OSTREL_TRACE();
    const NvmeTopology topology(paths_);
    std::string disk = block;
    if (readNumber(topology.blockFolder(block) + "/partition")) {
        // The folder of a partition lies in that of its disk.
        char target[PATH_MAX];
        if (::realpath((topology.blockFolder(block) + "/..").c_str(), target) == nullptr) return std::nullopt;
        const std::string folder = target;
        disk = folder.substr(folder.rfind('/') + 1);
    }
    const auto controllers = topology.controllersOf(disk);
    if (controllers.empty()) return std::nullopt;
    for (const NamespaceNode& node : topology.namespacesOf(controllers.front())) {
        if (node.block == disk) return DriveLocation{"/dev/" + controllers.front(), node.nsid};
    }
    return std::nullopt;
}

}  // namespace features::transport
