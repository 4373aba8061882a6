#pragma once

#include <cstdint>
#include <vector>

#include "features/simulator/context/CommandContext.h"
#include "features/simulator/context/LogRow.h"

namespace features::simulator {

/// Captures of the drive's inner state. Data area 1 holds the SMART / Health log and a text of one fact a line, area 2
/// the Error Information log beside, area 3 the persistent event log. Data area 4, of a drive of NVMe 2.1, is of any
/// size. A capture is unchanged until the next one,
/// however often and in whatever pieces it is read.

/// Captures for the controller itself, `reason` being a text of 128 bytes at most; not while a capture waits to be
/// read, and not on a drive without telemetry. A capture that cannot be stored is left out: what went wrong before
/// counts more.
void captureForController(CommandContext& context, const char* reason);

/// Log page 07h, Telemetry Host-Initiated. LSP bit 0 makes a new capture.
CompletionEntry buildHostTelemetry(CommandContext& context, const LogRequest& request, std::vector<uint8_t>& page);
/// Log page 08h, Telemetry Controller-Initiated. A read that does not retain the event says that the host has it.
CompletionEntry buildControllerTelemetry(CommandContext& context, const LogRequest& request,
                                         std::vector<uint8_t>& page);
/// The length of either page, by its header: data area 4 of a drive with "telemetry-mib" goes on after `page`.
uint64_t telemetryLength(const std::vector<uint8_t>& page);

}  // namespace features::simulator
