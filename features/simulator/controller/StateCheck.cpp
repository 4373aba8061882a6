#include "features/simulator/controller/StateCheck.h"

#include <algorithm>
#include <cstddef>
#include <limits>

#include "features/nvme/NamespaceIds.h"
#include "features/simulator/logs/SelfTestLog.h"
#include "features/simulator/models/ocp/Ocp26State.h"
#include "features/simulator/models/ocp/OcpState.h"
#include "features/simulator/models/velko/VelkoState.h"
#include "features/simulator/store/Extension.h"
#include "features/simulator/store/Model.h"
#include "features/simulator/store/PaddedText.h"
#include "features/simulator/tables/ModelTables.h"

namespace features::simulator {

namespace {

constexpr uint64_t TIME_END = uint64_t{1} << 48;  // of the Timestamp feature, and of any clock here
constexpr size_t MAX_RANGES = 256;                // of one Dataset Management command
constexpr uint16_t MAX_STATUS_FIELD = 0x7FFF;
constexpr uint8_t MAX_RESET = 3;
constexpr uint8_t MAX_SELF_TEST_CODE = 2;
constexpr uint8_t MAX_SANITIZE_STATUS = 4;
constexpr uint32_t EVENT_KINDS = 8;

bool isNsid(uint32_t nsid) {
    return nsid >= 1 && nsid <= MAX_NAMESPACES;
}

bool isTime(uint64_t ms) {
    return ms < TIME_END;
}

bool isPossibleNamespace(const DriveState& state, const Model& model, const NamespaceState& ns) {
    if (ns.format >= model.formatCount) return false;
    const uint64_t maxBlocks = MAX_DRIVE_BYTES >> model.formats[ns.format].dataShift;
    const bool isSize = ns.size <= maxBlocks && ns.capacity == ns.size;
    const bool isGeneration = ns.mediaGeneration >= 1 && ns.mediaGeneration < state.nextMediaGeneration;
    return isSize && isGeneration && ns.protection == 0 && ns.controllers >> MAX_CONTROLLERS == 0 &&
           ns.writeProtection <= 1;
}

bool areNamespacesPossible(const DriveState& state, const Model& model) {
    if (state.namespaces.size() > MAX_NAMESPACES || state.namespacesMade < state.namespaces.size()) return false;
    return std::all_of(state.namespaces.begin(), state.namespaces.end(), [&](const auto& entry) {
        return isNsid(entry.first) && isPossibleNamespace(state, model, entry.second);
    });
}

bool isPossibleFeature(const Model& model, const FeatureKey& key, const FeatureValue& value) {
    const FeatureRow* row = findFeatureRow(tablesOf(model.id), key.fid);
    if (row == nullptr || (key.nsid != 0) != row->isOfNamespace || (key.nsid != 0 && !isNsid(key.nsid))) return false;
    const bool isSelector =
        (key.selector & ~row->selector) == 0 && (row->isSelector == nullptr || row->isSelector(key.selector));
    // A check may make another dword of what it is given.
    const bool isDword = row->check != nullptr || (value.dword & ~row->bits.cdw11) == 0;
    return isSelector && isDword && value.data.size() == row->dataBytes;
}

bool areFeaturesPossible(const DriveState& state, const Model& model) {
    const auto isPossible = [&](const auto& entry) { return isPossibleFeature(model, entry.first, entry.second); };
    const FeatureState& features = state.features;
    return std::all_of(features.current.begin(), features.current.end(), isPossible) &&
           std::all_of(features.saved.begin(), features.saved.end(), isPossible);
}

bool isHealthPossible(const DriveState& state, const Model&) {
    return isTime(state.health.createdMs) && isTime(state.health.lastResetMs);
}

bool areErrorsPossible(const DriveState& state, const Model& model) {
    if (state.errors.size() > model.errorEntries || state.errors.size() > state.errorCount) return false;
    return std::all_of(state.errors.begin(), state.errors.end(),
                       [](const ErrorEntry& entry) { return entry.statusField <= MAX_STATUS_FIELD; });
}

bool isRevision(const std::string& text) {
    return text.size() <= REVISION_BYTES;
}

bool isFirmwarePossible(const DriveState& state, const Model& model) {
    const FirmwareState& firmware = state.firmware;
    if (firmware.slots.size() != model.firmwareSlots || firmware.resets.size() != model.firmwareSlots) return false;
    if (firmware.activeSlot < 1 || firmware.activeSlot > model.firmwareSlots) return false;
    if (firmware.slots[firmware.activeSlot - 1U].empty() || firmware.running.empty()) return false;
    if (firmware.pendingSlot > model.firmwareSlots) return false;
    if (firmware.pendingSlot != 0 && firmware.slots[firmware.pendingSlot - 1U].empty()) return false;
    return isRevision(firmware.running) && std::all_of(firmware.slots.begin(), firmware.slots.end(), isRevision) &&
           std::all_of(firmware.resets.begin(), firmware.resets.end(), [](uint8_t kind) { return kind <= MAX_RESET; });
}

bool isSelfTestPossible(const DriveState& state, const Model&) {
    const SelfTestState& test = state.selfTest;
    const bool isTarget = test.nsid == 0 || test.nsid == nvme::NSID_ALL || isNsid(test.nsid);
    return test.code <= MAX_SELF_TEST_CODE && isTarget && isTime(test.startedMs) &&
           test.results.size() <= MAX_SELF_TEST_RESULTS;
}

bool isSanitizePossible(const DriveState& state, const Model&) {
    return state.sanitize.status <= MAX_SANITIZE_STATUS && isTime(state.sanitize.startedMs);
}

bool isTimestampPossible(const DriveState& state, const Model&) {
    return isTime(state.timestamp.setTo.value_or(0)) && isTime(state.timestamp.setAtMs);
}

bool areEventsPossible(const DriveState& state, const Model&) {
    const EventState& events = state.events;
    const auto& changed = events.changedNamespaces;
    const bool isSorted = std::adjacent_find(changed.begin(), changed.end(), std::greater_equal<>()) == changed.end();
    return ((events.pending | events.masked) >> EVENT_KINDS) == 0 && isSorted &&
           std::all_of(changed.begin(), changed.end(), isNsid);
}

bool isDeallocationPossible(const DriveState& state, const Model&) {
    const auto isRange = [](const BlockRange& range) {
        return isNsid(range.nsid) && range.first <= MAX_DRIVE_BYTES && range.count <= MAX_DRIVE_BYTES;
    };
    return state.deallocating.size() <= MAX_RANGES &&
           std::all_of(state.deallocating.begin(), state.deallocating.end(), isRange);
}

bool areExtensionsPossible(const DriveState& state, const Model&) {
    return readExtension<VelkoState>(state).isPossible() && readExtension<OcpState>(state).isPossible() &&
           readExtension<Ocp26State>(state).isPossible();
}

constexpr struct {
    const char* what;
    bool (*isPossible)(const DriveState& state, const Model& model);
} PARTS[] = {
    {"namespaces", areNamespacesPossible},
    {"features", areFeaturesPossible},
    {"times of the drive's life", isHealthPossible},
    {"error log entries", areErrorsPossible},
    {"firmware slots", isFirmwarePossible},
    {"self-tests", isSelfTestPossible},
    {"sanitize state", isSanitizePossible},
    {"timestamp", isTimestampPossible},
    {"events", areEventsPossible},
    {"blocks to be deallocated", isDeallocationPossible},
    {"vendor specific records", areExtensionsPossible},
};

}  // namespace

const char* impossibleIn(const DriveState& state) {
    const bool isKnown = state.model <= static_cast<uint8_t>(ModelId::OCP_2_6);
    if (!isKnown || isSata(static_cast<ModelId>(state.model))) return "model";
    const Model& model = modelOf(static_cast<ModelId>(state.model));
    const auto* part = std::find_if(std::begin(PARTS), std::end(PARTS),
                                    [&](const auto& row) { return !row.isPossible(state, model); });
    return part == std::end(PARTS) ? nullptr : part->what;
}

}  // namespace features::simulator
