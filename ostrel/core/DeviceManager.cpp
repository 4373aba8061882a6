#include "ostrel/core/DeviceManager.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/Connection.h"
#include "ostrel/core/Device.h"
#include "ostrel/core/DeviceFinder.h"
#include "ostrel/core/DeviceFinderExtension.h"
#include "ostrel/core/Logging.h"
#include "ostrel/core/LsiDuplicates.h"
#include "ostrel/core/ScopeTrace.h"

namespace ostrel::core {

namespace {

using Devices = std::vector<std::shared_ptr<Device>>;

// A registration under a name that is there takes its place, at the end. The clone comes first: `item` may be the very
// one that is erased.
template <typename Registered>
void replaceByName(std::vector<std::shared_ptr<Registered>>& registered, const Registered& item) {
    OSTREL_TRACE();
    const std::shared_ptr<Registered> clone = item.clone();
    const auto sameName = [&](const auto& other) { return other->name == clone->name; };
    registered.erase(std::remove_if(registered.begin(), registered.end(), sameName), registered.end());
    registered.push_back(clone);
}

template <typename Registered>
std::shared_ptr<Registered> findByName(const std::vector<std::shared_ptr<Registered>>& registered,
                                       const std::string& name) {
    OSTREL_TRACE();
    for (const auto& item : registered)
        if (item->name == name) return item;
    return nullptr;
}

template <typename Prioritized>
void sortByPriority(std::vector<std::shared_ptr<Prioritized>>& items) {
    OSTREL_TRACE();
    std::sort(items.begin(), items.end(), [](const auto& a, const auto& b) { return a->priority < b->priority; });
}

// RAID members after all others, each group by the bytes of the path.
void sortDevices(Devices& devices) {
    OSTREL_TRACE();
    const std::string pathName = attributes::device::devicePath().getName();
    std::vector<std::tuple<bool, std::string, std::shared_ptr<Device>>> sorted;
    sorted.reserve(devices.size());
    for (const auto& device : devices)
        sorted.emplace_back(device->getAttribute(attributes::device::raidMember()).isTrue(),
                            findText(device->getAttributes(), pathName).value_or(""), device);
    std::sort(sorted.begin(), sorted.end(), [](const auto& a, const auto& b) {
        return std::tie(std::get<0>(a), std::get<1>(a)) < std::tie(std::get<0>(b), std::get<1>(b));
    });
    std::transform(sorted.begin(), sorted.end(), devices.begin(), [](const auto& entry) { return std::get<2>(entry); });
}

void setIndex(Device& device, std::size_t index) {
    OSTREL_TRACE();
    Attribute attribute = attributes::device::index();
    attribute.setValue(static_cast<std::int32_t>(index));
    device.setAttribute(attribute);
}

// All that is known of a device; costs nothing while the log is off.
void logDevice(const Device& device) {
    OSTREL_TRACE();
    if (!isLoggingEnabled()) return;
    std::vector<std::pair<std::string, Attribute>> sorted(device.getAttributes().begin(), device.getAttributes().end());
    std::sort(sorted.begin(), sorted.end(), [](const auto& a, const auto& b) { return a.second < b.second; });
    for (const auto& [name, attribute] : sorted)
        logMessage(LOGSEVERITY_INFO, attribute.getDisplayName(), " = ", attribute.getText());
    const std::string pathName = attributes::device::path().getName();
    for (const AttributeList& partition : device.getPartitions())
        logMessage(LOGSEVERITY_INFO, "Partition: ", findText(partition, pathName).value_or(""));
    for (const auto& [set, path] : device.getCommandSets())
        logMessage(LOGSEVERITY_INFO, "Command Set = ", set, " supported by Command Path = ", path);
    for (const auto& [name, path] : device.getCommandPaths()) logMessage(LOGSEVERITY_INFO, "Command Path: ", name);
}

int eraseDevice(Devices& devices, const std::shared_ptr<Device>& device) {
    OSTREL_TRACE();
    const auto found = std::find(devices.begin(), devices.end(), device);
    if (found == devices.end()) return 0;
    devices.erase(found);
    for (std::size_t i = 0; i < devices.size(); ++i) setIndex(*devices[i], i);
    return 1;
}

}  // namespace

DeviceManager::DeviceManager() = default;

DeviceManager::~DeviceManager() {
    OSTREL_TRACE();
}

void DeviceManager::scan() {
    OSTREL_TRACE();
    devices_.clear();
    Devices found;
    for (const auto& finder : deviceFinders_) {
        logMessage(LOGSEVERITY_INFO, "Calling device finder: ", finder->name);
        finder->scan(found);
    }
    sortByPriority(deviceFinderExtensions_);
    for (const auto& extension : deviceFinderExtensions_) {
        logMessage(LOGSEVERITY_INFO, "Calling device finder extension: ", extension->name);
        extension->scan(found);
    }
    devices_.insert(devices_.begin(), found.begin(), found.end());
    sortDevices(devices_);
    sortByPriority(connections_);
    for (std::size_t i = 0; i < devices_.size(); ++i) {
        devices_[i]->getConnections() = connections_;
        numberDevice(*devices_[i], i);
        logDevice(*devices_[i]);
    }
    removeDuplicateLSIDevices();
}

void DeviceManager::numberDevice(Device& device, std::size_t index) const {
    OSTREL_TRACE();
    logMessage(LOGSEVERITY_INFO, "Device ", index);
    if (calculateDeviceStatus_) (void)device.initialize();  // what it found out is in the device's attributes
    setIndex(device, index);
}

void DeviceManager::removeDuplicateLSIDevices() {
    OSTREL_TRACE();
    const std::vector<bool> duplicates = findLsiDuplicates(devices_);
    Devices kept;
    for (std::size_t i = 0; i < devices_.size(); ++i)
        if (!duplicates[i]) kept.push_back(devices_[i]);
    if (kept.size() == devices_.size()) return;
    devices_ = std::move(kept);
    for (std::size_t i = 0; i < devices_.size(); ++i) numberDevice(*devices_[i], i);
}

void DeviceManager::addDeviceFinder(const DeviceFinder& finder) {
    OSTREL_TRACE();
    replaceByName(deviceFinders_, finder);
}

void DeviceManager::addDeviceFinderExtension(const DeviceFinderExtension& extension) {
    OSTREL_TRACE();
    replaceByName(deviceFinderExtensions_, extension);
}

void DeviceManager::addConnection(const Connection& connection) {
    OSTREL_TRACE();
    connections_.push_back(connection.clone());
}

void DeviceManager::addDevice(const Device& device) {
    OSTREL_TRACE();
    devices_.push_back(std::make_shared<Device>(device));
}

std::shared_ptr<DeviceFinder> DeviceManager::getDeviceFinder(const std::string& name) const {
    OSTREL_TRACE();
    return findByName(deviceFinders_, name);
}

std::shared_ptr<DeviceFinderExtension> DeviceManager::getDeviceFinderExtension(const std::string& name) const {
    OSTREL_TRACE();
    return findByName(deviceFinderExtensions_, name);
}

int DeviceManager::removeDevice(std::uint32_t index) {
    OSTREL_TRACE();
    return eraseDevice(devices_, getDeviceByIndex(index));
}

int DeviceManager::removeDevice(const std::shared_ptr<Device>& device) {
    OSTREL_TRACE();
    return eraseDevice(devices_, device);
}

}  // namespace ostrel::core
