#include "features/simulator/logs/PersistentEventLog.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <string>
#include <utility>

#include "features/nvme/LogPageIds.h"
#include "features/nvme/PersistentEventTypes.h"
#include "features/nvme/StatusCodes.h"
#include "features/nvme/structures/PersistentEventLog.h"
#include "features/simulator/context/ControllerIdentity.h"
#include "features/simulator/context/Timestamp.h"
#include "features/simulator/logs/EventData.h"
#include "features/simulator/logs/EventJournal.h"
#include "features/simulator/logs/HealthLog.h"
#include "features/simulator/logs/Snapshot.h"
#include "features/simulator/store/Extension.h"
#include "features/simulator/store/PaddedText.h"

namespace features::simulator {

using namespace nvme;

namespace {

constexpr size_t LOG_HEADER_BYTES = sizeof(PersistentEventLogHeader);
constexpr uint64_t HOURS_PER_DAY = 24;
constexpr const char* CONTEXT_SNAPSHOT = "persistent-event-context";

// Actions in LSP.
constexpr uint8_t ACTION_READ = 0;
constexpr uint8_t ACTION_ESTABLISH = 1;
constexpr uint8_t ACTION_RELEASE = 2;

constexpr PersistentEvent RECORDED[] = {
    PersistentEvent::SMART_SNAPSHOT,      PersistentEvent::FIRMWARE_COMMIT,   PersistentEvent::TIMESTAMP_CHANGE,
    PersistentEvent::POWER_ON_OR_RESET,   PersistentEvent::HARDWARE_ERROR,    PersistentEvent::CHANGE_NAMESPACE,
    PersistentEvent::FORMAT_START,        PersistentEvent::FORMAT_COMPLETION, PersistentEvent::SANITIZE_START,
    PersistentEvent::SANITIZE_COMPLETION, PersistentEvent::SET_FEATURE,       PersistentEvent::TELEMETRY_CREATED,
    PersistentEvent::THERMAL_EXCURSION,   PersistentEvent::VENDOR_SPECIFIC,
};

/// What the next event must know of those before.
struct EventHistory {
    static constexpr const char* NAME = "event-history";
    uint64_t nextSnapshotDay = 0;  ///< the first day of power-on time that has no SMART / Health snapshot
    uint64_t poweredOnMs = 0;
    std::string firmware;  ///< that ran at the last event

