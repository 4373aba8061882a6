#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// Log page 0Ah, NVMe Base Specification 1.4, section 5.14.1.10.
struct PredictableLatencyLog {
    uint8_t status;
    ByteArray<1> reserved1;
    Le16 eventType;
    ByteArray<28> reserved4;
    Le64 typicalReads;
    Le64 typicalWrites;
    Le64 maximumTime;
    Le64 minimumTimeHigh;
    Le64 minimumTimeLow;
    ByteArray<56> reserved72;
    Le64 readsEstimate;
    Le64 writesEstimate;
    Le64 timeEstimate;
    ByteArray<360> reserved152;
};
static_assert(sizeof(PredictableLatencyLog) == 512 && alignof(PredictableLatencyLog) == 1);
static_assert(offsetof(PredictableLatencyLog, eventType) == 2 && offsetof(PredictableLatencyLog, typicalReads) == 32);
static_assert(offsetof(PredictableLatencyLog, readsEstimate) == 128 &&
              offsetof(PredictableLatencyLog, timeEstimate) == 144);

}  // namespace features::nvme
