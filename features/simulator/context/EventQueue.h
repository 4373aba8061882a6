#pragma once

#include "features/simulator/context/CommandContext.h"

namespace features::simulator {

/// To be called where it happens, once. The controller hands the event to the logs that record it when the handler is
/// back, as part of the command's change of the state; a command that is refused leaves none.
void queueEvent(CommandContext& context, DriveEvent event);

}  // namespace features::simulator
