#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// The first block of log pages 07h and 08h, NVMe Base Specification 1.4, sections 5.14.1.7 and 5.14.1.8.
struct TelemetryLogHeader {
    uint8_t lid;
    ByteArray<4> reserved1;
    Le24 ieee;
    Le16 lastBlock[3];  ///< of data areas 1 to 3
    ByteArray<2> reserved14;
    Le32 lastBlockOfArea4;  ///< since NVMe 2.0
    ByteArray<360> reserved20;
    uint8_t hostScope;       ///< of log page 07h, since NVMe 2.0
    uint8_t hostGeneration;  ///< of log page 07h, since NVMe 2.0; 08h has the scope of the controller's data here
    uint8_t controllerDataAvailable;
    uint8_t controllerGeneration;
    ByteArray<128> reason;
};
static_assert(sizeof(TelemetryLogHeader) == 512 && alignof(TelemetryLogHeader) == 1);
static_assert(offsetof(TelemetryLogHeader, ieee) == 5 && offsetof(TelemetryLogHeader, lastBlockOfArea4) == 16);
static_assert(offsetof(TelemetryLogHeader, hostScope) == 380 && offsetof(TelemetryLogHeader, hostGeneration) == 381);
static_assert(offsetof(TelemetryLogHeader, controllerGeneration) == 383 && offsetof(TelemetryLogHeader, reason) == 384);

}  // namespace features::nvme
