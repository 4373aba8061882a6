#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "features/nvme/structures/SmartHealthLog.h"

namespace features::simulator {

// Offsets in the SMART / Health Information log of fields that other logs and warnings depend on.
inline constexpr uint16_t SMART_AVAILABLE_SPARE = offsetof(nvme::SmartHealthLog, availableSpare);
inline constexpr uint16_t SMART_SPARE_THRESHOLD = offsetof(nvme::SmartHealthLog, availableSpareThreshold);
inline constexpr uint16_t SMART_PERCENTAGE_USED = offsetof(nvme::SmartHealthLog, percentageUsed);

/// A field of the SMART / Health Information log that shows another value than the true one.
struct SmartFault {
    uint16_t offset = 0;  ///< of the field, in bytes
    uint64_t value = 0;   ///< as people write it; temperatures in degrees Celsius
};

/// "percentage-used 95, power-on-hours 43800": the standard's names of fields, and their values. Empty: a name that is
/// unknown or there twice, or a value that the field does not hold.
std::optional<std::vector<SmartFault>> parseSmartFaults(const std::string& text);
std::string smartFaultsText(const std::vector<SmartFault>& faults);
/// The value of a field, where a fault sets it.
std::optional<uint64_t> smartFaultAt(const std::vector<SmartFault>& faults, uint16_t offset);
/// Puts the values into the log page, 512 bytes.
void putSmartFaults(const std::vector<SmartFault>& faults, uint8_t* page);

}  // namespace features::simulator
