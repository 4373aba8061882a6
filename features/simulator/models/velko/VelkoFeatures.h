#pragma once

#include <cstdint>

#include "features/simulator/commands/Features.h"

namespace features::simulator {

/// The maker's features. All rows, in the order of their identifiers.
const FeatureRow* velkoFeaturesBegin();
const FeatureRow* velkoFeaturesEnd();

/// CRC errors since the host last reset them.
uint64_t velkoCrcErrors(const CommandContext& context);

}  // namespace features::simulator
