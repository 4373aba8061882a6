#pragma once

#include <cstdint>
#include <vector>

#include "features/simulator/sata/SataContext.h"

namespace features::simulator::sata {

/// Logs 24h and 25h (ACS-4 9.7 and 9.22): a header page, and one page or more for each of the three areas: what the
/// drive knows of itself as text, its SMART data, its error log.
std::vector<uint8_t> currentStatus(SataContext& context);
std::vector<uint8_t> savedStatus(SataContext& context);

/// Replaces log 24h.
void captureCurrentStatus(SataContext& context);
/// Replaces log 25h.
void captureSavedStatus(SataContext& context, const char* reason);

}  // namespace features::simulator::sata
