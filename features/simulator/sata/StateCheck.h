#pragma once

#include "features/simulator/store/DriveState.h"

namespace features::simulator::sata {

/// A StateCheck (DriveFolder.h) of the states of SATA drives.
const char* impossibleIn(const DriveState& state);

}  // namespace features::simulator::sata
