#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace ostrel::core {

class Device;

/// Finds storage devices of one kind. A DeviceManager keeps a clone and asks it at each scan.
///
/// Deriving: the order of the virtual operations is binary interface, new ones go last. clone() returns an object of
///           the very class of this one. What cannot be opened is skipped: an exception ends the whole scan.
class DeviceFinder {
public:
    virtual ~DeviceFinder() = default;
    /// Adds what it finds to `devices`, which holds what earlier finders of the same scan have found; no null entries.
    virtual void scan(std::vector<std::shared_ptr<Device>>& devices) = 0;
    virtual std::unique_ptr<DeviceFinder> clone() const = 0;
    virtual DeviceFinder& operator=(const DeviceFinder& other) = default;

    std::string name;  ///< a manager holds one finder of each name

protected:
    explicit DeviceFinder(std::string finderName) : name(std::move(finderName)) {}
    DeviceFinder(const DeviceFinder&) = default;
};

}  // namespace ostrel::core
