#pragma once

#include <cstdint>

#include "features/simulator/context/CommandContext.h"

namespace features::simulator {

/// Counts a Read or Write command in the maker's latency statistics, while they are enabled. The latency is that of the
/// modelled flash: a time to begin with and one for each KiB.
void countLatency(CommandContext& context, bool isRead, uint64_t bytes);

}  // namespace features::simulator
