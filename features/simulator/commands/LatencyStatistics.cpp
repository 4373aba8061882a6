#include "features/simulator/commands/LatencyStatistics.h"

#include <algorithm>
#include <iterator>

#include "features/nvme/VelkoInterface.h"
#include "features/simulator/context/FeatureValues.h"

namespace features::simulator {

namespace {

/// Reads come from the flash, writes end in the buffer.
constexpr uint64_t READ_MICROSECONDS = 70;
constexpr uint64_t WRITE_MICROSECONDS = 15;
constexpr uint64_t BYTES_PER_MICROSECOND = 2048;
constexpr uint64_t SMALL_BYTES = 4096;
constexpr uint64_t MEDIUM_BYTES = 65536;

}  // namespace

void countLatency(CommandContext& context, bool isRead, uint64_t bytes) {
    if (currentFeature(context, nvme::FID_VELKO_LATENCY_TRACKING).dword == 0) return;
    const uint64_t microseconds = (isRead ? READ_MICROSECONDS : WRITE_MICROSECONDS) + bytes / BYTES_PER_MICROSECOND;
    const size_t size = bytes <= SMALL_BYTES ? 0 : bytes <= MEDIUM_BYTES ? 1 : 2;
    LatencyCounters::Class& counters = context.work.latency.classes[(isRead ? 0 : 3) + size];
    const auto* bucket = std::upper_bound(std::begin(LATENCY_BUCKETS), std::end(LATENCY_BUCKETS), microseconds) - 1;
    ++counters.counts[static_cast<size_t>(bucket - std::begin(LATENCY_BUCKETS))];
    counters.longest = std::max(counters.longest, microseconds);
}

}  // namespace features::simulator
