#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// OCP Datacenter NVMe SSD Specification 2.0, log page C1h: Error Recovery.
struct OcpErrorRecoveryLog {
    Le16 panicResetWaitTime;  ///< milliseconds
    uint8_t panicResetAction;
    uint8_t recoveryAction;
    Le64 panicId;
    Le32 deviceCapabilities;
    ByteArray<478> reserved16;
    Le16 logPageVersion;
    ByteArray<16> guid;  ///< from its last byte to its first
};
static_assert(sizeof(OcpErrorRecoveryLog) == 512 && alignof(OcpErrorRecoveryLog) == 1);
static_assert(offsetof(OcpErrorRecoveryLog, logPageVersion) == 494 && offsetof(OcpErrorRecoveryLog, guid) == 496);

}  // namespace features::nvme
