#pragma once

#include "features/simulator/context/CommandContext.h"

namespace features::simulator {

/// The commands that change which namespaces there are, and what they are.
CompletionEntry manageNamespace(CommandContext& context);
CompletionEntry attachNamespace(CommandContext& context);
CompletionEntry formatNvm(CommandContext& context);

/// Reports to hosts that a namespace has changed: log page 04h, and an event.
void noteNamespaceChange(CommandContext& context, uint32_t nsid);
/// Gives the namespace new, empty media.
void renewMedia(CommandContext& context, uint32_t nsid);

}  // namespace features::simulator
