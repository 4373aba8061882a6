#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// The head of log page 10h (NVMe Base Specification 2.0); descriptors follow.
struct MediaUnitStatusLogHeader {
    Le16 numberOfUnits;
    Le16 numberOfChannels;
    Le16 selectedConfiguration;
    ByteArray<10> reserved6;
};
static_assert(sizeof(MediaUnitStatusLogHeader) == 16 && alignof(MediaUnitStatusLogHeader) == 1);
static_assert(offsetof(MediaUnitStatusLogHeader, selectedConfiguration) == 4);

/// A media unit; as many channel identifiers of 2 bytes as it has follow.
struct MediaUnitDescriptor {
    Le16 unit;
    Le16 domain;
    Le16 enduranceGroup;
    Le16 nvmSet;
    Le16 capacityAdjustment;
    uint8_t availableSpare;  ///< per cent
    uint8_t percentageUsed;
    uint8_t numberOfChannels;
    uint8_t channelsOffset;  ///< of the first channel identifier in the descriptor, in bytes
};
static_assert(sizeof(MediaUnitDescriptor) == 14 && alignof(MediaUnitDescriptor) == 1);
static_assert(offsetof(MediaUnitDescriptor, channelsOffset) == 13);

}  // namespace features::nvme
