#include "features/simulator/tables/FeatureTable.h"

#include <algorithm>
#include <cstddef>

#include "features/nvme/Bytes.h"
#include "features/nvme/FeatureIds.h"
#include "features/nvme/StatusCodes.h"
#include "features/simulator/context/EventQueue.h"
#include "features/simulator/context/Timestamp.h"

namespace features::simulator {

using namespace nvme;

namespace {

constexpr CompletionEntry INVALID_FIELD = refusal(SC_INVALID_FIELD);

// Temperature Threshold: which sensor (TMPSEL) and which side (THSEL) in dword 11.
constexpr uint32_t BITS_TEMPERATURE = 0x3F << 16;
constexpr uint32_t BITS_INTERRUPT_VECTOR = 0xFFFF;
constexpr uint32_t MAX_INTERRUPT_VECTOR = 64;

bool isTemperatureSelector(uint32_t selector) {
    const uint32_t sensor = selector >> 16 & 0xF;
    const uint32_t side = selector >> 20 & 3;
    return sensor <= 1 && side <= 1;  // the composite temperature and one sensor
}

FeatureValue defaultTemperature(const CommandContext& context, uint32_t selector) {
    const bool isUnder = (selector >> 20 & 3) == 1;
    const bool isComposite = (selector >> 16 & 0xF) == 0;
    return {isUnder ? 0 : isComposite ? context.model.warningKelvin : 0xFFFF, {}};
}

bool isInterruptVector(uint32_t selector) {
    return selector <= MAX_INTERRUPT_VECTOR;
}

CompletionEntry checkPowerState(CommandContext& context, FeatureValue& value) {
    return (value.dword & 0x1F) < context.model.powerStateCount ? CompletionEntry{} : INVALID_FIELD;
}

/// Blocks are never reported as deallocated: DULBE cannot be had.
CompletionEntry checkErrorRecovery(CommandContext&, FeatureValue& value) {
    return bit(value.dword, 16) ? INVALID_FIELD : CompletionEntry{};
}

constexpr uint32_t MAX_QUEUES_0BASED = 63;
CompletionEntry grantQueues(CommandContext&, FeatureValue& value) {
    const uint32_t submission = value.dword & 0xFFFF;
    const uint32_t completion = value.dword >> 16;
    if (submission == 0xFFFF || completion == 0xFFFF) return INVALID_FIELD;
    value.dword = std::min(submission, MAX_QUEUES_0BASED) | std::min(completion, MAX_QUEUES_0BASED) << 16;
    return {};
}

/// Each power state goes to a non-operational one of a higher number, or nowhere.
CompletionEntry checkTransitions(CommandContext& context, FeatureValue& value) {
    const Model& model = context.model;
    for (unsigned state = 0; state < 32; ++state) {
        const uint64_t entry = le64(value.data.data() + size_t{8} * state);
        const auto target = static_cast<unsigned>(bits(entry, 7, 3));
        if (bits(entry, 2, 0) != 0 || bits(entry, 63, 32) != 0) return INVALID_FIELD;
        if (bits(entry, 31, 8) == 0) continue;  // switched off for this state
        const bool isTarget = target < model.powerStateCount && model.powerStates[target].isNonOperational;
        if (state >= model.powerStateCount || !isTarget || target <= state) return INVALID_FIELD;
    }
    return {};
}

CompletionEntry checkThermalManagement(CommandContext&, FeatureValue& value) {
    const uint32_t light = value.dword >> 16;     // TMT1
    const uint32_t heavy = value.dword & 0xFFFF;  // TMT2
    for (const uint32_t kelvin : {light, heavy}) {
        if (kelvin != 0 && (kelvin < MIN_THERMAL_KELVIN || kelvin > MAX_THERMAL_KELVIN)) return INVALID_FIELD;
    }
    return light != 0 && heavy != 0 && light >= heavy ? INVALID_FIELD : CompletionEntry{};
}

/// ACRE, and since NVMe 2.0 ETDAS and LBAFEE: each is 0 or 1.
CompletionEntry checkHostBehavior(CommandContext& context, FeatureValue& value) {
    const auto rest = value.data.begin() + (isOfNvme21(context.model.id) ? 3 : 1);
    const bool areFlags = std::all_of(value.data.begin(), rest, [](uint8_t byte) { return byte <= 1; });
    const bool isRestZero = std::all_of(rest, value.data.end(), [](uint8_t byte) { return byte == 0; });
    return areFlags && isRestZero ? CompletionEntry{} : INVALID_FIELD;
}

CompletionEntry checkHostIdentifier(CommandContext&, FeatureValue& value) {
    const bool isZero = std::all_of(value.data.begin(), value.data.end(), [](uint8_t byte) { return byte == 0; });
    return isZero ? INVALID_FIELD : CompletionEntry{};
}

FeatureValue readTimestamp(const CommandContext& context, uint32_t) {
    const auto data = timestampData(context);
    return {0, {data.begin(), data.end()}};
}

void writeTimestamp(CommandContext& context, uint32_t, const FeatureValue& value) {
    queueEvent(context, {DriveEvent::Kind::TIMESTAMP_CHANGE});
    context.state.timestamp.setTo = le48(value.data.data());
    context.state.timestamp.setAtMs = context.nowMs;
}

FeatureValue readWriteProtection(const CommandContext& context, uint32_t nsid) {
    return {context.state.namespaces.at(nsid).writeProtection, {}};
}
void writeWriteProtection(CommandContext& context, uint32_t nsid, const FeatureValue& value) {
    context.state.namespaces.at(nsid).writeProtection = static_cast<uint8_t>(value.dword);
}
/// ANA Change Notices are of drives with ANA Reporting.
CompletionEntry checkEvents(CommandContext& context, FeatureValue& value) {
    return bit(value.dword, 11) && !context.description.hasTwoControllers ? INVALID_FIELD : CompletionEntry{};
}
CompletionEntry checkWriteProtection(CommandContext&, FeatureValue& value) {
    return value.dword <= 1 ? CompletionEntry{} : INVALID_FIELD;  // NWPC has the first two states
}

bool isIdling(const CommandContext& context) {
    return hasIdleStates(context.model);
}
bool hasOptions(const CommandContext& context) {
    return context.model.hasOptions;
}
bool hasSanitize(const CommandContext& context) {
    return context.description.supportsSanitize;
}

constexpr std::nullptr_t null = nullptr;

// clang-format off
constexpr FeatureRow FEATURES[] = {
    // fid                             of drive       change save   of nsid  bits of dword 11      selector, its check
    //  data  default  check  read  write
    {FID_ARBITRATION,                 null,          true,  true,  false, dword11(0xFFFFFF07), 0,                     null,
     0,   always<0x2>,        null, null, null},
    {FID_POWER_MANAGEMENT,            null,          true,  true,  false, dword11(0xFF),       0,                     null,
     0,   always<0>,          checkPowerState, null, null},
    {FID_TEMPERATURE_THRESHOLD,       null,          true,  true,  false, dword11(0x3FFFFF),   BITS_TEMPERATURE,      isTemperatureSelector,
     0,   defaultTemperature, null, null, null},
    {FID_ERROR_RECOVERY,              null,          true,  true,  true,  dword11(0x1FFFF),    0,                     null,
     0,   always<0>,          checkErrorRecovery, null, null},
    {FID_VOLATILE_WRITE_CACHE,        hasOptions,    true,  true,  false, dword11(0x1),        0,                     null,
     0,   always<1>,          null, null, null},
    {FID_NUMBER_OF_QUEUES,            null,          true,  false, false, dword11(0xFFFFFFFF), 0,                     null,
     0,   always<0x003F003F>, grantQueues, null, null},
    {FID_INTERRUPT_COALESCING,        null,          true,  true,  false, dword11(0xFFFF),     0,                     null,
     0,   always<0>,          null, null, null},
    {FID_INTERRUPT_VECTOR,            null,          true,  true,  false, dword11(0x1FFFF),    BITS_INTERRUPT_VECTOR, isInterruptVector,
     0,   always<0>,          null, null, null},
    {FID_WRITE_ATOMICITY,             null,          true,  true,  false, dword11(0x1),        0,                     null,
     0,   always<0>,          null, null, null},
    {FID_ASYNCHRONOUS_EVENT,          null,          true,  true,  false, dword11(0xFFF),      0,                     null,
     0,   always<0>,          checkEvents, null, null},
    {FID_AUTONOMOUS_POWER_STATE,      isIdling, true,  true,  false, dword11(0x1),        0,                     null,
     256, always<0>,          checkTransitions, null, null},
    {FID_TIMESTAMP,                   hasOptions,    true,  false, false, {},                  0,                     null,
     8,   null,               null, readTimestamp, writeTimestamp},
    {FID_KEEP_ALIVE,                  null,          true,  false, false, dword11(0xFFFFFFFF), 0,                     null,
     0,   always<0>,          null, null, null},
    {FID_HOST_THERMAL_MANAGEMENT,     hasOptions,    true,  true,  false, dword11(0xFFFFFFFF), 0,                     null,
     0,   always<0>,          checkThermalManagement, null, null},
    {FID_NON_OPERATIONAL_POWER_STATE, isIdling, true,  true,  false, dword11(0x1),        0,                     null,
     0,   always<0>,          null, null, null},
    {FID_HOST_BEHAVIOR_SUPPORT,       hasOptions,    true,  false, false, {},                  0,                     null,
     512, null,               checkHostBehavior, null, null},
    {FID_SANITIZE_CONFIG,             hasSanitize,   true,  true,  false, dword11(0x1),        0,                     null,
     0,   always<0>,          null, null, null},
    {FID_SOFTWARE_PROGRESS,           hasOptions,    true,  true,  false, dword11(0xFF),       0,                     null,
     0,   always<0>,          null, null, null},
    {FID_HOST_IDENTIFIER,             hasOptions,    true,  false, false, dword11(0x1),        0,                     null,
     16,  null,               checkHostIdentifier, null, null},
    {FID_NAMESPACE_WRITE_PROTECTION,  hasOptions,    true,  false, true,  dword11(0x7),        0,                     null,
     0,   always<0>,          checkWriteProtection, readWriteProtection, writeWriteProtection},
};
// clang-format on

}  // namespace

Rows<FeatureRow> standardFeatures() {
    return FEATURES;
}

}  // namespace features::simulator
