#include "features/parsers/TelemetryHeader.h"

#include "features/nvme/LogPageIds.h"
#include "features/nvme/LogPages.h"

namespace features::parsers {

namespace {

uint8_t generationOf(const nvme::TelemetryLogHeader& header) {
    return header.lid == nvme::LID_TELEMETRY_CONTROLLER ? header.controllerGeneration : header.hostGeneration;
}

}  // namespace

TelemetryHeader::TelemetryHeader(const uint8_t* header)
    : TelemetryHeader(nvme::structureAt<nvme::TelemetryLogHeader>(header)) {}

TelemetryHeader::TelemetryHeader(const nvme::TelemetryLogHeader& header)
    : lid(header.lid), generation(generationOf(header)), header(header) {}

uint64_t TelemetryHeader::lengthBytes(unsigned area) const {
    return nvme::telemetryLogBytes(header, area);
}

}  // namespace features::parsers
