#include "features/simulator/logs/EventData.h"

#include <algorithm>
#include <string>

#include "features/nvme/Bytes.h"
#include "features/simulator/context/ControllerIdentity.h"
#include "features/simulator/context/DriveTables.h"
#include "features/simulator/logs/HealthLog.h"
#include "features/simulator/logs/SanitizeLog.h"
#include "features/simulator/logs/SelfTestLog.h"
#include "features/simulator/store/PaddedText.h"

namespace features::simulator {

using namespace nvme;

namespace {

using Data = std::vector<uint8_t>;

void addDescriptor(Data& data, uint16_t code, uint8_t type, const uint8_t* bytes, size_t size) {
    constexpr size_t HEAD_BYTES = 6;
    const size_t at = data.size();
    data.resize(at + HEAD_BYTES);
    putLe16(data.data() + at, code);
    data[at + 2] = type;
    putLe16(data.data() + at + 4, static_cast<uint16_t>(size));
    data.insert(data.end(), bytes, bytes + size);
}

}  // namespace

Data firmwareCommitData(const DriveEvent& commit) {
    Data data(22);
    putText(data.data(), REVISION_BYTES, commit.before);
    putText(data.data() + 8, REVISION_BYTES, commit.after);
    data[16] = static_cast<uint8_t>(commit.value);
    data[17] = static_cast<uint8_t>(commit.selector);
    data[18] = static_cast<uint8_t>(commit.statusField >> 8 & 7);
    data[19] = static_cast<uint8_t>(commit.statusField);
    return data;
}

Data timestampChangeData(const CommandContext& context, const DriveEvent& change) {
    Data data(16);
    std::copy(change.timestamp.begin(), change.timestamp.end(), data.begin());
    putLe64(data.data() + 8, context.nowMs - std::min(context.nowMs, context.state.health.lastResetMs));
    return data;
}

Data powerOnData(const CommandContext& context, const PowerOn& powerOn) {
    Data data(44);
    putText(data.data(), REVISION_BYTES, context.state.firmware.running);
    uint8_t* reset = data.data() + 8;
    putLe16(reset, context.controllerId);
    reset[2] = powerOn.isActivation ? 1 : 0;
    putLe32(reset + 16, static_cast<uint32_t>(powerOn.powerCycle));
    putLe64(reset + 20, powerOn.sincePowerOnMs);
    return data;  // the controller's timestamp begins at 0 with the reset
}

Data hardwareErrorData(uint16_t code, const Data& more) {
    constexpr std::size_t CODE_BYTES = 4;
    Data data(CODE_BYTES + more.size());
    putLe16(data.data(), code);
    std::copy(more.begin(), more.end(), data.begin() + CODE_BYTES);
    return data;
}

Data thermalExcursionData(const CommandContext& context) {
    constexpr uint8_t THRESHOLD_WARNING = 1;
    constexpr uint8_t THRESHOLD_CRITICAL = 2;
    const uint32_t kelvin = compositeKelvin(context);
    const bool isCritical = kelvin >= context.model.criticalKelvin;
    const uint32_t over = kelvin - (isCritical ? context.model.criticalKelvin : context.model.warningKelvin);
    return {static_cast<uint8_t>(std::min(over, 255U)), isCritical ? THRESHOLD_CRITICAL : THRESHOLD_WARNING};
}

Data namespaceChangeData(const CommandContext& context, const DriveEvent& change) {
    constexpr uint8_t FLBAS_EXTENDED = 0x10;
    Data data(48);
    putLe32(data.data(), context.command.cdw10);
    putLe32(data.data() + 44, change.nsid);
    if (!change.ns) return data;  // all of them
    putLe64(data.data() + 8, change.ns->size);
    putLe64(data.data() + 24, change.ns->capacity);
    data[32] = static_cast<uint8_t>(change.ns->format | (change.ns->extendedMetadata ? FLBAS_EXTENDED : 0));
    data[33] = change.ns->protection;
    data[34] = change.ns->isShared ? 1 : 0;
    return data;
}

Data formatStartData(const CommandContext& context, const DriveEvent& format) {
    Data data(12);
    putLe32(data.data(), format.nsid);
    data[4] = FORMAT_ATTRIBUTES;
    putLe32(data.data() + 8, context.command.cdw10);
    return data;
}

Data formatCompletionData(const DriveEvent& format) {
    Data data(12);
    putLe32(data.data(), format.nsid);
    putLe32(data.data() + 8, format.statusField);
    return data;
}

Data sanitizeStartData(const CommandContext& context) {
    Data data(12);
    putLe32(data.data(), SANICAP);
    putLe32(data.data() + 4, context.state.sanitize.command);
    putLe32(data.data() + 8, context.state.sanitize.pattern);
    return data;
}

Data sanitizeCompletionData(CommandContext& context) {
    Data log;
    (void)buildSanitizeLog(context, {}, log);  // it cannot fail
    Data data(8);
    std::copy_n(log.begin(), 4, data.begin());  // progress and status are adjacent in both
    return data;
}

Data setFeatureData(const CommandContext& context) {
    const SubmissionEntry& command = context.command;
    const uint32_t dwords[] = {command.cdw10, command.cdw11, command.cdw12,
                               command.cdw13, command.cdw14, command.cdw15};
    uint32_t count = std::size(dwords);
    while (count > 2 && dwords[count - 1] == 0) --count;
    const FeatureRow* feature = findFeature(context, static_cast<uint8_t>(command.cdw10));
    const size_t most = feature == nullptr ? 0 : feature->dataBytes;
    const size_t bytes = std::min(most, context.data.size());
    Data data(4 + 4 * count);
    putLe32(data.data(), count | static_cast<uint32_t>(bytes) << 16);
    for (uint32_t i = 0; i < count; ++i) putLe32(data.data() + 4 + size_t{4} * i, dwords[i]);
    data.insert(data.end(), context.data.begin(), context.data.begin() + static_cast<std::ptrdiff_t>(bytes));
    return data;
}

Data selfTestData(CommandContext& context) {
    constexpr uint16_t CODE_SELF_TEST = 1;
    constexpr uint8_t TYPE_EVENT_NAME = 1;
    constexpr uint8_t TYPE_BINARY = 3;
    constexpr char NAME[] = "Self-test";
    constexpr size_t OFFSET_NEWEST = 4;
    constexpr size_t RESULT_BYTES = 28;
    Data log;
    (void)buildSelfTestLog(context, {}, log);  // it cannot fail
    Data data;
    addDescriptor(data, CODE_SELF_TEST, TYPE_EVENT_NAME, reinterpret_cast<const uint8_t*>(NAME), sizeof NAME - 1);
    addDescriptor(data, CODE_SELF_TEST, TYPE_BINARY, log.data() + OFFSET_NEWEST, RESULT_BYTES);
    return data;
}

}  // namespace features::simulator
