#pragma once

#include <cstdint>

namespace features::nvme {

// One constant a row: OPC_IDENTIFY is 06h. An opcode says nothing without its queue.
#define ADMIN_OPCODE(opcode, name, text) inline constexpr uint8_t name = opcode;
#define IO_OPCODE(opcode, name, text) inline constexpr uint8_t name = opcode;
#include "features/nvme/Opcodes.def"
#undef ADMIN_OPCODE
#undef IO_OPCODE

/// From here on the meaning depends on the drive, in either queue.
inline constexpr uint8_t FIRST_VENDOR_OPCODE = 0xC0;

}  // namespace features::nvme
