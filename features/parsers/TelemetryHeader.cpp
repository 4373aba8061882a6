#include "features/parsers/TelemetryHeader.h"

#include <algorithm>

#include "features/nvme/Bytes.h"
#include "features/nvme/LogPageIds.h"

namespace features::parsers {

namespace {

constexpr unsigned OFFSET_LAST_BLOCKS = 8;
constexpr unsigned OFFSET_HOST_GENERATION = 381;
constexpr unsigned OFFSET_CONTROLLER_GENERATION = 383;

}  // namespace

TelemetryHeader::TelemetryHeader(const uint8_t* header)
    : lid(header[0]),
      lastBlock{nvme::le16(header + OFFSET_LAST_BLOCKS), nvme::le16(header + OFFSET_LAST_BLOCKS + 2),
                nvme::le16(header + OFFSET_LAST_BLOCKS + 4)},
      generation(
          header[lid == nvme::LID_TELEMETRY_CONTROLLER ? OFFSET_CONTROLLER_GENERATION : OFFSET_HOST_GENERATION]) {}

uint64_t TelemetryHeader::lengthBytes(unsigned area) const {
    // Some drives leave the last block of an area that is empty at 0, after one that is not.
    const unsigned areas = std::min(area, MAX_AREAS);
    const uint16_t last = areas == 0 ? uint16_t{0} : *std::max_element(lastBlock, lastBlock + areas);
    return (uint64_t{last} + 1) * BLOCK_BYTES;
}

}  // namespace features::parsers
