#include "features/simulator/models/velko/VelkoFeatures.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

#include "features/nvme/Bytes.h"
#include "features/nvme/StatusCodes.h"
#include "features/nvme/VelkoInterface.h"
#include "features/simulator/commands/Deallocation.h"
#include "features/simulator/commands/NamespaceCommands.h"
#include "features/simulator/context/FeatureValues.h"
#include "features/simulator/models/velko/VelkoRecords.h"
#include "features/simulator/models/velko/VelkoState.h"
#include "features/simulator/store/Extension.h"
#include "features/simulator/store/Namespaces.h"

namespace features::simulator {

using namespace nvme;

namespace {

constexpr CompletionEntry INVALID_FIELD = refusal(SC_INVALID_FIELD);

bool isVelko(const CommandContext& context) {
    return context.model.id == ModelId::VELKO;
}
/// Maximum LBA means the only namespace. Metadata is after the blocks, where a smaller namespace would not find it.
bool hasOneNamespace(const CommandContext& context) {
    return isVelko(context) && context.state.namespaces.size() == 1 &&
           context.formatOf(context.state.namespaces.begin()->second).metadataBytes == 0;
}

// Maximum LBA and Native Maximum LBA.

FeatureValue lbaValue(uint64_t lba) {
    FeatureValue value{0, std::vector<uint8_t>(VELKO_LBA_BYTES)};
    putLe64(value.data.data(), lba);
    return value;
}

uint64_t nativeLba(const CommandContext& context) {
    const NamespaceState& part = context.state.namespaces.begin()->second;
    const uint64_t bytes = context.description.sizeBytes / ALLOCATION_BYTES * ALLOCATION_BYTES;
    return (bytes >> context.formatOf(part).dataShift) - 1;
}

FeatureValue nativeValue(const CommandContext& context, uint32_t) {
    return lbaValue(nativeLba(context));
}

FeatureValue readMaximumLba(const CommandContext& context, uint32_t) {
    return lbaValue(context.state.namespaces.begin()->second.size - 1);
}

CompletionEntry checkMaximumLba(CommandContext& context, FeatureValue& value) {
    const uint64_t lba = le64(value.data.data());
    const bool isRestZero =
        std::all_of(value.data.begin() + 8, value.data.end(), [](uint8_t byte) { return byte == 0; });
    return lba != 0 && lba <= nativeLba(context) && isRestZero ? CompletionEntry{} : INVALID_FIELD;
}

void writeMaximumLba(CommandContext& context, uint32_t, const FeatureValue& value) {
    auto& [nsid, part] = *context.state.namespaces.begin();
    const uint64_t blocks = le64(value.data.data()) + 1;
    if (blocks < part.size) {
        // Once the state is saved, and by the next command should this process die before: they must not be readable
        // when the namespace grows again.
        context.state.deallocating.push_back({nsid, blocks, part.size - blocks});
        context.afterSave.push_back([&context] { (void)finishDeallocation(context); });
    }
    part.size = part.capacity = blocks;
    noteNamespaceChange(context, nsid);
}

// Power Governor: the limits of a mode are beside it.

constexpr uint32_t POWER_LIMITS[] = {0x00191400, 0x00120E00, 0x000C0A00};  // 20 and 25, 14 and 18, 10 and 12 watts
constexpr uint32_t MAX_POWER_MODE = 2;

CompletionEntry checkPowerGovernor(CommandContext&, FeatureValue& value) {
    if (value.dword > MAX_POWER_MODE) return INVALID_FIELD;
    value.dword |= POWER_LIMITS[value.dword];
    return {};
}

/// The value is its own saved one: it outlives a reset.
template <uint8_t FID>
void persist(CommandContext& context, uint32_t, const FeatureValue& value) {
    context.state.features.saved[{FID, 0, 0}] = value;
}

// SMBus Address: one of three is set, all are kept.

CompletionEntry checkSmBusAddress(CommandContext& context, FeatureValue& value) {
    const uint32_t address = value.dword & 0xFF;
    const uint32_t selector = value.dword >> 8;
    if (address == 0 || selector > 2) return INVALID_FIELD;
    const uint32_t shift = selector * 8;
    const uint32_t all = currentFeature(context, FID_VELKO_SMBUS_ADDRESS).dword;
    value.dword = (all & ~(0xFFU << shift)) | address << shift;
    return {};
}

CompletionEntry checkLed(CommandContext&, FeatureValue& value) {
    const uint32_t base = value.dword >> 16 & 0xFF;
    return base == 25 || base == 50 ? CompletionEntry{} : INVALID_FIELD;
}

// Reset CRC, and Quick Format: bit 0 does it.

CompletionEntry checkDoIt(CommandContext&, FeatureValue& value) {
    return value.dword == 1 ? CompletionEntry{} : INVALID_FIELD;
}

FeatureValue readCrcErrors(const CommandContext& context, uint32_t) {
    return {static_cast<uint32_t>(std::min<uint64_t>(velkoCrcErrors(context), UINT32_MAX)), {}};
}
void resetCrcErrors(CommandContext& context, uint32_t, const FeatureValue&) {
    VelkoState velko = readExtension<VelkoState>(context.state);
    velko.crcErrorsAtReset = context.state.health.unsafeShutdowns;
    writeExtension(context.state, velko);
}

FeatureValue readQuickFormats(const CommandContext& context, uint32_t) {
    return {readExtension<VelkoState>(context.state).quickFormats, {}};
}
void quickFormat(CommandContext& context, uint32_t, const FeatureValue&) {
    for (auto& [nsid, part] : context.state.namespaces) renewMedia(context, nsid);
    VelkoState velko = readExtension<VelkoState>(context.state);
    ++velko.quickFormats;
    velko.quickFormatMs = context.nowMs;
    recordVelkoEvent(context, velko, VelkoEvent::QUICK_FORMAT);
    writeExtension(context.state, velko);
}

/// Switched on, it begins with empty buckets.
CompletionEntry checkLatencyTracking(CommandContext& context, FeatureValue& value) {
    const bool isOn = currentFeature(context, FID_VELKO_LATENCY_TRACKING).dword != 0;
    if (value.dword == 0 || isOn) return {};
    context.state.health.work.latency = {};
    context.work.latency = {};
    VelkoState velko = readExtension<VelkoState>(context.state);
    velko.latencyEmptiedTime = velkoTime(context);
    writeExtension(context.state, velko);
    return {};
}

constexpr std::nullptr_t null = nullptr;

// clang-format off
constexpr FeatureRow FEATURES[] = {
    // fid                                of drive         change save   of nsid  bits of dword 11      selector, its check
    //  data  default  check  read  write
    {FID_VELKO_MAXIMUM_LBA,              hasOneNamespace, true,  false, false, {},                  0, null,
     VELKO_LBA_BYTES, nativeValue, checkMaximumLba, readMaximumLba, writeMaximumLba},
    {FID_VELKO_NATIVE_MAXIMUM_LBA,       hasOneNamespace, false, false, false, {},                  0, null,
     VELKO_LBA_BYTES, nativeValue, null, null, null},
    {FID_VELKO_POWER_GOVERNOR,           isVelko,         true,  true,  false, dword11(0x3),        0, null,
     0, always<POWER_LIMITS[0]>, checkPowerGovernor, null, null},
    {FID_VELKO_SMBUS_ADDRESS,            isVelko,         true,  false, false, dword11(0x3FF),      0, null,
     0, always<0x003AA6D4>, checkSmBusAddress, null, persist<FID_VELKO_SMBUS_ADDRESS>},
    {FID_VELKO_LED_ACTIVITY,             isVelko,         true,  false, false, dword11(0x01FFFFFF), 0, null,
     0, always<0x01328822>, checkLed, null, persist<FID_VELKO_LED_ACTIVITY>},
    {FID_VELKO_DYNAMIC_MMIO,             isVelko,         true,  true,  false, dword11(0x1),        0, null,
     0, always<0>, null, null, null},
    {FID_VELKO_RESET_CRC,                isVelko,         true,  false, false, dword11(0x1),        0, null,
     0, always<0>, checkDoIt, readCrcErrors, resetCrcErrors},
    {FID_VELKO_THERMAL_THROTTLE_DISABLE, isVelko,         true,  true,  false, dword11(0x1),        0, null,
     0, always<0>, null, null, null},
    {FID_VELKO_LATENCY_TRACKING,         isVelko,         true,  true,  false, dword11(0x1),        0, null,
     0, always<0>, checkLatencyTracking, null, null},
    {FID_VELKO_QUICK_FORMAT,             isVelko,         true,  false, false, dword11(0x1),        0, null,
     0, always<0>, checkDoIt, readQuickFormats, quickFormat},
};
// clang-format on

}  // namespace

Rows<FeatureRow> velkoFeatures() {
    return FEATURES;
}

uint64_t velkoCrcErrors(const CommandContext& context) {
    // Each time the link breaks in the middle of something, one error is seen.
    const uint64_t all = context.state.health.unsafeShutdowns;
    return all - std::min(readExtension<VelkoState>(context.state).crcErrorsAtReset, all);
}

}  // namespace features::simulator
