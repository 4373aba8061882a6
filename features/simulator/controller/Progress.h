#pragma once

#include "features/simulator/context/CommandContext.h"

namespace features::simulator {

/// What time and dead processes left to do, done before each command: an operation whose time is over ends, blocks
/// whose deallocation a process began are deallocated, warnings become events. True when the state changed.
bool catchUp(CommandContext& context);

/// What a reset does to the drive's memory: one of this controller, or of both with the whole subsystem.
void restart(CommandContext& context, bool isOfSubsystem);

/// What a loss of power does to the drive, which has its power again for the next command.
void losePower(CommandContext& context);

}  // namespace features::simulator
