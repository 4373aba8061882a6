#pragma once

#include "features/simulator/context/CommandContext.h"

namespace features::simulator {

/// The Get Log Page command.
CompletionEntry getLogPage(CommandContext& context);

}  // namespace features::simulator
