#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ostrel/core/Attribute.h"

namespace ostrel::core {

class Connection;
class Device;
class DeviceFinder;
class DeviceFinderExtension;

/// The storage devices of a process. How they are found is others' knowledge, which is registered here; the manager
/// adds the order of a scan, the numbering of its result, and the removal of drives that are seen twice through an LSI
/// controller.
///
/// The order of the virtual operations is binary interface, new ones go last.
/// Ownership: what is registered is cloned. A scan replaces all devices; who still holds one keeps it alive, but it no
///            longer belongs to the list.
/// Errors:    a scan has none of its own: what a finder could not open is missing from the list. A lookup that finds
///            nothing gives null.
/// Threads:   no lock: one thread scans, and no lookup runs meanwhile.
class DeviceManager {
public:
    DeviceManager();
    DeviceManager(const DeviceManager&) = delete;
    DeviceManager& operator=(const DeviceManager&) = delete;
    virtual ~DeviceManager();

    /// Rebuilds the list of devices: finders in the order of registration, then extensions by priority. The list is
    /// sorted, RAID members after all others and each group by "DevicePath"; every device gets all connections and
    /// its place as "Index". Ends with removeDuplicateLSIDevices().
    virtual void scan();

    /// Of one name there is one: a second registration takes the place of the first, at the end of the order.
    void addDeviceFinder(const DeviceFinder& finder);
    void addDeviceFinderExtension(const DeviceFinderExtension& extension);
    /// Every device gets it at the next scan.
    void addConnection(const Connection& connection);
    /// Appends a copy, without a number.
    void addDevice(const Device& device);
    /// Whether a scan initializes the devices too.
    void setCalculateDeviceStatus(bool calculate) { calculateDeviceStatus_ = calculate; }

    std::vector<std::shared_ptr<DeviceFinder>>& getDeviceFinders() { return deviceFinders_; }
    std::vector<std::shared_ptr<DeviceFinderExtension>>& getDeviceFinderExtensions() { return deviceFinderExtensions_; }
    std::vector<std::shared_ptr<Device>>& getDevices() { return devices_; }
    std::shared_ptr<DeviceFinder> getDeviceFinder(const std::string& name) const;
    std::shared_ptr<DeviceFinderExtension> getDeviceFinderExtension(const std::string& name) const;

    /// Looks up by the attribute that `identifier` is named after (ignoring case), with its value read as text:
    /// "Index", "SerialNumber", "DriveId", "DriveLetter", "Path", "Generic" (a serial number or else a path), or
    /// "CSMIIdentifiers" (a port number, a comma, and a SAS address in hexadecimal without a prefix).
    std::shared_ptr<Device> GetDevice(const Attribute& identifier) const;

    // Each of these returns the first device that matches. A device that lacks the attribute does not match, not even
    // an empty text, with one exception:

    /// A device without an index counts as number FFFFFFFFh.
    std::shared_ptr<Device> getDeviceByIndex(std::uint32_t index) const;
    /// Ignoring case.
    std::shared_ptr<Device> getDeviceBySerialNumber(const std::string& serialNumber) const;
    /// By "DevicePath", ignoring case.
    std::shared_ptr<Device> getDeviceByPath(const std::string& path) const;
    /// By "PNPString". The identifier may be such a text, in any case, or a Windows device interface path
    /// (\\?\scsi#disk#4&1#{class}), which is brought into that form.
    std::shared_ptr<Device> getDeviceByDriveId(const std::string& driveId) const;
    /// By the "Path" of one of its partitions, ignoring case.
    std::shared_ptr<Device> getDeviceByDriveLetter(const std::string& letter) const;
    /// Among devices with "CSMI": by "SCSIPortNumber" (-1 where there is none) and by "SASAddress", of which the first
    /// byte is the number's lowest.
    std::shared_ptr<Device> getDeviceByCSMI(std::int32_t port, std::uint64_t sasAddress) const;
    /// The first device of that serial number, ignoring case, if one of its partitions has exactly that "Path".
    std::shared_ptr<Device> getDeviceBySerialNumberAndPartition(const std::string& serialNumber,
                                                                const std::string& partitionPath) const;

    /// Remove one device, renumber the others from 0, and return 1; return 0 when it is not in the list.
    int removeDevice(std::uint32_t index);
    int removeDevice(const std::shared_ptr<Device>& device);

    /// Removes every device whose "DevicePath" contains "LSI" if there is another path to a device of the same
    /// "SerialNumber", all ignoring case (a missing attribute counts as empty), and then renumbers the others. All
    /// are judged by the list as it was at the beginning: a drive that is seen through two LSI paths alone vanishes
    /// altogether. That is how it is required.
    ///
    /// Time grows with the number of devices. While the log is on it grows with the pairs that are logged, too:
    /// for each device, in the list's order up to the one that decides, those of the same path (the device itself is
    /// one) and those of the same serial number.
    void removeDuplicateLSIDevices();

private:
    std::shared_ptr<Device> getDeviceByIndexText(const std::string& text) const;
    std::shared_ptr<Device> getDeviceByCsmiText(const std::string& text) const;
    std::shared_ptr<Device> getDeviceBySerialNumberOrPath(const std::string& text) const;
    void numberDevice(Device& device, std::size_t index) const;

    std::vector<std::shared_ptr<DeviceFinder>> deviceFinders_;
    std::vector<std::shared_ptr<DeviceFinderExtension>> deviceFinderExtensions_;
    std::vector<std::shared_ptr<Connection>> connections_;
    std::vector<std::shared_ptr<Device>> devices_;
    bool calculateDeviceStatus_ = false;
};

}  // namespace ostrel::core
