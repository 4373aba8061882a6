#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::ata {

/// SCT status, read from log E0h (ACS-3 clause 8.2). Temperatures in degrees Celsius, signed; SCT_NO_SAMPLE: none.
struct SctStatus {
    nvme::Le16 formatVersion;
    nvme::Le16 vendorVersion;
    nvme::Le16 sctSupport;
    nvme::Le32 flags;
    uint8_t state;
    nvme::ByteArray<3> reserved11;
    nvme::Le16 extendedStatus;
    nvme::Le16 action;
    nvme::Le16 function;
    nvme::ByteArray<20> reserved20;
    nvme::Le64 lba;
    nvme::ByteArray<152> reserved48;
    uint8_t temperature;  ///< 200
    uint8_t minimum;      ///< of this power cycle
    uint8_t maximum;
    uint8_t lifetimeMinimum;
    uint8_t lifetimeMaximum;
    nvme::ByteArray<307> reserved205;
};
static_assert(sizeof(SctStatus) == 512 && alignof(SctStatus) == 1);
static_assert(offsetof(SctStatus, state) == 10 && offsetof(SctStatus, extendedStatus) == 14);
static_assert(offsetof(SctStatus, temperature) == 200);

inline constexpr uint8_t SCT_NO_SAMPLE = 0x80;

}  // namespace features::ata
