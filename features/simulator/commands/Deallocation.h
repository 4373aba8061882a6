#pragma once

#include <vector>

#include "features/simulator/context/CommandContext.h"

namespace features::simulator {

/// Deallocates blocks, all of them or none, whenever the process may be killed: what is to be done is saved first, and
/// done again by the next command should this process die over it.
CompletionEntry deallocate(CommandContext& context, std::vector<BlockRange> ranges);
/// Does what a process left that died over it. True when there was something.
bool finishDeallocation(CommandContext& context);

}  // namespace features::simulator
