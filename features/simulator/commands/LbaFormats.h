#pragma once

#include <cstdint>

#include "features/simulator/context/CommandContext.h"

namespace features::simulator {

/// How many LBA formats the host sees, and may use: more than 16 once it has set LBA Format Extension Enable in Host
/// Behavior Support (feature 16h, NVMe 2.0).
uint8_t formatsForHost(const CommandContext& context);

/// The number of a format as commands and structures have it: its low four bits, and the others above.
uint8_t flbasOf(uint8_t format, bool extendedMetadata);
uint8_t formatOfFlbas(uint8_t flbas);

}  // namespace features::simulator
