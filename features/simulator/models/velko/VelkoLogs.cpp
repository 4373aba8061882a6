#include "features/simulator/models/velko/VelkoLogs.h"

#include <iterator>

#include "features/nvme/StatusCodes.h"
#include "features/nvme/VelkoInterface.h"
#include "features/nvme/structures/VelkoLogs.h"
#include "features/simulator/context/FeatureValues.h"
#include "features/simulator/logs/HealthLog.h"
#include "features/simulator/models/velko/VelkoBinaryLogs.h"
#include "features/simulator/models/velko/VelkoFeatures.h"
#include "features/simulator/models/velko/VelkoFlush.h"
#include "features/simulator/models/velko/VelkoState.h"
#include "features/simulator/store/Extension.h"

namespace features::simulator {

using namespace nvme;

namespace {

constexpr uint16_t PAGE_VERSION = 1;
constexpr uint32_t NOT_REPORTED_32 = 0xFFFFFFFF;

bool isVelko(ModelId model) {
    return model == ModelId::VELKO;
}

// Extended SMART.

constexpr uint8_t THROTTLE_LIGHT = 1;
constexpr uint8_t THROTTLE_HEAVY = 2;
constexpr uint8_t THROTTLE_DISABLED = 255;
constexpr uint16_t LOWEST_KELVIN = 298;
constexpr uint16_t PCB_MAXIMUM_KELVIN = 358;
constexpr uint16_t PCB_MINIMUM_KELVIN = 273;
/// What the flash takes of a byte of the host: 1.25.
constexpr uint64_t AMPLIFICATION_QUARTERS = 5;

uint8_t throttleStatus(const CommandContext& context) {
    const uint16_t kelvin = compositeKelvin(context);
    if (kelvin >= context.model.criticalKelvin) return THROTTLE_HEAVY;
    if (currentFeature(context, FID_VELKO_THERMAL_THROTTLE_DISABLE).dword != 0) return THROTTLE_DISABLED;
    return kelvin >= context.model.warningKelvin ? THROTTLE_LIGHT : 0;
}

CompletionEntry buildExtendedSmart(CommandContext& context, const LogRequest&, std::vector<uint8_t>& page) {
    const uint64_t written = context.state.health.work.bytesWritten + context.work.bytesWritten;
    const uint64_t nand = written / 4 * AMPLIFICATION_QUARTERS + written % 4 * AMPLIFICATION_QUARTERS / 4;
    const auto cycles = static_cast<uint32_t>(nand / context.description.sizeBytes);
    VelkoExtendedSmartLog log{};
    log.version = PAGE_VERSION;
    log.crcErrors = velkoCrcErrors(context);
    log.nandMinimumCycles = log.qlcMinimumCycles = cycles - cycles / 10;
    log.nandMaximumCycles = log.qlcMaximumCycles = cycles + cycles / 10;
    log.nandAverageCycles = log.qlcAverageCycles = cycles;
    log.throttleCount = NOT_REPORTED_32;  // faults come and go unseen
    log.throttleStatus = throttleStatus(context);
    log.highestTemperature = compositeKelvin(context);
    log.lowestTemperature = LOWEST_KELVIN;
    log.pcbMaximumTemperature = PCB_MAXIMUM_KELVIN;
    log.pcbMinimumTemperature = PCB_MINIMUM_KELVIN;
    log.nandBytesWritten = nand;
    log.hostBytesWritten = written;
    log.dslcMinimumCycles = log.dslcMaximumCycles = log.dslcAverageCycles = NOT_REPORTED_32;  // it has no DSLC
    page = bytesOf(log);
    return {};
}

// Latency statistics.

constexpr uint8_t LATENCY_TYPES = 0x3;  // LSP: 0 to 3
constexpr uint32_t NO_UPPER_LIMIT = 0xFFFFFFFF;

LatencyCounters::Class countersOf(const CommandContext& context, size_t first, uint8_t type) {
    LatencyCounters all = context.state.health.work.latency;
    all += context.work.latency;
    if (type != 0) return all.classes[first + type - 1];
    LatencyCounters::Class sum;
    for (size_t i = 0; i < LatencyCounters::SIZES; ++i) sum += all.classes[first + i];
    return sum;
}

template <size_t FIRST>
CompletionEntry buildLatency(CommandContext& context, const LogRequest& request, std::vector<uint8_t>& page) {
    constexpr size_t COUNT = std::size(LATENCY_BUCKETS);
    const LatencyCounters::Class counters = countersOf(context, FIRST, request.lsp);
    VelkoLatencyLog log{};
    log.version = PAGE_VERSION;
    log.type = request.lsp;
    log.tracking = static_cast<uint8_t>(currentFeature(context, FID_VELKO_LATENCY_TRACKING).dword);
    log.numberOfBuckets = COUNT;
    uint64_t commands = 0;
    for (size_t i = 0; i < COUNT; ++i) {
        VelkoLatencyBucket& bucket = log.buckets[i];
        bucket.from = static_cast<uint32_t>(LATENCY_BUCKETS[i]);
        bucket.to = i + 1 < COUNT ? static_cast<uint32_t>(LATENCY_BUCKETS[i + 1]) : NO_UPPER_LIMIT;
        bucket.commands = counters.counts[i];
        commands += counters.counts[i];
    }
    log.commands = commands;
    log.longest = counters.longest;
    log.since = readExtension<VelkoState>(context.state).latencyEmptiedTime;
    page = bytesOf(log);
    return {};
}

// Force Flush Status and Background Activity.

CompletionEntry buildForceFlush(CommandContext& context, const LogRequest&, std::vector<uint8_t>& page) {
    const VelkoFlush flush = readExtension<VelkoState>(context.state).flush;
    const FlushProgress progress = flushProgress(flush, context.nowMs);
    VelkoForceFlushLog log{};
    log.state = static_cast<uint8_t>(progress.state);
    log.percent = progress.percent;
    log.secondsToGo = progress.secondsToGo;
    log.bytesToMove = flush.bytes;
    log.bytesMoved = progress.movedBytes;
    log.startTime = flush.startTime;
    log.endTime = progress.endTime;
    page = bytesOf(log);
    return {};
}

constexpr uint64_t ACTIVITY_MEDIA_SCAN = 1 << 2;
constexpr uint64_t ACTIVITY_FORCE_FLUSH = 1 << 4;
constexpr uint64_t ACTIVITY_ERASE = 1 << 5;
constexpr uint64_t ERASE_MS = 10000;
constexpr uint8_t SHARE_OF_EACH = 15;

CompletionEntry buildBackground(CommandContext& context, const LogRequest&, std::vector<uint8_t>& page) {
    const VelkoState velko = readExtension<VelkoState>(context.state);
    const bool isFlushing = flushProgress(velko.flush, context.nowMs).state == FlushState::IN_PROGRESS;
    const bool isErasing = velko.quickFormats != 0 && context.nowMs - velko.quickFormatMs < ERASE_MS;
    VelkoBackgroundLog log{};
    log.atWork = (isFlushing ? ACTIVITY_FORCE_FLUSH : 0) | (isErasing ? ACTIVITY_ERASE : 0);
    log.waiting = ACTIVITY_MEDIA_SCAN;
    log.share = static_cast<uint8_t>((isFlushing ? SHARE_OF_EACH : 0) + (isErasing ? SHARE_OF_EACH : 0));
    page = bytesOf(log);
    return {};
}

// clang-format off
constexpr LogRow LOGS[] = {
    //                          supported  model    LSP  build
    {LID_VELKO_EXTENDED_SMART,  nullptr,   isVelko, 0,             buildExtendedSmart},
    {LID_VELKO_READ_LATENCY,    nullptr,   isVelko, LATENCY_TYPES, buildLatency<0>},
    {LID_VELKO_WRITE_LATENCY,   nullptr,   isVelko, LATENCY_TYPES, buildLatency<LatencyCounters::SIZES>},
    {LID_VELKO_NLOG,            nullptr,   isVelko, 0,             buildNlog},
    {LID_VELKO_BRIDGE_NLOG,     nullptr,   isVelko, 0,             buildBridgeNlog},
    {LID_VELKO_EVENT_LOG,       nullptr,   isVelko, 0,             buildVelkoEventLog},
    {LID_VELKO_ASSERT_LOG,      nullptr,   isVelko, 0,             buildAssertLog},
    {LID_VELKO_SYSTEM_SNAPSHOT, nullptr,   isVelko, 0,             buildSystemSnapshot},
    {LID_VELKO_FORCE_FLUSH,     nullptr,   isVelko, 0,             buildForceFlush},
    {LID_VELKO_BACKGROUND,      nullptr,   isVelko, 0,             buildBackground},
};
// clang-format on

}  // namespace

Rows<LogRow> velkoLogs() {
    return LOGS;
}

}  // namespace features::simulator
