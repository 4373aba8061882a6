#pragma once

#include <cstdint>

#include "features/nvme/structures/OcpLatencyMonitorLog.h"
#include "features/simulator/context/CommandContext.h"

namespace features::simulator {

/// The latency monitor of a drive of OCP 2.6 (feature and log page C3h, as feature C5h sets it). A Read, Write or
/// Dataset Management command that takes at least as long as threshold A is counted in the bucket of the highest
/// threshold that it reaches; commands that fail are not. Where Active Latency Configuration says so, a bucket has
/// stamp and latency of the command that took longest. When the bucket timer reaches its threshold, the active buckets
/// become the static ones. Drives of other models have no such monitor.

/// Counts the command of the context, which took so long.
void countOcpLatency(CommandContext& context, const CompletionEntry& completion);
/// Begins again with empty buckets, as after a Set Features; the debug log stays unless it is discarded.
void restartLatencyMonitor(CommandContext& context, bool discardsDebugLog);
/// Fills what the monitor has measured into its log page.
void putLatencies(CommandContext& context, nvme::OcpLatencyMonitorLog& log);

}  // namespace features::simulator
