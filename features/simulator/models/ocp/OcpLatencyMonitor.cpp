#include "features/simulator/models/ocp/OcpLatencyMonitor.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <optional>

#include "features/nvme/Bytes.h"
#include "features/nvme/FeatureIds.h"
#include "features/nvme/Opcodes.h"
#include "features/nvme/structures/OcpFeatureData.h"
#include "features/simulator/context/FeatureValues.h"
#include "features/simulator/context/Timestamp.h"
#include "features/simulator/store/Extension.h"

namespace features::simulator {

using namespace nvme;

namespace {

constexpr size_t BUCKETS = 4;
constexpr uint64_t NO_STAMP = UINT64_MAX;
constexpr uint64_t THRESHOLD_UNIT_MS = 5;
constexpr uint64_t TIMER_UNIT_MS = 300000;

/// The commands that are measured, in the order in which a bucket of the log page has them.
constexpr uint8_t COMMANDS[] = {OPC_DATASET_MANAGEMENT, OPC_WRITE, OPC_READ};
constexpr size_t KINDS = std::size(COMMANDS);

template <class Number>
using PerCommand = std::array<std::array<Number, KINDS>, BUCKETS>;  // by bucket

struct Buckets {
    PerCommand<uint32_t> counts{};
    PerCommand<uint64_t> stamps{};
    PerCommand<uint16_t> latencies{};
    uint16_t measured = 0;  ///< what has a stamp, bits as in Active Latency Configuration
    uint16_t units = 0;     ///< what has the host's time as its stamp, the same bits

    template <class A>
    void fields(A& archive) {
        archive(counts, stamps, latencies, measured, units);
    }
};

struct LatencyState {
    static constexpr const char* NAME = "ocp-latency";
    uint64_t sinceMs = 0;  ///< when the active buckets were empty; 0: since the drive was made
    Buckets active;
    Buckets settled;  ///< the static ones
    bool hasDebugLog = false;
    uint16_t debugLatency = 0;
    uint64_t debugStamp = 0;
    uint16_t debugTrigger = 0;
    bool isDebugTimeOfHost = false;

