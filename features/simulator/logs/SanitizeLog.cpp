#include "features/simulator/logs/SanitizeLog.h"

#include <algorithm>

#include "features/nvme/Bytes.h"
#include "features/nvme/Units.h"
#include "features/nvme/structures/SanitizeStatusLog.h"
#include "features/simulator/logs/SanitizeVerification.h"

namespace features::simulator {

using namespace nvme;

namespace {

constexpr uint32_t ACTION_OVERWRITE = 3;
constexpr uint16_t PROGRESS_DONE = 0xFFFF;
constexpr uint32_t NO_ESTIMATE = 0xFFFFFFFF;

uint64_t durationMs(const CommandContext& context) {
    return uint64_t{context.description.sanitizeSeconds} * 1000;
}

uint64_t elapsedMs(const CommandContext& context) {
    return context.nowMs - std::min(context.nowMs, context.state.sanitize.startedMs);
}

/// Progress in 65,536ths.
uint16_t progress(const CommandContext& context) {
    if (!context.state.sanitize.isRunning || isInMediaVerification(context.state)) return PROGRESS_DONE;
    return static_cast<uint16_t>(std::min<uint64_t>(
        elapsedMs(context) * nvme::SANITIZE_PROGRESS_OF_ALL / durationMs(context), PROGRESS_DONE - 1));
}

uint32_t overwritePasses(const SanitizeState& sanitize) {
    if ((sanitize.command & 7) != ACTION_OVERWRITE) return 0;
    const uint32_t passes = sanitize.command >> 4 & 0xF;
    return passes == 0 ? 16 : passes;
}

uint16_t statusOf(const CommandContext& context) {
    const SanitizeState& sanitize = context.state.sanitize;
    const uint32_t passes = overwritePasses(sanitize);
    const uint32_t completed =
        sanitize.isRunning ? passes * progress(context) / nvme::SANITIZE_PROGRESS_OF_ALL : passes;
    return static_cast<uint16_t>(sanitize.status | completed << 3 | (sanitize.globalDataErased ? 1 << 8 : 0));
}

/// AUSE decides in which of the two states the operation is processed.
uint8_t sanitizeState(const CommandContext& context) {
    constexpr uint8_t IDLE = 0;
    constexpr uint8_t RESTRICTED_PROCESSING = 1;
    constexpr uint8_t UNRESTRICTED_PROCESSING = 3;
    constexpr uint8_t MEDIA_VERIFICATION = 5;
    if (isInMediaVerification(context.state)) return MEDIA_VERIFICATION;
    if (!context.state.sanitize.isRunning) return IDLE;
    return bit(context.state.sanitize.command, 3) ? UNRESTRICTED_PROCESSING : RESTRICTED_PROCESSING;
}

}  // namespace

bool isSanitizeOver(const CommandContext& context) {
    return elapsedMs(context) >= durationMs(context);
}

CompletionEntry buildSanitizeLog(CommandContext& context, const LogRequest&, std::vector<uint8_t>& page) {
    SanitizeStatusLog log{};
    log.sprog = progress(context);
    log.sstat = statusOf(context);
    log.scdw10 = context.state.sanitize.command;
    log.overwriteTime = log.blockEraseTime = log.cryptoEraseTime = context.description.sanitizeSeconds;
    if (isOfNvme21(context.description.model)) log.state = sanitizeState(context);
    log.overwriteTimeNoDeallocate = log.blockEraseTimeNoDeallocate = log.cryptoEraseTimeNoDeallocate = NO_ESTIMATE;
    page = bytesOf(log);
    return {};
}

}  // namespace features::simulator
