// The logs that list what a controller supports: log pages, commands, features.

#include <algorithm>
#include <iterator>

#include "features/nvme/Bytes.h"
#include "features/nvme/Features.h"
#include "features/nvme/FieldTable.h"
#include "features/nvme/Identify.h"
#include "features/nvme/IdentifyCns.h"
#include "features/nvme/LogPageIds.h"
#include "features/nvme/LogPages.h"
#include "features/nvme/Opcodes.h"
#include "features/nvme/Structures.h"
#include "features/nvme/structures/CommandEffectsLog.h"
#include "features/nvme/structures/LockdownLog.h"

namespace features::nvme {

using ostrel::core::Payload;

namespace {

// clang-format off
constexpr Word ADMIN_COMMANDS[] = {
#define ADMIN_OPCODE(opcode, name, text) {name, text},
#define IO_OPCODE(opcode, name, text)
#include "features/nvme/Opcodes.def"
#undef ADMIN_OPCODE
#undef IO_OPCODE
    {},
};
constexpr Word IO_COMMANDS[] = {
#define ADMIN_OPCODE(opcode, name, text)
#define IO_OPCODE(opcode, name, text) {name, text},
#include "features/nvme/Opcodes.def"
#undef ADMIN_OPCODE
#undef IO_OPCODE
    {},
};
/// Beside those of the NVM command set (NVMe Zoned Namespace Command Set Specification 1.1, section 3).
constexpr Word ZONED_COMMANDS[] = {
    {0x79, "Zone Management Send"}, {0x7A, "Zone Management Receive"}, {0x7D, "Zone Append"}, {},
};
/// Those of every I/O command set.
constexpr Word COMMON_IO_COMMANDS[] = {
    {OPC_FLUSH, "Flush"},
    {OPC_RESERVATION_REGISTER, "Reservation Register"},
    {OPC_RESERVATION_REPORT, "Reservation Report"},
    {OPC_RESERVATION_ACQUIRE, "Reservation Acquire"},
    {OPC_IO_MANAGEMENT_RECEIVE, "I/O Management Receive"},
    {OPC_RESERVATION_RELEASE, "Reservation Release"},
    {OPC_CANCEL, "Cancel"},
    {OPC_IO_MANAGEMENT_SEND, "I/O Management Send"},
    {},
};

/// What a supported command or feature does beside its work, and on what: bits of its entry.
constexpr struct {
    uint8_t bit;
    const char* text;
} EFFECTS[] = {
    {1, "; changes user data"},
    {2, "; changes capabilities of a namespace"},
    {3, "; changes the inventory of namespaces"},
    {4, "; changes capabilities of the controller"},
    {19, "; takes a UUID"},
    {20, "; scope: namespace"},  // the scopes: NVMe 2.0
    {21, "; scope: controller"},
    {22, "; scope: NVM Set"},
    {23, "; scope: Endurance Group"},
    {24, "; scope: domain"},
    {25, "; scope: NVM subsystem"},
    {26, "; scope: controller data queue"},
};
constexpr Word EXCLUSIVITY[] = {
    {0, ""},
    {1, "; no other command on the namespace at the same time"},
    {2, "; no other command on any namespace at the same time"},
    {},
};

constexpr Word LOCKDOWN_SCOPES[] = {
    {0, "Admin commands"}, {2, "feature identifiers"}, {3, "Management Interface commands"}, {4, "PCIe commands"}, {},
};
constexpr FieldRow LOCKDOWN_FIELDS[] = {
    word("Scope", "What the identifiers are", offsetof(LockdownLog, selection), 3, 0, LOCKDOWN_SCOPES),
    bitsRow("Contents", "Which of them are listed", offsetof(LockdownLog, selection), 5, 4),
    {"Length", "Length of the list (bytes)", FIELD(LockdownLog, length), Format::DECIMAL},
};
// clang-format on

constexpr unsigned IDENTIFIERS = 256;
constexpr size_t ENTRY_BYTES = sizeof(Le32);

std::string effectsText(uint32_t effects) {
    std::string text = "supported";
    for (const auto& effect : EFFECTS) {
        if (bit(effects, effect.bit)) text += effect.text;
    }
    return text;
}

/// Of a command: also what runs beside it.
std::string commandEffectsText(uint32_t effects) {
    std::string text = effectsText(effects);
    const uint64_t relaxations = bits(effects, 15, 14);  // NVMe 2.0
    if (relaxations != 0) text += "; submission and execution relaxations: " + std::to_string(relaxations);
    const char* exclusivity = findWord(EXCLUSIVITY, bits(effects, 18, 16));
    return text.append(exclusivity != nullptr ? exclusivity : "; exclusivity reserved");
}

/// Calls `add` with each identifier that the entries at `at` report as supported, and its entry.
template <typename Add>
void forEachSupported(const Payload& data, size_t at, const Add& add) {
    for (unsigned id = 0; id < IDENTIFIERS && at + ENTRY_BYTES <= data.getSize(); ++id, at += ENTRY_BYTES) {
        const uint32_t entry = le32(data.getData() + at);
        if (bit(entry, 0)) add(id, entry);
    }
}

std::string commandName(const Word* commands, unsigned opcode) {
    const char* name = findWord(commands, opcode);
    if (name != nullptr) return name;
    return opcode >= FIRST_VENDOR_OPCODE ? "Vendor Specific" : "Reserved";
}

/// Of a command set whose commands have no names here, a number of its own stays without one.
std::string ioCommandName(uint8_t csi, unsigned opcode) {
    if (csi == CSI_NVM) return commandName(IO_COMMANDS, opcode);
    const bool isZoned = csi == CSI_ZONED;
    const char* own = isZoned ? findWord(ZONED_COMMANDS, opcode) : findWord(COMMON_IO_COMMANDS, opcode);
    if (own != nullptr) return own;
    return isZoned || opcode >= FIRST_VENDOR_OPCODE ? commandName(IO_COMMANDS, opcode) : "";
}

void addCommandEffects(FieldTree& tree, uint8_t csi, const Payload& data) {
    forEachSupported(data, offsetof(CommandEffectsLog, admin), [&](unsigned opcode, uint32_t effects) {
        tree.add("Admin " + hexText(opcode, 2), commandName(ADMIN_COMMANDS, opcode), commandEffectsText(effects));
    });
    forEachSupported(data, offsetof(CommandEffectsLog, io), [&](unsigned opcode, uint32_t effects) {
        tree.add("I/O " + hexText(opcode, 2), ioCommandName(csi, opcode), commandEffectsText(effects));
    });
}

std::string logPageName(unsigned lid) {
    const LogPageRow* row = findLogPage(static_cast<uint8_t>(lid));
    if (row != nullptr) return row->name;
    return lid >= FIRST_VENDOR_LID ? "Vendor Specific" : "Not decoded";
}

std::string featureName(unsigned fid) {
    constexpr unsigned FIRST_VENDOR_FID = 0xC0;
    const FeatureRow* row = findFeature(static_cast<uint8_t>(fid));
    if (row != nullptr) return row->name;
    return fid >= FIRST_VENDOR_FID ? "Vendor Specific" : "Not decoded";
}

/// An identifier of log page 14h with its name, where the scope has names.
std::string lockedText(unsigned scope, uint8_t identifier) {
    constexpr unsigned ADMIN_SCOPE = 0;
    constexpr unsigned FEATURE_SCOPE = 2;
    const std::string number = hexText(identifier, 2);
    if (scope == ADMIN_SCOPE) return number + " " + commandName(ADMIN_COMMANDS, identifier);
    if (scope == FEATURE_SCOPE) return number + " " + featureName(identifier);
    return number;
}

}  // namespace

FieldTree decodeSupportedLogs(const Payload& data) {
    FieldTree tree{"Supported Log Pages", {}, {}};
    forEachSupported(data, 0, [&](unsigned lid, uint32_t) { tree.add("LID " + hexText(lid, 2), logPageName(lid)); });
    FieldTree& details = tree.addPart("Details");
    forEachSupported(data, 0, [&](unsigned lid, uint32_t entry) {
        const uint64_t specific = bits(entry, 31, 16);
        std::string text = bit(entry, 1) ? "index offset" : "";
        if (specific != 0) text.append(text.empty() ? "" : "; ").append("LID specific: " + hexText(specific, 4));
        if (!text.empty()) details.add("LID " + hexText(lid, 2), text);
    });
    if (details.fields.empty()) tree.parts.pop_back();
    return tree;
}

FieldTree decodeCommandEffects(const Payload& data) {
    FieldTree tree{"Commands Supported and Effects", {}, {}};
    addCommandEffects(tree, CSI_NVM, data);
    return tree;
}

FieldTree decodeCommandEffectsOf(uint8_t csi, const Payload& data) {
    FieldTree tree{commandSetName(csi) + " Command Set", {}, {}};
    addCommandEffects(tree, csi, data);
    return tree;
}

FieldTree decodeSupportedFeatures(const Payload& data) {
    FieldTree tree{"Feature Identifiers Supported and Effects", {}, {}};
    forEachSupported(data, 0, [&](unsigned fid, uint32_t effects) {
        tree.add("FID " + hexText(fid, 2), featureName(fid), effectsText(effects));
    });
    return tree;
}

FieldTree decodeSupportedMiCommands(const Payload& data) {
    FieldTree tree{"NVMe-MI Commands Supported and Effects", {}, {}};
    forEachSupported(data, 0, [&](unsigned opcode, uint32_t effects) {
        tree.add("MI " + hexText(opcode, 2), effectsText(effects));
    });
    return tree;
}

FieldTree decodeLockdown(const Payload& data) {
    FieldTree tree = decodeTable("Command and Feature Lockdown", LOCKDOWN_FIELDS, data);
    constexpr size_t HEAD_BYTES = offsetof(LockdownLog, identifiers);
    if (data.getSize() < HEAD_BYTES) return tree;
    const auto scope = static_cast<unsigned>(bits(data.getData()[offsetof(LockdownLog, selection)], 3, 0));
    const size_t count = std::min<size_t>(data.getData()[offsetof(LockdownLog, length)], data.getSize() - HEAD_BYTES);
    std::vector<std::string> identifiers;
    identifiers.reserve(count);
    for (size_t i = 0; i < count; ++i) identifiers.push_back(lockedText(scope, data.getData()[HEAD_BYTES + i]));
    tree.addList("Identifiers", identifiers);
    return tree;
}

std::vector<Structure> supportLogStructures() {
    return {{"Command and Feature Lockdown", LOCKDOWN_FIELDS}};
}

}  // namespace features::nvme
