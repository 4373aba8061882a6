#pragma once

#include "features/simulator/context/DriveTables.h"

namespace features::simulator {

/// Log pages of drives of the model nvme-2.1: those of the endurance group and of
/// Flexible Data Placement, in the order of their identifiers.
Rows<LogRow> nvme21Logs();

}  // namespace features::simulator
