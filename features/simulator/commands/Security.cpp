#include "features/simulator/commands/Security.h"

#include <algorithm>
#include <iterator>

#include "features/nvme/Opcodes.h"
#include "features/nvme/StatusCodes.h"
#include "features/simulator/context/Transfer.h"
#include "features/simulator/store/TcgDiscovery.h"

namespace features::simulator {

using namespace nvme;

namespace {

/// Of a drive without a limit of its own.
constexpr uint32_t MAX_ALLOCATION_BYTES = 1 << 20;

/// A write of zeros is one as any other.
constexpr uint8_t BLOCK_COMMANDS[] = {OPC_WRITE, OPC_READ, OPC_COMPARE, OPC_WRITE_ZEROES, OPC_DATASET_MANAGEMENT};

}  // namespace

CompletionEntry securityReceive(CommandContext& context) {
    const auto protocol = static_cast<uint8_t>(context.command.cdw10 >> 24);
    const auto specific = static_cast<uint16_t>(context.command.cdw10 >> 8);
    const uint32_t bytes = context.command.cdw11;
    if (bytes > MAX_ALLOCATION_BYTES || !fitsTransfer(context, bytes)) return refusal(SC_INVALID_FIELD);
    context.data = securityAnswer(protocol, specific, context.description.faults.tcg);
    if (context.data.empty()) return refusal(SC_INVALID_FIELD);
    context.data.resize(bytes);
    return {};
}

CompletionEntry lockedRefusal(const CommandContext& context) {
    if (!isLocked(context.description.faults.tcg)) return {};
    const SubmissionEntry& command = context.command;
    const bool erases = command.opcode == OPC_FORMAT_NVM || command.opcode == OPC_SANITIZE;
    if (command.isAdmin) return erases ? refusal(SC_OPERATION_DENIED) : CompletionEntry();
    const bool isOfBlocks =
        std::find(std::begin(BLOCK_COMMANDS), std::end(BLOCK_COMMANDS), command.opcode) != std::end(BLOCK_COMMANDS);
    return isOfBlocks ? refusal(SC_ACCESS_DENIED) : CompletionEntry();
}

}  // namespace features::simulator
