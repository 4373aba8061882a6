#pragma once

#include "features/simulator/context/CommandContext.h"

namespace features::simulator {

/// To be called when a command was carried out: blocks that it rewrote or gave back can be read from now on, see
/// RewrittenBlocks.h.
void noteRewritten(CommandContext& context);

}  // namespace features::simulator
