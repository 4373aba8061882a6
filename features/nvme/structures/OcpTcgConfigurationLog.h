#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// OCP Datacenter NVMe SSD Specification 2.5, log page C7h: TCG Configuration.
struct OcpTcgConfigurationLog {
    uint8_t state;
    ByteArray<3> reserved1;
    uint8_t lockingSpActivations;
    uint8_t tperReverts;
    uint8_t lockingSpReverts;
    uint8_t lockingObjects;
    uint8_t singleUserObjects;
    uint8_t rangeProvisionedObjects;
    uint8_t namespaceProvisionedObjects;
    uint8_t readLockedObjects;
    uint8_t writeLockedObjects;
    uint8_t readUnlockedObjects;
    uint8_t writeUnlockedObjects;
    ByteArray<1> reserved15;
    Le32 sidTries;
    Le32 sidTryLimit;
    Le32 programmaticResets;
    Le32 programmaticResetLocks;
    Le32 errors;
    Le16 namespaceProvisionedObjectsExtended;  ///< of page versions after 1
    ByteArray<456> reserved38;
    Le16 logPageVersion;
    ByteArray<16> guid;  ///< from its last byte to its first
};
static_assert(sizeof(OcpTcgConfigurationLog) == 512 && alignof(OcpTcgConfigurationLog) == 1);
static_assert(offsetof(OcpTcgConfigurationLog, sidTries) == 16 &&
              offsetof(OcpTcgConfigurationLog, logPageVersion) == 494);

}  // namespace features::nvme
