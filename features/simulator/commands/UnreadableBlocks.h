#pragma once

#include <cstdint>
#include <optional>

#include "features/simulator/context/CommandContext.h"

namespace features::simulator {

/// The first of these blocks that cannot be read.
std::optional<uint64_t> firstUnreadable(const CommandContext& context, const BlockRange& blocks);
/// To be called when a command was carried out: blocks that it rewrote or gave back can be read from now on,
/// although the fault is still in the description.
void noteRewritten(CommandContext& context);
/// Forgets what was rewritten of blocks that the description does not name any more: a fault that is taken off and put
/// on again counts in full.
void forgetRemovedFaults(CommandContext& context);

}  // namespace features::simulator
