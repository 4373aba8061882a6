#pragma once

#include "features/simulator/context/CommandContext.h"
#include "features/simulator/controller/Happenings.h"

namespace features::simulator {

/// Keeps what the OCP logs tell of what happened to the drive. Nothing on a drive of another model.
void recordOcpHappening(CommandContext& context, const Happening& happening);

}  // namespace features::simulator
