#include <algorithm>
#include <iterator>

#include "features/simulator/sata/Handlers.h"

namespace features::simulator::sata {

namespace {

constexpr uint16_t MODE_STANDBY = 0x00;
constexpr uint16_t MODE_ACTIVE = 0xFF;
constexpr uint64_t TIME_END = uint64_t{1} << 48;
constexpr uint8_t MAX_APM = 0xFE;

ata::Registers enableApm(SataContext& context) {
    const uint16_t level = context.command.count;
    if (level == 0 || level > MAX_APM) return aborted();
    context.state.apmLevel = static_cast<uint8_t>(level);
    return completed();
}

ata::Registers disableApm(SataContext& context) {
    context.state.apmLevel = 0;
    return completed();
}

template <bool SataState::* Setting, bool Value>
ata::Registers set(SataContext& context) {
    context.state.*Setting = Value;
    return completed();
}

/// The link's affair, which no simulated drive has: any mode that IDENTIFY offers.
ata::Registers setTransferMode(SataContext&) {
    return completed();
}

struct Row {
    uint16_t feature;
    ata::Registers (*run)(SataContext& context);
};
constexpr Row FEATURES[] = {
    {0x02, set<&SataState::hasWriteCache, true>},
    {0x82, set<&SataState::hasWriteCache, false>},
    {0x03, setTransferMode},
    {0x05, enableApm},
    {0x85, disableApm},
    {0xAA, set<&SataState::hasLookAhead, true>},
    {0x55, set<&SataState::hasLookAhead, false>},
};

}  // namespace

ata::Registers setFeatures(SataContext& context) {
    const auto* row = std::find_if(std::begin(FEATURES), std::end(FEATURES),
                                   [&](const Row& each) { return each.feature == context.command.feature; });
    return row == std::end(FEATURES) ? aborted() : row->run(context);
}

ata::Registers setDateAndTime(SataContext& context) {
    if (context.command.lba >= TIME_END) return aborted();
    context.state.timeSetTo = context.command.lba;
    context.state.timeSetAtMs = context.nowMs;
    return completed();
}

ata::Registers checkPowerMode(SataContext& context) {
    return completed(context.state.isStandby ? MODE_STANDBY : MODE_ACTIVE);
}

ata::Registers enterIdle(SataContext& context) {
    context.state.isStandby = false;
    return completed();
}

ata::Registers enterStandby(SataContext& context) {
    context.state.isStandby = true;
    return context.media.flush(1) == 0 ? completed() : deviceFault();
}

}  // namespace features::simulator::sata
