#pragma once

#include "features/simulator/context/CommandContext.h"

namespace features::simulator {

/// The commands. An Asynchronous Event Request is held.
CompletionEntry requestEvent(CommandContext& context);
CompletionEntry abortCommand(CommandContext& context);
CompletionEntry keepAlive(CommandContext& context);

}  // namespace features::simulator
