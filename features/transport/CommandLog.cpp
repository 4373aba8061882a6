#include "features/transport/CommandLog.h"

#include <cinttypes>
#include <cstdio>
#include <new>

#include "features/ata/AtaResult.h"
#include "features/nvme/Completion.h"
#include "ostrel/core/Logging.h"

namespace features::transport {

using namespace ostrel::core;
using ata::AtaCommand;
using nvme::Completion;
using nvme::NvmeCommand;

namespace {

std::string hex(uint64_t number, int digits = 8) {
    char text[24];
    std::snprintf(text, sizeof text, "%0*" PRIX64 "h", digits, number);
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

std::string registers(const AtaCommand& command) {
    return "FEATURE " + hex(command.feature, 4) + ", COUNT " + hex(command.count, 4) + ", LBA " + hex(command.lba, 12) +
           ", DEVICE " + hex(command.device, 2);
}

std::string ataOutcome(const Status& status, const ProtocolResult* protocolResult) {
    const auto* result = dynamic_cast<const ata::AtaResult*>(protocolResult);
    if (result == nullptr) return status.getMessage();
    if (result->succeeded || !result->registers) return result->meaning();
    return result->meaning() + " (STATUS " + hex(result->registers->status, 2) + ", ERROR " +
           hex(result->registers->error, 2) + ')';
}

/// `describe` makes the text between the drive's name and the time.
template <typename Describe>
void logLine(const std::string& drive, std::chrono::nanoseconds duration, Describe describe) noexcept {
    if (!isLoggingEnabled()) return;
    try {
        const auto microseconds = std::chrono::duration_cast<std::chrono::microseconds>(duration).count();
        logMessage(LOGSEVERITY_INFO, drive, ": ", describe(), ", ", microseconds, " us");
    } catch (const std::bad_alloc&) {
        return;  // as logMessage() does
    }
}

}  // namespace

void logCommand(const std::string& drive, const NvmeCommand& command, const Status& status,
                const ProtocolResult* completion, std::chrono::nanoseconds duration) noexcept {
    logLine(drive, duration, [&] {
        return command.getName() + " (" + hex(command.opcode, 2) + "), NSID " + hex(command.nsid) + ", " +
               dwords(command) + ", " + std::to_string(command.dataLength) + " bytes: " + outcome(status, completion);
    });
}

void logCommand(const std::string& drive, const AtaCommand& command, const Status& status, const ProtocolResult* result,
                std::chrono::nanoseconds duration) noexcept {
    logLine(drive, duration, [&] {
        return command.getName() + " (" + hex(command.opcode, 2) + "), " + registers(command) + ", " +
               std::to_string(command.dataLength) + " bytes: " + ataOutcome(status, result);
    });
}

}  // namespace features::transport
