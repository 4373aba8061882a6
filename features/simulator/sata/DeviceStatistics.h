#pragma once

#include <cstdint>
#include <vector>

#include "features/simulator/sata/SataContext.h"

namespace features::simulator::sata {

/// Log 04h (ACS-4 9.5): pages 00h to 07h.
std::vector<uint8_t> deviceStatistics(SataContext& context);

}  // namespace features::simulator::sata
