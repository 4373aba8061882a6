#pragma once

#include "features/simulator/context/CommandContext.h"

namespace features::simulator {

/// Hands the events that were queued to the logs that record them, and empties the queue.
void recordEvents(CommandContext& context);

}  // namespace features::simulator
