#pragma once

#include <cstdint>
#include <vector>

#include "features/simulator/sata/SataContext.h"

namespace features::simulator::sata {

/// IDENTIFY DEVICE data (ACS-4 7.13), 512 bytes, with its checksum.
std::vector<uint8_t> identifyData(const SataContext& context);
/// World wide name: NAA 5, the locally administered OUI, and 36 bits from the serial number.
uint64_t worldWideName(const Description& description);
/// Makes the sum of the 512 bytes 0 modulo 256.
void putChecksum(std::vector<uint8_t>& page);

/// Sectors of one DATA SET MANAGEMENT command, and of a piece of microcode.
inline constexpr uint16_t MAX_TRIM_SECTORS = 8;
inline constexpr uint16_t MAX_MICROCODE_SECTORS = 256;
inline constexpr uint16_t MIN_MICROCODE_SECTORS = 1;

}  // namespace features::simulator::sata
