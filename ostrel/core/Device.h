#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ostrel/core/AttributeList.h"
#include "ostrel/core/CommandHistory.h"
#include "ostrel/core/CommandPath.h"
#include "ostrel/core/Status.h"

namespace ostrel::core {

class Command;
class Connection;

namespace xml {
class XmlObject;
}

/// A storage device: what is known of it, and the ways to send it commands. A finder makes it and fills it, the
/// DeviceManager numbers it, initialize() opens it.
///
/// A command goes the way of its command set: the set's name leads to a path's name, and that to the path.
///
/// Deriving:  the order of the virtual operations is binary interface, new ones go last.
/// Ownership: a device owns its paths; connections, children and partitions' owners may be shared. A copy has clones
///            of the paths, a copy of the history, and shares connections and children.
/// Threads:   one at a time; only the history may be used from any.
class Device {
public:
    using CommandPaths = std::map<std::string, std::unique_ptr<CommandPath>>;
    using CommandSets = std::map<std::string, std::string>;
    using Connections = std::vector<std::shared_ptr<Connection>>;

    Device();
    Device(const Device& other);
    Device& operator=(const Device&) = delete;
    [[gnu::visibility("default")]] virtual ~Device();  // also out of a library that hides all else

    virtual bool supportsCommandSet(const std::string& name) const;
    /// Sends a command that has no data for the device.
    virtual void sendCommand(const Command& command, CommandResult& result);
    /// Sends a command with the data in `payload` and waits for its end. The result replaces what `result` held, and
    /// goes into the history. 0/35 when no path serves the command's set.
    virtual void sendCommand(const Command& command, CommandResult& result, const Payload& payload);

    AttributeList& getAttributes() { return attributes_; }
    const AttributeList& getAttributes() const { return attributes_; }
    CommandPaths& getCommandPaths() { return commandPaths_; }
    const CommandPaths& getCommandPaths() const { return commandPaths_; }
    CommandSets& getCommandSets() { return commandSets_; }
    const CommandSets& getCommandSets() const { return commandSets_; }
    /// Those that the finder gave to this device alone; initialize() opens them first.
    Connections& getOwnConnections() { return ownConnections_; }
    const Connections& getOwnConnections() const { return ownConnections_; }
    /// Those that a DeviceManager gives to all its devices.
    Connections& getConnections() { return connections_; }
    const Connections& getConnections() const { return connections_; }
    std::vector<std::shared_ptr<Device>>& getChildDevices() { return childDevices_; }
    const std::vector<std::shared_ptr<Device>>& getChildDevices() const { return childDevices_; }
    std::vector<AttributeList>& getPartitions() { return partitions_; }
    const std::vector<AttributeList>& getPartitions() const { return partitions_; }
    CommandHistory& getCommandHistory() { return commandHistory_; }
    const CommandHistory& getCommandHistory() const { return commandHistory_; }

    /// Replaces one of the same name.
    void setAttribute(const Attribute& attribute);
    bool hasAttribute(const std::string& name) const;
    /// The device's attribute of that name, or `attribute` itself as the default.
    Attribute getAttribute(const Attribute& attribute) const;
    void removeAttribute(const std::string& name);

    /// Keeps a clone under the path's name, in the place of one that was there.
    void addCommandPath(const CommandPath& path);
    void addCommandSet(const std::string& set, const std::string& pathName);
    /// Whether there is a path, and every path supports the device.
    bool isCommandPathAvailable() const;

    /// The time-out of the path that serves a command set. The defaults differ on purpose: 60 seconds, but 0
    /// nanoseconds, when there is no such set or path.
    std::uint64_t getTimeout(const std::string& commandSetName) const;
    std::uint64_t getTimeoutNanoseconds(const std::string& commandSetName) const;
    /// Does nothing when there is no such set or path.
    void setTimeout(std::uint64_t seconds, const std::string& commandSetName);
    void setAllTimeouts(std::uint64_t nanoseconds);
    void setAllTimeoutsSeconds(std::uint64_t seconds);

    void setCommandHistorySize(std::uint32_t size) { commandHistory_.setMaxSize(size); }

    /// 0/2 when the device or the connection of one of its paths has partitions, otherwise 0/3.
    Status getPartitionStatus() const;

    /// Opens the device after a scan:
    ///   - child devices get this device's connections and are initialized first;
    ///   - "SectorSize" becomes 512 when it is unknown;
    ///   - the own connections, then the others are opened;
    ///   - "DeviceStatus" becomes the "ErrorString", or "Healthy";
    ///   - "PhysicalSize", in bytes, is worked out of "MaximumLBA", the last address, where only that is known.
    /// One failure stops nothing of this. Returns the first: of a child, or of a connection that did not open.
    Status initialize();

    /// Model, serial number, firmware and error of the device for a report.
    std::unique_ptr<xml::XmlObject> getDriveInformation() const;

private:
    CommandPath* findPath(const std::string& commandSetName) const;
    Status openConnections();
    void computePhysicalSize();

    AttributeList attributes_;
    CommandPaths commandPaths_;
    CommandSets commandSets_;
    Connections ownConnections_;
    Connections connections_;
    std::vector<std::shared_ptr<Device>> childDevices_;
    std::vector<AttributeList> partitions_;
    CommandHistory commandHistory_;
};

}  // namespace ostrel::core
