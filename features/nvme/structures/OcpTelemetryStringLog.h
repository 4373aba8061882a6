#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"
#include "features/nvme/structures/OcpTelemetry.h"

namespace features::nvme {

/// OCP Datacenter NVMe SSD Specification 2.5, head of log page C9h: Telemetry String Log. Starts and sizes are in
/// dwords; starts count from the beginning of the page.
struct OcpTelemetryStringHeader {
    uint8_t logPageVersion;
    ByteArray<15> reserved1;
    ByteArray<16> guid;  ///< from its last byte to its first
    Le64 size;           ///< of the page
    ByteArray<24> reserved40;
    OcpTelemetryPart statistics;
    OcpTelemetryPart events;
    OcpTelemetryPart vendorEvents;
    OcpTelemetryPart texts;
    ByteArray<16> fifoNames[16];
    ByteArray<48> reserved384;
};
static_assert(sizeof(OcpTelemetryStringHeader) == 432 && alignof(OcpTelemetryStringHeader) == 1);
static_assert(offsetof(OcpTelemetryStringHeader, size) == 32 && offsetof(OcpTelemetryStringHeader, statistics) == 64);
static_assert(offsetof(OcpTelemetryStringHeader, texts) == 112 && offsetof(OcpTelemetryStringHeader, fifoNames) == 128);

struct OcpStatisticString {
    Le16 id;
    ByteArray<1> reserved2;
    uint8_t length0Based;
    Le64 start;  ///< dwords from the beginning of the texts
    ByteArray<4> reserved12;
};
static_assert(sizeof(OcpStatisticString) == 16 && offsetof(OcpStatisticString, start) == 4);

/// Of an event, or of what a maker adds to an event.
struct OcpEventString {
    uint8_t eventClass;
    Le16 id;
    uint8_t length0Based;
    Le64 start;  ///< dwords from the beginning of the texts
    ByteArray<4> reserved12;
};
static_assert(sizeof(OcpEventString) == 16 && offsetof(OcpEventString, start) == 4);

}  // namespace features::nvme
