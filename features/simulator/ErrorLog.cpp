#include "features/simulator/ErrorLog.h"

#include "features/nvme/Bytes.h"
#include "features/nvme/StatusCodes.h"
#include "ostrel/core/ScopeTrace.h"

namespace features::simulator {

using namespace nvme;

bool isError(const CompletionEntry& completion) {
    const auto type = static_cast<uint8_t>(completion.statusField >> 8 & 7);
    const auto code = static_cast<uint8_t>(completion.statusField);
    const bool isActivationHint = type == SCT_COMMAND_SPECIFIC && (code == SC_FIRMWARE_NEEDS_CONVENTIONAL_RESET ||
                                                                   code == SC_FIRMWARE_NEEDS_SUBSYSTEM_RESET ||
                                                                   code == SC_FIRMWARE_NEEDS_CONTROLLER_RESET);
    return !completion.isSuccess() && !isActivationHint;
}

void noteError(CommandContext& context, const CompletionEntry& completion) {
    OSTREL_TRACE();
    const SubmissionEntry& command = context.command;
    ErrorEntry entry;
    entry.count = ++context.state.errorCount;
    entry.statusField = completion.statusField;
    entry.opcode = command.opcode;
    entry.isAdmin = command.isAdmin;
    entry.nsid = command.nsid;
    if (!command.isAdmin) entry.lba = command.cdw10 | static_cast<uint64_t>(command.cdw11) << 32;
    auto& errors = context.state.errors;
    errors.insert(errors.begin(), entry);
    if (errors.size() > context.model.errorEntries) errors.resize(context.model.errorEntries);
}

CompletionEntry buildErrorLog(CommandContext& context, const LogRequest&, std::vector<uint8_t>& page) {
    OSTREL_TRACE();
    constexpr size_t ENTRY_BYTES = 64;
    page.resize(context.model.errorEntries * ENTRY_BYTES);
    uint8_t* at = page.data();
    for (const ErrorEntry& entry : context.state.errors) {
        putLe64(at, entry.count);
        putLe16(at + 8, entry.isAdmin ? 0 : 1);  // Submission Queue ID
        putLe16(at + 12, static_cast<uint16_t>(entry.statusField << 1));
        putLe16(at + 14, entry.parameterByte);
        putLe64(at + 16, entry.lba);
        putLe32(at + 24, entry.nsid);
        at += ENTRY_BYTES;
    }
    return {};
}

}  // namespace features::simulator
