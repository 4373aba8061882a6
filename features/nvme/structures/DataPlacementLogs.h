#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// The head of log page 20h (NVMe Base Specification 2.1); configurations follow.
struct FdpConfigurationsHeader {
    Le16 numberOfConfigurations0Based;
    uint8_t version;
    ByteArray<1> reserved3;
    Le32 sizeBytes;  ///< of the page
    ByteArray<8> reserved8;
};
static_assert(sizeof(FdpConfigurationsHeader) == 16 && alignof(FdpConfigurationsHeader) == 1);
static_assert(offsetof(FdpConfigurationsHeader, sizeBytes) == 4);

/// A configuration of Flexible Data Placement; descriptors of its Reclaim Unit Handles follow, then what the maker
/// adds.
struct FdpConfiguration {
    Le16 sizeBytes;      ///< with all that follows
    uint8_t attributes;  ///< RGIF in bits 3:0, volatile write cache in bit 4, valid in bit 7
    uint8_t vendorSpecificBytes;
    Le32 reclaimGroups;
    Le16 handles;
    Le16 maxPlacementIds0Based;
    Le32 maxNamespaces;
    Le64 reclaimUnitBytes;
    Le32 timeLimitSeconds;
    ByteArray<36> reserved28;
};
static_assert(sizeof(FdpConfiguration) == 64 && alignof(FdpConfiguration) == 1);
static_assert(offsetof(FdpConfiguration, reclaimGroups) == 4 && offsetof(FdpConfiguration, maxNamespaces) == 12);
static_assert(offsetof(FdpConfiguration, reclaimUnitBytes) == 16 && offsetof(FdpConfiguration, timeLimitSeconds) == 24);

/// A Reclaim Unit Handle of a configuration.
struct FdpHandleDescriptor {
    uint8_t type;
    ByteArray<3> reserved1;
};
static_assert(sizeof(FdpHandleDescriptor) == 4 && alignof(FdpHandleDescriptor) == 1);

/// The head of log page 21h; descriptors follow.
struct FdpUsageHeader {
    Le16 handles;
    ByteArray<6> reserved2;
};
static_assert(sizeof(FdpUsageHeader) == 8 && alignof(FdpUsageHeader) == 1);
struct FdpUsageDescriptor {
    uint8_t attributes;  ///< host specified in bit 0, controller specified in bit 1
    ByteArray<7> reserved1;
};
static_assert(sizeof(FdpUsageDescriptor) == 8 && alignof(FdpUsageDescriptor) == 1);

/// Log page 22h.
struct FdpStatisticsLog {
    Le128 hostBytesWritten;
    Le128 mediaBytesWritten;
    Le128 mediaBytesErased;
    ByteArray<16> reserved48;
};
static_assert(sizeof(FdpStatisticsLog) == 64 && alignof(FdpStatisticsLog) == 1);
static_assert(offsetof(FdpStatisticsLog, mediaBytesErased) == 32);

/// The head of log page 23h; events follow.
struct FdpEventsHeader {
    Le32 numberOfEvents;
    ByteArray<60> reserved4;
};
static_assert(sizeof(FdpEventsHeader) == 64 && alignof(FdpEventsHeader) == 1);
struct FdpEvent {
    uint8_t type;
    uint8_t flags;
    Le16 placementId;
    ByteArray<8> timestamp;
    Le32 nsid;
    ByteArray<16> typeSpecific;
    Le16 reclaimGroup;
    Le16 handle;  ///< Reclaim Unit Handle
    ByteArray<28> reserved36;
};
static_assert(sizeof(FdpEvent) == 64 && alignof(FdpEvent) == 1);
static_assert(offsetof(FdpEvent, timestamp) == 4 && offsetof(FdpEvent, typeSpecific) == 16);
static_assert(offsetof(FdpEvent, reclaimGroup) == 32 && offsetof(FdpEvent, handle) == 34);

}  // namespace features::nvme
