#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// Log page 00h (NVMe Base Specification 2.0): an entry for each log page identifier, supported in bit 0.
struct SupportedLogsLog {
    Le32 entries[256];
};
static_assert(sizeof(SupportedLogsLog) == 1024 && alignof(SupportedLogsLog) == 1);

}  // namespace features::nvme
