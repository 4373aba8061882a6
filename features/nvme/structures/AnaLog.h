#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// The head of log page 0Ch, NVMe Base Specification 1.4, section 5.14.1.12; groups follow.
struct AnaLogHeader {
    Le64 changeCount;
    Le16 numberOfGroups;
    ByteArray<6> reserved10;
};
static_assert(sizeof(AnaLogHeader) == 16 && alignof(AnaLogHeader) == 1);
static_assert(offsetof(AnaLogHeader, numberOfGroups) == 8);

/// The head of a group of log page 0Ch; NSIDs of 4 bytes follow.
struct AnaGroupDescriptor {
    Le32 groupId;
    Le32 numberOfNsids;
    Le64 changeCount;
    uint8_t state;  ///< in bits 3:0
    ByteArray<15> reserved17;
};
static_assert(sizeof(AnaGroupDescriptor) == 32 && alignof(AnaGroupDescriptor) == 1);
static_assert(offsetof(AnaGroupDescriptor, state) == 16);

}  // namespace features::nvme
