#include "features/simulator/models/ocp/OcpFeatures.h"

#include <cstddef>
#include <iterator>

#include "features/nvme/Bytes.h"
#include "features/nvme/FeatureIds.h"
#include "features/nvme/StatusCodes.h"
#include "features/nvme/structures/OcpFeatureData.h"
#include "features/simulator/models/ocp/OcpLatencyMonitor.h"
#include "features/simulator/models/ocp/OcpPanic.h"
#include "features/simulator/models/ocp/OcpState.h"
#include "features/simulator/store/Extension.h"

namespace features::simulator {

using namespace nvme;

namespace {

constexpr CompletionEntry INVALID_FIELD = refusal(SC_INVALID_FIELD);
constexpr uint32_t CENTIWATTS_PER_WATT = 100;

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

/// Thresholds ascend, and what is reserved is zero. The monitor begins again.
CompletionEntry checkLatencyMonitor(CommandContext& context, FeatureValue& value) {
    constexpr uint8_t MAX_ENABLE = 3;
    const auto setting = structureAt<OcpLatencyMonitorSetting>(value.data.data());
    const bool isRestZero = setting.reserved13 == decltype(setting.reserved13){};
    const bool isValid = std::is_sorted(std::begin(setting.thresholds), std::end(setting.thresholds)) &&
                         (setting.latencyConfiguration & 0xF000) == 0 && setting.discardDebugLog <= 1;
    if (!isRestZero || !isValid || setting.enable > MAX_ENABLE) return INVALID_FIELD;
    if (context.model.id == ModelId::OCP_2_6) restartLatencyMonitor(context, setting.discardDebugLog != 0);
    return {};
}

CompletionEntry checkTelemetryProfile(CommandContext&, FeatureValue& value) {
    return value.dword <= OCP_TELEMETRY_PROFILES ? CompletionEntry{} : INVALID_FIELD;
}

constexpr std::nullptr_t null = nullptr;
constexpr uint32_t BIT_31 = 1U << 31;

// clang-format off
// Of all versions.
    // fid                           of drive change save   of nsid  bits of dword 11     selector
    //  data  default  check  read  write
constexpr FeatureRow ERROR_INJECTION =
    {FID_OCP_ERROR_INJECTION,        null,    true,  false, false,   dword11(0x7F),       0, null,
     4096, always<0>,             checkErrorInjections, null, null};
constexpr FeatureRow END_OF_LIFE_MODE =
    {FID_OCP_END_OF_LIFE_MODE,       null,    true,  true,  false,   dword11(0xC0000000), 0, null,
     0,    always<1>,             checkEndOfLifeMode,   null, null};
constexpr FeatureRow CLEAR_PCIE_ERRORS =
    {FID_OCP_CLEAR_PCIE_ERRORS,      null,    true,  false, false,   dword11(BIT_31),     0, null,
     0,    always<0>,             clearPcieErrors,      null, null};
constexpr FeatureRow IEEE1667_SILO =
    {FID_OCP_IEEE1667_SILO,          null,    true,  true,  false,   dword11(BIT_31),     0, null,
     0,    always<0>,             takeBit31,            null, null};
constexpr FeatureRow LATENCY_MONITOR =
    {FID_OCP_LATENCY_MONITOR,        null,    true,  true,  false,   {},                  0, null,
     4096, defaultLatencyMonitor, checkLatencyMonitor,  null, null};
constexpr FeatureRow PLP_CHECK_INTERVAL =
    {FID_OCP_PLP_CHECK_INTERVAL,     null,    true,  true,  false,   dword11(0xFFFF0000), 0, null,
     0,    always<15>,            takeInterval,         null, null};
constexpr FeatureRow DSSD_POWER_STATE =
    {FID_OCP_DSSD_POWER_STATE,       null,    true,  true,  false,   dword11(0x7F),       0, null,
     0,    highestPowerState,     checkPowerState,      null, null};

constexpr FeatureRow FEATURES[] = {
    ERROR_INJECTION,
    {FID_OCP_CLEAR_FIRMWARE_HISTORY, null,    true,  false, false,   dword11(BIT_31),     0, null,
     0,    always<0>,             clearHistory,         null, null},
    END_OF_LIFE_MODE,
    CLEAR_PCIE_ERRORS,
    IEEE1667_SILO,
    LATENCY_MONITOR,
    PLP_CHECK_INTERVAL,
    DSSD_POWER_STATE,
};
constexpr FeatureRow FEATURES_OF_2_6[] = {
    ERROR_INJECTION,
    END_OF_LIFE_MODE,
    CLEAR_PCIE_ERRORS,
    IEEE1667_SILO,
    LATENCY_MONITOR,
    PLP_CHECK_INTERVAL,
    DSSD_POWER_STATE,
    {FID_OCP_TELEMETRY_PROFILE,      null,    true,  true,  false,   dword11(0xFF),       0, null,
     0,    always<0>,             checkTelemetryProfile, null, null},
    {FID_OCP_ASYNCHRONOUS_EVENT,     null,    true,  true,  false,   dword11(0x1),        0, null,
     0,    always<0>,             null,                 null, null},
    // What sets it is not in what is published: it stays disabled.
    {FID_OCP_IDLE_WAKE_UP_TIME,      null,    false, false, false,   {},                  0, null,
     0,    always<0>,             null,                 null, null},
};
// clang-format on

}  // namespace

Rows<FeatureRow> ocpFeatures() {
    return FEATURES;
}

Rows<FeatureRow> ocp26Features() {
    return FEATURES_OF_2_6;
}

std::optional<uint8_t> powerStateOfWatts(const Model& model, uint32_t watts) {
    for (uint8_t i = 0; i < model.powerStateCount; ++i) {
        const PowerState& state = model.powerStates[i];
        if (!state.isNonOperational && state.maximumCentiwatts == watts * CENTIWATTS_PER_WATT) return i;
    }
    return std::nullopt;
}

}  // namespace features::simulator
