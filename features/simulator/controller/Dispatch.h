#pragma once

#include "features/simulator/context/CommandContext.h"

namespace features::simulator {

/// Checks what is common to all commands, runs the command, and returns its completion.
CompletionEntry runCommand(CommandContext& context);

}  // namespace features::simulator
