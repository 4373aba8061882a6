#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// An entry of log page 01h, NVMe Base Specification 1.4, section 5.14.1.1, with what 2.0 adds. One that was never used
/// is all zero.
struct ErrorInformationEntry {
    Le64 errorCount;
    Le16 sqid;
    Le16 cid;
    Le16 statusField;  ///< with the phase bit
    Le16 parameterErrorLocation;
    Le64 lba;
    Le32 nsid;
    uint8_t vendorSpecificLid;
    uint8_t trtype;
    uint8_t commandSet;  ///< this and the next: since version 1 of the entry
    uint8_t opcode;
    Le64 commandSpecific;
    Le16 transportSpecific;
    ByteArray<21> reserved42;
    uint8_t version;  ///< 0 before NVMe 2.0
};
static_assert(sizeof(ErrorInformationEntry) == 64 && alignof(ErrorInformationEntry) == 1);
static_assert(offsetof(ErrorInformationEntry, commandSpecific) == 32 &&
              offsetof(ErrorInformationEntry, transportSpecific) == 40);
static_assert(offsetof(ErrorInformationEntry, opcode) == 31 && offsetof(ErrorInformationEntry, version) == 63);

}  // namespace features::nvme
