#include "features/simulator/models/ocp/OcpLogs.h"

#include <algorithm>
#include <iterator>

#include "features/nvme/Bytes.h"
#include "features/nvme/FeatureIds.h"
#include "features/nvme/LogPageIds.h"
#include "features/nvme/OcpLogPages.h"
#include "features/nvme/structures/OcpCapabilitiesLog.h"
#include "features/nvme/structures/OcpErrorRecoveryLog.h"
#include "features/nvme/structures/OcpFeatureData.h"
#include "features/nvme/structures/OcpFirmwareHistoryLog.h"
#include "features/nvme/structures/OcpLatencyMonitorLog.h"
#include "features/nvme/structures/OcpUnsupportedRequirementsLog.h"
#include "features/simulator/context/FeatureValues.h"
#include "features/simulator/logs/HealthLog.h"
#include "features/simulator/models/ocp/OcpFeatures.h"
#include "features/simulator/models/ocp/OcpPage.h"
#include "features/simulator/models/ocp/OcpState.h"
#include "features/simulator/store/Extension.h"
#include "features/simulator/store/Namespaces.h"
#include "features/simulator/store/PaddedText.h"

namespace features::simulator {

using namespace nvme;

namespace {

using Page = std::vector<uint8_t>;

uint64_t blocksInUse(const CommandContext& context) {
    uint64_t blocks = 0;
    for (const auto& [nsid, part] : context.state.namespaces) blocks += context.media.blocksInUse(nsid);
    return blocks;
}

uint8_t throttlingStatus(const CommandContext& context) {
    const uint32_t kelvin = compositeKelvin(context);
    if (kelvin >= context.model.criticalKelvin) return 2;
    return kelvin >= context.model.warningKelvin ? 1 : 0;
}

CompletionEntry buildSmart(CommandContext& context, const LogRequest&, Page& page) {
    page = ocpPage(ocpSmartLog(context), 3, OCP_GUID_SMART);
    return {};
}

CompletionEntry buildErrorRecovery(CommandContext& context, const LogRequest&, Page& page) {
    page = ocpPage(ocpErrorRecoveryLog(context), 2, OCP_GUID_ERROR_RECOVERY);
    return {};
}

CompletionEntry buildLatencyMonitor(CommandContext& context, const LogRequest&, Page& page) {
    page = ocpPage(ocpLatencyMonitorLog(context), 1, OCP_GUID_LATENCY_MONITOR);
    return {};
}

/// The requirements that a drive without hardware does not meet are not numbered here: the list is empty.
CompletionEntry buildUnsupported(CommandContext&, const LogRequest&, Page& page) {
    page = ocpPage(OcpUnsupportedRequirementsLog{}, 1, OCP_GUID_UNSUPPORTED_REQUIREMENTS);
    return {};
}

// clang-format off
constexpr LogRow LOGS[] = {
    //                        supported model    LSP build
    {LID_OCP_SMART,            nullptr, nullptr, 0,  buildSmart},
    {LID_OCP_ERROR_RECOVERY,   nullptr, nullptr, 0,  buildErrorRecovery},
    {LID_OCP_FIRMWARE_HISTORY, nullptr, nullptr, 0,  buildOcpFirmwareHistory},
    {LID_OCP_LATENCY_MONITOR,  nullptr, nullptr, 0,  buildLatencyMonitor},
    {LID_OCP_CAPABILITIES,     nullptr, nullptr, 0,  buildOcpCapabilities},
    {LID_OCP_UNSUPPORTED_REQUIREMENTS, nullptr, nullptr, 0,  buildUnsupported},
};
// clang-format on

}  // namespace

OcpSmartLog ocpSmartLog(const CommandContext& context) {
    constexpr uint16_t MAX_PERCENT = 100;
    constexpr uint8_t SPECIFICATION_MAJOR = 2;
    const auto state = readExtension<OcpState>(context.state);
    WorkCounters work = context.state.health.work;
    work += context.work;
    const uint64_t size = context.description.sizeBytes;
    OcpSmartLog log{};
    log.mediaUnitsWritten = work.bytesWritten;
    log.mediaUnitsRead = work.bytesRead;
    log.badUserBlocksNormalized = log.badSystemBlocksNormalized = MAX_PERCENT;  // of the blocks that are good
    log.uncorrectableReads = context.state.health.mediaErrors;
    log.systemDataUsed = percentageUsed(context);
    log.maximumEraseCount = static_cast<uint32_t>((work.bytesWritten + size - 1) / size);
    log.minimumEraseCount = static_cast<uint32_t>(work.bytesWritten / size);
    log.throttlingEvents = static_cast<uint8_t>(std::min<uint64_t>(state.throttlings, 255));
    log.throttlingStatus = throttlingStatus(context);
    log.majorVersion = SPECIFICATION_MAJOR;
    log.pcieCorrectableErrors = state.pcieErrors;
    log.incompleteShutdowns = state.incompleteShutdowns;
    const uint64_t unallocated = unallocatedBytes(context.description, context.model, context.state);
    log.freeBlocks = static_cast<uint8_t>(unallocated * MAX_PERCENT / size);
    log.capacitorHealth = MAX_PERCENT;
    log.unalignedIo = work.unalignedCommands;
    log.securityVersion = 1;
    log.blocksInUse = blocksInUse(context);
    log.plpStarts = context.state.health.unsafeShutdowns;
    log.enduranceEstimate = size * ENDURANCE_FILLS;
    log.linkRetrainings = state.linkTrainings;
    log.powerStateChanges = state.powerStateChanges;
    return log;
}

OcpErrorRecoveryLog ocpErrorRecoveryLog(const CommandContext& context) {
    constexpr uint8_t CONTROLLER_OR_SUBSYSTEM_RESET = 0x03;
    constexpr uint32_t PANIC_BY_COMMAND_TIMEOUT_OR_STATUS = 0;
    OcpErrorRecoveryLog log{};  // without a Device Recovery Action: a reset is enough
    log.panicResetWaitTime = 100;
    log.panicResetAction = CONTROLLER_OR_SUBSYSTEM_RESET;
    log.panicId = readExtension<OcpState>(context.state).lastPanic;
    log.deviceCapabilities = PANIC_BY_COMMAND_TIMEOUT_OR_STATUS;
    return log;
}

CompletionEntry buildOcpFirmwareHistory(CommandContext& context, const LogRequest&, std::vector<uint8_t>& page) {
    const auto state = readExtension<OcpState>(context.state);
    OcpFirmwareHistoryLog log{};
    log.lid = LID_OCP_FIRMWARE_HISTORY;
    log.numberOfEntries = static_cast<uint32_t>(state.activations.size());
    OcpFirmwareHistoryEntry* entry = log.entries;
    for (const OcpActivation& activation : state.activations) {
        entry->version = 1;
        entry->entryBytes = sizeof *entry;
        entry->count = activation.count;
        entry->timestamp = activation.timestamp;
        entry->powerCycles = activation.powerCycles;
        putText(entry->oldRevision, activation.before);
        putText(entry->newRevision, activation.after);
        entry->slot = activation.slot;
        entry->commitAction = activation.commitAction;
        ++entry;
    }
    page = ocpPage(log, 1, OCP_GUID_FIRMWARE_HISTORY);
    return {};
}

OcpLatencyMonitorLog ocpLatencyMonitorLog(const CommandContext& context) {
    constexpr uint64_t NO_STAMP = UINT64_MAX;
    const std::vector<uint8_t> data = currentFeature(context, FID_OCP_LATENCY_MONITOR).data;
    const auto setting = structureAt<OcpLatencyMonitorSetting>(data.data());
    OcpLatencyMonitorLog log{};
    std::fill(std::begin(log.activeStamps), std::end(log.activeStamps), NO_STAMP);
    std::fill(std::begin(log.staticStamps), std::end(log.staticStamps), NO_STAMP);
    log.debugLogStamp = NO_STAMP;
    log.status = setting.enable & 0x07;
    log.bucketTimerThreshold = setting.bucketTimerThreshold;
    std::copy(std::begin(setting.thresholds), std::end(setting.thresholds), log.thresholds);
    log.latencyConfiguration = setting.latencyConfiguration;
    log.minimumWindow = setting.minimumWindow;
    log.debugLogTriggers = setting.debugLogTriggers;
    return log;
}

CompletionEntry buildOcpCapabilities(CommandContext& context, const LogRequest&, std::vector<uint8_t>& page) {
    constexpr uint16_t ONE_PORT = 1;
    constexpr uint16_t MET = 0x8000;  // all that the specification requires
    constexpr uint16_t WRITE_ZEROES = MET | 0x0001;
    constexpr uint16_t SANITIZE_CRYPTO_BLOCK_OVERWRITE = MET | 0x000F;
    constexpr uint16_t DATASET_MANAGEMENT_DEALLOCATE = MET | 0x0003;
    OcpCapabilitiesLog log{};  // without out of band management, Write Uncorrectable and fused operations
    log.pciePorts = ONE_PORT;
    log.writeZeroes = WRITE_ZEROES;
    log.sanitize = context.description.supportsSanitize ? SANITIZE_CRYPTO_BLOCK_OVERWRITE : 0;
    log.datasetManagement = DATASET_MANAGEMENT_DEALLOCATE;
    for (unsigned watts = OCP_MAX_WATTS; watts > 0; --watts) {
        const auto state = powerStateOfWatts(context.model, watts);
        if (!state) continue;
        log.powerStates[watts] = static_cast<uint8_t>(1U << OCP_POWER_STATE_VALID_BIT | *state);
        log.minimumPowerState = static_cast<uint16_t>(watts);  // the last that is found
    }
    page = ocpPage(log, 1, OCP_GUID_CAPABILITIES);
    return {};
}

Rows<LogRow> ocpLogs() {
    return LOGS;
}

}  // namespace features::simulator
