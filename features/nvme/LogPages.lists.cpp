// The logs that list what a drive has or what changed: commands, namespaces and their groups, NVM sets, LBA ranges.

#include "features/nvme/LogPages.h"

#include "features/nvme/Bytes.h"
#include "features/nvme/FieldTable.h"
#include "features/nvme/Identify.h"
#include "features/nvme/Opcodes.h"
#include "features/nvme/Structures.h"
#include "ostrel/core/Strings.h"

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
#include "features/nvme/NamespaceIds.h"
#include "features/nvme/Opcodes.def"
#undef ADMIN_OPCODE
#undef IO_OPCODE
    {},
};

/// What a supported command does beside its work: bits of its entry.
constexpr struct {
    uint8_t bit;
    const char* text;
} EFFECTS[] = {
    {1, "; changes user data"},
    {2, "; changes capabilities of a namespace"},
    {3, "; changes the inventory of namespaces"},
    {4, "; changes capabilities of the controller"},
    {19, "; takes a UUID"},
};
constexpr Word EXCLUSIVITY[] = {
    {0, ""},
    {1, "; no other command on the namespace at the same time"},
    {2, "; no other command on any namespace at the same time"},
    {},
};

constexpr Word LATENCY_STATES[] = {{0, "not used"}, {1, "deterministic window"}, {2, "non-deterministic window"}, {}};
constexpr FieldRow LATENCY_FIELDS[] = {  // section 5.14.1.10
    word("Status", "", 0, 2, 0, LATENCY_STATES),
    {"Event Type", "", 2, 2, Format::HEX},
    flag("Event Reads", "Reads warning of the deterministic window", 2, 0),
    flag("Event Writes", "Writes warning of the deterministic window", 2, 1),
    flag("Event Time", "Time warning of the deterministic window", 2, 2),
    flag("Event Exceeded", "Left the deterministic window since a value was exceeded", 2, 14),
    flag("Event Excursion", "Left the deterministic window by an excursion", 2, 15),
    {"DTWIN Reads Typical", "Deterministic window (units of 4 KiB)", 32, 8, Format::DECIMAL},
    {"DTWIN Writes Typical", "Deterministic window (optimal write sizes)", 40, 8, Format::DECIMAL},
    {"DTWIN Time Maximum", "Deterministic window (milliseconds)", 48, 8, Format::DECIMAL},
    {"NDWIN Time Minimum High", "Non-deterministic window (milliseconds)", 56, 8, Format::DECIMAL},
    {"NDWIN Time Minimum Low", "Non-deterministic window (milliseconds)", 64, 8, Format::DECIMAL},
    {"DTWIN Reads Estimate", "Left of the deterministic window (units of 4 KiB)", 128, 8, Format::DECIMAL},
    {"DTWIN Writes Estimate", "Left of the deterministic window (optimal write sizes)", 136, 8, Format::DECIMAL},
    {"DTWIN Time Estimate", "Left of the deterministic window (milliseconds)", 144, 8, Format::DECIMAL},
};

constexpr FieldRow ANA_FIELDS[] = {  // section 5.14.1.12
    {"CHGCNT", "Change Count", 0, 8, Format::DECIMAL},
    {"NAGRPS", "Number of ANA Group Descriptors", 8, 2, Format::DECIMAL},
};
constexpr Word ANA_STATES[] = {
    {0x1, "optimized"}, {0x2, "non-optimized"}, {0x3, "inaccessible"}, {0x4, "persistent loss"}, {0xF, "change"}, {},
};
constexpr FieldRow ANA_GROUP_FIELDS[] = {
    {"NNV", "Number of NSID Values", 4, 4, Format::DECIMAL},
    {"CHGCNT", "Change Count", 8, 8, Format::DECIMAL},
    word("STATE", "Asymmetric Namespace Access State", 16, 3, 0, ANA_STATES),
};

