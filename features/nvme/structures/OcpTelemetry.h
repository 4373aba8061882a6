#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"
#include "features/nvme/structures/OcpSmartLog.h"
#include "features/nvme/structures/SmartHealthLog.h"

/// What data areas 1 and 2 of telemetry (log pages 07h and 08h) hold on a drive after the OCP Datacenter NVMe SSD
/// Specification 2.5. Starts and sizes are in dwords; starts count from the beginning of the data area.
namespace features::nvme {

struct OcpTelemetryPart {
    Le64 start;
    Le64 size;
};
static_assert(sizeof(OcpTelemetryPart) == 16 && alignof(OcpTelemetryPart) == 1);

/// The head of data area 1.
struct OcpTelemetryArea1 {
    Le16 majorVersion;
    Le16 minorVersion;
    ByteArray<4> reserved4;
    Le64 timestamp;
    ByteArray<16> guid;
    uint8_t profilesSupported;
    uint8_t profileSelected;
    ByteArray<6> reserved34;
    Le64 stringLogSize;
    ByteArray<8> reserved48;
    ByteArray<8> firmwareRevision;
    ByteArray<32> reserved64;
    OcpTelemetryPart statistics[2];  ///< of data areas 1 and 2
    ByteArray<32> reserved128;
    uint8_t fifoAreas[16];  ///< data area of each FIFO: 1, 2; 0: it is not used
    OcpTelemetryPart fifos[16];
    ByteArray<80> reserved432;
    ByteArray<sizeof(SmartHealthLog)> smart;
    ByteArray<sizeof(OcpSmartLog)> ocpSmart;
};
static_assert(sizeof(OcpTelemetryArea1) == 1536 && alignof(OcpTelemetryArea1) == 1);
static_assert(offsetof(OcpTelemetryArea1, stringLogSize) == 40 && offsetof(OcpTelemetryArea1, firmwareRevision) == 56);
static_assert(offsetof(OcpTelemetryArea1, statistics) == 96 && offsetof(OcpTelemetryArea1, fifoAreas) == 160);
static_assert(offsetof(OcpTelemetryArea1, fifos) == 176 && offsetof(OcpTelemetryArea1, smart) == 512);

/// Its data follows it.
struct OcpStatisticDescriptor {
    Le16 id;
    uint8_t behavior;         ///< in bits 3:0
    uint8_t namespaceNumber;  ///< in bits 6:0, valid in bit 7
    Le16 dataDwords;
    ByteArray<2> reserved6;
};
static_assert(sizeof(OcpStatisticDescriptor) == 8 && alignof(OcpStatisticDescriptor) == 1);

/// Its data follows it.
struct OcpEventDescriptor {
    uint8_t eventClass;
    Le16 id;
    uint8_t dataDwords;
};
static_assert(sizeof(OcpEventDescriptor) == 4 && alignof(OcpEventDescriptor) == 1);

}  // namespace features::nvme
