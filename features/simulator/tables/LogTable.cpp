#include "features/simulator/tables/LogTable.h"

#include <iterator>

#include "features/nvme/LogPageIds.h"
#include "features/nvme/structures/CommandEffectsLog.h"
#include "features/nvme/structures/SupportedLogsLog.h"
#include "features/simulator/commands/Ana.h"
#include "features/simulator/logs/ChangedNamespaces.h"
#include "features/simulator/logs/ErrorLog.h"
#include "features/simulator/logs/FirmwareLog.h"
#include "features/simulator/logs/HealthLog.h"
#include "features/simulator/logs/PersistentEventLog.h"
#include "features/simulator/logs/SanitizeLog.h"
#include "features/simulator/logs/SelfTestLog.h"
#include "features/simulator/logs/Telemetry.h"

namespace features::simulator {

using namespace nvme;

namespace {

CompletionEntry buildSupportedLogs(CommandContext& context, const LogRequest&, std::vector<uint8_t>& page) {
    constexpr uint32_t LSUPP = 1;
    SupportedLogsLog log{};
    for (unsigned lid = 0; lid < std::size(log.entries); ++lid) {
        if (findLog(context, static_cast<uint8_t>(lid)) != nullptr) log.entries[lid] = LSUPP;
    }
    page = bytesOf(log);
    return {};
}

CompletionEntry buildCommandEffects(CommandContext& context, const LogRequest&, std::vector<uint8_t>& page) {
    CommandEffectsLog log{};
    for (const CommandRow& row : context.tables.commands) {
        if (findCommand(context.tables, context.description, row.isAdmin, row.opcode) != &row) continue;
        (row.isAdmin ? log.admin : log.io)[row.opcode] = row.effects;
    }
    page = bytesOf(log);
    return {};
}

/// Log pages 00h and 05h are optional.
bool hasOptionalPages(ModelId model) {
    return modelOf(model).hasOptions;
}

using D = Description;

// clang-format off
constexpr LogRow LOGS[] = {
    //                         supported                        model    LSP build
    {LID_SUPPORTED_LOGS,       nullptr,                         hasOptionalPages, 0,  buildSupportedLogs},
    {LID_ERROR_INFORMATION,    nullptr,                         nullptr, 0,  buildErrorLog},
    {LID_SMART_HEALTH,         nullptr,                         nullptr, 0,  buildHealthLog},
    {LID_FIRMWARE_SLOT,        nullptr,                         nullptr, 0,  buildFirmwareLog},
    {LID_CHANGED_NAMESPACES,   &D::supportsNamespaceManagement, nullptr, 0,  buildChangedNamespaces},
    {LID_COMMAND_EFFECTS,      nullptr,                         hasOptionalPages, 0,  buildCommandEffects},
    {LID_DEVICE_SELF_TEST,     &D::supportsSelfTest,            nullptr, 0,  buildSelfTestLog},
    {LID_TELEMETRY_HOST,       &D::supportsTelemetry,           nullptr, 1,  buildHostTelemetry},
    {LID_TELEMETRY_CONTROLLER, &D::supportsTelemetry,           nullptr, 0,  buildControllerTelemetry},
    {LID_ANA,                  &D::hasTwoControllers,           nullptr, 1,  buildAnaLog},
    {LID_PERSISTENT_EVENT,     &D::supportsPersistentEventLog,  nullptr, 3,  buildPersistentEventLog},
    {LID_SANITIZE_STATUS,      &D::supportsSanitize,            nullptr, 0,  buildSanitizeLog},
};
// clang-format on

}  // namespace

Rows<LogRow> standardLogs() {
    return LOGS;
}

}  // namespace features::simulator
