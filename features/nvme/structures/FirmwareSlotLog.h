#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// Log page 03h, NVMe Base Specification 1.4, section 5.14.1.3.
struct FirmwareSlotLog {
    uint8_t afi;  ///< active slot in bits 2:0, next active slot in bits 6:4
    ByteArray<7> reserved1;
    ByteArray<8> revision[7];  ///< of slots 1 to 7
    ByteArray<448> reserved64;
};
static_assert(sizeof(FirmwareSlotLog) == 512 && alignof(FirmwareSlotLog) == 1);
static_assert(offsetof(FirmwareSlotLog, revision) == 8);

}  // namespace features::nvme
