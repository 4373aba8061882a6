#include "features/simulator/models/velko/VelkoFlush.h"

#include <algorithm>

#include "features/nvme/Bytes.h"
#include "features/nvme/StatusCodes.h"
#include "features/nvme/VelkoInterface.h"
#include "features/simulator/models/velko/VelkoRecords.h"
#include "features/simulator/store/Extension.h"

namespace features::simulator {

using namespace nvme;

namespace {

/// The cache blocks take that part of the drive.
constexpr uint64_t CACHE_SHARE = 8;
constexpr uint64_t BYTES_PER_MS = 262144;
/// So that the progress of a small drive can be seen, too.
constexpr uint64_t MIN_MS = 5000;
constexpr uint64_t MS_PER_SECOND = 1000;

uint64_t durationMs(const VelkoFlush& flush) {
    return std::max(flush.bytes / BYTES_PER_MS, MIN_MS);
}

/// What the host wrote since the last run, as far as the cache holds it.
uint64_t cachedBytes(const CommandContext& context, const VelkoFlush& flush) {
    const uint64_t written = context.state.health.work.bytesWritten + context.work.bytesWritten;
    uint64_t left = 0;
    if (flush.wasStarted) left = flush.bytes - flushProgress(flush, context.nowMs).movedBytes;
    return std::min(left + written - flush.writtenAtStart, context.description.sizeBytes / CACHE_SHARE);
}

}  // namespace

FlushProgress flushProgress(const VelkoFlush& flush, uint64_t nowMs) {
    FlushProgress progress;
    if (!flush.wasStarted) return progress;
    const uint64_t endMs = flush.wasStopped ? flush.stoppedMs : nowMs;
    const uint64_t duration = durationMs(flush);
    const uint64_t elapsed = std::min(endMs - std::min(flush.startedMs, endMs), duration);
    progress.percent = static_cast<uint8_t>(elapsed * 100 / duration);
    progress.movedBytes = flush.bytes / duration * elapsed + flush.bytes % duration * elapsed / duration;
    if (elapsed == duration)
        progress.state = FlushState::COMPLETED;
    else
        progress.state = flush.wasStopped ? FlushState::STOPPED : FlushState::IN_PROGRESS;
    if (progress.state == FlushState::IN_PROGRESS) {
        progress.secondsToGo = static_cast<uint32_t>((duration - elapsed + MS_PER_SECOND - 1) / MS_PER_SECOND);
    } else {
        progress.endTime = flush.startTime + elapsed;
    }
    return progress;
}

CompletionEntry forceFlush(CommandContext& context) {
    VelkoState velko = readExtension<VelkoState>(context.state);
    VelkoFlush& flush = velko.flush;
    const bool isStart = bit(context.command.cdw10, 0);
    const bool isRunning = flushProgress(flush, context.nowMs).state == FlushState::IN_PROGRESS;
    if (isStart && isRunning) return passingRefusal(SC_VELKO_FLUSH_IN_PROGRESS);
    if (!isStart && !isRunning) return passingRefusal(SC_VELKO_FLUSH_NOT_IN_PROGRESS);
    if (isStart) {
        const uint64_t bytes = cachedBytes(context, flush);
        const uint64_t written = context.state.health.work.bytesWritten + context.work.bytesWritten;
        flush = {true, false, context.nowMs, 0, velkoTime(context), bytes, written};
    } else {
        flush.wasStopped = true;
        flush.stoppedMs = context.nowMs;
    }
    recordVelkoEvent(context, velko, VelkoEvent::FORCE_FLUSH, isStart ? 1 : 0);
    writeExtension(context.state, velko);
    return {};
}

}  // namespace features::simulator
