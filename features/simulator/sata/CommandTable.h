#pragma once

#include <cstdint>

#include "features/simulator/sata/SataContext.h"

namespace features::simulator::sata {

/// One command: how a host sends it, and when the drive takes it.
struct CommandRow {
    uint8_t opcode;
    ata::Protocol protocol;
    bool is48Bit;
    bool whileLocked;      ///< also while a password locks the drive
    bool whileSanitizing;  ///< also while a sanitize operation runs
    ata::Registers (*run)(SataContext& context);
};

/// Null: the drive does not have a command of that opcode, transferred that way.
const CommandRow* findCommand(const TaskFile& command);

/// Carries out a command, or aborts it.
ata::Registers runCommand(SataContext& context);

}  // namespace features::simulator::sata
