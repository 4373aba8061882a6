#pragma once

#include <cstdint>
#include <string>

#include "features/nvme/FieldTree.h"
#include "features/nvme/LogPages.h"
#include "ostrel/core/Payload.h"

namespace features::nvme {

/// The maker's log pages, as docs/vendor-interface.md publishes them. Only a VELKO drive has them. Of the binary logs
/// D3h to D7h the row describes their header.
const LogPageRow* findVelkoLogPage(uint8_t lid);
/// By name, in which only letters and digits count, without their case.
const LogPageRow* findVelkoLogPage(const std::string& name);
/// All rows, in the order of their identifiers.
const LogPageRow* velkoLogPagesBegin();
const LogPageRow* velkoLogPagesEnd();

// The decoders: as those of the standard's pages they show what is there, and never fail.

FieldTree decodeVelkoExtendedSmart(const ostrel::core::Payload& data);
FieldTree decodeVelkoReadLatency(const ostrel::core::Payload& data);
FieldTree decodeVelkoWriteLatency(const ostrel::core::Payload& data);
/// The header that all binary logs have.
FieldTree decodeVelkoLogHeader(const ostrel::core::Payload& data);
FieldTree decodeVelkoForceFlush(const ostrel::core::Payload& data);
FieldTree decodeVelkoBackground(const ostrel::core::Payload& data);

/// What a latency page says of itself.
bool isVelkoLatencyTracked(const ostrel::core::Payload& data);

/// What the header of a binary log says, 64 bytes. `bytes`: of the whole log.
struct VelkoLogHeader {
    std::string signature;
    uint64_t bytes;
    uint32_t generation;
};
VelkoLogHeader velkoLogHeader(const uint8_t* data);

/// Words of the state of a force flush.
std::string forceFlushStateText(unsigned code);
/// "garbage collection and media scan", or "none", out of the bits of log D9h.
std::string backgroundActivityText(uint64_t activities);

}  // namespace features::nvme
