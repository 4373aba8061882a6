#pragma once

#include <cstdint>
#include <memory>

#include "ostrel/core/Payload.h"
#include "ostrel/core/QueueableCommand.h"
#include "ostrel/core/Status.h"

namespace ostrel::core {

/// A command on its way through an AsyncEngine, with the buffer that goes with it and the outcome.
///
/// Threads: belongs to one thread at a time; the engine hands it from the caller to a sender and on to a callback
///          thread.
class AsyncEngineCommand {
public:
    /// Clones `command` and shares the buffer of `payload`. `parent` is for the transport (whose owner it is),
    /// `userData` for the caller of add(); the engine reads neither.
    AsyncEngineCommand(std::uint64_t parent, const QueueableCommand& command, const Payload& payload,
                       std::uint64_t userData);
    virtual ~AsyncEngineCommand();
    AsyncEngineCommand(const AsyncEngineCommand&) = delete;
    AsyncEngineCommand& operator=(const AsyncEngineCommand&) = delete;

    std::uint64_t getUserData() const { return userData_; }
    std::uint64_t getParent() const { return parent_; }
    QueueableCommand& getCommand() { return *command_; }
    const QueueableCommand& getCommand() const { return *command_; }
    const Payload& getPayload() const { return payload_; }
    /// Seconds; 0 until the transport sets it.
    double getDuration() const { return duration_; }
    /// What the transport reported; success until then.
    Status& getStatus() { return status_; }
    const Status& getStatus() const { return status_; }

    void setPayload(const Payload& payload) { payload_ = payload; }
    void setDuration(double seconds) { duration_ = seconds; }

    /// Fills the completion record of the command and calls its callback with it. Without a callback nothing happens.
    void complete();

private:
    std::uint64_t userData_;
    std::uint64_t parent_;
    std::unique_ptr<QueueableCommand> command_;
    Payload payload_;
    double duration_ = 0;
    Status status_;
};

}  // namespace ostrel::core
