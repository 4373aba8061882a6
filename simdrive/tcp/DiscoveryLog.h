#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

/// Log page 70h (NVMe over Fabrics 1.1, section 5.3): a header, an entry for each port.
namespace simdrive::tcp {

struct DiscoveryLogHeader {
    features::nvme::Le64 generation;
    features::nvme::Le64 records;
    features::nvme::Le16 format;
    features::nvme::ByteArray<1006> reserved18;
};
static_assert(sizeof(DiscoveryLogHeader) == 1024 && alignof(DiscoveryLogHeader) == 1);

struct DiscoveryLogEntry {
    uint8_t transportType;
    uint8_t addressFamily;
    uint8_t subsystemType;
    uint8_t transportRequirements;
    features::nvme::Le16 portId;
    features::nvme::Le16 controllerId;
    features::nvme::Le16 maxAdminQueueEntries;
    features::nvme::ByteArray<22> reserved10;
    features::nvme::ByteArray<32> serviceId;
    features::nvme::ByteArray<192> reserved64;
    features::nvme::ByteArray<256> subsystem;
    features::nvme::ByteArray<256> address;
    features::nvme::ByteArray<256> transportSpecific;
};
static_assert(sizeof(DiscoveryLogEntry) == 1024 && alignof(DiscoveryLogEntry) == 1);
static_assert(offsetof(DiscoveryLogEntry, serviceId) == 32 && offsetof(DiscoveryLogEntry, subsystem) == 256);
static_assert(offsetof(DiscoveryLogEntry, address) == 512);

}  // namespace simdrive::tcp
