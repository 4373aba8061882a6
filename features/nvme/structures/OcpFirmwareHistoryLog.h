#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// An activation of log page C2h.
struct OcpFirmwareHistoryEntry {
    uint8_t version;
    uint8_t entryBytes;
    ByteArray<2> reserved2;
    Le16 count;
    Le64 timestamp;
    ByteArray<8> reserved14;
    Le64 powerCycles;
    ByteArray<8> oldRevision;
    ByteArray<8> newRevision;
    uint8_t slot;
    uint8_t commitAction;
    ByteArray<16> reserved48;
};
static_assert(sizeof(OcpFirmwareHistoryEntry) == 64 && alignof(OcpFirmwareHistoryEntry) == 1);
static_assert(offsetof(OcpFirmwareHistoryEntry, count) == 4 && offsetof(OcpFirmwareHistoryEntry, powerCycles) == 22);
static_assert(offsetof(OcpFirmwareHistoryEntry, commitAction) == 47);

/// OCP Datacenter NVMe SSD Specification 2.0, log page C2h: Firmware Activation History.
struct OcpFirmwareHistoryLog {
    uint8_t lid;
    ByteArray<3> reserved1;
    Le32 numberOfEntries;
    OcpFirmwareHistoryEntry entries[20];
    ByteArray<2790> reserved1288;
    Le16 logPageVersion;
    ByteArray<16> guid;  ///< from its last byte to its first
};
static_assert(sizeof(OcpFirmwareHistoryLog) == 4096 && alignof(OcpFirmwareHistoryLog) == 1);
static_assert(offsetof(OcpFirmwareHistoryLog, numberOfEntries) == 4 &&
              offsetof(OcpFirmwareHistoryLog, logPageVersion) == 4078);
static_assert(offsetof(OcpFirmwareHistoryLog, guid) == 4080);

}  // namespace features::nvme
