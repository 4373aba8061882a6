#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// Log page 05h, NVMe Base Specification 1.4, section 5.14.1.5: an entry for each opcode.
struct CommandEffectsLog {
    Le32 admin[256];
    Le32 io[256];
    ByteArray<2048> reserved2048;
};
static_assert(sizeof(CommandEffectsLog) == 4096 && alignof(CommandEffectsLog) == 1);
static_assert(offsetof(CommandEffectsLog, io) == 1024);

}  // namespace features::nvme
