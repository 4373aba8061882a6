#pragma once

#include "features/simulator/CommandContext.h"

namespace features::simulator {

/// The identifier of a drive's one controller.
inline constexpr uint16_t CONTROLLER_ID = 1;

/// The Identify command.
CompletionEntry identify(CommandContext& context);

}  // namespace features::simulator
