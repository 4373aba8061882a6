#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// Log page 80h, NVMe Base Specification 1.4, section 5.14.1.16.1.
struct ReservationLog {
    Le64 pageCount;
    uint8_t type;
    uint8_t availablePages;
    ByteArray<2> reserved10;
    Le32 nsid;
    ByteArray<48> reserved16;
};
static_assert(sizeof(ReservationLog) == 64 && alignof(ReservationLog) == 1);
static_assert(offsetof(ReservationLog, nsid) == 12);

}  // namespace features::nvme