constexpr Word NOT_COUNTED_AT_ALL_ONES[] = {{0xFFFFFFFF, "not counted"}, {}};
constexpr FieldRow LBA_STATUS_FIELDS[] = {  // section 5.14.1.14
    {"LSLPLEN", "LBA Status Log Page Length (bytes)", 0, 4, Format::DECIMAL},
    {"NLSLNE", "Number of LBA Status Log Namespace Elements", 4, 4, Format::DECIMAL},
    inWords(NOT_COUNTED_AT_ALL_ONES,
            {"ESTULB", "Estimate of Unrecoverable Logical Blocks (blocks)", 8, 4, Format::DECIMAL}),
    {"LSGC", "LBA Status Generation Counter", 14, 2, Format::DECIMAL},
};
constexpr FieldRow LBA_STATUS_NAMESPACE_FIELDS[] = {
    inWords(NOT_COUNTED_AT_ALL_ONES, {"NLRD", "Number of LBA Range Descriptors", 4, 4, Format::DECIMAL}),
    {"RATYPE", "Recommended Action Type", 8, 1, Format::HEX},
};
constexpr FieldRow LBA_RANGE_FIELDS[] = {
    {"RSLBA", "Range Starting LBA", 0, 8, Format::DECIMAL},
    {"RNLB", "Range Number of Logical Blocks (blocks)", 8, 4, Format::DECIMAL},
};

constexpr Word RESERVATION_TYPES[] = {
    {0, "empty log page"}, {1, "registration preempted"}, {2, "reservation released"}, {3, "reservation preempted"}, {},
};
constexpr FieldRow RESERVATION_FIELDS[] = {  // section 5.14.1.16.1
    {"LPC", "Log Page Count", 0, 8, Format::DECIMAL},
    word("RNLPT", "Reservation Notification Log Page Type", 8, 7, 0, RESERVATION_TYPES),
    {"NALP", "Number of Available Log Pages", 9, 1, Format::DECIMAL},
    {"NSID", "Namespace", 12, 4, Format::DECIMAL},
};
// clang-format on

constexpr unsigned COMMANDS = 256;
constexpr size_t EFFECTS_BYTES = 4;
constexpr size_t ANA_HEAD_BYTES = 16;
constexpr size_t ANA_GROUP_BYTES = 32;
constexpr size_t LBA_STATUS_HEAD_BYTES = 16;
constexpr size_t LBA_STATUS_NAMESPACE_BYTES = 16;
constexpr size_t LBA_RANGE_BYTES = 16;
constexpr uint32_t NO_RANGES = 0xFFFFFFFF;

std::string effectsText(uint32_t effects) {
    std::string text = "supported";
    for (const auto& effect : EFFECTS) {
        if (bit(effects, effect.bit)) text += effect.text;
    }
    const char* exclusivity = findWord(EXCLUSIVITY, bits(effects, 18, 16));
    return text.append(exclusivity != nullptr ? exclusivity : "; exclusivity reserved");
}

void addEffects(FieldTree& tree, const std::string& queue, const Word* commands, const Payload& data, size_t at) {
    for (unsigned opcode = 0; opcode < COMMANDS && at + EFFECTS_BYTES <= data.getSize();
         ++opcode, at += EFFECTS_BYTES) {
        const uint32_t effects = le32(data.getData() + at);
        if (!bit(effects, 0)) continue;
        const char* name = findWord(commands, opcode);
        tree.add(queue + " " + hexText(opcode, 2),
                 name != nullptr                 ? name
                 : opcode >= FIRST_VENDOR_OPCODE ? "Vendor Specific"
                                                 : "Reserved",
                 effectsText(effects));
    }
}

/// A count of 8 bytes and identifiers of 2.
FieldTree decodeAggregate(const char* heading, const char* name, const Payload& data) {
    FieldTree tree{heading, {}, {}};
    if (data.getSize() < 8) return tree;
    const uint64_t entries = le64(data.getData());
    tree.add("Entries", std::to_string(entries));
    std::vector<uint16_t> identifiers;
    for (size_t at = 8; at + 2 <= data.getSize() && identifiers.size() < entries; at += 2)
        identifiers.push_back(le16(data.getData() + at));
    tree.addList(name, identifiers);
    return tree;
}

/// Adds one group, and returns where the next one begins.
size_t addAnaGroup(FieldTree& tree, const Payload& data, size_t at) {
    const uint8_t* descriptor = data.getData() + at;
    FieldTree& part = tree.addPart("ANA Group " + std::to_string(le32(descriptor)));
    addFields(part, ANA_GROUP_FIELDS, descriptor, ANA_GROUP_BYTES);
    const uint32_t count = le32(descriptor + 4);
    std::vector<uint32_t> namespaces;
    for (at += ANA_GROUP_BYTES; namespaces.size() < count && at + 4 <= data.getSize(); at += 4)
        namespaces.push_back(le32(data.getData() + at));
    part.addList("Namespaces", namespaces);
    return at;
}

