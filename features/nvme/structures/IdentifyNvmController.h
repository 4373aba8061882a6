#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// CNS 06h of the NVM command set, of NVMe 2.0: its first bytes. 0 is no limit.
struct IdentifyNvmController {
    uint8_t vsl;
    uint8_t wzsl;
    uint8_t wusl;
    uint8_t dmrl;  ///< ranges of a Dataset Management
    Le32 dmrsl;    ///< blocks of a range
    Le64 dmsl;     ///< blocks of all ranges
};
static_assert(sizeof(IdentifyNvmController) == 16 && alignof(IdentifyNvmController) == 1);
static_assert(offsetof(IdentifyNvmController, dmsl) == 8);

}  // namespace features::nvme
