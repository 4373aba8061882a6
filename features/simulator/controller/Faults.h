#pragma once

#include <cstdint>
#include <optional>

#include "features/simulator/context/CommandContext.h"

namespace features::simulator {

/// What the faults of the description make of a command before it is looked at: NEVER answered, or GONE, when the drive
/// has vanished or loses its power over it. In all of these the command is not carried out.
Delivery faultyDelivery(const CommandContext& context);
/// Milliseconds by which a fault delays the answer to the command, which is carried out at once.
uint32_t faultyDelayMs(const CommandContext& context);
/// Whether the drive loses its power over the command.
bool losesPower(const CommandContext& context);
/// What that does to the drive, which has its power again for the next command.
void losePower(CommandContext& context);
/// The completion with which a fault refuses the command.
std::optional<CompletionEntry> faultyRefusal(const CommandContext& context);

/// The first of these blocks that cannot be read.
std::optional<uint64_t> firstUnreadable(const CommandContext& context, const BlockRange& blocks);
/// To be called when a command was carried out: blocks that it wrote anew or gave back can be read from now on,
/// although the fault is still in the description.
void noteRewritten(CommandContext& context);
/// Forgets what was rewritten of blocks that the description does not name any more: a fault that is taken off and put
/// on again counts in full.
void forgetRemovedFaults(CommandContext& context);

}  // namespace features::simulator