/// Adds one namespace with its ranges, and returns where the next one begins.
size_t addLbaStatusNamespace(FieldTree& tree, const Payload& data, size_t at) {
    const uint8_t* element = data.getData() + at;
    FieldTree& part = tree.addPart("Namespace " + std::to_string(le32(element)));
    addFields(part, LBA_STATUS_NAMESPACE_FIELDS, element, LBA_STATUS_NAMESPACE_BYTES);
    at += LBA_STATUS_NAMESPACE_BYTES;
    const uint32_t ranges = le32(element + 4);
    if (ranges == NO_RANGES) return at;
    for (uint32_t i = 0; i < ranges && at + LBA_RANGE_BYTES <= data.getSize(); ++i, at += LBA_RANGE_BYTES)
        addFields(part.addPart("Range " + std::to_string(i + 1)), LBA_RANGE_FIELDS, data.getData() + at,
                  LBA_RANGE_BYTES);
    return at;
}

}  // namespace

FieldTree decodeChangedNamespaces(const Payload& data) {
    std::vector<uint32_t> namespaces = decodeNamespaceList(data);
    FieldTree tree{"Changed Namespace List", {}, {}};
    // The one entry that is no namespace says that the page is too short for them.
    const bool tooMany = !namespaces.empty() && namespaces[0] == NSID_ALL;
    tree.add("More", "More than 1024 namespaces changed", ostrel::core::boolToText(tooMany));
    if (tooMany) namespaces.clear();
    tree.addList("Namespaces", namespaces);
    return tree;
}

FieldTree decodeCommandEffects(const Payload& data) {
    FieldTree tree{"Commands Supported and Effects", {}, {}};
    addEffects(tree, "Admin", ADMIN_COMMANDS, data, 0);
    addEffects(tree, "I/O", IO_COMMANDS, data, COMMANDS * EFFECTS_BYTES);
    return tree;
}

FieldTree decodePredictableLatency(const Payload& data) {
    return decodeTable("Predictable Latency Per NVM Set", LATENCY_FIELDS, data);
}

FieldTree decodePredictableLatencyAggregate(const Payload& data) {
    return decodeAggregate("Predictable Latency Event Aggregate", "NVM Sets", data);
}

FieldTree decodeEnduranceGroupAggregate(const Payload& data) {
    return decodeAggregate("Endurance Group Event Aggregate", "Endurance Groups", data);
}

FieldTree decodeAna(const Payload& data) {
    FieldTree tree = decodeTable("Asymmetric Namespace Access", ANA_FIELDS, data);
    if (data.getSize() < ANA_HEAD_BYTES) return tree;
    const unsigned groups = le16(data.getData() + 8);
    size_t at = ANA_HEAD_BYTES;
    for (unsigned i = 0; i < groups && at + ANA_GROUP_BYTES <= data.getSize(); ++i) at = addAnaGroup(tree, data, at);
    return tree;
}

FieldTree decodeLbaStatus(const Payload& data) {
    FieldTree tree = decodeTable("LBA Status Information", LBA_STATUS_FIELDS, data);
    if (data.getSize() < LBA_STATUS_HEAD_BYTES) return tree;
    const uint32_t namespaces = le32(data.getData() + 4);
    size_t at = LBA_STATUS_HEAD_BYTES;
    for (uint32_t i = 0; i < namespaces && at + LBA_STATUS_NAMESPACE_BYTES <= data.getSize(); ++i)
        at = addLbaStatusNamespace(tree, data, at);
    return tree;
}

FieldTree decodeReservation(const Payload& data) {
    return decodeTable("Reservation Notification", RESERVATION_FIELDS, data);
}

std::vector<Structure> listLogStructures() {
    return {
        {"Predictable Latency Per NVM Set", LATENCY_FIELDS},
        {"Asymmetric Namespace Access", ANA_FIELDS},
        {"Asymmetric Namespace Access > ANA Group *", ANA_GROUP_FIELDS},
        {"LBA Status Information", LBA_STATUS_FIELDS},
        {"LBA Status Information > Namespace *", LBA_STATUS_NAMESPACE_FIELDS},
        {"LBA Status Information > Namespace * > Range *", LBA_RANGE_FIELDS},
        {"Reservation Notification", RESERVATION_FIELDS},
    };
}

}  // namespace features::nvme
