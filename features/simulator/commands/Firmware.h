#pragma once

#include <cstdint>
#include <optional>

#include "features/simulator/context/CommandContext.h"

namespace features::simulator {

/// The commands. An image that comes down lies in the file FILE_DOWNLOAD, piece after piece, until it is committed or
/// the controller is reset; docs/simulated-drives.md describes an image.
CompletionEntry downloadFirmware(CommandContext& context);
CompletionEntry commitFirmware(CommandContext& context);

/// At a reset: activates what waits for it, and forgets what was downloaded.
void activateAtReset(CommandContext& context, bool isOfSubsystem);
/// The completion of a command that may not be carried out before the firmware was activated.
std::optional<CompletionEntry> pendingActivation(const CommandContext& context);

}  // namespace features::simulator
