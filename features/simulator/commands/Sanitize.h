#pragma once

#include "features/simulator/context/CommandContext.h"

namespace features::simulator {

/// The Sanitize command. The media are gone when it completes; that nothing can be done meanwhile lasts as long as the
/// description says.
CompletionEntry sanitize(CommandContext& context);
/// Ends the sanitize operation when its time is over. True when it was.
bool finishSanitize(CommandContext& context);

}  // namespace features::simulator
