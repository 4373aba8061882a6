#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// OCP Datacenter NVMe SSD Specification 2.0, log page C3h: Latency Monitor, without its counters.
struct OcpLatencyMonitorLog {
    uint8_t status;
    ByteArray<3> reserved1;
    Le16 bucketTimerThreshold;
    uint8_t thresholds[4];  ///< A to D
    Le16 latencyConfiguration;
    uint8_t minimumWindow;
    ByteArray<435> reserved13;
    Le16 debugLogTriggers;
    ByteArray<44> reserved450;
    Le16 logPageVersion;
    ByteArray<16> guid;  ///< from its last byte to its first
};
static_assert(sizeof(OcpLatencyMonitorLog) == 512 && alignof(OcpLatencyMonitorLog) == 1);
static_assert(offsetof(OcpLatencyMonitorLog, bucketTimerThreshold) == 4 &&
              offsetof(OcpLatencyMonitorLog, debugLogTriggers) == 448);
static_assert(offsetof(OcpLatencyMonitorLog, logPageVersion) == 494 && offsetof(OcpLatencyMonitorLog, guid) == 496);

}  // namespace features::nvme
