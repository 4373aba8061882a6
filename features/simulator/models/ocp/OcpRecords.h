#pragma once

#include "features/simulator/context/CommandContext.h"
#include "features/simulator/context/DriveEvent.h"

namespace features::simulator {

/// Keeps what the OCP logs report of what happened to the drive. Nothing on a drive of another model.
void recordForOcpLogs(CommandContext& context, const DriveEvent& event);

}  // namespace features::simulator
