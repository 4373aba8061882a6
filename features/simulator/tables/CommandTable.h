#pragma once

#include <cstdint>

#include "features/simulator/context/CommandContext.h"

namespace features::simulator {

/// The bits of dwords 10 to 15 that a command defines. A bit outside of them is refused: a wrong request fails here and
/// not in the field.
struct DefinedBits {
    uint32_t cdw10 = 0;
    uint32_t cdw11 = 0;
    uint32_t cdw12 = 0;
    uint32_t cdw13 = 0;
    uint32_t cdw14 = 0;
    uint32_t cdw15 = 0;
};

/// A command of the controller. Adding one is adding a row; log page 05h follows.
struct CommandRow {
    bool isAdmin;
    uint8_t opcode;
    CompletionEntry (*run)(CommandContext& context);
    bool Description::*isSupported;  ///< null: always
    bool usesNsid;                   ///< otherwise the field must be 0
    bool mayRunDuringSanitize;
    uint32_t effects;  ///< its entry in log page 05h
    DefinedBits bits;
};

/// Null: the opcode is invalid on this drive.
const CommandRow* findCommand(const Description& description, bool isAdmin, uint8_t opcode);
const CommandRow* commandsBegin();
const CommandRow* commandsEnd();

/// Checks what is common to all commands, runs the command, and returns its completion.
CompletionEntry runCommand(CommandContext& context);

}  // namespace features::simulator
