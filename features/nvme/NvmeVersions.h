#pragma once

#include <cstdint>

namespace features::nvme {

/// A version of the NVMe Base Specification as Identify Controller has it (VER), without its last part: what a field of
/// a structure came with.
inline constexpr uint16_t NVME_1_4 = 0x0104;
inline constexpr uint16_t NVME_2_0 = 0x0200;
inline constexpr uint16_t NVME_2_1 = 0x0201;
inline constexpr uint16_t NVME_2_2 = 0x0202;

constexpr uint16_t majorAndMinor(uint32_t ver) {
    return static_cast<uint16_t>(ver >> 8);
}

}  // namespace features::nvme
