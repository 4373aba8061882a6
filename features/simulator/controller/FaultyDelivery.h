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
/// The completion with which a fault refuses the command.
std::optional<CompletionEntry> faultyRefusal(const CommandContext& context);

}  // namespace features::simulator
