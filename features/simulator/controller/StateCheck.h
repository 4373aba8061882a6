#pragma once

#include "features/simulator/store/DriveState.h"

namespace features::simulator {

/// What is in a state that no command could have brought about: counts beyond the structures that show them, numbers of
/// slots, namespaces and formats that the model does not have. The checksums do not exclude it: a program that
/// writes a state file computes them, too. Null: all is possible.
const char* impossibleIn(const DriveState& state);

}  // namespace features::simulator
