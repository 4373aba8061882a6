#pragma once

#include "features/simulator/context/DriveTables.h"

namespace features::simulator {

/// Features that drives of the model nvme-2.1 have beside the standard's others: Endurance Group Event Configuration,
/// and Flexible Data Placement, which is enabled and stays so.
Rows<FeatureRow> nvme21Features();

}  // namespace features::simulator
