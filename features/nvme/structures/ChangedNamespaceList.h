#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// Log page 04h, NVMe Base Specification 1.4, section 5.14.1.4; the first entry that is 0 ends it.
struct ChangedNamespaceList {
    Le32 nsid[1024];
};
static_assert(sizeof(ChangedNamespaceList) == 4096 && alignof(ChangedNamespaceList) == 1);

}  // namespace features::nvme
