#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace ostrel::core {

class Device;

/// Looks over the devices of a scan when all finders are through: it may inspect, change, add and remove. A
/// DeviceManager keeps a clone and asks it at each scan.
///
/// Deriving: as for DeviceFinder.
class DeviceFinderExtension {
public:
    virtual ~DeviceFinderExtension() = default;
    /// `devices` holds what the finders and the extensions before this one have left; no null entries.
    virtual void scan(std::vector<std::shared_ptr<Device>>& devices) = 0;
    virtual std::unique_ptr<DeviceFinderExtension> clone() const = 0;
    virtual DeviceFinderExtension& operator=(const DeviceFinderExtension& other) = default;

    std::string name;       ///< a manager holds one extension of each name
    std::uint8_t priority;  ///< lower ones come first; the order among equal ones is not defined

protected:
    DeviceFinderExtension(std::string extensionName, std::uint8_t extensionPriority)
        : name(std::move(extensionName)), priority(extensionPriority) {}
    DeviceFinderExtension(const DeviceFinderExtension&) = default;
};

}  // namespace ostrel::core
