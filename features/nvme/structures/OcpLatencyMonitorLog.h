#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// OCP Datacenter NVMe SSD Specification 2.0, log page C3h: Latency Monitor. A stamp of all ones: there is none.
struct OcpLatencyMonitorLog {
    uint8_t status;
    ByteArray<1> reserved1;
    Le16 bucketTimer;
    Le16 bucketTimerThreshold;
    uint8_t thresholds[4];  ///< A to D
    Le16 latencyConfiguration;
    uint8_t minimumWindow;
    ByteArray<19> reserved13;
    ByteArray<64> activeCounters;  ///< bucket 0 first
    Le64 activeStamps[12];         ///< bucket 3 first, as all that follow
    Le16 activeLatencies[12];      ///< milliseconds
    Le16 activeStampUnits;
    ByteArray<22> reserved218;
    ByteArray<64> staticCounters;
    Le64 staticStamps[12];
    Le16 staticLatencies[12];
    Le16 staticStampUnits;
    ByteArray<10> reserved426;
    ByteArray<12> debugTelemetrySize;  ///< since page version 4
    Le16 debugLogTriggers;
    Le16 debugLogLatency;  ///< milliseconds
    Le64 debugLogStamp;
    Le16 debugLogPointer;
    Le16 debugTriggerSource;
    uint8_t debugStampUnits;
    ByteArray<29> reserved465;
    Le16 logPageVersion;
    ByteArray<16> guid;  ///< from its last byte to its first
};
static_assert(sizeof(OcpLatencyMonitorLog) == 512 && alignof(OcpLatencyMonitorLog) == 1);
static_assert(offsetof(OcpLatencyMonitorLog, bucketTimerThreshold) == 4 &&
              offsetof(OcpLatencyMonitorLog, activeCounters) == 32);
static_assert(offsetof(OcpLatencyMonitorLog, activeStampUnits) == 216 &&
              offsetof(OcpLatencyMonitorLog, staticCounters) == 240);
static_assert(offsetof(OcpLatencyMonitorLog, staticStampUnits) == 424 &&
              offsetof(OcpLatencyMonitorLog, debugTelemetrySize) == 436);
static_assert(offsetof(OcpLatencyMonitorLog, debugLogTriggers) == 448 &&
              offsetof(OcpLatencyMonitorLog, debugStampUnits) == 464);
static_assert(offsetof(OcpLatencyMonitorLog, logPageVersion) == 494 && offsetof(OcpLatencyMonitorLog, guid) == 496);

}  // namespace features::nvme
