// The lookups of DeviceManager.

#include "ostrel/core/DeviceManager.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <string_view>

#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/Device.h"
#include "ostrel/core/Logging.h"
#include "ostrel/core/ScopeTrace.h"
#include "ostrel/core/Strings.h"
#include "ostrel/core/xml/XmlConstants.h"

namespace ostrel::core {

namespace {

using Devices = std::vector<std::shared_ptr<Device>>;

bool hasText(const AttributeList& attributes, const std::string& name, std::string_view text, bool ignoreCase) {
    OSTREL_TRACE();
    const auto own = findText(attributes, name);
    return own.has_value() && equals(*own, text, ignoreCase);
}

template <typename Predicate>
std::shared_ptr<Device> findDevice(const Devices& devices, Predicate matches) {
    OSTREL_TRACE();
    for (const auto& device : devices)
        if (matches(*device)) return device;
    return nullptr;
}

std::shared_ptr<Device> findDeviceByText(const Devices& devices, const Attribute& attribute, std::string_view text,
                                         bool ignoreCase) {
    OSTREL_TRACE();
    const std::string& name = attribute.getName();
    return findDevice(devices, [&](const Device& d) { return hasText(d.getAttributes(), name, text, ignoreCase); });
}

bool hasPartition(const Device& device, std::string_view path, bool ignoreCase) {
    OSTREL_TRACE();
    const std::string name = attributes::device::path().getName();
    const auto& partitions = device.getPartitions();
    return std::any_of(partitions.begin(), partitions.end(),
                       [&](const AttributeList& partition) { return hasText(partition, name, path, ignoreCase); });
}

// The value of a "sint32"; its default, -1, where the device has none.
std::int32_t numberOf(const Device& device, const Attribute& attribute) {
    OSTREL_TRACE();
    const auto found = device.getAttributes().find(attribute.getName());
    if (found == device.getAttributes().end() || found->second.getSize() == 0) return -1;
    return static_cast<std::int32_t>(found->second.getNumber());
}

// The form of "PNPString" of a drive identifier: "SCSI\DISK\4&1" of "\\?\scsi#disk#4&1#{class}". Nothing when the text
// is too short to be one.
std::optional<std::string> normalizeDriveId(std::string id) {
    OSTREL_TRACE();
    constexpr std::size_t SHORTEST = 5;
    constexpr std::string_view PREFIX = "\\\\?\\";
    if (id.find(PREFIX) != std::string::npos) {
        replaceAll(id, "#", "\\");
        if (id.size() >= SHORTEST) id.erase(0, PREFIX.size());
        const std::size_t brace = id.rfind('{');
        if (brace != std::string::npos) id.erase(brace == 0 ? 0 : brace - 1);  // with the separator before it
    } else if (id.size() < SHORTEST) {
        return std::nullopt;
    }
    return toUpper(id);
}

}  // namespace

std::shared_ptr<Device> DeviceManager::GetDevice(const Attribute& identifier) const {
    OSTREL_TRACE();
    constexpr struct {
        const char* name;
        std::shared_ptr<Device> (DeviceManager::*search)(const std::string& text) const;
    } SEARCHES[] = {
        {xml::NAME_INDEX, &DeviceManager::getDeviceByIndexText},
        {xml::NAME_SERIAL_NUMBER, &DeviceManager::getDeviceBySerialNumber},
        {xml::NAME_CSMI_IDENTIFIERS, &DeviceManager::getDeviceByCsmiText},
        {xml::NAME_DRIVE_ID, &DeviceManager::getDeviceByDriveId},
        {xml::NAME_DRIVE_LETTER, &DeviceManager::getDeviceByDriveLetter},
        {xml::NAME_PATH, &DeviceManager::getDeviceByPath},
        {xml::NAME_GENERIC, &DeviceManager::getDeviceBySerialNumberOrPath},
    };
    const std::string text(identifier.getCharacters());
    for (const auto& row : SEARCHES)
        if (equals(identifier.getName(), row.name, true)) return (this->*row.search)(text);
    return nullptr;
}

std::shared_ptr<Device> DeviceManager::getDeviceByIndexText(const std::string& text) const {
    OSTREL_TRACE();
    if (!isInteger(text)) return nullptr;
    const auto index = toNumber<std::uint64_t>(text);
    if (index > std::numeric_limits<std::uint32_t>::max()) return nullptr;  // cut, it would be another device's
    return getDeviceByIndex(static_cast<std::uint32_t>(index));
}

std::shared_ptr<Device> DeviceManager::getDeviceByCsmiText(const std::string& text) const {
    OSTREL_TRACE();
    const std::vector<std::string> fields = split(text, ',');
    if (fields.size() != 2) {
        logMessage(LOGSEVERITY_ERROR, "Failed to split passed in CSMI string into the two recognized identifiers");
        return nullptr;
    }
    Attribute sasAddress = attributes::device::sasAddress();
    sasAddress.setValue(hexToBytes("0x" + fields[1], "0x"));
    if (sasAddress.getSize() > sizeof(std::uint64_t)) return nullptr;  // cut, it would be another device's
    return getDeviceByCSMI(toNumber<std::int32_t>(fields[0]), sasAddress.getNumber());
}

std::shared_ptr<Device> DeviceManager::getDeviceBySerialNumberOrPath(const std::string& text) const {
    OSTREL_TRACE();
    const auto device = getDeviceBySerialNumber(text);
    return device != nullptr ? device : getDeviceByPath(text);
}

std::shared_ptr<Device> DeviceManager::getDeviceByIndex(std::uint32_t index) const {
    OSTREL_TRACE();
    const Attribute attribute = attributes::device::index();
    // The default of the type, -1, makes a device without an index match FFFFFFFFh.
    return findDevice(devices_,
                      [&](const Device& d) { return static_cast<std::uint32_t>(numberOf(d, attribute)) == index; });
}

std::shared_ptr<Device> DeviceManager::getDeviceBySerialNumber(const std::string& serialNumber) const {
    OSTREL_TRACE();
    return findDeviceByText(devices_, attributes::device::serialNumber(), serialNumber, true);
}

std::shared_ptr<Device> DeviceManager::getDeviceByPath(const std::string& path) const {
    OSTREL_TRACE();
    return findDeviceByText(devices_, attributes::device::devicePath(), path, true);
}

std::shared_ptr<Device> DeviceManager::getDeviceByDriveId(const std::string& driveId) const {
    OSTREL_TRACE();
    const auto id = normalizeDriveId(driveId);
    return id.has_value() ? findDeviceByText(devices_, attributes::device::pnpString(), *id, false) : nullptr;
}

std::shared_ptr<Device> DeviceManager::getDeviceByDriveLetter(const std::string& letter) const {
    OSTREL_TRACE();
    return findDevice(devices_, [&](const Device& d) { return hasPartition(d, letter, true); });
}

std::shared_ptr<Device> DeviceManager::getDeviceByCSMI(std::int32_t port, std::uint64_t sasAddress) const {
    OSTREL_TRACE();
    return findDevice(devices_, [&](const Device& d) {
        const Attribute address = d.getAttribute(attributes::device::sasAddress());
        return d.getAttribute(attributes::device::csmi()).isTrue() &&
               numberOf(d, attributes::device::scsiPortNumber()) == port && address.getSize() == sizeof sasAddress &&
               address.getNumber() == sasAddress;
    });
}

// The first device of that serial number decides, even if a later one has the partition.
std::shared_ptr<Device> DeviceManager::getDeviceBySerialNumberAndPartition(const std::string& serialNumber,
                                                                           const std::string& partitionPath) const {
    OSTREL_TRACE();
    const auto device = getDeviceBySerialNumber(serialNumber);
    return device != nullptr && hasPartition(*device, partitionPath, false) ? device : nullptr;
}

}  // namespace ostrel::core
