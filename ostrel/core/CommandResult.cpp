#include "ostrel/core/CommandResult.h"

#include <boost/date_time/posix_time/time_formatters.hpp>

#include <ostream>
#include <utility>

#include "ostrel/core/Command.h"
#include "ostrel/core/CommandPath.h"
#include "ostrel/core/ProtocolResult.h"
#include "ostrel/core/ScopeTrace.h"
#include "ostrel/core/Strings.h"

namespace ostrel::core {

namespace {

template <typename Cloneable>
std::unique_ptr<Cloneable> cloneOf(const std::unique_ptr<Cloneable>& original) {
    OSTREL_TRACE();
    return original == nullptr ? nullptr : original->clone();
}

void writePayload(std::ostream& out, const char* name, const Payload& payload) {
    OSTREL_TRACE();
    constexpr std::size_t BYTES_PER_LINE = 16;
    out << name << " (" << payload.getSize() << " bytes)\n";
    if (payload.getSize() > 0) out << hexDump(payload, BYTES_PER_LINE) << '\n';
}

}  // namespace

CommandResult::CommandResult() = default;

CommandResult::CommandResult(const CommandResult& other)
    : command(cloneOf(other.command)),
      status(other.status),
      inputPayload(other.inputPayload),
      outputPayload(other.outputPayload),
      protocolResult(cloneOf(other.protocolResult)),
      startTime(other.startTime),
      endTime(other.endTime),
      duration(other.duration),
      commandPath(cloneOf(other.commandPath)),
      quietToXml(other.quietToXml) {
    OSTREL_TRACE();
}

CommandResult::CommandResult(CommandResult&& other) noexcept = default;

CommandResult& CommandResult::operator=(const CommandResult& other) {
    OSTREL_TRACE();
    return *this = CommandResult(other);
}

CommandResult& CommandResult::operator=(CommandResult&& other) noexcept = default;

CommandResult::~CommandResult() = default;

void CommandResult::toString(std::ostream& out) const {
    OSTREL_TRACE();
    if (command != nullptr) {
        command->toString(out);
        out << '\n';
    }
    writePayload(out, "Input Payload", inputPayload);
    if (protocolResult != nullptr) {
        protocolResult->toString(out);
        out << '\n';
    }
    writePayload(out, "Output Payload", outputPayload);
    out << "Status Code: " << status.getCode() << '\n';
    out << "Status Category: " << status.getCategory() << '\n';
    out << "Status Message: " << status.getMessage() << '\n';
    out << to_simple_string(startTime) << '\n';
    out << to_simple_string(endTime) << '\n';
    out << "Duration: " << to_simple_string(duration) << '\n';
    if (commandPath == nullptr) return;
    out << "Command Path Name: " << commandPath->getName() << '\n';
    out << "Command Path Timeout (seconds): " << commandPath->getTimeoutSeconds() << '\n';
}

}  // namespace ostrel::core
