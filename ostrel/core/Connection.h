#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

namespace ostrel::core {

class Device;
class Status;

/// Something that must be opened before a device can be spoken to. The feature library works against this class: the
/// order of the virtual operations is binary interface, and new ones go last.
///
/// Errors:  by Status; what the operating system refused is category 1 with errno.
/// Threads: a connection belongs to the thread that opened it.
class Connection {
public:
    virtual ~Connection() = default;
    /// `device` may be null where the connection is to no device in particular.
    virtual Status open(Device* device) = 0;
    virtual Status close() = 0;
    virtual bool isOpen() = 0;
    /// Category 0 code 3 here; a connection that can see partitions overrides it.
    virtual Status getPartitionStatus();
    /// A closed connection to the same thing.
    virtual std::unique_ptr<Connection> clone() const = 0;
    virtual Connection& operator=(const Connection& other);

    uint8_t priority = 0;  ///< a device manager tries its connections in ascending order of this
    std::string name;

protected:
    Connection() = default;
    explicit Connection(std::string connectionName) : name(std::move(connectionName)) {}
    Connection(const Connection&) = default;
};

}  // namespace ostrel::core
