#include "ostrel/core/CommandResult.h"

#include <utility>

#include "ostrel/core/Command.h"
#include "ostrel/core/CommandPath.h"
#include "ostrel/core/ProtocolResult.h"
#include "ostrel/core/ScopeTrace.h"

namespace ostrel::core {

namespace {

template <typename Cloneable>
std::unique_ptr<Cloneable> cloneOf(const std::unique_ptr<Cloneable>& original) {
    OSTREL_TRACE();
    return original == nullptr ? nullptr : original->clone();
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

}  // namespace ostrel::core
