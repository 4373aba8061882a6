#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "ostrel/core/AttributeList.h"
#include "ostrel/core/Payload.h"
#include "ostrel/core/Status.h"

namespace ostrel::core {

class AsyncEngine;
class Command;
class Connection;
struct CommandResult;

/// One way of reaching a device: the pass-through of an operating system's driver, for example.
///
/// Deriving
///   - The order of the virtual operations is binary interface, new ones go last.
///   - clone() returns an object of the very class of this one. The copy constructor copies name, time-out and the
///     shared connection, but no engine: an engine and its threads belong to one path, and a device clones the path
///     for the record of each command. A class whose clones shall queue commands gives them an engine in clone().
///   - An engine calls into what its class holds. A derived class that the engine works with calls stopEngine() first
///     in its own destructor; the destructor here comes too late for it.
///
/// Ownership: the connection is shared with other paths; the engine is the path's own.
/// Threads:   one at a time, except that commands may be added to the engine from any.
class CommandPath {
public:
    static constexpr std::uint64_t NANOSECONDS_PER_SECOND = 1000000000;

    /// Stops the engine before it is deleted, so the path must not be destroyed on one of the engine's threads.
    virtual ~CommandPath();
    virtual std::string getName() const;
    virtual void setTimeoutSeconds(std::uint64_t seconds);
    virtual void setTimeoutNanoseconds(std::uint64_t nanoseconds);
    /// 0/53 without a connection, otherwise what its close() returns.
    virtual Status closeConnection();
    /// Brings the path back to where it can be opened again; here it closes the connection.
    virtual Status reset();
    virtual std::unique_ptr<CommandPath> clone() const = 0;
    /// Sends one command and waits for its end. `payload` goes to the device, `attributes` are the device's. The
    /// result holds everything but path and quietToXml, which the device fills in.
    virtual CommandResult send(const Command& command, const Payload& payload, const AttributeList& attributes) = 0;
    /// Whether a device with these attributes can be reached this way.
    virtual bool isSupported(const AttributeList& attributes) const = 0;
    /// Copies name and time-out and shares the connection. Where both paths have an engine, this one's takes over the
    /// other's numbers of threads, for which it is stopped.
    virtual CommandPath& operator=(const CommandPath& other);

    /// Rounded up to whole seconds.
    std::uint64_t getTimeoutSeconds() const;
    std::uint64_t getTimeoutNanoseconds() const { return timeout_; }

    /// Null when the path needs none.
    const std::shared_ptr<Connection>& getConnection() const { return connection_; }
    void setConnection(const std::shared_ptr<Connection>& connection) { connection_ = connection; }
    /// Null when commands cannot be queued on this path.
    AsyncEngine* getAsyncEngine() const { return asyncEngine_.get(); }

protected:
    CommandPath(std::string name, std::uint64_t timeoutNanoseconds);
    CommandPath(const CommandPath& other);

    /// Stops an engine that is there, and deletes it, before it is replaced.
    void setAsyncEngine(std::unique_ptr<AsyncEngine> engine);
    /// The same without a successor.
    void stopEngine();

private:
    std::shared_ptr<Connection> connection_;
    std::string name_;
    std::unique_ptr<AsyncEngine> asyncEngine_;
    std::uint64_t timeout_;  // nanoseconds
};

}  // namespace ostrel::core
