#pragma once

#include "features/simulator/context/DriveTables.h"

namespace features::simulator {

/// Features of the NVMe Base Specification, in the order of their identifiers.
Rows<FeatureRow> standardFeatures();

}  // namespace features::simulator
