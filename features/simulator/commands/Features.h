#pragma once

#include "features/simulator/context/CommandContext.h"

namespace features::simulator {

/// The Get Features and Set Features commands.
CompletionEntry getFeatures(CommandContext& context);
CompletionEntry setFeatures(CommandContext& context);

}  // namespace features::simulator
