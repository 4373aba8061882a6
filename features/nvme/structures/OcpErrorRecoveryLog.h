#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// OCP Datacenter NVMe SSD Specification, log page C1h: Error Recovery.
struct OcpErrorRecoveryLog {
    Le16 panicResetWaitTime;  ///< milliseconds
    uint8_t panicResetAction;
    uint8_t recoveryAction;
    Le64 panicId;
    Le32 deviceCapabilities;
    uint8_t recoveryOpcode;
    ByteArray<3> reserved17;
    Le32 recoveryDword12;
    Le32 recoveryDword13;
    uint8_t recoveryTimeout;  ///< since page version 2
    uint8_t recoveryAction2;
    uint8_t recoveryAction2Timeout;
    uint8_t panicCount;      ///< since page version 3, as the next
    Le64 previousPanics[4];  ///< latest first
    ByteArray<430> reserved64;
    Le16 logPageVersion;
    ByteArray<16> guid;  ///< from its last byte to its first
};
static_assert(sizeof(OcpErrorRecoveryLog) == 512 && alignof(OcpErrorRecoveryLog) == 1);
static_assert(offsetof(OcpErrorRecoveryLog, recoveryDword12) == 20 &&
              offsetof(OcpErrorRecoveryLog, previousPanics) == 32);
static_assert(offsetof(OcpErrorRecoveryLog, logPageVersion) == 494 && offsetof(OcpErrorRecoveryLog, guid) == 496);

}  // namespace features::nvme
