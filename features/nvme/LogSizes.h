#pragma once

#include <cstdint>

/// The bytes of log pages that have one length, and are read or made outside of the table of log pages too.
namespace features::nvme {

inline constexpr uint32_t SMART_HEALTH_BYTES = 512;
inline constexpr uint32_t FIRMWARE_SLOT_BYTES = 512;
inline constexpr uint32_t SELF_TEST_BYTES = 564;
inline constexpr uint32_t SANITIZE_STATUS_BYTES = 512;

}  // namespace features::nvme
