#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// CNS 08h, of NVMe 2.0: what a namespace of any command set has. The names are the standard's.
struct IdentifyIndependentNamespace {
    uint8_t nsfeat;
    uint8_t nmic;
    uint8_t rescap;
    uint8_t fpi;
    Le32 anagrpid;
    uint8_t nsattr;
    ByteArray<1> reserved9;
    Le16 nvmsetid;
    Le16 endgid;
    uint8_t nstat;  ///< ready in bit 0
    uint8_t kpios;  ///< from here: since NVMe 2.1
    Le16 maxkt;
    ByteArray<2> reserved18;
    Le32 rgrpid;
};
static_assert(sizeof(IdentifyIndependentNamespace) == 24 && alignof(IdentifyIndependentNamespace) == 1);
static_assert(offsetof(IdentifyIndependentNamespace, nvmsetid) == 10 &&
              offsetof(IdentifyIndependentNamespace, nstat) == 14 &&
              offsetof(IdentifyIndependentNamespace, rgrpid) == 20);

}  // namespace features::nvme