    template <class A>
    void fields(A& archive) {
        archive(nextSnapshotDay, poweredOnMs, firmware);
    }
};

std::vector<uint8_t> eventBytes(const CommandContext& context, PersistentEvent type,
                                const std::array<uint8_t, 8>& timestamp, const std::vector<uint8_t>& data) {
    constexpr uint8_t REVISION = 1;
    PersistentEventHeader header{};
    header.type = static_cast<uint8_t>(type);
    header.revision = REVISION;
    header.ehl = sizeof header - offsetof(PersistentEventHeader, port);
    header.cntlid = context.controllerId;
    header.timestamp = timestamp;
    header.el = static_cast<uint16_t>(data.size());
    std::vector<uint8_t> event(sizeof header + data.size());
    putStructure(event.data(), header);
    std::copy(data.begin(), data.end(), event.begin() + sizeof header);
    return event;
}

void putHeader(const CommandContext& context, size_t events, std::vector<uint8_t>& page) {
    PersistentEventLogHeader header{};
    header.lid = LID_PERSISTENT_EVENT;
    header.tnev = static_cast<uint32_t>(events);
    header.tll = page.size();
    header.revision = 1;
    header.lhl = sizeof header - offsetof(PersistentEventLogHeader, timestamp);
    header.timestamp = timestampData(context);
    header.powerOnHours = context.powerOnHours();
    header.powerCycles = context.state.health.powerCycles;
    header.vid = context.model.vendorId;
    header.ssvid = context.model.subsystemVendorId;
    putText(header.sn, context.description.serialNumber);
    putText(header.mn, context.description.shownModelNumber());
    const std::string name = subsystemName(context.description);
    std::copy(name.begin(), name.end(), header.subnqn.begin());
    for (const PersistentEvent type : RECORDED) {
        const auto number = static_cast<uint8_t>(type);
        uint8_t& bits = header.supportedEvents[number / 8U];
        bits = static_cast<uint8_t>(bits | 1 << number % 8);
    }
    putStructure(page.data(), header);
}

/// The power-on of a new drive is recorded when there is something to record after it: that a drive is looked at alone
/// does not write its state.
void beginHistory(CommandContext& context) {
    if (context.state.extensions.count(EventHistory::NAME) != 0) return;
    EventHistory history;
    history.poweredOnMs = context.state.health.createdMs;
    history.firmware = context.state.firmware.running;
    writeExtension(context.state, history);
    const std::array<uint8_t, 8> atOnce{};
    EventJournal(context).append(
        eventBytes(context, PersistentEvent::POWER_ON_OR_RESET, atOnce, powerOnData(context, {})));
}

}  // namespace

void recordPersistentEvent(CommandContext& context, PersistentEvent type, const std::array<uint8_t, 8>& timestamp,
                           const std::vector<uint8_t>& data) {
    if (!context.description.supportsPersistentEventLog) return;
    beginHistory(context);
    EventJournal journal(context);
    auto history = readExtension<EventHistory>(context.state);
    if (history.firmware != context.state.firmware.running) {
        history.firmware = context.state.firmware.running;
        writeExtension(context.state, history);
    }
    const uint64_t today = context.powerOnHours() / HOURS_PER_DAY;
    if (history.nextSnapshotDay <= today) {
        history.nextSnapshotDay = today + 1;
        writeExtension(context.state, history);
        std::vector<uint8_t> smart;
        (void)buildHealthLog(context, {}, smart);  // it cannot fail
        journal.append(eventBytes(context, PersistentEvent::SMART_SNAPSHOT, timestamp, smart));
    }
    journal.append(eventBytes(context, type, timestamp, data));
}

void recordReset(CommandContext& context, bool isPowerOn) {
    Snapshot shown(context, CONTEXT_SNAPSHOT);
    if (shown.exists()) shown.remove();
    if (!context.description.supportsPersistentEventLog) return;
    beginHistory(context);
    auto history = readExtension<EventHistory>(context.state);
    const std::string& running = context.state.firmware.running;
    if (isPowerOn) history.poweredOnMs = context.nowMs;
    PowerOn event;
    event.isActivation = history.firmware != running;
    event.powerCycle = context.state.health.powerCycles;
    event.sincePowerOnMs = context.nowMs - std::min(context.nowMs, history.poweredOnMs);
    writeExtension(context.state, history);
    recordPersistentEvent(context, PersistentEvent::POWER_ON_OR_RESET, timestampData(context),
                          powerOnData(context, event));
}

std::optional<std::vector<uint8_t>> composePersistentEventLog(CommandContext& context) {
    if (!context.description.supportsPersistentEventLog) return std::nullopt;
    const std::optional<std::vector<uint8_t>> events = EventJournal(context).read();
    if (!events) return std::nullopt;
    const std::vector<size_t> offsets = EventJournal::offsets(*events);
    std::vector<uint8_t> page(LOG_HEADER_BYTES);
    size_t end = events->size();
    for (auto at = offsets.rbegin(); at != offsets.rend(); ++at) {
        page.insert(page.end(), events->begin() + static_cast<std::ptrdiff_t>(*at),
                    events->begin() + static_cast<std::ptrdiff_t>(end));
        end = *at;
    }
    putHeader(context, offsets.size(), page);
    return page;
}

CompletionEntry buildPersistentEventLog(CommandContext& context, const LogRequest& request,
                                        std::vector<uint8_t>& page) {
    constexpr CompletionEntry OUT_OF_SEQUENCE = refusal(SC_COMMAND_SEQUENCE_ERROR);
    constexpr CompletionEntry FAILED = passingRefusal(SC_INTERNAL_ERROR);
    Snapshot shown(context, CONTEXT_SNAPSHOT);
    std::optional<std::vector<uint8_t>> found;
    switch (request.lsp) {
        case ACTION_READ:
            if (!shown.exists()) return OUT_OF_SEQUENCE;
            found = shown.read();
            break;
        case ACTION_ESTABLISH:
            if (shown.exists()) return OUT_OF_SEQUENCE;
            beginHistory(context);
            found = composePersistentEventLog(context);
            if (found && !shown.write(*found)) return FAILED;
            break;
        case ACTION_RELEASE:
            if (shown.exists()) shown.remove();
            return {};  // no data, and no error without a context
        default:
            return refusal(SC_INVALID_FIELD);
    }
    if (!found) return FAILED;
    page = *std::move(found);
    return {};
}

}  // namespace features::simulator
