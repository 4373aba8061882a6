#include "features/simulator/controller/Dispatch.h"

#include <optional>

#include "features/nvme/Bytes.h"
#include "features/nvme/Opcodes.h"
#include "features/nvme/StatusCodes.h"
#include "features/simulator/commands/Ana.h"
#include "features/simulator/commands/Security.h"
#include "features/simulator/context/DriveTables.h"
#include "features/simulator/logs/SanitizeVerification.h"

namespace features::simulator {

using namespace nvme;

namespace {

/// The place of the first bit that the host set and the command does not define, as the error log has it.
std::optional<uint16_t> firstUndefinedBit(const SubmissionEntry& command, const CommandRow& row) {
    const struct {
        uint16_t byte;
        uint32_t undefined;
    } DWORDS[] = {
        {4, row.usesNsid ? 0 : command.nsid},
        {8, command.cdw2},
        {12, command.cdw3},
        {40, command.cdw10 & ~row.bits.cdw10},
        {44, command.cdw11 & ~row.bits.cdw11},
        {48, command.cdw12 & ~row.bits.cdw12},
        {52, command.cdw13 & ~row.bits.cdw13},
        {56, command.cdw14 & ~row.bits.cdw14},
        {60, command.cdw15 & ~row.bits.cdw15},
    };
    for (const auto& dword : DWORDS) {
        if (dword.undefined == 0) continue;
        unsigned position = 0;
        while (!bit(dword.undefined, position)) ++position;
        return static_cast<uint16_t>((dword.byte + position / 8) | position % 8 << 8);
    }
    return std::nullopt;
}

/// A host that verifies the media reads what a sanitize operation left there.
bool isReadOfVerification(const CommandContext& context) {
    return !context.command.isAdmin && context.command.opcode == OPC_READ && isInMediaVerification(context.state);
}

}  // namespace

CompletionEntry runCommand(CommandContext& context) {
    const SubmissionEntry& command = context.command;
    const CommandRow* row = findCommand(context.tables, context.description, command.isAdmin, command.opcode);
    if (row == nullptr) return refusal(SC_INVALID_OPCODE);
    if (context.state.sanitize.isRunning && !row->mayRunDuringSanitize && !isReadOfVerification(context)) {
        return passingRefusal(SC_SANITIZE_IN_PROGRESS);
    }
    if (const auto undefined = firstUndefinedBit(command, *row)) {
        context.parameterLocation = *undefined;
        return refusal(SC_INVALID_FIELD);
    }
    if (const auto refused = anaRefusal(context)) return *refused;
    const CompletionEntry locked = lockedRefusal(context);
    return locked.isSuccess() ? row->run(context) : locked;
}

}  // namespace features::simulator
