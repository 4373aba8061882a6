#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// The head of log page 0Dh, NVMe Base Specification 1.4, section 5.14.1.13.
struct PersistentEventLogHeader {
    uint8_t lid;
    ByteArray<3> reserved1;
    Le32 tnev;  ///< Total Number of Events
    Le64 tll;   ///< Total Log Length, in bytes
    uint8_t revision;
    ByteArray<1> reserved17;
    Le16 lhl;  ///< bytes of the header after this field
    ByteArray<8> timestamp;
    Le128 powerOnHours;
    Le64 powerCycles;
    Le16 vid;
    Le16 ssvid;
    ByteArray<20> sn;
    ByteArray<40> mn;
    ByteArray<256> subnqn;
    Le16 generation;  ///< since NVMe 2.0
    Le32 rci;         ///< the same
    ByteArray<102> reserved378;
    ByteArray<32> supportedEvents;  ///< a bit for each type
};
static_assert(sizeof(PersistentEventLogHeader) == 512 && alignof(PersistentEventLogHeader) == 1);
static_assert(offsetof(PersistentEventLogHeader, tnev) == 4 && offsetof(PersistentEventLogHeader, lhl) == 18);
static_assert(offsetof(PersistentEventLogHeader, supportedEvents) == 480);

/// The head of an event, NVMe Base Specification 1.4, section 5.14.1.13.1.
struct PersistentEventHeader {
    uint8_t type;
    uint8_t revision;
    uint8_t ehl;   ///< bytes of the header after this field
    uint8_t port;  ///< type in bits 1:0, since NVMe 2.0
    Le16 cntlid;
    ByteArray<8> timestamp;
    Le16 portId;  ///< since NVMe 2.0
    ByteArray<4> reserved16;
    Le16 vsil;  ///< bytes of vendor specific information
    Le16 el;    ///< bytes after the header
};
static_assert(sizeof(PersistentEventHeader) == 24 && alignof(PersistentEventHeader) == 1);
static_assert(offsetof(PersistentEventHeader, vsil) == 20 && offsetof(PersistentEventHeader, el) == 22);

}  // namespace features::nvme
