#pragma once

#include "features/simulator/context/CommandContext.h"

namespace features::simulator {

/// Security Receive: the list of security protocols, and TCG's Level 0 Discovery. There are no sessions.
CompletionEntry securityReceive(CommandContext& context);

/// What a drive that its owner locked answers to a command on its blocks; a success: it carries the command out.
CompletionEntry lockedRefusal(const CommandContext& context);

}  // namespace features::simulator
