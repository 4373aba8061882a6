#pragma once

#include "features/simulator/context/DriveTables.h"

namespace features::simulator {

/// The commands, log pages and features of a model.
const DriveTables& tablesOf(ModelId model);

}  // namespace features::simulator
