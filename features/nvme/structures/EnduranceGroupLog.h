#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// Log page 09h, NVMe Base Specification 1.4, section 5.14.1.9, with what 2.0 adds. Data units of 10^9 bytes.
struct EnduranceGroupLog {
    uint8_t criticalWarning;
    uint8_t features;  ///< since NVMe 2.0
    ByteArray<1> reserved2;
    uint8_t availableSpare;           ///< per cent
    uint8_t availableSpareThreshold;  ///< per cent
    uint8_t percentageUsed;
    Le16 domain;  ///< since NVMe 2.0
    ByteArray<24> reserved8;
    Le128 enduranceEstimate;
    Le128 dataUnitsRead;
    Le128 dataUnitsWritten;
    Le128 mediaUnitsWritten;
    Le128 hostReadCommands;
    Le128 hostWriteCommands;
    Le128 mediaErrors;
    Le128 errorLogEntries;
    Le128 totalCapacity;        ///< bytes, since NVMe 2.0
    Le128 unallocatedCapacity;  ///< the same
    ByteArray<320> reserved192;
};
static_assert(sizeof(EnduranceGroupLog) == 512 && alignof(EnduranceGroupLog) == 1);
static_assert(offsetof(EnduranceGroupLog, availableSpare) == 3 && offsetof(EnduranceGroupLog, enduranceEstimate) == 32);
static_assert(offsetof(EnduranceGroupLog, domain) == 6 && offsetof(EnduranceGroupLog, errorLogEntries) == 144);
static_assert(offsetof(EnduranceGroupLog, unallocatedCapacity) == 176);

}  // namespace features::nvme
