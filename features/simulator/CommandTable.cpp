#include "features/simulator/CommandTable.h"

#include <iterator>

#include "features/nvme/Opcodes.h"
#include "features/nvme/StatusCodes.h"
#include "features/simulator/Identify.h"
#include "features/simulator/LogPages.h"
#include "features/simulator/NvmCommands.h"
#include "ostrel/core/ScopeTrace.h"

namespace features::simulator {

using namespace nvme;

namespace {

// Commands Supported and Effects (section 5.14.1.5).
constexpr uint32_t CSUPP = 1 << 0;
constexpr uint32_t LBCC = 1 << 1;  // may change logical block content

// clang-format off
constexpr CommandRow COMMANDS[] = {
    //        opcode                  run              supported  nsid  sanitize  effects       defined bits
    {true,  OPC_GET_LOG_PAGE,         getLogPage,      nullptr,   true,  true,  CSUPP,          {0xFFFFFFFF, 0xFFFFFFFF, ~0U, ~0U, 0x7F}},
    {true,  OPC_IDENTIFY,             identify,        nullptr,   true,  true,  CSUPP,          {0xFFFF00FF, 0xFFFF, 0, 0, 0x7F}},
    {false, OPC_FLUSH,                flush,           nullptr,   true,  false, CSUPP,          {}},
    {false, OPC_WRITE,                write,           nullptr,   true,  false, CSUPP | LBCC,   {~0U, ~0U, 0xFC00FFFF, 0xFF}},
    {false, OPC_READ,                 read,            nullptr,   true,  false, CSUPP,          {~0U, ~0U, 0xFC00FFFF, 0xFF}},
};
// clang-format on

/// Whether all that the host set is defined.
bool hasDefinedBitsAlone(const SubmissionEntry& command, const DefinedBits& bits) {
    const uint32_t undefined = (command.cdw10 & ~bits.cdw10) | (command.cdw11 & ~bits.cdw11) |
                               (command.cdw12 & ~bits.cdw12) | (command.cdw13 & ~bits.cdw13) |
                               (command.cdw14 & ~bits.cdw14) | (command.cdw15 & ~bits.cdw15);
    return undefined == 0 && command.cdw2 == 0 && command.cdw3 == 0;
}

}  // namespace

const CommandRow* commandsBegin() {
    return std::begin(COMMANDS);
}
const CommandRow* commandsEnd() {
    return std::end(COMMANDS);
}

const CommandRow* findCommand(const Description& description, bool isAdmin, uint8_t opcode) {
    OSTREL_TRACE();
    for (const CommandRow& row : COMMANDS) {
        if (row.isAdmin != isAdmin || row.opcode != opcode) continue;
        return row.isSupported == nullptr || description.*row.isSupported ? &row : nullptr;
    }
    return nullptr;
}

CompletionEntry runCommand(CommandContext& context) {
    OSTREL_TRACE();
    const SubmissionEntry& command = context.command;
    const CommandRow* row = findCommand(context.description, command.isAdmin, command.opcode);
    if (row == nullptr) return refusal(SCT_GENERIC, SC_INVALID_OPCODE);
    if (context.state.sanitize.isRunning && !row->mayRunDuringSanitize) {
        return passingRefusal(SCT_GENERIC, SC_SANITIZE_IN_PROGRESS);
    }
    if (!hasDefinedBitsAlone(command, row->bits) || (!row->usesNsid && command.nsid != 0)) {
        return refusal(SCT_GENERIC, SC_INVALID_FIELD);
    }
    return row->run(context);
}

}  // namespace features::simulator
