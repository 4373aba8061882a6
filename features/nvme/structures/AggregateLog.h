#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// The head of log pages 0Bh and 0Fh, NVMe Base Specification 1.4, sections 5.14.1.11 and 5.14.1.15; identifiers of 2
/// bytes follow.
struct AggregateLogHeader {
    Le64 numberOfEntries;
};
static_assert(sizeof(AggregateLogHeader) == 8 && alignof(AggregateLogHeader) == 1);

}  // namespace features::nvme
