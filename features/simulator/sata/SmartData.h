#pragma once

#include <cstdint>
#include <vector>

#include "features/simulator/sata/SataContext.h"

namespace features::simulator::sata {

/// A drive was at least as cold and as warm as this in its life.
inline constexpr int32_t LOWEST_CELSIUS = 20;
inline constexpr int32_t HIGHEST_CELSIUS = 40;

/// SMART READ DATA and READ THRESHOLDS, 512 bytes with their checksums.
std::vector<uint8_t> smartData(const SataContext& context);
std::vector<uint8_t> smartThresholds();
/// Whether a prefailure attribute is at or below its threshold.
bool isThresholdExceeded(const SataContext& context);
/// How much of the drive's life is used, in percent: 0 to 255.
uint8_t percentageUsed(const SataContext& context);
/// Sectors and commands of the host: what the state has, and what is not in it yet.
WorkCounters workOf(const SataContext& context);

}  // namespace features::simulator::sata
