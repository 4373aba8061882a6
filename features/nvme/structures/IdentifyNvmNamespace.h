#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// CNS 05h of the NVM command set, of NVMe 2.0: its part that has a meaning.
struct IdentifyNvmNamespace {
    Le64 lbstm;
    uint8_t pic;
    uint8_t pifa;
    ByteArray<2> reserved10;
    Le32 elbaf[64];  ///< of an LBA format: storage tag size in bits 6:0, protection information format in bits 8:7
    Le32 npdgl;      ///< from here: since NVMe 2.1
    Le32 nprg;
    Le32 npra;
    Le32 nors;
    Le32 npdal;
    Le32 lbapss;
    Le32 tlbaag;
};
static_assert(sizeof(IdentifyNvmNamespace) == 296 && alignof(IdentifyNvmNamespace) == 1);
static_assert(offsetof(IdentifyNvmNamespace, elbaf) == 12 && offsetof(IdentifyNvmNamespace, npdgl) == 268);

}  // namespace features::nvme
