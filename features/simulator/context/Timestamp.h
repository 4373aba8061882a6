#pragma once

#include <array>
#include <cstdint>

#include "features/simulator/context/CommandContext.h"

namespace features::simulator {

/// The data of the Timestamp feature as of now: milliseconds since 1970, or since the last reset as long as no host has
/// set it, and where they come from. Zeros on a drive that does not support the feature.
std::array<uint8_t, 8> timestampData(const CommandContext& context);

}  // namespace features::simulator
