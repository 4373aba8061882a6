#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// CNS 05h of the Zoned Namespace command set: its part that is shown. 0 in MAR and MOR is one, all ones no limit.
struct IdentifyZonedNamespace {
    Le16 zoc;
    Le16 ozcs;
    Le32 mar;
    Le32 mor;
    ByteArray<2804> reserved12;
    ByteArray<1024> extensions;  ///< an LbaFormatExtension for each LBA format
};
static_assert(sizeof(IdentifyZonedNamespace) == 3840 && alignof(IdentifyZonedNamespace) == 1);
static_assert(offsetof(IdentifyZonedNamespace, extensions) == 2816);

struct LbaFormatExtension {
    Le64 zoneSize;  ///< blocks
    uint8_t zdes;   ///< units of 64 bytes
    ByteArray<7> reserved9;
};
static_assert(sizeof(LbaFormatExtension) == 16 && alignof(LbaFormatExtension) == 1);

/// CNS 06h of the Zoned Namespace command set: its part that has a meaning.
struct IdentifyZonedController {
    uint8_t zasl;  ///< a power of 2, in units of the smallest memory page; 0: as MDTS
};
static_assert(sizeof(IdentifyZonedController) == 1);

}  // namespace features::nvme
