#pragma once

#include "features/simulator/context/DriveTables.h"

namespace features::simulator {

/// Features of the OCP Datacenter NVMe SSD specification 2.0, C0h to C7h, in the order of their identifiers. Set
/// Features has their values at other places of dword 11 than Get Features shows them.
Rows<FeatureRow> ocpFeatures();

/// Whether the drive has DSSD power state `watts`: those of its operational power states.
bool isDssdPowerState(const Model& model, uint32_t watts);

}  // namespace features::simulator
