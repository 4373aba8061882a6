#include "features/simulator/logs/Telemetry.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>

#include "features/nvme/FeatureIds.h"
#include "features/nvme/LogPageIds.h"
#include "features/nvme/PersistentEventTypes.h"
#include "features/nvme/StatusCodes.h"
#include "features/nvme/structures/FeatureData.h"
#include "features/nvme/structures/TelemetryLogHeader.h"
#include "features/simulator/context/AsyncEvents.h"
#include "features/simulator/context/DriveTables.h"
#include "features/simulator/context/FeatureValues.h"
#include "features/simulator/context/Timestamp.h"
#include "features/simulator/logs/ErrorLog.h"
#include "features/simulator/logs/HealthLog.h"
#include "features/simulator/logs/PersistentEventLog.h"
#include "features/simulator/logs/Snapshot.h"
#include "features/simulator/store/Extension.h"

namespace features::simulator {

using namespace nvme;

namespace {

constexpr size_t BLOCK_BYTES = sizeof(TelemetryLogHeader);
constexpr uint8_t LSP_CREATE = 1;
constexpr unsigned AREA_4 = 4;
constexpr uint32_t BLOCKS_OF_MIB = (1 << 20) / BLOCK_BYTES;

struct TelemetryState {
    static constexpr const char* NAME = "telemetry";
    uint8_t hostGeneration = 0;
    uint8_t controllerGeneration = 0;
    bool isAvailable = false;  ///< a capture of the controller's that no host has read

