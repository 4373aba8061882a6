#pragma once

#include <cstdint>

namespace features::nvme {

/// All namespaces of the controller.
inline constexpr uint32_t NSID_ALL = 0xFFFFFFFF;

}  // namespace features::nvme
