#pragma once

#include <cstdint>

#include "features/simulator/Description.h"
#include "features/simulator/DriveState.h"

namespace features::simulator {

/// The state of a drive that was never used: one namespace over the whole drive, attached, in the first format.
DriveState newState(const Description& description, uint64_t nowMs);

}  // namespace features::simulator
