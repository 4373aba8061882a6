#pragma once

#include <cstdint>

#include "features/simulator/context/CommandContext.h"
#include "features/simulator/context/DefinedBits.h"

namespace features::simulator {

/// A command of the controller. Adding one is adding a row to CommandTable.cpp; log page 05h follows.
struct CommandRow {
    bool isAdmin;
    uint8_t opcode;
    CompletionEntry (*run)(CommandContext& context);
    bool Description::* isSupported;   ///< null: always
    bool (*isOfModel)(ModelId model);  ///< null: of all
    bool usesNsid;                     ///< otherwise the field must be 0
    bool mayRunDuringSanitize;
    uint32_t effects;  ///< its entry in log page 05h
    DefinedBits bits;
};

}  // namespace features::simulator
