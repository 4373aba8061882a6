#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// An entry of CNS 17h; the first of the list is not used.
struct UuidListEntry {
    uint8_t header;  ///< Identifier Association in bits 1:0
    ByteArray<15> reserved1;
    ByteArray<16> uuid;
};
static_assert(sizeof(UuidListEntry) == 32 && alignof(UuidListEntry) == 1);
static_assert(offsetof(UuidListEntry, uuid) == 16);

}  // namespace features::nvme
