#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// Feature C0h.
struct OcpErrorInjectionEntry {
    static constexpr uint8_t ENABLED = 1 << 0;
    static constexpr uint8_t SINGLE_INSTANCE = 1 << 1;

    uint8_t flags;
    ByteArray<1> reserved1;
    Le16 type;
    Le16 reads;  ///< that trigger the panic
    ByteArray<26> reserved6;
};
static_assert(sizeof(OcpErrorInjectionEntry) == 32 && alignof(OcpErrorInjectionEntry) == 1);
static_assert(offsetof(OcpErrorInjectionEntry, type) == 2 && offsetof(OcpErrorInjectionEntry, reads) == 4);

/// Feature C5h.
struct OcpLatencyMonitorSetting {
    Le16 bucketTimerThreshold;
    uint8_t thresholds[4];  ///< A to D
    Le16 latencyConfiguration;
    uint8_t minimumWindow;
    Le16 debugLogTriggers;
    uint8_t discardDebugLog;
    uint8_t enable;
    ByteArray<4083> reserved13;
};
static_assert(sizeof(OcpLatencyMonitorSetting) == 4096 && alignof(OcpLatencyMonitorSetting) == 1);
static_assert(offsetof(OcpLatencyMonitorSetting, enable) == 12);

}  // namespace features::nvme
