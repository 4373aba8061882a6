#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// Log page 09h, NVMe Base Specification 1.4, section 5.14.1.9. Data units of 10^9 bytes.
struct EnduranceGroupLog {
    uint8_t criticalWarning;
    ByteArray<2> reserved1;
    uint8_t availableSpare;           ///< per cent
    uint8_t availableSpareThreshold;  ///< per cent
    uint8_t percentageUsed;
    ByteArray<26> reserved6;
    Le128 enduranceEstimate;
    Le128 dataUnitsRead;
    Le128 dataUnitsWritten;
    Le128 mediaUnitsWritten;
    Le128 hostReadCommands;
    Le128 hostWriteCommands;
    Le128 mediaErrors;
    Le128 errorLogEntries;
    ByteArray<352> reserved160;
};
static_assert(sizeof(EnduranceGroupLog) == 512 && alignof(EnduranceGroupLog) == 1);
static_assert(offsetof(EnduranceGroupLog, availableSpare) == 3 && offsetof(EnduranceGroupLog, enduranceEstimate) == 32);
static_assert(offsetof(EnduranceGroupLog, errorLogEntries) == 144);

}  // namespace features::nvme
