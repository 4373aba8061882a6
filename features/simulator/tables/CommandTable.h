#pragma once

#include "features/simulator/context/DriveTables.h"

namespace features::simulator {

/// All commands, in the order of their opcodes: admin commands first.
Rows<CommandRow> allCommands();

}  // namespace features::simulator
