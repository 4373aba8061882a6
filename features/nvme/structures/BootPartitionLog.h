#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// The head of log page 15h (NVMe Base Specification 2.0); the Boot Partition follows.
struct BootPartitionLogHeader {
    uint8_t lid;
    ByteArray<3> reserved1;
    Le32 information;  ///< size in bits 14:0, in units of 128 KiB; the active partition in bit 31
    ByteArray<8> reserved8;
};
static_assert(sizeof(BootPartitionLogHeader) == 16 && alignof(BootPartitionLogHeader) == 1);
static_assert(offsetof(BootPartitionLogHeader, information) == 4);

}  // namespace features::nvme
