#pragma once

#include <boost/date_time/posix_time/posix_time_types.hpp>

#include <iosfwd>
#include <memory>

#include "ostrel/core/Payload.h"
#include "ostrel/core/Status.h"

namespace ostrel::core {

class Command;
class CommandPath;
class ProtocolResult;

/// The record of one command that was sent to a device.
///
/// Ownership: copies clone command, protocol result and path, and share the buffers of the payloads.
/// Threads:   a plain value; one thread at a time.
struct CommandResult {
    CommandResult();
    CommandResult(const CommandResult& other);
    CommandResult(CommandResult&& other) noexcept;
    CommandResult& operator=(const CommandResult& other);
    CommandResult& operator=(CommandResult&& other) noexcept;
    ~CommandResult();

    /// Writes the record as the history log shows it; each line has its line end.
    void toString(std::ostream& out) const;

    std::unique_ptr<Command> command;
    Status status;
    Payload inputPayload;                            ///< what came from the device
    Payload outputPayload;                           ///< what went to it
    std::unique_ptr<ProtocolResult> protocolResult;  ///< may be null
    boost::posix_time::ptime startTime;              ///< UTC; "not a date time" until it is set
    boost::posix_time::ptime endTime;                ///< the same as startTime
    boost::posix_time::time_duration duration;
    std::unique_ptr<CommandPath> commandPath;  ///< the path that was taken; null when there was none
    bool quietToXml = false;                   ///< the XML leaves the two payloads out
};

}  // namespace ostrel::core
