#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// CNS 12h and 13h, and the data of Namespace Attachment (NVMe Base Specification 1.4, section 4.9).
struct ControllerList {
    Le16 count;
    Le16 identifiers[2047];
};
static_assert(sizeof(ControllerList) == 4096 && alignof(ControllerList) == 1);
static_assert(offsetof(ControllerList, identifiers) == 2);

}  // namespace features::nvme
