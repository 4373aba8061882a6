#include "features/transport/linux/LinuxSataFinder.h"

#include <map>
#include <mutex>
#include <string>

#include "features/ata/AtaCommand.h"
#include "features/ata/Drive.h"
#include "features/ata/Identity.h"
#include "features/transport/HostCommand.h"
#include "features/transport/linux/LinuxAtaPath.h"
#include "features/transport/linux/SasDrive.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/Device.h"

namespace features::transport {

using namespace ostrel::core;

namespace {

constexpr std::size_t IDENTIFY_BYTES = 512;

void set(Device& device, Attribute attribute, const std::string& text) {
    attribute.setValue(text);
    device.setAttribute(attribute);
}

std::shared_ptr<Device> makeDevice(const LinuxAtaPath& path, const std::string& block) {
    auto device = std::make_shared<Device>();
    set(*device, attributes::device::devicePath(), "/dev/" + block);
    for (const auto attribute :
         {attributes::device::serialNumber, attributes::device::modelNumber, attributes::device::firmware})
        set(*device, attribute(), "");
    device->addCommandPath(path);
    device->addCommandSet(ata::COMMAND_SET_ATA, path.getName());
    device->addCommandSet(COMMAND_SET_HOST, path.getName());
    return device;
}

/// Also of the path, which shares it with the one that the device has.
void setIdentity(Device& device, LinuxAtaPath& path, const ata::Identity& identity) {
    set(device, attributes::device::serialNumber(), identity.serialNumber());
    set(device, attributes::device::modelNumber(), identity.model());
    set(device, attributes::device::firmware(), identity.firmware());
    path.select(identity);
}

bool isListed(const ata::Identity& identity) {
    return identity.isAta() && identity.isSolidState();
}

/// One lock for each port of libata, and for each disk of another driver.
class PortLocks {
public:
    std::shared_ptr<std::mutex> of(const ScsiDisk& disk) {
        auto& lock = locks_[disk.port.empty() ? disk.block : disk.port];
        if (!lock) lock = std::make_shared<std::mutex>();
        return lock;
    }

private:
    std::map<std::string, std::shared_ptr<std::mutex>> locks_;
};

/// Null for a drive that is not listed.
std::shared_ptr<Device> makeListedDevice(const ScsiDisk& disk, const LinuxPaths& paths,
                                         const std::shared_ptr<std::mutex>& port) {
    LinuxAtaPath path(disk, paths, port);
    auto device = makeDevice(path, disk.block);
    if (disk.identify.getSize() == IDENTIFY_BYTES) {
        const ata::Identity identity(disk.identify.getData());
        if (!isListed(identity)) return nullptr;
        setIdentity(*device, path, identity);
        return device;
    }
    ata::Drive drive(*device);
    const auto asked = drive.identify();
    if (!asked) {
        set(*device, attributes::device::errorString(), asked.error().status.getMessage());
        return device;
    }
    if (!isListed(**asked)) return nullptr;
    setIdentity(*device, path, **asked);
    return device;
}

/// Whether a look at the disk can neither hang an enclosure nor wake a rotating disk.
bool mayBeScanned(const ScsiDisk& disk) {
    if (disk.isUsb) return false;
    return disk.identify.getSize() == IDENTIFY_BYTES || (disk.isAtaVendor && !disk.isRotational);
}

}  // namespace

std::shared_ptr<Device> makeNamedDevice(const ScsiDisk& disk, const LinuxPaths& paths) {
    return makeListedDevice(disk, paths, std::make_shared<std::mutex>());
}

LinuxSataFinder::LinuxSataFinder(LinuxPaths paths, std::shared_ptr<ScanResult> result)
    : DeviceFinder("Linux SATA"), paths_(std::move(paths)), result_(std::move(result)) {}

std::unique_ptr<DeviceFinder> LinuxSataFinder::clone() const {
    return std::make_unique<LinuxSataFinder>(*this);
}

void LinuxSataFinder::scan(std::vector<std::shared_ptr<Device>>& devices) {
    *result_ = ScanResult();
    PortLocks ports;
    for (const ScsiDisk& disk : SataTopology(paths_).disks(result_->errors)) {
        if (isSasSolidStateDrive(disk)) result_->sasDrives.push_back(makeSasDevice(disk, paths_, result_->errors));
        const auto device = mayBeScanned(disk) ? makeListedDevice(disk, paths_, ports.of(disk)) : nullptr;
        if (device == nullptr) continue;
        result_->devicePaths.push_back("/dev/" + disk.block);
        devices.push_back(device);
    }
}

}  // namespace features::transport
