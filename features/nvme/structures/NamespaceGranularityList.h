#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// Of one LBA format, in bytes.
struct NamespaceGranularityDescriptor {
    Le64 size;
    Le64 capacity;
};
static_assert(sizeof(NamespaceGranularityDescriptor) == 16 && alignof(NamespaceGranularityDescriptor) == 1);
static_assert(offsetof(NamespaceGranularityDescriptor, capacity) == 8);

/// CNS 16h: its part that has a meaning.
struct NamespaceGranularityList {
    Le32 attributes;
    uint8_t numberOfDescriptors0Based;
    ByteArray<27> reserved5;
    NamespaceGranularityDescriptor descriptors[16];
};
static_assert(sizeof(NamespaceGranularityList) == 288 && alignof(NamespaceGranularityList) == 1);
static_assert(offsetof(NamespaceGranularityList, descriptors) == 32);

}  // namespace features::nvme
