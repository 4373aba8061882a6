#pragma once

#include <cstdint>

#include "features/simulator/context/DriveTables.h"

namespace features::simulator {

/// The maker's features. All rows, in the order of their identifiers.
Rows<FeatureRow> velkoFeatures();

/// CRC errors since the host last reset them.
uint64_t velkoCrcErrors(const CommandContext& context);

}  // namespace features::simulator
