#include "features/simulator/models/ocp/OcpLogs.h"

#include <algorithm>
#include <iterator>
#include <string>

#include "features/nvme/Bytes.h"
#include "features/nvme/FeatureIds.h"
#include "features/nvme/LogPageIds.h"
#include "features/nvme/OcpLogPages.h"
#include "features/simulator/context/FeatureValues.h"
#include "features/simulator/logs/HealthLog.h"
#include "features/simulator/models/ocp/OcpFeatures.h"
#include "features/simulator/models/ocp/OcpState.h"
#include "features/simulator/store/Extension.h"
#include "features/simulator/store/Namespaces.h"
#include "features/simulator/store/PaddedText.h"

namespace features::simulator {

using namespace nvme;

namespace {

using Page = std::vector<uint8_t>;

/// Each page ends with its version, of 2 bytes, and its GUID, of which these are the digits.
struct PageEnd {
    uint16_t version;
    const char* guid;
};
constexpr PageEnd SMART_END{3, "AFD514C97C6F4F9CA4F2BFEA2810AFC5"};
constexpr PageEnd ERROR_RECOVERY_END{2, "5A1983BA3DFD4DABAE3430FE2131D944"};
constexpr PageEnd FIRMWARE_HISTORY_END{1, "D11CF3AC8AB24DE2A3F6DAB4769A796D"};
constexpr PageEnd LATENCY_MONITOR_END{1, "85D45E58D4E643709C6C84D08CC07A92"};
constexpr PageEnd CAPABILITIES_END{1, "B7053C914B58495D98C9E1D10D054297"};
constexpr PageEnd UNSUPPORTED_END{1, "C7BB98B7D0324863BB2C23990E9C722F"};

constexpr size_t GUID_BYTES = 16;

uint8_t nibble(char digit) {
    return static_cast<uint8_t>(digit <= '9' ? digit - '0' : digit - 'A' + 10);
}

void closePage(Page& page, const PageEnd& end) {
    putLe16(page.data() + page.size() - GUID_BYTES - 2, end.version);
    for (size_t i = 0; i < GUID_BYTES; ++i) {  // little endian
        page[page.size() - 1 - i] = static_cast<uint8_t>(nibble(end.guid[2 * i]) << 4 | nibble(end.guid[2 * i + 1]));
    }
}

bool isOcp(ModelId model) {
    return model == ModelId::OCP;
}

uint64_t blocksInUse(const CommandContext& context) {
    uint64_t blocks = 0;
    for (const auto& [nsid, part] : context.state.namespaces) blocks += context.media.blocksInUse(nsid);
    return blocks;
}

/// SMART / Health Information Extended. What a drive without NAND and capacitors cannot have is perfect.
CompletionEntry buildSmart(CommandContext& context, const LogRequest&, Page& page) {
    constexpr uint64_t MAX_PERCENT = 100;
    constexpr uint8_t SPECIFICATION_MAJOR = 2;
    const auto state = readExtension<OcpState>(context.state);
    WorkCounters work = context.state.health.work;
    work += context.work;
    const uint64_t size = context.description.sizeBytes;
    page.resize(512);
    uint8_t* at = page.data();
    putLe64(at, work.bytesWritten);
    putLe64(at + 16, work.bytesRead);
    putLe16(at + 38, MAX_PERCENT);  // user and system NAND blocks that are good
    putLe16(at + 46, MAX_PERCENT);
    putLe64(at + 56, context.state.health.mediaErrors);
    at[80] = percentageUsed(context);
    putLe32(at + 88, static_cast<uint32_t>((work.bytesWritten + size - 1) / size));  // the blocks erased most
    putLe32(at + 92, static_cast<uint32_t>(work.bytesWritten / size));
    at[96] = static_cast<uint8_t>(std::min<uint64_t>(state.throttlings, 255));
    at[97] = compositeKelvin(context) >= context.model.criticalKelvin  ? 2
             : compositeKelvin(context) >= context.model.warningKelvin ? 1
                                                                       : 0;
    at[103] = SPECIFICATION_MAJOR;
    putLe64(at + 104, state.pcieErrors);
    putLe32(at + 112, state.incompleteShutdowns);
    at[120] = static_cast<uint8_t>(unallocatedBytes(context.description, context.model, context.state) * MAX_PERCENT /
                                   context.description.sizeBytes);
    putLe16(at + 128, MAX_PERCENT);  // capacitors
    putLe64(at + 136, work.unalignedCommands);
    putLe64(at + 144, 1);  // Security Version Number
    putLe64(at + 152, blocksInUse(context));
    putLe64(at + 160, context.state.health.unsafeShutdowns);  // PLP starts
    putLe64(at + 176, context.description.sizeBytes * ENDURANCE_FILLS);
    putLe64(at + 192, state.linkTrainings);
    putLe64(at + 200, state.powerStateChanges);
    closePage(page, SMART_END);
    return {};
}

CompletionEntry buildErrorRecovery(CommandContext& context, const LogRequest&, Page& page) {
    constexpr uint8_t CONTROLLER_OR_SUBSYSTEM_RESET = 0x03;
    constexpr uint32_t PANIC_BY_COMMAND_TIMEOUT_OR_STATUS = 0;
    page.resize(512);
    uint8_t* at = page.data();
    putLe16(at, 100);  // Panic Reset Wait Time in ms
    at[2] = CONTROLLER_OR_SUBSYSTEM_RESET;
    at[3] = 0;  // Device Recovery Action: none, a reset is enough
    putLe64(at + 4, readExtension<OcpState>(context.state).lastPanic);
    putLe32(at + 12, PANIC_BY_COMMAND_TIMEOUT_OR_STATUS);
    closePage(page, ERROR_RECOVERY_END);
    return {};
}

CompletionEntry buildFirmwareHistory(CommandContext& context, const LogRequest&, Page& page) {
    constexpr size_t OFFSET_ENTRIES = 8;
    constexpr uint8_t ENTRY_BYTES = 64;
    const auto state = readExtension<OcpState>(context.state);
    page.resize(4096);
    page[0] = LID_OCP_FIRMWARE_HISTORY;
    putLe32(page.data() + 4, static_cast<uint32_t>(state.activations.size()));
    uint8_t* at = page.data() + OFFSET_ENTRIES;
    for (const OcpActivation& entry : state.activations) {
        at[0] = 1;  // version of the entry
        at[1] = ENTRY_BYTES;
        putLe16(at + 4, entry.count);
        putLe64(at + 6, entry.timestamp);
        putLe64(at + 22, entry.powerCycles);
        putText(at + 30, REVISION_BYTES, entry.before);
        putText(at + 38, REVISION_BYTES, entry.after);
        at[46] = entry.slot;
        at[47] = entry.commitAction;
        at += ENTRY_BYTES;
    }
    closePage(page, FIRMWARE_HISTORY_END);
    return {};
}

/// What the monitor is set to. Its counters stay 0: no command of a simulated drive takes as long as its thresholds.
CompletionEntry buildLatencyMonitor(CommandContext& context, const LogRequest&, Page& page) {
    const Page setting = currentFeature(context, FID_OCP_LATENCY_MONITOR).data;
    page.resize(512);
    page[0] = setting[12] & 0x07;
    std::copy_n(setting.begin(), 2, page.begin() + 4);        // Active Bucket Timer Threshold
    std::copy_n(setting.begin() + 2, 4, page.begin() + 6);    // Active Thresholds A to D
    std::copy_n(setting.begin() + 6, 3, page.begin() + 10);   // Active Latency Configuration, Minimum Window
    std::copy_n(setting.begin() + 9, 2, page.begin() + 448);  // Debug Log Trigger Enable
    closePage(page, LATENCY_MONITOR_END);
    return {};
}

CompletionEntry buildCapabilities(CommandContext& context, const LogRequest&, Page& page) {
    constexpr uint16_t ONE_PORT = 1;
    constexpr uint16_t MET = 0x8000;  // all that the specification requires
    constexpr uint16_t WRITE_ZEROES = MET | 0x0001;
    constexpr uint16_t SANITIZE_CRYPTO_BLOCK_OVERWRITE = MET | 0x000F;
    constexpr uint16_t DATASET_MANAGEMENT_DEALLOCATE = MET | 0x0003;
    page.resize(OCP_CAPABILITIES_BYTES);
    uint8_t* at = page.data();
    putLe16(at, ONE_PORT);
    // Out of band management, Write Uncorrectable and fused operations: none.
    putLe16(at + 4, WRITE_ZEROES);
    putLe16(at + 6, context.description.supportsSanitize ? SANITIZE_CRYPTO_BLOCK_OVERWRITE : 0);
    putLe16(at + 8, DATASET_MANAGEMENT_DEALLOCATE);
    for (unsigned watts = OCP_MAX_WATTS; watts > 0; --watts) {
        const auto state = powerStateOfWatts(context.model, watts);
        if (!state) continue;
        at[OCP_POWER_STATE_DESCRIPTORS + watts] = static_cast<uint8_t>(1U << OCP_POWER_STATE_VALID_BIT | *state);
        putLe16(at + 14, static_cast<uint16_t>(watts));  // the last that is found is the least that is valid
    }
    closePage(page, CAPABILITIES_END);
    return {};
}

/// The requirements that a drive without hardware does not meet are not numbered here: the list is empty.
CompletionEntry buildUnsupported(CommandContext&, const LogRequest&, Page& page) {
    page.resize(4096);
    closePage(page, UNSUPPORTED_END);
    return {};
}

// clang-format off
constexpr LogRow LOGS[] = {
    //                        supported model  LSP build
    {LID_OCP_SMART,            nullptr, isOcp, 0,  buildSmart},
    {LID_OCP_ERROR_RECOVERY,   nullptr, isOcp, 0,  buildErrorRecovery},
    {LID_OCP_FIRMWARE_HISTORY, nullptr, isOcp, 0,  buildFirmwareHistory},
    {LID_OCP_LATENCY_MONITOR,  nullptr, isOcp, 0,  buildLatencyMonitor},
    {LID_OCP_CAPABILITIES,     nullptr, isOcp, 0,  buildCapabilities},
    {LID_OCP_UNSUPPORTED_REQUIREMENTS, nullptr, isOcp, 0,  buildUnsupported},
};
// clang-format on

}  // namespace

Rows<LogRow> ocpLogs() {
    return LOGS;
}

}  // namespace features::simulator
