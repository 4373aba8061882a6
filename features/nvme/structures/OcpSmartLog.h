#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// OCP Datacenter NVMe SSD Specification 2.0, log page C0h: SMART / Health Information Extended.
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
    ByteArray<5> reserved131;
    Le64 unalignedIo;
    Le64 securityVersion;
    Le64 blocksInUse;
    Le128 plpStarts;
    Le128 enduranceEstimate;  ///< bytes
    Le64 linkRetrainings;
    Le64 powerStateChanges;
    ByteArray<286> reserved208;
    Le16 logPageVersion;
    ByteArray<16> guid;  ///< from its last byte to its first
};
static_assert(sizeof(OcpSmartLog) == 512 && alignof(OcpSmartLog) == 1);
static_assert(offsetof(OcpSmartLog, freeBlocks) == 120 && offsetof(OcpSmartLog, capacitorHealth) == 128);
static_assert(offsetof(OcpSmartLog, unalignedIo) == 136 && offsetof(OcpSmartLog, logPageVersion) == 494);
static_assert(offsetof(OcpSmartLog, guid) == 496);

}  // namespace features::nvme
