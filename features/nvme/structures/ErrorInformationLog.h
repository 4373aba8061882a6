#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// An entry of log page 01h, NVMe Base Specification 1.4, section 5.14.1.1. One that was never used is all zero.
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
    ByteArray<2> reserved30;
    Le64 commandSpecific;
    Le16 transportSpecific;
    ByteArray<22> reserved42;
};
static_assert(sizeof(ErrorInformationEntry) == 64 && alignof(ErrorInformationEntry) == 1);
static_assert(offsetof(ErrorInformationEntry, commandSpecific) == 32 &&
              offsetof(ErrorInformationEntry, transportSpecific) == 40);

}  // namespace features::nvme
