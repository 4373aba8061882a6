// The text of a result: apart from the rest, which then needs no stream.

#include "ostrel/core/CommandResult.h"

#include <boost/date_time/posix_time/time_formatters.hpp>

#include <ostream>

#include "ostrel/core/Command.h"
#include "ostrel/core/CommandPath.h"
#include "ostrel/core/ProtocolResult.h"
#include "ostrel/core/ScopeTrace.h"
#include "ostrel/core/Strings.h"

namespace ostrel::core {

namespace {

void writePayload(std::ostream& out, const char* name, const Payload& payload) {
    OSTREL_TRACE();
    constexpr std::size_t BYTES_PER_LINE = 16;
    out << name << " (" << payload.getSize() << " bytes)\n";
    if (payload.getSize() > 0) out << hexDump(payload, BYTES_PER_LINE) << '\n';
}

}  // namespace

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
