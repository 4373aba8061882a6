#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// The head of log page 0Eh, NVMe Base Specification 1.4, section 5.14.1.14; namespaces follow.
struct LbaStatusLogHeader {
    Le32 length;  ///< bytes
    Le32 numberOfNamespaces;
    Le32 unrecoverableEstimate;  ///< blocks
    ByteArray<2> reserved12;
    Le16 generation;
};
static_assert(sizeof(LbaStatusLogHeader) == 16 && alignof(LbaStatusLogHeader) == 1);
static_assert(offsetof(LbaStatusLogHeader, generation) == 14);

/// The head of a namespace of log page 0Eh; its ranges follow.
struct LbaStatusNamespace {
    Le32 nsid;
    Le32 numberOfRanges;  ///< FFFFFFFFh: not counted
    uint8_t action;
    ByteArray<7> reserved9;
};
static_assert(sizeof(LbaStatusNamespace) == 16 && alignof(LbaStatusNamespace) == 1);
static_assert(offsetof(LbaStatusNamespace, action) == 8);

/// A range of log page 0Eh.
struct LbaRangeDescriptor {
    Le64 startingLba;
    Le32 blocks;
    ByteArray<4> reserved12;
};
static_assert(sizeof(LbaRangeDescriptor) == 16 && alignof(LbaRangeDescriptor) == 1);
static_assert(offsetof(LbaRangeDescriptor, blocks) == 8);

}  // namespace features::nvme
