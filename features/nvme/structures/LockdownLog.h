#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// Log page 14h (NVMe Base Specification 2.0).
struct LockdownLog {
    uint8_t selection;  ///< scope in bits 3:0, contents in bits 5:4, as the Log Specific Field asked
    ByteArray<2> reserved1;
    uint8_t length;  ///< bytes of the list
    ByteArray<508> identifiers;
};
static_assert(sizeof(LockdownLog) == 512 && alignof(LockdownLog) == 1);
static_assert(offsetof(LockdownLog, length) == 3 && offsetof(LockdownLog, identifiers) == 4);

}  // namespace features::nvme
