#include "features/simulator/models/ocp/OcpFeatures.h"

#include <cstddef>
#include <iterator>

#include "features/nvme/Bytes.h"
#include "features/nvme/FeatureIds.h"
#include "features/nvme/StatusCodes.h"
#include "features/nvme/structures/OcpFeatureData.h"
#include "features/simulator/models/ocp/OcpPanic.h"
#include "features/simulator/models/ocp/OcpState.h"
#include "features/simulator/store/Extension.h"

namespace features::simulator {

using namespace nvme;

namespace {

constexpr CompletionEntry INVALID_FIELD = refusal(SC_INVALID_FIELD);
constexpr uint32_t CENTIWATTS_PER_WATT = 100;

bool isOcp(const CommandContext& context) {
    return context.model.id == ModelId::OCP;
}

FeatureValue highestPowerState(const CommandContext& context, uint32_t) {
    return {context.model.powerStates[0].maximumCentiwatts / CENTIWATTS_PER_WATT, {}};
}

/// The latency monitor of a new drive: on, all latencies, thresholds in units of 5 ms.
FeatureValue defaultLatencyMonitor(const CommandContext&, uint32_t) {
    return {0, {0xE0, 0x07, 0x05, 0x13, 0x1E, 0x2E, 0xFF, 0x0F, 0x0A, 0, 0, 0, 1}};
}

CompletionEntry clearHistory(CommandContext& context, FeatureValue& value) {
    auto state = readExtension<OcpState>(context.state);
    if (bit(value.dword, 31)) state.activations.clear();
    writeExtension(context.state, state);
    value.dword = 0;
    return {};
}

CompletionEntry clearPcieErrors(CommandContext& context, FeatureValue& value) {
    auto state = readExtension<OcpState>(context.state);
    if (bit(value.dword, 31)) state.pcieErrors = 0;
    writeExtension(context.state, state);
    value.dword = 0;
    return {};
}

CompletionEntry checkEndOfLifeMode(CommandContext&, FeatureValue& value) {
    value.dword >>= 30;
    return value.dword == 0 ? INVALID_FIELD : CompletionEntry{};
}

CompletionEntry takeBit31(CommandContext&, FeatureValue& value) {
    value.dword >>= 31;
    return {};
}

CompletionEntry takeInterval(CommandContext&, FeatureValue& value) {
    value.dword >>= 16;
    return {};
}

CompletionEntry checkPowerState(CommandContext& context, FeatureValue& value) {
    return powerStateOfWatts(context.model, value.dword) ? CompletionEntry{} : INVALID_FIELD;
}

/// Thresholds ascend, and what is reserved is zero.
CompletionEntry checkLatencyMonitor(CommandContext&, FeatureValue& value) {
    constexpr uint8_t MAX_ENABLE = 3;
    const auto setting = structureAt<OcpLatencyMonitorSetting>(value.data.data());
    const bool isRestZero = setting.reserved13 == decltype(setting.reserved13){};
    const bool isValid = std::is_sorted(std::begin(setting.thresholds), std::end(setting.thresholds)) &&
                         (setting.latencyConfiguration & 0xF000) == 0 && setting.discardDebugLog <= 1;
    return isRestZero && isValid && setting.enable <= MAX_ENABLE ? CompletionEntry{} : INVALID_FIELD;
}

constexpr std::nullptr_t null = nullptr;
constexpr uint32_t BIT_31 = 1U << 31;

// clang-format off
constexpr FeatureRow FEATURES[] = {
    // fid                           of drive change save   of nsid  bits of dword 11     selector
    //  data  default  check  read  write
    {FID_OCP_ERROR_INJECTION,        isOcp,   true,  false, false,   dword11(0x7F),       0, null,
     4096, always<0>,             checkErrorInjections, null, null},
    {FID_OCP_CLEAR_FIRMWARE_HISTORY, isOcp,   true,  false, false,   dword11(BIT_31),     0, null,
     0,    always<0>,             clearHistory,         null, null},
    {FID_OCP_END_OF_LIFE_MODE,       isOcp,   true,  true,  false,   dword11(0xC0000000), 0, null,
     0,    always<1>,             checkEndOfLifeMode,   null, null},
    {FID_OCP_CLEAR_PCIE_ERRORS,      isOcp,   true,  false, false,   dword11(BIT_31),     0, null,
     0,    always<0>,             clearPcieErrors,      null, null},
    {FID_OCP_IEEE1667_SILO,          isOcp,   true,  true,  false,   dword11(BIT_31),     0, null,
     0,    always<0>,             takeBit31,            null, null},
    {FID_OCP_LATENCY_MONITOR,        isOcp,   true,  true,  false,   {},                  0, null,
     4096, defaultLatencyMonitor, checkLatencyMonitor,  null, null},
    {FID_OCP_PLP_CHECK_INTERVAL,     isOcp,   true,  true,  false,   dword11(0xFFFF0000), 0, null,
     0,    always<15>,            takeInterval,         null, null},
    {FID_OCP_DSSD_POWER_STATE,       isOcp,   true,  true,  false,   dword11(0x7F),       0, null,
     0,    highestPowerState,     checkPowerState,      null, null},
};
// clang-format on

}  // namespace

Rows<FeatureRow> ocpFeatures() {
    return FEATURES;
}

std::optional<uint8_t> powerStateOfWatts(const Model& model, uint32_t watts) {
    for (uint8_t i = 0; i < model.powerStateCount; ++i) {
        const PowerState& state = model.powerStates[i];
        if (!state.isNonOperational && state.maximumCentiwatts == watts * CENTIWATTS_PER_WATT) return i;
    }
    return std::nullopt;
}

}  // namespace features::simulator
