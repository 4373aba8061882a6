#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// A range of Dataset Management (NVMe Base Specification 1.4, section 6.7).
struct DatasetRange {
    Le32 attributes;
    Le32 blocks;
    Le64 startingLba;
};
static_assert(sizeof(DatasetRange) == 16 && alignof(DatasetRange) == 1);
static_assert(offsetof(DatasetRange, startingLba) == 8);

}  // namespace features::nvme