    template <class A>
    void fields(A& archive) {
        archive(sinceMs, active, settled, hasDebugLog, debugLatency, debugStamp, debugTrigger, isDebugTimeOfHost);
    }
};

OcpLatencyMonitorSetting settingOf(const CommandContext& context) {
    return structureAt<OcpLatencyMonitorSetting>(currentFeature(context, FID_OCP_LATENCY_MONITOR).data.data());
}

/// In the latency configuration Read comes first.
unsigned bitOf(size_t bucket, size_t kind) {
    return static_cast<unsigned>(bucket * KINDS + (KINDS - 1 - kind));
}

uint64_t bucketTimer(const CommandContext& context, const LatencyState& state) {
    const uint64_t since = std::max(state.sinceMs, context.state.health.createdMs);
    return (context.nowMs - std::min(since, context.nowMs)) / TIMER_UNIT_MS;
}

/// Lets the active buckets become the static ones when their time is over.
void settle(const CommandContext& context, const OcpLatencyMonitorSetting& setting, LatencyState& state) {
    const uint64_t timer = bucketTimer(context, state);
    const uint64_t threshold = setting.bucketTimerThreshold;
    if (threshold == 0 || timer < threshold) return;
    state.settled = timer / threshold == 1 ? state.active : Buckets();
    state.active = Buckets();
    state.sinceMs =
        std::max(state.sinceMs, context.state.health.createdMs) + timer / threshold * threshold * TIMER_UNIT_MS;
}

/// The highest one whose threshold the latency reaches.
std::optional<size_t> bucketOf(const OcpLatencyMonitorSetting& setting, uint64_t latencyMs) {
    for (size_t bucket = BUCKETS; bucket-- > 0;) {
        if (latencyMs >= (setting.thresholds[bucket] + uint64_t{1}) * THRESHOLD_UNIT_MS) return bucket;
    }
    return std::nullopt;
}

struct Stamp {
    uint64_t ms;
    bool isOfHost;  ///< since 1970, and not since the last reset
};
Stamp stampNow(const CommandContext& context) {
    return {le48(timestampData(context).data()), context.state.timestamp.setTo.has_value()};
}

void count(Buckets& buckets, size_t bucket, size_t kind, bool wantsStamp, uint16_t latency, const Stamp& stamp) {
    ++buckets.counts[bucket][kind];
    const unsigned place = bitOf(bucket, kind);
    const bool isLongest = !bit(buckets.measured, place) || latency > buckets.latencies[bucket][kind];
    if (!wantsStamp || !isLongest) return;
    const auto mask = static_cast<uint16_t>(1U << place);
    buckets.measured |= mask;
    buckets.units = static_cast<uint16_t>((buckets.units & ~mask) | (stamp.isOfHost ? mask : 0));
    buckets.stamps[bucket][kind] = stamp.ms;
    buckets.latencies[bucket][kind] = latency;
}

/// Where a kind of buckets is in the log page.
struct Places {
    ByteArray<64>& counters;
    Le64 (&stamps)[12];
    Le16 (&latencies)[12];
    Le16& units;
};

void putBuckets(const Buckets& buckets, const Places& at) {
    constexpr size_t COUNTER_BYTES = 4;
    for (size_t bucket = 0; bucket < BUCKETS; ++bucket) {
        for (size_t kind = 0; kind < KINDS; ++kind) {
            // The first counter of a bucket is reserved.
            putLe32(at.counters.data() + (bucket * (KINDS + 1) + kind + 1) * COUNTER_BYTES,
                    buckets.counts[bucket][kind]);
            const size_t place = (BUCKETS - 1 - bucket) * KINDS + kind;
            at.stamps[place] = bit(buckets.measured, bitOf(bucket, kind)) ? buckets.stamps[bucket][kind] : NO_STAMP;
            at.latencies[place] = buckets.latencies[bucket][kind];
        }
    }
    at.units = buckets.units;
}

}  // namespace

void countOcpLatency(CommandContext& context, const CompletionEntry& completion) {
    const SubmissionEntry& command = context.command;
    if (context.model.id != ModelId::OCP_2_6 || command.isAdmin || completion.delayMs == 0) return;
    if (completion.delivery != Delivery::COMPLETED || !completion.isSuccess()) return;
    const auto* const known = std::find(std::begin(COMMANDS), std::end(COMMANDS), command.opcode);
    const OcpLatencyMonitorSetting setting = settingOf(context);
    const auto bucket = bucketOf(setting, completion.delayMs);
    if (known == std::end(COMMANDS) || !bit(setting.enable, 0) || !bucket) return;
    const auto kind = static_cast<size_t>(known - std::begin(COMMANDS));
    const auto latency = static_cast<uint16_t>(std::min<uint32_t>(completion.delayMs, UINT16_MAX));
    const unsigned place = bitOf(*bucket, kind);
    const Stamp stamp = stampNow(context);
    auto state = readExtension<LatencyState>(context.state);
    settle(context, setting, state);
    count(state.active, *bucket, kind, bit(setting.latencyConfiguration, place), latency, stamp);
    if (bit(setting.debugLogTriggers, place) && !state.hasDebugLog) {
        state.hasDebugLog = true;
        state.debugLatency = latency;
        state.debugStamp = stamp.ms;
        state.isDebugTimeOfHost = stamp.isOfHost;
        state.debugTrigger = static_cast<uint16_t>(1U << place);
    }
    writeExtension(context.state, state);
}

void restartLatencyMonitor(CommandContext& context, bool discardsDebugLog) {
    const auto before = readExtension<LatencyState>(context.state);
    LatencyState state;
    if (!discardsDebugLog) state = before;
    state.active = state.settled = Buckets();
    state.sinceMs = context.nowMs;
    writeExtension(context.state, state);
}

void putLatencies(CommandContext& context, OcpLatencyMonitorLog& log) {
    const OcpLatencyMonitorSetting setting = settingOf(context);
    auto state = readExtension<LatencyState>(context.state);
    settle(context, setting, state);
    log.bucketTimer = static_cast<uint16_t>(std::min<uint64_t>(bucketTimer(context, state), UINT16_MAX));
    putBuckets(state.active, {log.activeCounters, log.activeStamps, log.activeLatencies, log.activeStampUnits});
    putBuckets(state.settled, {log.staticCounters, log.staticStamps, log.staticLatencies, log.staticStampUnits});
    if (!state.hasDebugLog) return;
    log.debugLogLatency = state.debugLatency;
    log.debugLogStamp = state.debugStamp;
    log.debugTriggerSource = state.debugTrigger;
    log.debugStampUnits = state.isDebugTimeOfHost ? 1 : 0;
}

}  // namespace features::simulator
