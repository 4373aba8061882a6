#include "features/simulator/tables/LogTable.h"

#include <iterator>

#include "features/nvme/FeatureIds.h"
#include "features/nvme/LogPageIds.h"
#include "features/nvme/structures/CommandEffectsLog.h"
#include "features/nvme/structures/SupportedFeaturesLog.h"
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
    for (const Rows<LogRow>* rows : {&context.tables.logs, &context.tables.modelLogs}) {
        for (const LogRow& row : *rows) {
            if (findLog(context, row.lid) == &row) log.entries[row.lid] = LSUPP;
        }
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

constexpr uint8_t FIRST_VENDOR_FID = 0xC0;

/// FID Scope (FSP) of an entry of log page 12h.
uint32_t scopeOf(const FeatureRow& row) {
    constexpr uint32_t NAMESPACE = 1U << 20;
    constexpr uint32_t CONTROLLER = 1U << 21;
    constexpr uint32_t GROUP = 1U << 23;
    constexpr uint32_t SUBSYSTEM = 1U << 25;
    switch (row.fid) {
        case FID_ENDURANCE_GROUP_EVENT:
        case FID_FDP:
            return GROUP;
        case FID_SANITIZE_CONFIG:
        case FID_OCP_ERROR_INJECTION:
        case FID_OCP_END_OF_LIFE_MODE:
        case FID_OCP_IEEE1667_SILO:
        case FID_OCP_PLP_CHECK_INTERVAL:
        case FID_OCP_DSSD_POWER_STATE:
        case FID_OCP_TELEMETRY_PROFILE:
            return SUBSYSTEM;
        default:
            return row.isOfNamespace ? NAMESPACE : CONTROLLER;
    }
}

CompletionEntry buildSupportedFeatures(CommandContext& context, const LogRequest&, std::vector<uint8_t>& page) {
    constexpr uint32_t SUPPORTED = 1;
    constexpr uint32_t BY_UUID_INDEX = 1U << 19;
    SupportedFeaturesLog log{};
    for (unsigned fid = 0; fid < std::size(log.entries); ++fid) {
        const FeatureRow* row = findFeature(context, static_cast<uint8_t>(fid));
        if (row == nullptr) continue;
        const bool hasUuid = fid >= FIRST_VENDOR_FID && context.model.ocpUuidIndex != 0;
        log.entries[fid] = SUPPORTED | scopeOf(*row) | (hasUuid ? BY_UUID_INDEX : 0);
    }
    page = bytesOf(log);
    return {};
}

/// Log page 13h, which LPA bit 5 promises with 00h and 12h: there is no Management Interface.
CompletionEntry buildSupportedMiCommands(CommandContext&, const LogRequest&, std::vector<uint8_t>& page) {
    page.assign(SUPPORTED_MI_COMMANDS_BYTES, 0);
    return {};
}

/// Log pages 00h and 05h are optional.
bool hasOptionalPages(ModelId model) {
    return modelOf(model).hasOptions;
}
/// LPA bit 5 promises 12h and 13h with 00h.
bool hasPagesOfNvme2(ModelId model) {
    return isOfNvme2(modelOf(model));
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
    {LID_TELEMETRY_HOST,       &D::supportsTelemetry,           nullptr, 1,  buildHostTelemetry, false, telemetryLength},
    {LID_TELEMETRY_CONTROLLER, &D::supportsTelemetry,           nullptr, 0,  buildControllerTelemetry, false, telemetryLength},
    {LID_ANA,                  &D::hasTwoControllers,           nullptr, 1,  buildAnaLog},
    {LID_SUPPORTED_FEATURES,   nullptr,                         hasPagesOfNvme2, 0, buildSupportedFeatures},
    {LID_SUPPORTED_MI_COMMANDS, nullptr,                        hasPagesOfNvme2, 0, buildSupportedMiCommands},
    {LID_PERSISTENT_EVENT,     &D::supportsPersistentEventLog,  nullptr, 3,  buildPersistentEventLog},
    {LID_SANITIZE_STATUS,      &D::supportsSanitize,            nullptr, 0,  buildSanitizeLog},
};
// clang-format on

}  // namespace

Rows<LogRow> standardLogs() {
    return LOGS;
}

}  // namespace features::simulator
