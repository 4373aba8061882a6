#include "features/simulator/sata/Sanitize.h"

#include <algorithm>
#include <iterator>

#include "features/nvme/Bytes.h"
#include "features/simulator/sata/Handlers.h"

namespace features::simulator::sata {

namespace {

constexpr uint16_t STATUS_EXT = 0x0000;
constexpr uint16_t CRYPTO_SCRAMBLE = 0x0011;
constexpr uint16_t BLOCK_ERASE = 0x0012;
constexpr uint16_t OVERWRITE = 0x0014;
constexpr uint16_t FREEZE_LOCK = 0x0020;
constexpr uint16_t ANTIFREEZE_LOCK = 0x0040;

// Why the command was aborted: LBA 7:0.
constexpr uint64_t REASON_UNSUPPORTED = 2;
constexpr uint64_t REASON_FROZEN = 3;
constexpr uint64_t REASON_ANTIFROZEN = 4;

constexpr uint16_t PROGRESS_NONE = 0xFFFF;

/// What the LBA of a command must be, but for the bits that are a parameter.
struct Key {
    uint16_t feature;
    uint64_t lba;
    uint64_t parameterBits;
    uint16_t countBits;  ///< that the command defines
};
constexpr Key KEYS[] = {
    {CRYPTO_SCRAMBLE, 0x43727970, 0, 0x0010},         // "Cryp"
    {BLOCK_ERASE, 0x426B4572, 0, 0x0010},             // "BkEr"
    {OVERWRITE, 0x4F5700000000, 0xFFFFFFFF, 0x009F},  // "OW", and the pattern
    {FREEZE_LOCK, 0x46724C6B, 0, 0},                  // "FrLk"
    {ANTIFREEZE_LOCK, 0x416E7469, 0, 0},              // "Anti"
};

uint64_t durationMs(const SataContext& context) {
    return uint64_t{context.description.sanitizeSeconds} * 1000;
}

uint16_t progress(const SataContext& context) {
    const auto& started = context.state.sanitize.startedMs;
    if (!started) return PROGRESS_NONE;
    const uint64_t duration = std::max<uint64_t>(durationMs(context), 1);
    const uint64_t elapsed = context.nowMs > *started ? context.nowMs - *started : 0;
    return static_cast<uint16_t>(std::min<uint64_t>(elapsed * 65536 / duration, 0xFFFE));
}

ata::Registers statusOf(const SataContext& context) {
    const SanitizeState& state = context.state.sanitize;
    const unsigned count = (state.isCompleted ? 0x8000U : 0) | (state.startedMs ? 0x4000U : 0) |
                           (state.isFrozen ? 0x2000U : 0) | (state.isAntifrozen ? 0x1000U : 0);
    return completed(static_cast<uint16_t>(count), progress(context));
}

ata::Registers freeze(SataContext& context) {
    if (context.state.sanitize.isAntifrozen) return aborted(REASON_ANTIFROZEN);
    context.state.sanitize.isFrozen = true;
    return statusOf(context);
}

ata::Registers antifreeze(SataContext& context) {
    context.state.sanitize.isAntifrozen = true;
    return statusOf(context);
}

ata::Registers start(SataContext& context) {
    context.state.sanitize.startedMs = context.nowMs;
    context.state.sanitize.isCompleted = false;
    if (durationMs(context) == 0) finishSanitize(context);
    return statusOf(context);
}

}  // namespace

ata::Registers sanitize(SataContext& context) {
    const TaskFile& command = context.command;
    const SanitizeState& state = context.state.sanitize;
    if (!context.description.supportsSanitize) return aborted();
    if (command.feature == STATUS_EXT) return statusOf(context);
    const auto* key = std::find_if(std::begin(KEYS), std::end(KEYS),
                                   [&](const Key& each) { return each.feature == command.feature; });
    if (key == std::end(KEYS) || (command.lba & ~key->parameterBits) != key->lba ||
        (command.count & ~key->countBits) != 0) {
        return aborted(REASON_UNSUPPORTED);
    }
    if (state.isFrozen) return aborted(REASON_FROZEN);
    if (state.startedMs) return aborted();
    switch (key->feature) {
        case FREEZE_LOCK:
            return freeze(context);
        case ANTIFREEZE_LOCK:
            return antifreeze(context);
        default:
            return start(context);
    }
}

void finishSanitize(SataContext& context) {
    SanitizeState& state = context.state.sanitize;
    if (!state.startedMs || context.nowMs < *state.startedMs + durationMs(context)) return;
    state.startedMs.reset();
    state.isCompleted = true;
    renewMedia(context);
}

}  // namespace features::simulator::sata
