#include "features/simulator/models/ocp/OcpPanic.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

#include "features/nvme/Bytes.h"
#include "features/nvme/FeatureIds.h"
#include "features/nvme/Opcodes.h"
#include "features/nvme/StatusCodes.h"
#include "features/nvme/structures/OcpFeatureData.h"
#include "features/simulator/logs/Telemetry.h"
#include "features/simulator/models/ocp/Ocp26State.h"
#include "features/simulator/models/ocp/OcpDebugEvents.h"
#include "features/simulator/models/ocp/OcpState.h"
#include "features/simulator/store/Extension.h"

namespace features::simulator {

using namespace nvme;

namespace {

constexpr size_t ENTRY_BYTES = sizeof(OcpErrorInjectionEntry);
constexpr size_t MAX_ENTRIES = 127;
constexpr uint16_t LAST_PANIC_TYPE = 0x0B;
constexpr uint16_t LAST_HANGING_TYPE = 0x02;
constexpr uint16_t TYPE_INCOMPLETE_SHUTDOWN = 0x0B;

constexpr CompletionEntry INVALID_FIELD = refusal(SC_INVALID_FIELD);

uint16_t typeOf(const uint8_t* entry) {
    return structureAt<OcpErrorInjectionEntry>(entry).type;
}

/// What an injected error that is no panic does; those that are not here are events of the telemetry alone.
enum class Effect : uint8_t { NONE, FAILURE, TIMEOUT, DELAY };
// clang-format off
constexpr struct InjectionRow {
    uint16_t type;
    bool isOfAdmin;  ///< hits a command of the Admin queue, and else a Read
    Effect effect;
} INJECTIONS[] = {
    {0x0C, false, Effect::NONE},     // metadata corruption
    {0x0D, false, Effect::NONE},     // critical garbage collection
    {0x0E, false, Effect::DELAY},    // latency spike
    {0x0F, false, Effect::FAILURE},  // I/O command failure
    {0x10, false, Effect::TIMEOUT},  // I/O command timeout
    {0x11, true,  Effect::FAILURE},  // Admin command failure
    {0x12, true,  Effect::TIMEOUT},  // Admin command timeout
    {0x13, false, Effect::NONE},     // thermal throttle engaged
    {0x14, false, Effect::NONE},     // thermal throttle disengaged
    {0x15, false, Effect::NONE},     // critical temperature event
    {0x16, false, Effect::NONE},     // die offline
};
// clang-format on
constexpr uint16_t TYPE_THROTTLE_ENGAGED = 0x13;
constexpr uint16_t TYPE_THROTTLE_DISENGAGED = 0x14;
constexpr uint16_t TYPE_DIE_OFFLINE = 0x16;

/// Null: the type is a panic.
const InjectionRow* findInjection(uint16_t type) {
    const auto* row = std::find_if(std::begin(INJECTIONS), std::end(INJECTIONS),
                                   [type](const InjectionRow& each) { return each.type == type; });
    return row == std::end(INJECTIONS) ? nullptr : row;
}

uint16_t lastType(const CommandContext& context) {
    return context.model.id == ModelId::OCP ? LAST_PANIC_TYPE : INJECTIONS[std::size(INJECTIONS) - 1].type;
}

CompletionEntry completionOf(uint16_t panic) {
    CompletionEntry completion = passingRefusal(SC_INTERNAL_ERROR);
    if (panic <= LAST_HANGING_TYPE) completion.delivery = Delivery::NEVER;
    return completion;
}

/// The entry whose time has come with this command; `reads` counts it when it is a Read. Null: none.
uint8_t* dueEntry(FeatureValue& injections, bool isAdmin, uint64_t reads) {
    const size_t entries = std::min<size_t>(injections.dword, injections.data.size() / ENTRY_BYTES);
    for (size_t i = 0; i < entries; ++i) {
        uint8_t* bytes = injections.data.data() + i * ENTRY_BYTES;
        const auto entry = structureAt<OcpErrorInjectionEntry>(bytes);
        const InjectionRow* row = findInjection(entry.type);
        if ((row != nullptr && row->isOfAdmin) != isAdmin) continue;
        const bool isTime = isAdmin ? reads >= entry.reads : reads > entry.reads;
        if ((entry.flags & OcpErrorInjectionEntry::ENABLED) != 0 && isTime) return bytes;
    }
    return nullptr;
}

void panicOver(CommandContext& context, OcpState& state, uint16_t type) {
    if (context.model.id == ModelId::OCP_2_6) {
        auto more = readExtension<Ocp26State>(context.state);
        if (state.lastPanic != 0) {
            std::copy_backward(more.previousPanics.begin(), more.previousPanics.end() - 1, more.previousPanics.end());
            more.previousPanics[0] = state.lastPanic;
        }
        if (more.panics < UINT8_MAX) ++more.panics;
        writeExtension(context.state, more);
    }
    state.panic = state.lastPanic = type;
    if (type == TYPE_INCOMPLETE_SHUTDOWN) ++state.incompleteShutdowns;
    recordInjection(context, type, true);
    captureForController(context, "Device panic");
}

/// An error that is no panic. Returns what becomes of the command; empty: it is carried out.
std::optional<CompletionEntry> inject(CommandContext& context, OcpState& state, const InjectionRow& row) {
    constexpr uint32_t SPIKE_MS = 300;
    auto more = readExtension<Ocp26State>(context.state);
    if (row.type == TYPE_THROTTLE_ENGAGED) ++state.throttlings;
    if (row.type == TYPE_THROTTLE_ENGAGED || row.type == TYPE_THROTTLE_DISENGAGED)
        more.isThrottled = row.type == TYPE_THROTTLE_ENGAGED;
    if (row.type == TYPE_DIE_OFFLINE && more.diesOffline < UINT16_MAX) ++more.diesOffline;
    if (row.effect == Effect::TIMEOUT) ++more.commandTimeouts;
    if (row.effect == Effect::DELAY) context.delayMs = SPIKE_MS;
    writeExtension(context.state, more);
    recordInjection(context, row.type, false);
    if (row.effect != Effect::FAILURE && row.effect != Effect::TIMEOUT) return std::nullopt;
    CompletionEntry completion = passingRefusal(SC_INTERNAL_ERROR);
    if (row.effect == Effect::TIMEOUT) completion.delivery = Delivery::NEVER;
    return completion;
}

/// Injects what is due; returns what becomes of the command over an error that is no panic.
std::optional<CompletionEntry> injectDue(CommandContext& context, OcpState& state, FeatureValue& injections) {
    const bool isAdmin = context.command.isAdmin;
    const bool isRead = !isAdmin && context.command.opcode == OPC_READ;
    if (state.panic != 0 || injections.dword == 0 || (!isAdmin && !isRead)) return std::nullopt;
    if (isRead) ++state.injectedReads;
    uint8_t* entry = dueEntry(injections, isAdmin, state.injectedReads);
    if (entry == nullptr) return std::nullopt;
    uint8_t& flags = entry[offsetof(OcpErrorInjectionEntry, flags)];
    if ((flags & OcpErrorInjectionEntry::SINGLE_INSTANCE) != 0)
        flags &= static_cast<uint8_t>(~OcpErrorInjectionEntry::ENABLED);
    const InjectionRow* row = findInjection(typeOf(entry));
    if (row != nullptr) return inject(context, state, *row);
    panicOver(context, state, typeOf(entry));
    return std::nullopt;
}

}  // namespace

CompletionEntry checkErrorInjections(CommandContext& context, FeatureValue& value) {
    if (value.dword > MAX_ENTRIES) return INVALID_FIELD;
    const size_t used = value.dword * ENTRY_BYTES;
    uint32_t seen = 0;
    for (size_t at = 0; at < used; at += ENTRY_BYTES) {
        const auto entry = structureAt<OcpErrorInjectionEntry>(value.data.data() + at);
        const uint16_t type = entry.type;
        const bool hasReserved =
            (entry.flags & ~(OcpErrorInjectionEntry::ENABLED | OcpErrorInjectionEntry::SINGLE_INSTANCE)) != 0 ||
            entry.reserved1 != decltype(entry.reserved1){} || entry.reserved6 != decltype(entry.reserved6){};
        if (type == 0 || type > lastType(context) || hasReserved || bit(seen, type)) return INVALID_FIELD;
        seen |= 1U << type;
    }
    std::fill(value.data.begin() + static_cast<std::ptrdiff_t>(used), value.data.end(), uint8_t{0});
    auto state = readExtension<OcpState>(context.state);
    state.injectedReads = 0;
    writeExtension(context.state, state);
    return {};
}

std::optional<CompletionEntry> panicCompletion(CommandContext& context) {
    if (!isOfOcp(context.model.id)) return std::nullopt;
    // Nothing of this is saved over a reset: without errors to inject there is no panic.
    auto& features = context.state.features.current;
    const auto injections = features.find({FID_OCP_ERROR_INJECTION, 0, 0});
    if (injections == features.end()) return std::nullopt;
    auto state = readExtension<OcpState>(context.state);
    const auto injected = injectDue(context, state, injections->second);
    writeExtension(context.state, state);
    if (injected) return injected;
    const bool isAffected = state.panic != 0 && (!context.command.isAdmin || state.panic <= LAST_HANGING_TYPE);
    if (!isAffected) return std::nullopt;
    return completionOf(state.panic);
}

}  // namespace features::simulator
