#include "features/simulator/context/AsyncEvents.h"

#include "features/nvme/Bytes.h"
#include "features/nvme/FeatureIds.h"
#include "features/nvme/LogPageIds.h"
#include "features/simulator/context/FeatureValues.h"

namespace features::simulator {

using namespace nvme;

namespace {

constexpr uint8_t TYPE_HEALTH = 1;
constexpr uint8_t TYPE_NOTICE = 2;
constexpr uint8_t TYPE_NVM = 6;  // I/O command set specific
constexpr int ALWAYS = -1;

struct EventRow {
    EventKind kind;
    uint8_t type;
    uint8_t information;
    uint8_t lid;
    int configurationBit;  ///< of Asynchronous Event Configuration
    uint8_t warnings;      ///< bits of Critical Warning that raise it, each configured by the bit of its own
};
// clang-format off
constexpr EventRow EVENTS[] = {  // section 5.2
    {EventKind::RELIABILITY,        TYPE_HEALTH, 0, LID_SMART_HEALTH,         ALWAYS, 0xFC},
    {EventKind::TEMPERATURE,        TYPE_HEALTH, 1, LID_SMART_HEALTH,         ALWAYS, 0x02},
    {EventKind::SPARE,              TYPE_HEALTH, 2, LID_SMART_HEALTH,         ALWAYS, 0x01},
    {EventKind::NAMESPACES,         TYPE_NOTICE, 0, LID_CHANGED_NAMESPACES,   8,      0},
    {EventKind::FIRMWARE,           TYPE_NOTICE, 1, LID_FIRMWARE_SLOT,        9,      0},
    {EventKind::TELEMETRY,          TYPE_NOTICE, 2, LID_TELEMETRY_CONTROLLER, 10,     0},
    {EventKind::SANITIZE_COMPLETED, TYPE_NVM,    1, LID_SANITIZE_STATUS,      ALWAYS, 0},
    {EventKind::ANA_CHANGE,         TYPE_NOTICE, 3, LID_ANA,                  11,     0},
};
// clang-format on

constexpr uint32_t bitOf(EventKind kind) {
    return uint32_t{1} << static_cast<unsigned>(kind);
}

bool isConfigured(const CommandContext& context, const EventRow& row) {
    return row.configurationBit == ALWAYS ||
           bit(currentFeature(context, FID_ASYNCHRONOUS_EVENT).dword, static_cast<unsigned>(row.configurationBit));
}

/// Whether an event of the type was reported, and its log page not read since.
bool isTypeMasked(const EventState& events, uint8_t type) {
    for (const EventRow& row : EVENTS) {
        if (row.type == type && (events.masked & bitOf(row.kind)) != 0) return true;
    }
    return false;
}

}  // namespace

void raiseEvent(CommandContext& context, EventKind kind) {
    for (const EventRow& row : EVENTS) {
        if (row.kind == kind && isConfigured(context, row)) context.state.events.pending |= bitOf(kind);
    }
}

uint8_t raiseWarnings(CommandContext& context, uint8_t now) {
    EventState& events = context.state.events;
    const auto raised = static_cast<uint8_t>(now & ~events.warnings);
    events.warnings = now;
    if (raised == 0) return raised;
    const auto wanted = static_cast<uint8_t>(currentFeature(context, FID_ASYNCHRONOUS_EVENT).dword);
    for (const EventRow& row : EVENTS) {
        if ((raised & row.warnings & wanted) != 0) raiseEvent(context, row.kind);
    }
    return raised;
}

void clearEventsOf(CommandContext& context, uint8_t lid) {
    for (const EventRow& row : EVENTS) {
        if (row.lid == lid) context.state.events.masked &= ~bitOf(row.kind);
    }
}

std::optional<CompletionEntry> nextEvent(CommandContext& context) {
    EventState& events = context.state.events;
    for (const EventRow& row : EVENTS) {
        if ((events.pending & bitOf(row.kind)) == 0 || isTypeMasked(events, row.type)) continue;
        events.pending &= ~bitOf(row.kind);
        events.masked |= bitOf(row.kind);
        CompletionEntry completion;
        completion.dword0 =
            row.type | static_cast<uint32_t>(row.information) << 8 | static_cast<uint32_t>(row.lid) << 16;
        return completion;
    }
    return std::nullopt;
}

}  // namespace features::simulator
