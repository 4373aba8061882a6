#include "features/transport/linux/LinuxDriveSource.h"

#include <algorithm>
#include <tuple>

#include "features/transport/linux/BlockUses.h"
#include "features/transport/linux/LinuxDeviceFinder.h"
#include "features/transport/linux/NvmeTopology.h"
#include "features/transport/linux/Sysfs.h"

namespace features::transport {

using namespace ostrel::core;

namespace {

/// "nvme0n12", not "nvme0c1n12": a block device with a node.
bool isNamespaceNode(const std::string& name, const std::string& suffix) {
    const std::size_t digits = name.find_first_not_of("0123456789", 4);
    return name.compare(0, 4, "nvme") == 0 && digits != std::string::npos && name.substr(digits) == suffix;
}

}  // namespace

std::unique_ptr<DeviceFinder> LinuxDriveSource::finder() const {
    return std::make_unique<LinuxDeviceFinder>(paths_, scanErrors_);
}

std::optional<DriveLocation> LinuxDriveSource::locate(const std::string& path, LookErrors& errors) const {
    const std::string node = resolvedPath(path, errors);
    const std::string name = node.substr(node.rfind('/') + 1);
    // Only a node of the device folder names a drive, not any file that happens to bear such a name.
    if (node != paths_.dev + "/" + name) return std::nullopt;
    const std::vector<std::string> controllers = NvmeTopology(paths_).controllers(errors);
    if (std::find(controllers.begin(), controllers.end(), name) != controllers.end())
        return DriveLocation{"/dev/" + name, {}};
    // A partition does not name the namespace around it: who wants to erase the one would lose the other.
    if (readNumber(NvmeTopology(paths_).blockFolder(name) + "/partition", errors)) return std::nullopt;
    return name.compare(0, 2, "ng") == 0 ? locateGeneric(name, errors) : locateBlock(name, errors);
}

std::optional<DriveLocation> LinuxDriveSource::locateGeneric(const std::string& name, LookErrors& errors) const {
    // The X of ngXnY need not be that of nvmeXnY. The kernel keeps both in one folder, of the controller or of the
    // subsystem, and in there the Y shows which belong together.
    const std::string folder = resolvedPath(paths_.sys + "/class/nvme-generic/" + name + "/..", errors);
    if (folder.empty()) return std::nullopt;
    const std::string suffix = name.substr(std::min(name.size(), name.find('n', 2)));
    for (const std::string& entry : listFolder(folder, errors)) {
        if (isNamespaceNode(entry, suffix)) return locateBlock(entry, errors);
    }
    return std::nullopt;
}

std::optional<DriveLocation> LinuxDriveSource::bootDrive(const std::string&, LookErrors& errors) const {
    const BlockUses uses(paths_);
    const std::vector<std::string> blocks = uses.rootDevices();
    errors.add(uses.errors());
    for (const std::string& block : blocks) {
        if (const auto location = locateBlock(block, errors)) return DriveLocation{location->devicePath, {}};
    }
    return std::nullopt;
}

std::optional<DriveLocation> LinuxDriveSource::locateBlock(const std::string& block, LookErrors& errors) const {
    const NvmeTopology topology(paths_);
    std::string disk = block;
    if (readNumber(topology.blockFolder(block) + "/partition", errors)) {
        disk = diskOfPartition(paths_, block, errors);
        if (disk.empty()) return std::nullopt;
    }
    const auto controllers = topology.controllersOf(disk, errors);
    if (controllers.empty()) return std::nullopt;
    for (const NamespaceNode& node : topology.namespacesOf(controllers.front(), errors)) {
        if (node.block == disk) return DriveLocation{"/dev/" + controllers.front(), node.nsid};
    }
    return std::nullopt;
}

std::vector<std::string> LinuxDriveSource::controllersOfDrive(const std::string& devicePath, LookErrors& errors) const {
    const NvmeTopology topology(paths_);
    const std::string name = devicePath.substr(devicePath.rfind('/') + 1);
    const std::vector<std::string> all = topology.controllers(errors);
    if (devicePath != "/dev/" + name || std::find(all.begin(), all.end(), name) == all.end()) return {devicePath};
    std::vector<std::string> names = topology.subsystemOf(name, errors);
    const auto order = [&](const std::string& controller) {
        const bool isLive = readLine(topology.controllerFolder(controller) + "/state", errors) == "live";
        return std::make_tuple(!isLive, controller.size(), controller);  // a longer name has the higher number
    };
    std::sort(names.begin(), names.end(),
              [&](const std::string& left, const std::string& right) { return order(left) < order(right); });
    for (std::string& controller : names) controller.insert(0, "/dev/");
    return names;
}

}  // namespace features::transport
