#include "features/simulator/models/ocp/Ocp26Logs.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string>

#include "features/nvme/LogPageIds.h"
#include "features/nvme/structures/OcpHardwareComponentLog.h"
#include "features/nvme/structures/OcpTcgConfigurationLog.h"
#include "features/nvme/structures/OcpUnsupportedRequirementsLog.h"
#include "features/simulator/models/ocp/Ocp26State.h"
#include "features/simulator/models/ocp/OcpDebugEvents.h"
#include "features/simulator/models/ocp/OcpLatencyMonitor.h"
#include "features/simulator/models/ocp/OcpLogs.h"
#include "features/simulator/models/ocp/OcpPage.h"
#include "features/simulator/models/ocp/OcpStringLog.h"
#include "features/simulator/store/Extension.h"
#include "features/simulator/store/PaddedText.h"

namespace features::simulator {

using namespace nvme;

namespace {

using Page = std::vector<uint8_t>;

/// What page versions 4 to 6 added.
void putNewFields(const CommandContext& context, const Ocp26State& state, OcpSmartLog& log) {
    constexpr uint16_t SPECIFICATION_MINOR = 6;
    constexpr uint8_t PERFECT_PERCENT = 100;
    constexpr uint16_t DIES = 32;
    constexpr uint8_t BUILD_UUID[] = {0x9B, 0x2F, 0x61, 0xC4, 0x0D, 0x5A, 0x4F, 0x17,
                                      0xA8, 0x33, 0x7E, 0x10, 0xD9, 0x46, 0xB2, 0x5C};
    log.minorVersion = SPECIFICATION_MINOR;
    if (state.isThrottled) log.throttlingStatus = std::max<uint8_t>(log.throttlingStatus, 1);
    log.mediaDies = DIES;
    log.dieFailureTolerance = 1;
    log.diesOffline = state.diesOffline;
    log.maximumTemperature = std::max(state.maximumCelsius, ocpCelsius(context));
    log.averageEraseCount = (uint64_t{log.minimumEraseCount} + log.maximumEraseCount) / 2;
    log.commandTimeouts = state.commandTimeouts;
    log.systemProgramFailsNormalized = log.systemUncorrectableReadsNormalized = PERFECT_PERCENT;
    log.systemEraseFailsNormalized = PERFECT_PERCENT;
    log.diesInUseNormalized = PERFECT_PERCENT;
    putText(log.firmwareRevision, context.state.firmware.running);
    std::copy(std::begin(BUILD_UUID), std::end(BUILD_UUID), log.firmwareBuildUuid.begin());
    putText(log.firmwareBuildLabel, "simulated");
}

CompletionEntry buildSmart(CommandContext& context, const LogRequest&, Page& page) {
    page = ocp26SmartPage(context);
    return {};
}

CompletionEntry buildErrorRecovery(CommandContext& context, const LogRequest&, Page& page) {
    const auto state = readExtension<Ocp26State>(context.state);
    OcpErrorRecoveryLog log = ocpErrorRecoveryLog(context);
    log.panicCount = state.panics;
    std::copy(state.previousPanics.begin(), state.previousPanics.end(), log.previousPanics);
    page = ocpPage(log, 3, OCP_GUID_ERROR_RECOVERY);
    return {};
}

CompletionEntry buildLatencyMonitor(CommandContext& context, const LogRequest&, Page& page) {
    OcpLatencyMonitorLog log = ocpLatencyMonitorLog(context);
    putLatencies(context, log);
    page = ocpPage(log, 4, OCP_GUID_LATENCY_MONITOR);
    return {};
}

/// Write Uncorrectable is not there.
CompletionEntry buildUnsupported(CommandContext&, const LogRequest&, Page& page) {
    constexpr const char* REQUIREMENT = "NVMe-IO-14";
    OcpUnsupportedRequirementsLog log{};
    log.count = 1;
    std::copy_n(REQUIREMENT, std::strlen(REQUIREMENT), log.requirements[0].begin());
    page = ocpPage(log, 1, OCP_GUID_UNSUPPORTED_REQUIREMENTS);
    return {};
}

struct ComponentRow {
    uint32_t id;
    const char* manufacturer;
    const char* revision;
    const char* manufacturerCode;
    const char* lotCode;
    const char* information;
};
/// What a drive that is a program may say of its parts.
constexpr ComponentRow COMPONENTS[] = {
    {0x1, "SIMULATE", "A1", "0001", "2026W01", "controller"},
    {0x2, "SIMULATE", "B2", "0002", "2026W02", ""},
    {0x3, "SIMULATE", "C3", "0003", "", ""},
};

/// Bytes of a text, filled up with zeros to whole dwords.
Page dwordsOf(const char* text) {
    constexpr size_t DWORD_BYTES = 4;
    Page bytes(text, text + std::strlen(text));
    bytes.resize((bytes.size() + DWORD_BYTES - 1) / DWORD_BYTES * DWORD_BYTES);
    return bytes;
}

void appendComponent(Page& page, uint32_t id, const ComponentRow& row) {
    constexpr size_t DWORD_BYTES = 4;
    const Page lotCode = dwordsOf(row.lotCode);
    const Page information = dwordsOf(row.information);
    OcpHardwareComponent component{};
    component.lotCodeDwords = lotCode.size() / DWORD_BYTES;
    component.informationDwords = information.size() / DWORD_BYTES;
    component.id = id;
    putText(component.manufacturer, row.manufacturer);
    putText(component.revision, row.revision);
    putText(component.manufacturerCode, row.manufacturerCode);
    for (const Page& part : {bytesOf(component), lotCode, information})
        page.insert(page.end(), part.begin(), part.end());
}

/// The components, and last the drive with its serial number.
CompletionEntry buildHardware(CommandContext& context, const LogRequest&, Page& page) {
    constexpr uint32_t SERIAL_NUMBER = 0x9;
    OcpHardwareComponentHeader header{};
    page = bytesOf(header);
    for (const ComponentRow& row : COMPONENTS) appendComponent(page, row.id, row);
    appendComponent(page, SERIAL_NUMBER,
                    {SERIAL_NUMBER, "SIMULATE", "", "", "", context.description.serialNumber.c_str()});
    header.size = page.size();
    header.logPageVersion = 2;
    header.guid = OCP_GUID_HARDWARE_COMPONENTS;
    putStructure(page.data(), header);
    return {};
}

/// There is no Security Provider: all is zero.
CompletionEntry buildTcgConfiguration(CommandContext&, const LogRequest&, Page& page) {
    page = ocpPage(OcpTcgConfigurationLog{}, 1, OCP_GUID_TCG_CONFIGURATION);
    return {};
}

CompletionEntry buildStrings(CommandContext&, const LogRequest&, Page& page) {
    page = ocpStringPage();
    return {};
}

// clang-format off
constexpr LogRow LOGS[] = {
    //                               supported model   LSP build
    {LID_OCP_SMART,                    nullptr, nullptr, 0, buildSmart},
    {LID_OCP_ERROR_RECOVERY,           nullptr, nullptr, 0, buildErrorRecovery},
    {LID_OCP_FIRMWARE_HISTORY,         nullptr, nullptr, 0, buildOcpFirmwareHistory},
    {LID_OCP_LATENCY_MONITOR,          nullptr, nullptr, 0, buildLatencyMonitor},
    {LID_OCP_CAPABILITIES,             nullptr, nullptr, 0, buildOcpCapabilities},
    {LID_OCP_UNSUPPORTED_REQUIREMENTS, nullptr, nullptr, 0, buildUnsupported},
    {LID_OCP_HARDWARE_COMPONENTS,      nullptr, nullptr, 0, buildHardware},
    {LID_OCP_TCG_CONFIGURATION,        nullptr, nullptr, 0, buildTcgConfiguration},
    {LID_OCP_TELEMETRY_STRINGS,        nullptr, nullptr, 0, buildStrings},
};
// clang-format on

}  // namespace

Rows<LogRow> ocp26Logs() {
    return LOGS;
}

std::vector<uint8_t> ocp26SmartPage(const CommandContext& context) {
    const auto state = readExtension<Ocp26State>(context.state);
    OcpSmartLog log = ocpSmartLog(context);
    putNewFields(context, state, log);
    Page page = ocpPage(log, 6, OCP_GUID_SMART);
    return page;
}

}  // namespace features::simulator