    template <class A>
    void fields(A& archive) {
        archive(hostGeneration, controllerGeneration, isAvailable);
    }
};

const char* snapshotName(uint8_t lid) {
    return lid == LID_TELEMETRY_HOST ? "telemetry-host" : "telemetry-controller";
}

void append(std::vector<uint8_t>& page, const std::vector<uint8_t>& bytes) {
    page.insert(page.end(), bytes.begin(), bytes.end());
}

std::string factsText(const CommandContext& context) {
    const DriveState& state = context.state;
    WorkCounters work = state.health.work;
    work += context.work;
    std::string text;
    const auto line = [&text](const std::string& name, uint64_t value) {
        text += name + ": " + std::to_string(value) + "\n";
    };
    text += "serial number: " + context.description.serialNumber + "\n";
    line("captured at", context.nowMs);
    line("milliseconds since reset", context.nowMs - state.health.lastResetMs);
    line("bytes read", work.bytesRead);
    line("bytes written", work.bytesWritten);
    line("active firmware slot", state.firmware.activeSlot);
    for (size_t i = 0; i < state.firmware.slots.size(); ++i) {
        text += "firmware slot " + std::to_string(i + 1) + ": " + state.firmware.slots[i] + "\n";
    }
    line("self-test", state.selfTest.code);
    line("sanitize status", state.sanitize.status);
    for (const auto& [nsid, part] : state.namespaces) {
        const std::string name = "namespace " + std::to_string(nsid);
        line(name + " size", part.size);
        line(name + " format", part.format);
    }
    return text;
}

TelemetryAreas plainAreas(CommandContext& context) {
    TelemetryAreas areas;
    (void)buildHealthLog(context, {}, areas[0]);  // it cannot fail, and neither can the error log
    const std::string facts = factsText(context);
    areas[0].insert(areas[0].end(), facts.begin(), facts.end());
    (void)buildErrorLog(context, {}, areas[1]);
    return areas;
}

/// Closes a data area: fills its last block, and notes its number. `blocksAfter`: of the area, and not in the page.
void closeArea(std::vector<uint8_t>& page, unsigned area, uint32_t blocksAfter = 0) {
    page.resize((page.size() + BLOCK_BYTES - 1) / BLOCK_BYTES * BLOCK_BYTES);
    auto header = structureAt<TelemetryLogHeader>(page.data());
    const auto last = static_cast<uint32_t>(page.size() / BLOCK_BYTES - 1) + blocksAfter;
    if (area == AREA_4) {
        header.lastBlockOfArea4 = last;
    } else {
        header.lastBlock[area - 1] = static_cast<uint16_t>(last);
    }
    putStructure(page.data(), header);
}

std::vector<uint8_t> emptyPage(const CommandContext& context, uint8_t lid, const char* reason) {
    TelemetryLogHeader header{};
    header.lid = lid;
    header.ieee = context.model.oui;
    std::memcpy(header.reason.data(), reason, std::min(header.reason.size(), std::strlen(reason)));
    return bytesOf(header);
}

/// What a header says of captures beyond its own.
void putGenerations(std::vector<uint8_t>& page, const TelemetryState& state) {
    auto header = structureAt<TelemetryLogHeader>(page.data());
    if (header.lid == LID_TELEMETRY_HOST) header.hostGeneration = state.hostGeneration;
    header.controllerDataAvailable = state.isAvailable ? 1 : 0;
    header.controllerGeneration = state.controllerGeneration;
    putStructure(page.data(), header);
}

/// `state`: as it is with this capture; it is stored.
bool capture(CommandContext& context, uint8_t lid, const char* reason, TelemetryState& state) {
    std::vector<uint8_t> page = emptyPage(context, lid, reason);
    const bool isPlain = context.tables.telemetryAreas == nullptr;
    const TelemetryAreas areas = isPlain ? plainAreas(context) : context.tables.telemetryAreas(context);
    append(page, areas[0]);
    closeArea(page, 1);
    append(page, areas[1]);
    closeArea(page, 2);
    // A persistent event log that is damaged, or that the drive does not support, leaves area 3 without more.
    if (const auto events = composePersistentEventLog(context)) append(page, *events);
    closeArea(page, 3);
    if (isOfNvme21(context.model.id)) {
        append(page, std::vector<uint8_t>(BLOCK_BYTES, 0x4A));
        closeArea(page, AREA_4, context.description.telemetryMib * BLOCKS_OF_MIB);
    }
    if (!Snapshot(context, snapshotName(lid)).write(page)) return false;
    writeExtension(context.state, state);
    page.resize(BLOCK_BYTES);
    putGenerations(page, state);
    recordPersistentEvent(context, PersistentEvent::TELEMETRY_CREATED, timestampData(context), page);
    return true;
}

/// By Host Behavior Support.
bool isArea4Enabled(const CommandContext& context) {
    constexpr size_t AT_ETDAS = offsetof(HostBehaviorSupport, etdas);
    const FeatureValue value = currentFeature(context, FID_HOST_BEHAVIOR_SUPPORT);
    return value.data.size() > AT_ETDAS && value.data[AT_ETDAS] == 1;
}

/// What a host sees that has not said that it knows data area 4.
void takeArea4Away(std::vector<uint8_t>& page) {
    auto header = structureAt<TelemetryLogHeader>(page.data());
    if (header.lastBlockOfArea4 == 0) return;
    header.lastBlockOfArea4 = 0;
    putStructure(page.data(), header);
    page.resize((size_t{header.lastBlock[2]} + 1) * BLOCK_BYTES);
}

/// The stored capture, or a page without data areas.
CompletionEntry readCapture(CommandContext& context, uint8_t lid, const LogRequest& request,
                            std::vector<uint8_t>& page) {
    if (request.offset % BLOCK_BYTES != 0) return refusal(SC_INVALID_FIELD);
    const Snapshot snapshot(context, snapshotName(lid));
    auto stored = snapshot.exists() ? snapshot.read() : emptyPage(context, lid, "");
    if (!stored || stored->size() < BLOCK_BYTES) return passingRefusal(SC_INTERNAL_ERROR);
    page = *std::move(stored);
    if (!isArea4Enabled(context)) takeArea4Away(page);
    putGenerations(page, readExtension<TelemetryState>(context.state));
    return {};
}

}  // namespace

uint64_t telemetryLength(const std::vector<uint8_t>& page) {
    const auto header = structureAt<TelemetryLogHeader>(page.data());
    const uint64_t end = (uint64_t{header.lastBlockOfArea4} + 1) * BLOCK_BYTES;
    return std::max<uint64_t>(page.size(), end);
}

void captureForController(CommandContext& context, const char* reason) {
    auto state = readExtension<TelemetryState>(context.state);
    if (!context.description.supportsTelemetry || state.isAvailable) return;
    ++state.controllerGeneration;
    state.isAvailable = true;
    if (!capture(context, LID_TELEMETRY_CONTROLLER, reason, state)) return;
    context.asEachController([&] { raiseEvent(context, EventKind::TELEMETRY); });
}

CompletionEntry buildHostTelemetry(CommandContext& context, const LogRequest& request, std::vector<uint8_t>& page) {
    if ((request.lsp & LSP_CREATE) != 0) {
        auto state = readExtension<TelemetryState>(context.state);
        ++state.hostGeneration;
        if (!capture(context, LID_TELEMETRY_HOST, "Asked for by the host", state)) {
            return passingRefusal(SC_INTERNAL_ERROR);
        }
    }
    return readCapture(context, LID_TELEMETRY_HOST, request, page);
}

CompletionEntry buildControllerTelemetry(CommandContext& context, const LogRequest& request,
                                         std::vector<uint8_t>& page) {
    CompletionEntry completion = readCapture(context, LID_TELEMETRY_CONTROLLER, request, page);
    auto state = readExtension<TelemetryState>(context.state);
    if (!completion.isSuccess() || request.retainEvent || !state.isAvailable) return completion;
    state.isAvailable = false;
    writeExtension(context.state, state);
    return completion;
}

}  // namespace features::simulator
