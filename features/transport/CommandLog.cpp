#include "features/transport/CommandLog.h"

#include <cinttypes>
#include <cstdio>
#include <new>

#include "features/nvme/Completion.h"
#include "ostrel/core/Logging.h"

namespace features::transport {

using namespace ostrel::core;
using nvme::Completion;
using nvme::NvmeCommand;

namespace {

std::string hex(uint32_t number, int digits = 8) {
    char text[16];
    std::snprintf(text, sizeof text, "%0*" PRIX32 "h", digits, number);
    return text;
}

/// CDW2 and CDW3 are reserved in most commands.
std::string dwords(const NvmeCommand& command) {
    std::string text;
    if (command.cdw2 != 0 || command.cdw3 != 0) text = "CDW2-3 " + hex(command.cdw2) + ' ' + hex(command.cdw3) + ", ";
    text += "CDW10-15";
    for (const uint32_t dword :
         {command.cdw10, command.cdw11, command.cdw12, command.cdw13, command.cdw14, command.cdw15})
        text += ' ' + hex(dword);
    return text;
}

std::string outcome(const Status& status, const ProtocolResult* result) {
    const auto* completion = dynamic_cast<const Completion*>(result);
    if (completion == nullptr) return status.getMessage();
    return completion->meaning() + " (" + std::to_string(completion->status().type) + '/' +
           hex(completion->status().code, 2) + ')';
}

}  // namespace

void logCommand(const std::string& drive, const NvmeCommand& command, const Status& status,
                const ProtocolResult* completion, std::chrono::nanoseconds duration) noexcept {
    if (!isLoggingEnabled()) return;
    try {
        const auto microseconds = std::chrono::duration_cast<std::chrono::microseconds>(duration).count();
        logMessage(LOGSEVERITY_INFO, drive, ": ", command.getName(), " (", hex(command.opcode, 2), "), NSID ",
                   hex(command.nsid), ", ", dwords(command), ", ", command.dataLength,
                   " bytes: ", outcome(status, completion), ", ", microseconds, " us");
    } catch (const std::bad_alloc&) {
        return;  // as logMessage() does
    }
}

}  // namespace features::transport
