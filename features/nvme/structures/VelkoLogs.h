#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

/// The log pages of VELKO drives, as docs/vendor-interface.md publishes them.
namespace features::nvme {

/// Log page D0h. Temperatures in Kelvin; a 32-bit number of all ones is not reported.
struct VelkoExtendedSmartLog {
    Le16 version;
    ByteArray<6> reserved2;
    Le64 programFails;
    Le64 eraseFails;
    Le64 endToEndErrors;
    Le64 crcErrors;
    Le32 nandMinimumCycles;
    Le32 nandMaximumCycles;
    Le32 nandAverageCycles;
    Le32 throttleCount;
    uint8_t throttleStatus;
    ByteArray<3> reserved57;
    Le16 highestTemperature;
    Le16 lowestTemperature;
    Le16 pcbMaximumTemperature;
    Le16 pcbMinimumTemperature;
    ByteArray<4> reserved68;
    Le128 nandBytesWritten;
    Le128 hostBytesWritten;
    Le32 qlcMinimumCycles;
    Le32 qlcMaximumCycles;
    Le32 qlcAverageCycles;
    Le32 dslcMinimumCycles;
    Le32 dslcMaximumCycles;
    Le32 dslcAverageCycles;
    ByteArray<384> reserved128;
};
static_assert(sizeof(VelkoExtendedSmartLog) == 512 && alignof(VelkoExtendedSmartLog) == 1);
static_assert(offsetof(VelkoExtendedSmartLog, programFails) == 8 &&
              offsetof(VelkoExtendedSmartLog, highestTemperature) == 60);
static_assert(offsetof(VelkoExtendedSmartLog, nandBytesWritten) == 72 &&
              offsetof(VelkoExtendedSmartLog, dslcAverageCycles) == 124);

/// Commands that took so many microseconds: from the first to below the second number.
struct VelkoLatencyBucket {
    Le32 from;
    Le32 to;  ///< FFFFFFFFh: and above
    Le64 commands;
};
static_assert(sizeof(VelkoLatencyBucket) == 16 && alignof(VelkoLatencyBucket) == 1);
static_assert(offsetof(VelkoLatencyBucket, commands) == 8);

/// Log pages D1h and D2h.
struct VelkoLatencyLog {
    Le16 version;
    uint8_t type;
    uint8_t tracking;  ///< in bit 0
    Le16 numberOfBuckets;
    ByteArray<2> reserved6;
    Le64 commands;
    Le64 longest;  ///< microseconds
    Le64 since;
    VelkoLatencyBucket buckets[62];
};
static_assert(sizeof(VelkoLatencyLog) == 1024 && alignof(VelkoLatencyLog) == 1);
static_assert(offsetof(VelkoLatencyLog, commands) == 8 && offsetof(VelkoLatencyLog, buckets) == 32);

/// The head of log pages D3h to D7h; entries follow, and the generation once more.
struct VelkoBinaryLogHeader {
    ByteArray<4> signature;
    Le16 version;
    Le16 headerBytes;
    Le64 bytes;  ///< of the whole log
    Le32 entries;
    Le32 entryBytes;
    Le64 time;
    ByteArray<20> serialNumber;
    ByteArray<8> firmware;
    Le32 generation;
};
static_assert(sizeof(VelkoBinaryLogHeader) == 64 && alignof(VelkoBinaryLogHeader) == 1);
static_assert(offsetof(VelkoBinaryLogHeader, generation) == 60);

/// An entry of log pages D3h to D5h.
struct VelkoLogRecord {
    Le64 time;
    Le32 sequence;
    Le16 code;
    uint8_t severity;
    uint8_t core;
    ByteArray<16> details;
};
static_assert(sizeof(VelkoLogRecord) == 32 && alignof(VelkoLogRecord) == 1);
static_assert(offsetof(VelkoLogRecord, details) == 16);

/// An entry of log page D6h.
struct VelkoAssertEntry {
    Le64 time;
    Le32 code;
    ByteArray<4> reserved12;
    Le32 line;
    ByteArray<4> reserved20;
    ByteArray<40> file;
};
static_assert(sizeof(VelkoAssertEntry) == 64 && alignof(VelkoAssertEntry) == 1);
static_assert(offsetof(VelkoAssertEntry, line) == 16 && offsetof(VelkoAssertEntry, file) == 24);

/// An entry of log page D7h.
struct VelkoSnapshotSection {
    Le16 section;
    ByteArray<6> reserved2;
    Le32 offset;  ///< from the beginning of the log
    Le32 bytes;
};
static_assert(sizeof(VelkoSnapshotSection) == 16 && alignof(VelkoSnapshotSection) == 1);
static_assert(offsetof(VelkoSnapshotSection, offset) == 8 && offsetof(VelkoSnapshotSection, bytes) == 12);

/// Log page D8h.
struct VelkoForceFlushLog {
    uint8_t state;
    uint8_t percent;
    ByteArray<2> reserved2;
    Le32 secondsToGo;
    Le64 bytesToMove;
    Le64 bytesMoved;
    Le64 startTime;
    Le64 endTime;
    ByteArray<24> reserved40;
};
static_assert(sizeof(VelkoForceFlushLog) == 64 && alignof(VelkoForceFlushLog) == 1);
static_assert(offsetof(VelkoForceFlushLog, secondsToGo) == 4 && offsetof(VelkoForceFlushLog, endTime) == 32);

/// Log page D9h.
struct VelkoBackgroundLog {
    Le64 atWork;    ///< a bit for each activity
    Le64 waiting;   ///< the same
    uint8_t share;  ///< of the bandwidth, per cent
    ByteArray<47> reserved17;
};
static_assert(sizeof(VelkoBackgroundLog) == 64 && alignof(VelkoBackgroundLog) == 1);
static_assert(offsetof(VelkoBackgroundLog, share) == 16);

}  // namespace features::nvme
