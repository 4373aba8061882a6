#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// Log page BFh (NVMe Zoned Namespace Command Set Specification).
struct ChangedZoneList {
    Le16 numberOfZones;  ///< FFFFh: more than the list holds
    ByteArray<6> reserved2;
    Le64 zones[511];  ///< their first LBAs
};
static_assert(sizeof(ChangedZoneList) == 4096 && alignof(ChangedZoneList) == 1);
static_assert(offsetof(ChangedZoneList, zones) == 8);

}  // namespace features::nvme
