#include <algorithm>

#include "features/simulator/sata/Handlers.h"

namespace features::simulator::sata {

namespace {

constexpr uint16_t GET_NATIVE = 0x0000;
constexpr uint16_t SET = 0x0001;
constexpr uint16_t FREEZE = 0x0002;
constexpr uint8_t READ_NATIVE_MAX = 0xF8;
constexpr uint8_t READ_NATIVE_MAX_EXT = 0x27;
constexpr uint16_t KEEP_OVER_POWER_CYCLES = 1;
constexpr uint64_t MAX_LBA_28 = 0x0FFFFFFF;

uint64_t nativeMax(const SataContext& context) {
    return context.nativeSectors() - 1;
}

/// 0: the native one.
uint64_t stored(const SataContext& context, uint64_t lba) {
    return lba == nativeMax(context) ? 0 : lba;
}

bool isPossible(const SataContext& context, uint64_t lba) {
    return lba != 0 && lba <= nativeMax(context);
}

}  // namespace

ata::Registers accessibleMaxAddress(SataContext& context) {
    SataState& state = context.state;
    if (!context.description.supportsAccessibleMaxAddress) return aborted();
    if (context.command.feature == GET_NATIVE) return completed(0, nativeMax(context));
    if (state.isMaxLbaFrozen) return aborted();
    if (context.command.feature == FREEZE) {
        state.isMaxLbaFrozen = true;
        return completed();
    }
    const bool mayBeSet = context.command.feature == SET && !state.isMaxLbaSet;
    if (!mayBeSet || !isPossible(context, context.command.lba)) return aborted();
    state.maxLba = stored(context, context.command.lba);
    state.isMaxLbaSet = true;
    return completed(0, context.command.lba);
}

ata::Registers readNativeMax(SataContext& context) {
    if (context.description.supportsAccessibleMaxAddress) return aborted();
    if (context.command.is48Bit) return completed(0, nativeMax(context));
    const uint64_t lba = std::min(nativeMax(context), MAX_LBA_28);
    ata::Registers registers = completed(0, lba & 0xFFFFFF);
    registers.device |= static_cast<uint8_t>(lba >> 24);  // LBA 27:24
    return registers;
}

ata::Registers setMax(SataContext& context) {
    SataState& state = context.state;
    const uint8_t before = context.command.is48Bit ? READ_NATIVE_MAX_EXT : READ_NATIVE_MAX;
    const bool isThere = !context.description.supportsAccessibleMaxAddress && state.lastCommand == before;
    if (!isThere || !isPossible(context, context.command.lba)) return aborted();
    // One that lasts over power cycles may be set once in each.
    const bool isKept = (context.command.count & KEEP_OVER_POWER_CYCLES) != 0;
    if (isKept && state.isMaxLbaSet) return failedWith(ERROR_NOT_FOUND, context.command.lba);
    if (isKept) {
        state.maxLba = stored(context, context.command.lba);
        state.volatileMaxLba = 0;
        state.isMaxLbaSet = true;
    } else {
        state.volatileMaxLba = context.command.lba;
    }
    return completed(0, context.command.lba);
}

}  // namespace features::simulator::sata
