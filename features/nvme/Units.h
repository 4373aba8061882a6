#pragma once

#include <cstdint>

/// What fields of the NVMe structures, and the sizes that users give, are counted in.
namespace features::nvme {

/// Temperatures are whole kelvins; drives and their hosts count no fraction.
inline constexpr uint16_t KELVIN_AT_0_CELSIUS = 273;

/// Sanitize Progress of an operation that is done, were it not reported as FFFFh then.
inline constexpr uint32_t SANITIZE_PROGRESS_OF_ALL = 65536;

inline constexpr uint64_t GIGABYTE = 1000000000;
inline constexpr uint64_t GIBIBYTE = uint64_t{1} << 30;

}  // namespace features::nvme
