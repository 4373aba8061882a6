#include "features/simulator/commands/Features.h"

#include <algorithm>

#include "features/nvme/Bytes.h"
#include "features/nvme/FeatureIds.h"
#include "features/nvme/NamespaceIds.h"
#include "features/nvme/StatusCodes.h"
#include "features/simulator/context/DriveTables.h"
#include "features/simulator/context/EventQueue.h"
#include "features/simulator/context/FeatureValues.h"
#include "features/simulator/context/Transfer.h"
#include "features/simulator/context/UuidIndex.h"

namespace features::simulator {

using namespace nvme;

namespace {

enum class Select : uint8_t { CURRENT, DEFAULT, SAVED, CAPABILITIES };

constexpr uint32_t EVERY_SENSOR = 0xF << 16;
constexpr uint32_t SENSOR_1 = 0x1 << 16;

/// The values that a Set Features sets: Temperature Threshold can be set for all sensors at once.
std::vector<uint32_t> selectorsOf(const FeatureRow& row, uint32_t cdw11) {
    const uint32_t selector = cdw11 & row.selector;
    if (row.fid != FID_TEMPERATURE_THRESHOLD || (selector & EVERY_SENSOR) != EVERY_SENSOR) return {selector};
    return {selector & ~EVERY_SENSOR, (selector & ~EVERY_SENSOR) | SENSOR_1};
}

/// A Host Identifier of 8 bytes, or of 16 (EXHID); as many event types of Flexible Data Placement as are asked for.
uint32_t dataBytesOf(const FeatureRow& row, uint32_t cdw11) {
    constexpr uint32_t EVENT_TYPE_BYTES = 2;
    if (row.fid == FID_FDP_EVENTS) return std::min(row.dataBytes, (cdw11 >> 16 & 0xFF) * EVENT_TYPE_BYTES);
    return row.fid == FID_HOST_IDENTIFIER && !bit(cdw11, 0) ? 8 : row.dataBytes;
}

uint32_t capabilitiesOf(const FeatureRow& row) {
    return (row.isSaveable ? 1U : 0) | (row.isOfNamespace ? 2U : 0) | (row.isChangeable ? 4U : 0);
}

bool hasDefinedBitsAlone(const SubmissionEntry& command, const DefinedBits& bits) {
    return ((command.cdw11 & ~bits.cdw11) | (command.cdw12 & ~bits.cdw12) | (command.cdw13 & ~bits.cdw13) |
            (command.cdw15 & ~bits.cdw15)) == 0;
}

/// The namespaces that a Set Features reaches; 0 means the controller.
CompletionEntry targetsOf(const CommandContext& context, const FeatureRow& row, std::vector<uint32_t>& nsids) {
    const uint32_t nsid = context.command.nsid;
    if (!row.isOfNamespace) {
        if (nsid != 0 && nsid != NSID_ALL) return refusal(SC_FEATURE_NOT_NAMESPACE_SPECIFIC);
        nsids.push_back(0);
        return {};
    }
    for (const auto& [id, part] : context.state.namespaces) {
        if (part.isAttachedTo(context.controllerId) && (nsid == NSID_ALL || nsid == id)) nsids.push_back(id);
    }
    return nsids.empty() ? refusal(SC_INVALID_NAMESPACE) : CompletionEntry{};
}

CompletionEntry checkSet(CommandContext& context, const FeatureRow& row, bool save, FeatureValue& value) {
    const SubmissionEntry& command = context.command;
    if (!row.isChangeable) return refusal(SC_FEATURE_NOT_CHANGEABLE);
    if (save && !context.model.hasOptions) return refusal(SC_INVALID_FIELD);
    if (save && !row.isSaveable) return refusal(SC_FEATURE_NOT_SAVEABLE);
    if (!hasDefinedBitsAlone(command, row.bits)) return refusal(SC_INVALID_FIELD);
    for (const uint32_t selector : selectorsOf(row, command.cdw11)) {
        if (row.isSelector != nullptr && !row.isSelector(selector)) return refusal(SC_INVALID_FIELD);
    }
    const uint32_t dataBytes = dataBytesOf(row, command.cdw11);
    if (!hasData(context, dataBytes)) return dataTransferError();
    value.dword = command.cdw11 & ~row.selector;
    value.data.assign(context.data.begin(), context.data.begin() + dataBytes);
    value.data.resize(row.dataBytes);
    return row.check == nullptr ? CompletionEntry{} : row.check(context, value);
}

}  // namespace

CompletionEntry setFeatures(CommandContext& context) {
    const SubmissionEntry& command = context.command;
    const bool save = bit(command.cdw10, 31);
    const FeatureRow* row = findFeature(context, static_cast<uint8_t>(command.cdw10));
    if (row == nullptr || !isUuidIndexOf(context, row->fid)) return refusal(SC_INVALID_FIELD);
    FeatureValue value;
    CompletionEntry completion = checkSet(context, *row, save, value);
    if (!completion.isSuccess()) return completion;
    std::vector<uint32_t> nsids;
    completion = targetsOf(context, *row, nsids);
    if (!completion.isSuccess()) return completion;
    for (const uint32_t nsid : nsids) {
        for (const uint32_t selector : selectorsOf(*row, command.cdw11)) {
            const FeatureKey key = keyOf(*row, nsid, selector);
            const FeatureValue kept{value.dword | selector, value.data};
            if (row->read == nullptr) context.state.features.current[key] = kept;
            if (save) context.state.features.saved[key] = kept;
        }
        if (row->write != nullptr) row->write(context, nsid, value);
    }
    if (row->fid == FID_NUMBER_OF_QUEUES) completion.dword0 = value.dword;
    queueEvent(context, {DriveEvent::Kind::FEATURE_SET, command.nsid});
    return completion;
}

CompletionEntry getFeatures(CommandContext& context) {
    const SubmissionEntry& command = context.command;
    const uint32_t select = command.cdw10 >> 8 & 7;
    const FeatureRow* row = findFeature(context, static_cast<uint8_t>(command.cdw10));
    if (row == nullptr || !isUuidIndexOf(context, row->fid) || select > static_cast<uint32_t>(Select::CAPABILITIES)) {
        return refusal(SC_INVALID_FIELD);
    }
    if (select != static_cast<uint32_t>(Select::CURRENT) && !context.model.hasOptions) return refusal(SC_INVALID_FIELD);
    CompletionEntry completion;
    if (select == static_cast<uint32_t>(Select::CAPABILITIES)) {
        completion.dword0 = capabilitiesOf(*row);
        context.data.clear();
        return completion;
    }
    // A controller's feature may be asked for by any of its namespaces.
    const bool needsNamespace = row->isOfNamespace || (command.nsid != 0 && command.nsid != NSID_ALL);
    if (needsNamespace && context.findAttached(command.nsid) == nullptr) {
        return refusal(SC_INVALID_NAMESPACE);
    }
    const FeatureKey key = keyOf(*row, command.nsid, command.cdw11);
    FeatureValue value = select == static_cast<uint32_t>(Select::CURRENT)   ? currentValue(context, *row, key)
                         : select == static_cast<uint32_t>(Select::DEFAULT) ? defaultValue(context, *row, key.selector)
                                                                            : savedValue(context, *row, key);
    if (row->isSelector != nullptr && !row->isSelector(key.selector)) return refusal(SC_INVALID_FIELD);
    value.data.resize(dataBytesOf(*row, command.cdw11));
    completion.dword0 = value.dword;
    context.data = std::move(value.data);
    return completion;
}

}  // namespace features::simulator
