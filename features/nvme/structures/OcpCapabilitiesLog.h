#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// OCP Datacenter NVMe SSD Specification 2.0, log page C4h: Device Capabilities.
struct OcpCapabilitiesLog {
    Le16 pciePorts;
    Le16 outOfBandManagement;
    Le16 writeZeroes;
    Le16 sanitize;
    Le16 datasetManagement;
    Le16 writeUncorrectable;
    Le16 fusedOperations;
    Le16 minimumPowerState;    ///< watts
    uint8_t powerStates[128];  ///< by watts; valid in bit 7, NVMe power state in bits 4:0
    ByteArray<3934> reserved144;
    Le16 logPageVersion;
    ByteArray<16> guid;  ///< from its last byte to its first
};
static_assert(sizeof(OcpCapabilitiesLog) == 4096 && alignof(OcpCapabilitiesLog) == 1);
static_assert(offsetof(OcpCapabilitiesLog, logPageVersion) == 4078 && offsetof(OcpCapabilitiesLog, guid) == 4080);

}  // namespace features::nvme
