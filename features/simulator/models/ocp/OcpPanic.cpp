#include "features/simulator/models/ocp/OcpPanic.h"

#include <algorithm>

#include "features/nvme/Bytes.h"
#include "features/nvme/FeatureIds.h"
#include "features/nvme/Opcodes.h"
#include "features/nvme/StatusCodes.h"
#include "features/nvme/structures/OcpFeatureData.h"
#include "features/simulator/logs/Telemetry.h"
#include "features/simulator/models/ocp/OcpState.h"
#include "features/simulator/store/Extension.h"

namespace features::simulator {

using namespace nvme;

namespace {

constexpr size_t ENTRY_BYTES = sizeof(OcpErrorInjectionEntry);
constexpr size_t MAX_ENTRIES = 127;
constexpr uint16_t LAST_TYPE = 0x0B;
constexpr uint16_t LAST_HANGING_TYPE = 0x02;
constexpr uint16_t TYPE_INCOMPLETE_SHUTDOWN = 0x0B;

constexpr CompletionEntry INVALID_FIELD = refusal(SC_INVALID_FIELD);

uint16_t typeOf(const uint8_t* entry) {
    return structureAt<OcpErrorInjectionEntry>(entry).type;
}

CompletionEntry completionOf(uint16_t panic) {
    CompletionEntry completion = passingRefusal(SC_INTERNAL_ERROR);
    if (panic <= LAST_HANGING_TYPE) completion.delivery = Delivery::NEVER;
    return completion;
}

/// The entry whose time has come with one more Read command. Null: none.
uint8_t* dueEntry(FeatureValue& injections, uint64_t reads) {
    const size_t entries = std::min<size_t>(injections.dword, injections.data.size() / ENTRY_BYTES);
    for (size_t i = 0; i < entries; ++i) {
        uint8_t* bytes = injections.data.data() + i * ENTRY_BYTES;
        const auto entry = structureAt<OcpErrorInjectionEntry>(bytes);
        if ((entry.flags & OcpErrorInjectionEntry::ENABLED) != 0 && reads > entry.reads) return bytes;
    }
    return nullptr;
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
        if (type == 0 || type > LAST_TYPE || hasReserved || bit(seen, type)) return INVALID_FIELD;
        seen |= 1U << type;
    }
    std::fill(value.data.begin() + static_cast<std::ptrdiff_t>(used), value.data.end(), uint8_t{0});
    auto state = readExtension<OcpState>(context.state);
    state.injectedReads = 0;
    writeExtension(context.state, state);
    return {};
}

std::optional<CompletionEntry> panicCompletion(CommandContext& context) {
    if (context.model.id != ModelId::OCP) return std::nullopt;
    // Nothing of this is saved over a reset: without errors to inject there is no panic.
    auto& features = context.state.features.current;
    const auto injections = features.find({FID_OCP_ERROR_INJECTION, 0, 0});
    if (injections == features.end()) return std::nullopt;
    const bool isRead = !context.command.isAdmin && context.command.opcode == OPC_READ;
    auto state = readExtension<OcpState>(context.state);
    if (state.panic == 0 && isRead && injections->second.dword != 0) {
        uint8_t* entry = dueEntry(injections->second, ++state.injectedReads);
        if (entry != nullptr) {
            state.panic = state.lastPanic = typeOf(entry);
            if (state.panic == TYPE_INCOMPLETE_SHUTDOWN) ++state.incompleteShutdowns;
            captureForController(context, "Device panic");
            uint8_t& flags = entry[offsetof(OcpErrorInjectionEntry, flags)];
            if ((flags & OcpErrorInjectionEntry::SINGLE_INSTANCE) != 0)
                flags &= static_cast<uint8_t>(~OcpErrorInjectionEntry::ENABLED);
        }
        writeExtension(context.state, state);
    }
    const bool isAffected = state.panic != 0 && (!context.command.isAdmin || state.panic <= LAST_HANGING_TYPE);
    if (!isAffected) return std::nullopt;
    return completionOf(state.panic);
}

}  // namespace features::simulator
