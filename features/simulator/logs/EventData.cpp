#include "features/simulator/logs/EventData.h"

#include <algorithm>
#include <string>

#include "features/nvme/StatusCodes.h"
#include "features/nvme/structures/PersistentEventData.h"
#include "features/nvme/structures/SanitizeStatusLog.h"
#include "features/nvme/structures/SelfTestLog.h"
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
    VendorEventDescriptor descriptor{};
    descriptor.code = code;
    descriptor.type = type;
    descriptor.length = static_cast<uint16_t>(size);
    const Data head = bytesOf(descriptor);
    data.insert(data.end(), head.begin(), head.end());
    data.insert(data.end(), bytes, bytes + size);
}

}  // namespace

Data firmwareCommitData(const DriveEvent& commit) {
    FirmwareCommitEvent event{};
    putText(event.oldRevision, commit.before);
    putText(event.newRevision, commit.after);
    event.commitAction = static_cast<uint8_t>(commit.value);
    event.slot = static_cast<uint8_t>(commit.selector);
    const StatusCode status = StatusCode::ofField(commit.statusField);
    event.statusCodeType = status.type;
    event.statusCode = status.code;
    return bytesOf(event);
}

Data timestampChangeData(const CommandContext& context, const DriveEvent& change) {
    TimestampChangeEvent event{};
    event.previousTimestamp = change.timestamp;
    event.millisecondsSinceReset = context.nowMs - std::min(context.nowMs, context.state.health.lastResetMs);
    return bytesOf(event);
}

Data powerOnData(const CommandContext& context, const PowerOn& powerOn) {
    PowerOnEvent event{};
    putText(event.revision, context.state.firmware.running);
    ResetDescriptor reset{};  // the controller's timestamp begins at 0 with the reset
    reset.cntlid = context.controllerId;
    reset.firmwareActivation = powerOn.isActivation ? 1 : 0;
    reset.powerCycle = static_cast<uint32_t>(powerOn.powerCycle);
    reset.powerOnMilliseconds = powerOn.sincePowerOnMs;
    Data data(sizeof event + sizeof reset);
    putStructure(data.data(), event);
    putStructure(data.data() + sizeof event, reset);
    return data;
}

Data hardwareErrorData(uint16_t code, const Data& more) {
    HardwareErrorEvent event{};
    event.code = code;
    Data data(sizeof event + more.size());
    putStructure(data.data(), event);
    std::copy(more.begin(), more.end(), data.begin() + sizeof event);
    return data;
}

Data thermalExcursionData(const CommandContext& context) {
    constexpr uint8_t THRESHOLD_WARNING = 1;
    constexpr uint8_t THRESHOLD_CRITICAL = 2;
    const uint32_t kelvin = compositeKelvin(context);
    const bool isCritical = kelvin >= context.model.criticalKelvin;
    const uint32_t over = kelvin - (isCritical ? context.model.criticalKelvin : context.model.warningKelvin);
    ThermalExcursionEvent event{};
    event.overTemperature = static_cast<uint8_t>(std::min(over, 255U));
    event.threshold = isCritical ? THRESHOLD_CRITICAL : THRESHOLD_WARNING;
    return bytesOf(event);
}

Data namespaceChangeData(const CommandContext& context, const DriveEvent& change) {
    constexpr uint8_t FLBAS_EXTENDED = 0x10;
    ChangeNamespaceEvent event{};
    event.cdw10 = context.command.cdw10;
    event.nsid = change.nsid;
    if (!change.ns) return bytesOf(event);  // all of them
    event.nsze = change.ns->size;
    event.ncap = change.ns->capacity;
    event.flbas = static_cast<uint8_t>(change.ns->format | (change.ns->extendedMetadata ? FLBAS_EXTENDED : 0));
    event.dps = change.ns->protection;
    event.nmic = change.ns->isShared ? 1 : 0;
    return bytesOf(event);
}

Data formatStartData(const CommandContext& context, const DriveEvent& format) {
    FormatStartEvent event{};
    event.nsid = format.nsid;
    event.fna = FORMAT_ATTRIBUTES;
    event.cdw10 = context.command.cdw10;
    return bytesOf(event);
}

Data formatCompletionData(const DriveEvent& format) {
    FormatCompletionEvent event{};
    event.nsid = format.nsid;
    event.statusField = format.statusField;
    return bytesOf(event);
}

Data sanitizeStartData(const CommandContext& context) {
    SanitizeStartEvent event{};
    event.sanicap = SANICAP;
    event.cdw10 = context.state.sanitize.command;
    event.cdw11 = context.state.sanitize.pattern;
    return bytesOf(event);
}

Data sanitizeCompletionData(CommandContext& context) {
    Data log;
    (void)buildSanitizeLog(context, {}, log);  // it cannot fail
    const auto status = structureAt<SanitizeStatusLog>(log.data());
    SanitizeCompletionEvent event{};
    event.sprog = status.sprog;
    event.sstat = status.sstat;
    return bytesOf(event);
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
    SetFeatureEvent event{};
    event.layout = count | static_cast<uint32_t>(bytes) << 16;
    Data data = bytesOf(event);
    for (uint32_t i = 0; i < count; ++i) {
        const Data dword = bytesOf(Le32(dwords[i]));
        data.insert(data.end(), dword.begin(), dword.end());
    }
    data.insert(data.end(), context.data.begin(), context.data.begin() + static_cast<std::ptrdiff_t>(bytes));
    return data;
}

Data selfTestData(CommandContext& context) {
    constexpr uint16_t CODE_SELF_TEST = 1;
    constexpr uint8_t TYPE_EVENT_NAME = 1;
    constexpr uint8_t TYPE_BINARY = 3;
    constexpr char NAME[] = "Self-test";
    Data log;
    (void)buildSelfTestLog(context, {}, log);  // it cannot fail
    Data data;
    addDescriptor(data, CODE_SELF_TEST, TYPE_EVENT_NAME, reinterpret_cast<const uint8_t*>(NAME), sizeof NAME - 1);
    addDescriptor(data, CODE_SELF_TEST, TYPE_BINARY, log.data() + offsetof(SelfTestLog, results),
                  sizeof(SelfTestResultEntry));
    return data;
}

}  // namespace features::simulator
