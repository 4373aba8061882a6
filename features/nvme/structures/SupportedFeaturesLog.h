#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// Log pages 12h and, of commands of the Management Interface, 13h (NVMe Base Specification 2.0): an entry for each
/// identifier, supported in bit 0.
struct SupportedFeaturesLog {
    Le32 entries[256];
};
static_assert(sizeof(SupportedFeaturesLog) == 1024 && alignof(SupportedFeaturesLog) == 1);

/// Log page 13h is longer than its entries.
inline constexpr size_t SUPPORTED_MI_COMMANDS_BYTES = 4096;

}  // namespace features::nvme
