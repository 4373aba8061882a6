#pragma once

#include <cstdint>
#include <vector>

#include "features/simulator/sata/SataContext.h"

namespace features::simulator::sata {

/// Log 30h, IDENTIFY DEVICE data (ACS-4 9.11): pages 00h to 08h.
std::vector<uint8_t> identifyLog(SataContext& context);

}  // namespace features::simulator::sata
