#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// OCP Datacenter NVMe SSD Specification, log page C0h: SMART / Health Information Extended. What page
/// versions 4 to 6 added follows the power state changes.
struct OcpSmartLog {
    Le128 mediaUnitsWritten;  ///< bytes
    Le128 mediaUnitsRead;     ///< bytes
    Le48 badUserBlocks;
    Le16 badUserBlocksNormalized;  ///< per cent
    Le48 badSystemBlocks;
    Le16 badSystemBlocksNormalized;  ///< per cent
    Le64 xorRecoveries;
    Le64 uncorrectableReads;
    Le64 softEccErrors;
    Le32 endToEndDetected;
    Le32 endToEndCorrected;
    uint8_t systemDataUsed;     ///< per cent
    ByteArray<7> refreshCount;  ///< little endian
    Le32 maximumEraseCount;
    Le32 minimumEraseCount;
    uint8_t throttlingEvents;
    uint8_t throttlingStatus;
    uint8_t errataVersion;
    Le16 pointVersion;
    Le16 minorVersion;
    uint8_t majorVersion;
    Le64 pcieCorrectableErrors;
    Le32 incompleteShutdowns;
    ByteArray<4> reserved116;
    uint8_t freeBlocks;  ///< per cent
    ByteArray<7> reserved121;
    Le16 capacitorHealth;  ///< per cent
    uint8_t nvmeErrataVersion;
    uint8_t nvmErrataVersion;     ///< of the NVM command set; version 4
    uint8_t pcieErrataVersion;    ///< of the PCIe transport; version 5, as the next
    uint8_t nvmeMiErrataVersion;  ///< of the Management Interface
    ByteArray<2> reserved134;
    Le64 unalignedIo;
    Le64 securityVersion;
    Le64 blocksInUse;
    Le128 plpStarts;
    Le128 enduranceEstimate;  ///< bytes
    Le64 linkRetrainings;
    Le64 powerStateChanges;
    Le64 lowestPermittedFirmware;  ///< version 4
    Le16 mediaDies;                ///< version 5, as what follows
    Le16 dieFailureTolerance;
    Le16 diesOffline;
    uint8_t maximumTemperature;
    uint8_t formFactor;  ///< version 6
    Le64 averageEraseCount;
    Le32 commandTimeouts;
    Le32 systemProgramFails;
    uint8_t systemProgramFailsNormalized;  ///< per cent
    ByteArray<3> reserved241;
    Le32 systemUncorrectableReads;
    uint8_t systemUncorrectableReadsNormalized;  ///< per cent
    ByteArray<3> reserved249;
    Le32 systemEraseFails;
    uint8_t systemEraseFailsNormalized;  ///< per cent
    ByteArray<3> reserved257;
    Le16 maximumPeakPower;
    Le16 currentAveragePower;
    Le48 lifetimePower;
    ByteArray<8> firmwareRevision;
    ByteArray<16> firmwareBuildUuid;
    ByteArray<64> firmwareBuildLabel;
    Le48 diesInUse;            ///< bad blocks of dies in use; version 6, as the next
    Le16 diesInUseNormalized;  ///< per cent
    ByteArray<128> reserved366;
    Le16 logPageVersion;
    ByteArray<16> guid;  ///< from its last byte to its first
};
static_assert(sizeof(OcpSmartLog) == 512 && alignof(OcpSmartLog) == 1);
static_assert(offsetof(OcpSmartLog, freeBlocks) == 120 && offsetof(OcpSmartLog, capacitorHealth) == 128);
static_assert(offsetof(OcpSmartLog, unalignedIo) == 136 && offsetof(OcpSmartLog, logPageVersion) == 494);
static_assert(offsetof(OcpSmartLog, lowestPermittedFirmware) == 208 && offsetof(OcpSmartLog, averageEraseCount) == 224);
static_assert(offsetof(OcpSmartLog, maximumPeakPower) == 260 && offsetof(OcpSmartLog, firmwareBuildUuid) == 278);
static_assert(offsetof(OcpSmartLog, diesInUse) == 358 && offsetof(OcpSmartLog, guid) == 496);

}  // namespace features::nvme
