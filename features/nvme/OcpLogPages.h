#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "features/nvme/FieldTree.h"
#include "features/nvme/LogPages.h"
#include "features/nvme/OcpGuids.h"
#include "ostrel/core/Payload.h"

namespace features::nvme {

/// Versions of log page C0h, by which a drive says how much of the OCP Datacenter NVMe SSD Specification it follows.
inline constexpr uint16_t OCP_SMART_OF_1_0 = 2;
inline constexpr uint16_t OCP_SMART_OF_2_0 = 3;
inline constexpr uint16_t OCP_SMART_OF_2_5 = 4;
inline constexpr uint16_t OCP_SMART_OF_2_6 = 5;

/// The DSSD power states of log page C4h: the descriptor of n watts is the byte at OCP_POWER_STATE_DESCRIPTORS + n, and
/// has the NVMe power state in its bits 4:0.
inline constexpr uint32_t OCP_CAPABILITIES_BYTES = 4096;
inline constexpr size_t OCP_POWER_STATE_DESCRIPTORS = 16;
inline constexpr unsigned OCP_MAX_WATTS = 127;
inline constexpr unsigned OCP_POWER_STATE_VALID_BIT = 7;

/// A log page of the OCP Datacenter NVMe SSD Specification. Another maker's drive has other pages at these identifiers:
/// only the page's GUID says that it is OCP's.
struct OcpLogPageRow {
    LogPageRow page;
    OcpGuid guid;
    uint16_t offsetOfGuid;
    /// Drives whose C0h has one of these versions must have the page; 0: no drive must.
    uint16_t firstVersion;
    uint16_t lastVersion;

    /// Whether a drive must have it, by byte 494 of its log page C0h.
    bool isRequiredBy(uint16_t ocpSmartVersion) const {
        return firstVersion != 0 && ocpSmartVersion >= firstVersion && ocpSmartVersion <= lastVersion;
    }
    /// Whether the bytes of a page, from its start, bear the GUID.
    bool isIn(const ostrel::core::Payload& data) const;
};

/// The row of an identifier or name; null when there is none. In names only letters and digits count.
const OcpLogPageRow* findOcpLogPage(uint8_t lid);
const OcpLogPageRow* findOcpLogPage(const std::string& name);
/// The row of a page that bears its GUID; null for any other bytes.
const OcpLogPageRow* identifyOcpLogPage(uint8_t lid, const ostrel::core::Payload& data);
/// All rows, in the order of their identifiers.
const OcpLogPageRow* ocpLogPagesBegin();
const OcpLogPageRow* ocpLogPagesEnd();

/// Byte 494 of a log page C0h of 512 bytes.
uint16_t ocpSmartVersion(const uint8_t* page);
/// What became of the drive's firmware by a log page C1h of 512 bytes, and what ends the panic, in sentences; empty: it
/// has not panicked.
std::string ocpPanicText(const uint8_t* page);

/// A name that log page C9h gives: of a statistic, an event, the maker's own part of an event, or an event FIFO.
struct OcpTelemetryString {
    enum class Kind : uint8_t { STATISTIC, EVENT, VENDOR_EVENT, FIFO };

    Kind kind;
    uint8_t eventClass;  ///< of events
    uint16_t id;         ///< of a FIFO its number, from 1 on
    std::string text;
};
/// All names of a page C9h, in its order; none of bytes that are no such page.
std::vector<OcpTelemetryString> ocpTelemetryStrings(const ostrel::core::Payload& page);

// The decoders: as those of the standard's pages they show what is there, and never fail. A field that came with a
// later version than the page has is not shown, whatever its bytes.

FieldTree decodeOcpErrorRecovery(const ostrel::core::Payload& data);
FieldTree decodeOcpFirmwareHistory(const ostrel::core::Payload& data);
FieldTree decodeOcpLatencyMonitor(const ostrel::core::Payload& data);
FieldTree decodeOcpCapabilities(const ostrel::core::Payload& data);
FieldTree decodeOcpUnsupportedRequirements(const ostrel::core::Payload& data);
FieldTree decodeOcpHardwareComponents(const ostrel::core::Payload& data);
FieldTree decodeOcpTcgConfiguration(const ostrel::core::Payload& data);
/// The head, and the names that the page gives to statistics and events.
FieldTree decodeOcpTelemetryStrings(const ostrel::core::Payload& data);

}  // namespace features::nvme
