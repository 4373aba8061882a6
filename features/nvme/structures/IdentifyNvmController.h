#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// CNS 06h of the NVM command set, of NVMe 2.0: its part that has a meaning. 0 is no limit.
struct IdentifyNvmController {
    uint8_t vsl;
    uint8_t wzsl;
    uint8_t wusl;
    uint8_t dmrl;     ///< ranges of a Dataset Management
    Le32 dmrsl;       ///< blocks of a range
    Le64 dmsl;        ///< blocks of all ranges
    uint8_t kpiocap;  ///< from here: since NVMe 2.1
    uint8_t wzdsl;
    Le16 aocs;
    Le32 ver;  ///< of the NVM Command Set Specification
    uint8_t lbamqf;
};
static_assert(sizeof(IdentifyNvmController) == 25 && alignof(IdentifyNvmController) == 1);
static_assert(offsetof(IdentifyNvmController, dmsl) == 8 && offsetof(IdentifyNvmController, ver) == 20);

}  // namespace features::nvme
