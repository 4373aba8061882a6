#include "features/simulator/commands/LogPages.h"

#include <algorithm>
#include <iterator>

#include "features/nvme/Bytes.h"
#include "features/nvme/Opcodes.h"
#include "features/nvme/StatusCodes.h"
#include "features/simulator/commands/Events.h"
#include "features/simulator/commands/Firmware.h"
#include "features/simulator/commands/Identify.h"
#include "features/simulator/commands/NamespaceCommands.h"
#include "features/simulator/commands/Sanitize.h"
#include "features/simulator/commands/SelfTest.h"
#include "features/simulator/context/Transfer.h"
#include "features/simulator/logs/ErrorLog.h"
#include "features/simulator/logs/HealthLog.h"
#include "features/simulator/logs/PersistentEventLog.h"
#include "features/simulator/logs/Telemetry.h"
#include "features/simulator/models/ocp/OcpLogs.h"
#include "features/simulator/models/velko/VelkoLogs.h"
#include "features/simulator/tables/CommandTable.h"
#include "ostrel/core/ScopeTrace.h"

namespace features::simulator {

using namespace nvme;

namespace {

CompletionEntry buildSupportedLogs(CommandContext& context, const LogRequest&, std::vector<uint8_t>& page) {
    constexpr uint32_t LSUPP = 1;
    page.resize(1024);
    for (unsigned lid = 0; lid < 256; ++lid) {
        if (findLog(context, static_cast<uint8_t>(lid)) != nullptr) putLe32(page.data() + size_t{4} * lid, LSUPP);
    }
    return {};
}

CompletionEntry buildCommandEffects(CommandContext& context, const LogRequest&, std::vector<uint8_t>& page) {
    constexpr size_t OFFSET_IO = 1024;
    page.resize(4096);
    for (const CommandRow* row = commandsBegin(); row != commandsEnd(); ++row) {
        if (findCommand(context.description, row->isAdmin, row->opcode) != row) continue;
        putLe32(page.data() + (row->isAdmin ? 0 : OFFSET_IO) + size_t{4} * row->opcode, row->effects);
    }
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
    {LID_PERSISTENT_EVENT,     &D::supportsPersistentEventLog,  nullptr, 3,  buildPersistentEventLog},
    {LID_SANITIZE_STATUS,      &D::supportsSanitize,            nullptr, 0,  buildSanitizeLog},
};
// clang-format on

/// The pages that can be read while the drive is sanitized (section 8.15.1).
constexpr uint8_t DURING_SANITIZE[] = {LID_ERROR_INFORMATION, LID_SMART_HEALTH, LID_CHANGED_NAMESPACES, LID_RESERVATION,
                                       LID_SANITIZE_STATUS};

bool isReadable(const CommandContext& context, uint8_t lid) {
    return !context.state.sanitize.isRunning ||
           std::find(std::begin(DURING_SANITIZE), std::end(DURING_SANITIZE), lid) != std::end(DURING_SANITIZE);
}

/// Without extended data (LPA bit 2) a page is read from its start, and Number of Dwords has 12 bits.
bool hasFieldsOfModel(const CommandContext& context, const LogRequest& request) {
    constexpr uint64_t MAX_PLAIN_BYTES = uint64_t{4096} * 4;
    return hasExtendedLogData(context) || (request.offset == 0 && request.length <= MAX_PLAIN_BYTES);
}

bool isVendorLog(uint8_t lid) {
    return lid >= 0xC0;
}

}  // namespace

const LogRow* findLog(const CommandContext& context, uint8_t lid) {
    const bool isOcp = context.model.id == ModelId::OCP;
    const auto isRow = [lid](const LogRow& row) { return row.lid == lid; };
    const LogRow* row = std::find_if(std::begin(LOGS), std::end(LOGS), isRow);
    if (row == std::end(LOGS)) {
        const LogRow* end = isOcp ? ocpLogsEnd() : velkoLogsEnd();
        row = std::find_if(isOcp ? ocpLogsBegin() : velkoLogsBegin(), end, isRow);
        if (row == end) return nullptr;
    }
    if (row->isSupported != nullptr && !(context.description.*row->isSupported)) return nullptr;
    return row->isOfModel == nullptr || row->isOfModel(context.model.id) ? row : nullptr;
}

CompletionEntry getLogPage(CommandContext& context) {
    OSTREL_TRACE();
    const SubmissionEntry& command = context.command;
    const auto lid = static_cast<uint8_t>(command.cdw10);
    LogRequest request;
    request.lsp = static_cast<uint8_t>(command.cdw10 >> 8 & 0x0F);
    request.lsi = static_cast<uint16_t>(command.cdw11 >> 16);
    request.retainEvent = bit(command.cdw10, 15);
    request.offset = command.cdw12 | static_cast<uint64_t>(command.cdw13) << 32;
    request.length = ((command.cdw10 >> 16 | static_cast<uint64_t>(command.cdw11 & 0xFFFF) << 16) + 1) * 4;

    const LogRow* row = findLog(context, lid);
    if (row == nullptr) return refusal(SCT_COMMAND_SPECIFIC, SC_INVALID_LOG_PAGE);
    if (!isReadable(context, lid)) return passingRefusal(SCT_GENERIC, SC_SANITIZE_IN_PROGRESS);
    const uint32_t mostUuidIndex = isVendorLog(lid) && context.model.id == ModelId::OCP ? 1 : 0;
    const bool isOfController = command.nsid == 0 || command.nsid == NSID_ALL;
    if (!isOfController || !hasFieldsOfModel(context, request) || command.cdw14 > mostUuidIndex ||
        (request.lsp & ~row->definedLsp) != 0 || request.lsi != 0 || request.offset % 4 != 0 ||
        !fitsTransfer(context, request.length)) {
        return refusal(SCT_GENERIC, SC_INVALID_FIELD);
    }
    std::vector<uint8_t> page;
    CompletionEntry completion = row->build(context, request, page);
    if (!completion.isSuccess()) return completion;
    if (request.offset != 0 && request.offset >= page.size()) return refusal(SCT_GENERIC, SC_INVALID_FIELD);
    if (!request.retainEvent) clearEventsOf(context, lid);
    context.data.assign(static_cast<size_t>(request.length), 0);
    const auto count = std::min<uint64_t>(request.length, page.size() - request.offset);
    std::copy_n(page.begin() + static_cast<std::ptrdiff_t>(request.offset), count, context.data.begin());
    return completion;
}

}  // namespace features::simulator
