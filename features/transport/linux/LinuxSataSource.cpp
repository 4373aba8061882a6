#include "features/transport/linux/LinuxSataSource.h"

#include "features/ata/Identity.h"
#include "features/transport/linux/BlockUses.h"
#include "features/transport/linux/SataTopology.h"
#include "features/transport/linux/SelectedAtaDrive.h"
#include "features/transport/linux/Sysfs.h"

namespace features::transport {

using namespace ostrel::core;

namespace {

constexpr std::size_t IDENTIFY_BYTES = 512;

std::optional<SelectedAtaDrive> driveOf(const ScsiDisk& disk) {
    if (disk.identify.getSize() != IDENTIFY_BYTES) return std::nullopt;
    return SelectedAtaDrive(ata::Identity(disk.identify.getData()));
}

std::string lastPart(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

}  // namespace

std::unique_ptr<DeviceFinder> LinuxSataSource::finder() const {
    return std::make_unique<LinuxSataFinder>(paths_, scan_);
}

std::optional<DriveLocation> LinuxSataSource::locate(const std::string& path, LookErrors& errors) const {
    const std::string node = resolvedPath(path, errors);
    const std::string name = lastPart(node);
    // Only a node of the device folder names a drive, not any file that happens to bear such a name.
    if (node != paths_.dev + "/" + name) return std::nullopt;
    const SataTopology topology(paths_);
    const std::string generic = topology.diskOfGeneric(name, errors);
    const auto disk = topology.disk(generic.empty() ? name : generic, errors);
    return disk ? std::optional<DriveLocation>({"/dev/" + disk->block, {}}) : std::nullopt;
}

std::optional<DriveLocation> LinuxSataSource::bootDrive(const std::string&, LookErrors& errors) const {
    const BlockUses uses(paths_);
    const std::vector<std::string> blocks = uses.rootDevices();
    errors.add(uses.errors());
    const SataTopology topology(paths_);
    for (const std::string& block : blocks) {
        const bool isPartition = readNumber(topology.blockFolder(block) + "/partition", errors).has_value();
        const auto disk = topology.disk(isPartition ? diskOfPartition(paths_, block, errors) : block, errors);
        if (disk && !disk->isUsb) return DriveLocation{"/dev/" + disk->block, {}};
    }
    return std::nullopt;
}

std::shared_ptr<Device> LinuxSataSource::namedDevice(const std::string& devicePath) const {
    LookErrors errors;  // without its folder in sysfs it would not have been located
    const auto disk = SataTopology(paths_).disk(lastPart(devicePath), errors);
    return disk && disk->isUsb ? makeNamedDevice(*disk, paths_) : nullptr;
}

std::vector<std::string> LinuxSataSource::controllersOfDrive(const std::string& devicePath, LookErrors& errors) const {
    const SataTopology topology(paths_);
    const auto disk = topology.disk(lastPart(devicePath), errors);
    const auto drive = disk && devicePath == "/dev/" + disk->block ? driveOf(*disk) : std::nullopt;
    if (!drive) return {devicePath};
    std::vector<std::string> found;
    for (const ScsiDisk& other : topology.disks(errors)) {
        const auto otherDrive = driveOf(other);
        const bool isThis = other.block == disk->block;
        if (isThis || (otherDrive && drive->isOneDriveWith(*otherDrive))) found.push_back("/dev/" + other.block);
    }
    return found;
}

}  // namespace features::transport
