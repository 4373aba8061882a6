#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// The head of CNS 18h, of NVMe 2.0; entries follow.
struct DomainListHeader {
    uint8_t numberOfEntries;
    ByteArray<127> reserved1;
};
static_assert(sizeof(DomainListHeader) == 128 && alignof(DomainListHeader) == 1);

/// Capacities in bytes.
struct DomainListEntry {
    Le16 domain;
    ByteArray<14> reserved2;
    Le128 capacity;
    Le128 unallocatedCapacity;
    Le128 maxGroupCapacity;
    ByteArray<64> reserved64;
};
static_assert(sizeof(DomainListEntry) == 128 && alignof(DomainListEntry) == 1);
static_assert(offsetof(DomainListEntry, maxGroupCapacity) == 48);

}  // namespace features::nvme
