#include "features/simulator/models/nvme21/Nvme21Logs.h"

#include <algorithm>
#include <iterator>

#include "features/nvme/LogPageIds.h"
#include "features/nvme/Units.h"
#include "features/nvme/structures/AggregateLog.h"
#include "features/nvme/structures/DataPlacementLogs.h"
#include "features/nvme/structures/EnduranceGroupLog.h"
#include "features/nvme/structures/SmartHealthLog.h"
#include "features/simulator/logs/HealthLog.h"
#include "features/simulator/store/Namespaces.h"

namespace features::simulator {

using namespace nvme;

namespace {

using Page = std::vector<uint8_t>;

constexpr uint64_t DATA_UNIT_BYTES = 512000;
constexpr uint16_t HANDLES = 4;

SmartHealthLog healthOf(CommandContext& context) {
    Page page;
    (void)buildHealthLog(context, {}, page);  // it cannot fail
    return structureAt<SmartHealthLog>(page.data());
}

uint64_t writtenBytes(CommandContext& context) {
    return healthOf(context).dataUnitsWritten.low * DATA_UNIT_BYTES;
}

/// In units of 10^9 bytes, rounded up.
uint64_t groupUnits(const Le128& dataUnits) {
    return (dataUnits.low * DATA_UNIT_BYTES + GIGABYTE - 1) / GIGABYTE;
}

/// All of the drive is one group: its health is that of the drive.
CompletionEntry buildEnduranceGroup(CommandContext& context, const LogRequest&, Page& page) {
    const SmartHealthLog health = healthOf(context);
    EnduranceGroupLog log{};
    log.criticalWarning = health.criticalWarning & 0x0D;
    log.availableSpare = health.availableSpare;
    log.availableSpareThreshold = health.availableSpareThreshold;
    log.percentageUsed = health.percentageUsed;
    log.enduranceEstimate = context.description.sizeBytes / (GIGABYTE / ENDURANCE_FILLS);
    log.dataUnitsRead = groupUnits(health.dataUnitsRead);
    log.dataUnitsWritten = log.mediaUnitsWritten = groupUnits(health.dataUnitsWritten);
    log.hostReadCommands = health.hostReadCommands;
    log.hostWriteCommands = health.hostWriteCommands;
    log.mediaErrors = health.mediaErrors;
    log.errorLogEntries = health.errorLogEntries;
    log.totalCapacity = context.description.sizeBytes;
    log.unallocatedCapacity = unallocatedBytes(context.description, context.model, context.state);
    page = bytesOf(log);
    return {};
}

/// No group has an event.
CompletionEntry buildGroupEvents(CommandContext&, const LogRequest&, Page& page) {
    page = bytesOf(AggregateLogHeader{});
    return {};
}

/// One configuration: a reclaim group whose handles are isolated at first.
CompletionEntry buildPlacementConfigurations(CommandContext& context, const LogRequest&, Page& page) {
    constexpr uint8_t VALID = 0x80;
    constexpr uint8_t INITIALLY_ISOLATED = 1;
    constexpr uint64_t RECLAIM_UNIT_BYTES = uint64_t{16} << 20;
    FdpHandleDescriptor handles[HANDLES] = {};
    for (FdpHandleDescriptor& handle : handles) handle.type = INITIALLY_ISOLATED;
    FdpConfiguration configuration{};
    configuration.sizeBytes = sizeof configuration + sizeof handles;
    configuration.attributes = VALID;
    configuration.reclaimGroups = 1;
    configuration.handles = HANDLES;
    configuration.maxPlacementIds0Based = HANDLES - 1;
    configuration.maxNamespaces = context.description.maxNamespaces;
    configuration.reclaimUnitBytes = RECLAIM_UNIT_BYTES;
    FdpConfigurationsHeader header{};
    header.sizeBytes = sizeof header + sizeof configuration + sizeof handles;
    page.resize(header.sizeBytes);
    putStructure(page.data(), header);
    putStructure(page.data() + sizeof header, configuration);
    std::copy_n(reinterpret_cast<const uint8_t*>(handles), sizeof handles,
                page.data() + sizeof header + sizeof configuration);
    return {};
}

/// The controller has the first handle, for writes without one.
CompletionEntry buildPlacementUsage(CommandContext&, const LogRequest&, Page& page) {
    constexpr uint8_t CONTROLLER_SPECIFIED = 2;
    FdpUsageHeader header{};
    header.handles = HANDLES;
    FdpUsageDescriptor first{};
    first.attributes = CONTROLLER_SPECIFIED;
    page.resize(sizeof header + HANDLES * sizeof first);
    putStructure(page.data(), header);
    putStructure(page.data() + sizeof header, first);
    return {};
}

CompletionEntry buildPlacementStatistics(CommandContext& context, const LogRequest&, Page& page) {
    FdpStatisticsLog log{};
    log.hostBytesWritten = log.mediaBytesWritten = writtenBytes(context);
    page = bytesOf(log);
    return {};
}

/// None of them is enabled.
CompletionEntry buildPlacementEvents(CommandContext&, const LogRequest&, Page& page) {
    page = bytesOf(FdpEventsHeader{});
    return {};
}

// clang-format off
constexpr LogRow LOGS[] = {
    //                              supported  model       LSP build                         of a group
    {LID_ENDURANCE_GROUP,           nullptr, isOfNvme21, 0,  buildEnduranceGroup,          true},
    {LID_ENDURANCE_GROUP_AGGREGATE, nullptr, isOfNvme21, 0,  buildGroupEvents,             false},
    {LID_FDP_CONFIGURATIONS,        nullptr, isOfNvme21, 0,  buildPlacementConfigurations, true},
    {LID_FDP_USAGE,                 nullptr, isOfNvme21, 0,  buildPlacementUsage,          true},
    {LID_FDP_STATISTICS,            nullptr, isOfNvme21, 0,  buildPlacementStatistics,     true},
    {LID_FDP_EVENTS,                nullptr, isOfNvme21, 1,  buildPlacementEvents,         true},
};
// clang-format on

}  // namespace

Rows<LogRow> nvme21Logs() {
    return LOGS;
}

}  // namespace features::simulator
