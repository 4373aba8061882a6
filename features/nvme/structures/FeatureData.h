#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// Feature 03h.
struct LbaRangeTypeEntry {
    uint8_t type;
    uint8_t attributes;
    ByteArray<14> reserved2;
    Le64 startingLba;
    Le64 blocks0Based;
    ByteArray<16> guid;
    ByteArray<16> reserved48;
};
static_assert(sizeof(LbaRangeTypeEntry) == 64 && alignof(LbaRangeTypeEntry) == 1);
static_assert(offsetof(LbaRangeTypeEntry, startingLba) == 16 && offsetof(LbaRangeTypeEntry, guid) == 32);

/// Feature 0Ch, of one power state: the state to go to in bits 7:3, the milliseconds before it in bits 31:8.
struct PowerTransitionEntry {
    uint8_t powerState;
    Le24 idleTime;
    ByteArray<4> reserved4;
};
static_assert(sizeof(PowerTransitionEntry) == 8 && alignof(PowerTransitionEntry) == 1);
static_assert(offsetof(PowerTransitionEntry, idleTime) == 1);

/// Feature 0Dh.
struct HostMemoryAttributes {
    Le32 hsize;
    Le64 hmdla;
    Le32 hmdlec;
};
static_assert(sizeof(HostMemoryAttributes) == 16 && alignof(HostMemoryAttributes) == 1);
static_assert(offsetof(HostMemoryAttributes, hmdlec) == 12);

/// Feature 0Eh.
struct TimestampData {
    Le48 milliseconds;
    uint8_t flags;  ///< Synch in bit 0, Origin in bits 3:1
    ByteArray<1> reserved7;
};
static_assert(sizeof(TimestampData) == 8 && alignof(TimestampData) == 1);
static_assert(offsetof(TimestampData, flags) == 6);

/// Feature 13h.
struct PredictableLatencyConfig {
    Le16 enableEvent;
    ByteArray<30> reserved2;
    Le64 readsThreshold;
    Le64 writesThreshold;
    Le64 timeThreshold;
    ByteArray<456> reserved56;
};
static_assert(sizeof(PredictableLatencyConfig) == 512 && alignof(PredictableLatencyConfig) == 1);
static_assert(offsetof(PredictableLatencyConfig, readsThreshold) == 32 &&
              offsetof(PredictableLatencyConfig, timeThreshold) == 48);

/// Feature 16h.
struct HostBehaviorSupport {
    uint8_t acre;
    uint8_t etdas;   ///< Extended Telemetry Data Area 4 Supported; this and the next: since NVMe 2.0
    uint8_t lbafee;  ///< LBA Format Extension Enable
    uint8_t hdisns;  ///< Host Dispersed Namespace Support; since NVMe 2.1
    Le16 cdfe;       ///< Copy Descriptor Formats Enable; since NVMe 2.1
    ByteArray<506> reserved6;
};
static_assert(sizeof(HostBehaviorSupport) == 512 && alignof(HostBehaviorSupport) == 1);
static_assert(offsetof(HostBehaviorSupport, etdas) == 1 && offsetof(HostBehaviorSupport, cdfe) == 4);

/// Feature 1Eh, of one type of event.
struct FdpEventSupport {
    uint8_t type;
    uint8_t attributes;  ///< enabled in bit 0
};
static_assert(sizeof(FdpEventSupport) == 2 && alignof(FdpEventSupport) == 1);

}  // namespace features::nvme
