#pragma once

#include <cstdint>

#include "features/nvme/structures/TelemetryLogHeader.h"

namespace features::parsers {

/// The header of a telemetry log (07h or 08h): how long the log is, and which capture it holds (NVMe Base Specification
/// 1.4, sections 5.14.1.7 and 5.14.1.8).
///
/// Units: blocks of 512 bytes; the header is block 0, and the data areas follow it. Each area holds those before it, so
///        that the last block of the largest area is the last of the log. Area 4 is of NVMe 2.0.
struct TelemetryHeader {
    static constexpr uint32_t BYTES = sizeof(nvme::TelemetryLogHeader);
    static constexpr uint32_t BLOCK_BYTES = 512;
    static constexpr unsigned MAX_AREAS = 4;

    /// `header`: 512 bytes.
    explicit TelemetryHeader(const uint8_t* header);
    explicit TelemetryHeader(const nvme::TelemetryLogHeader& header);

    /// Bytes of the log up to the end of data area `area` (1 to 4), the header included.
    uint64_t lengthBytes(unsigned area) const;

    uint8_t lid;
    /// Counts the captures of the log: of the controller's (TCDGN) in log 08h, of the host's in log 07h since NVMe 2.0;
    /// before that it is always 0.
    uint8_t generation;
    nvme::TelemetryLogHeader header;
};

}  // namespace features::parsers
