// The logs that list what a drive has or what changed: namespaces and their groups, NVM sets, LBA ranges.

#include "features/nvme/LogPages.h"

#include "features/nvme/Bytes.h"
#include "features/nvme/FieldTable.h"
#include "features/nvme/Identify.h"
#include "features/nvme/NamespaceIds.h"
#include "features/nvme/Structures.h"
#include "features/nvme/structures/AggregateLog.h"
#include "features/nvme/structures/AnaLog.h"
#include "features/nvme/structures/LbaStatusLog.h"
#include "features/nvme/structures/PredictableLatencyLog.h"
#include "features/nvme/structures/ReservationLog.h"
#include "ostrel/core/Strings.h"

namespace features::nvme {

using ostrel::core::Payload;

namespace {

// clang-format off
constexpr Word LATENCY_STATES[] = {{0, "not used"}, {1, "deterministic window"}, {2, "non-deterministic window"}, {}};
constexpr FieldRow LATENCY_FIELDS[] = {  // section 5.14.1.10
    word("Status", "", offsetof(PredictableLatencyLog, status), 2, 0, LATENCY_STATES),
    {"Event Type", "", FIELD(PredictableLatencyLog, eventType), Format::HEX},
    flag("Event Reads", "Reads warning of the deterministic window", offsetof(PredictableLatencyLog, eventType), 0),
    flag("Event Writes", "Writes warning of the deterministic window", offsetof(PredictableLatencyLog, eventType), 1),
    flag("Event Time", "Time warning of the deterministic window", offsetof(PredictableLatencyLog, eventType), 2),
    flag("Event Exceeded", "Left the deterministic window since a value was exceeded",
         offsetof(PredictableLatencyLog, eventType), 14),
    flag("Event Excursion", "Left the deterministic window by an excursion",
         offsetof(PredictableLatencyLog, eventType), 15),
    {"DTWIN Reads Typical", "Deterministic window (units of 4 KiB)",
     FIELD(PredictableLatencyLog, typicalReads), Format::DECIMAL},
    {"DTWIN Writes Typical", "Deterministic window (optimal write sizes)",
     FIELD(PredictableLatencyLog, typicalWrites), Format::DECIMAL},
    {"DTWIN Time Maximum", "Deterministic window (milliseconds)",
     FIELD(PredictableLatencyLog, maximumTime), Format::DECIMAL},
    {"NDWIN Time Minimum High", "Non-deterministic window (milliseconds)",
     FIELD(PredictableLatencyLog, minimumTimeHigh), Format::DECIMAL},
    {"NDWIN Time Minimum Low", "Non-deterministic window (milliseconds)",
     FIELD(PredictableLatencyLog, minimumTimeLow), Format::DECIMAL},
    {"DTWIN Reads Estimate", "Left of the deterministic window (units of 4 KiB)",
     FIELD(PredictableLatencyLog, readsEstimate), Format::DECIMAL},
    {"DTWIN Writes Estimate", "Left of the deterministic window (optimal write sizes)",
     FIELD(PredictableLatencyLog, writesEstimate), Format::DECIMAL},
    {"DTWIN Time Estimate", "Left of the deterministic window (milliseconds)",
     FIELD(PredictableLatencyLog, timeEstimate), Format::DECIMAL},
};

constexpr FieldRow ANA_FIELDS[] = {  // section 5.14.1.12
    {"CHGCNT", "Change Count", FIELD(AnaLogHeader, changeCount), Format::DECIMAL},
    {"NAGRPS", "Number of ANA Group Descriptors", FIELD(AnaLogHeader, numberOfGroups), Format::DECIMAL},
};
constexpr Word ANA_STATES[] = {
    {0x1, "optimized"}, {0x2, "non-optimized"}, {0x3, "inaccessible"}, {0x4, "persistent loss"}, {0xF, "change"}, {},
};
constexpr FieldRow ANA_GROUP_FIELDS[] = {
    {"NNV", "Number of NSID Values", FIELD(AnaGroupDescriptor, numberOfNsids), Format::DECIMAL},
    {"CHGCNT", "Change Count", FIELD(AnaGroupDescriptor, changeCount), Format::DECIMAL},
    word("STATE", "Asymmetric Namespace Access State", offsetof(AnaGroupDescriptor, state), 3, 0, ANA_STATES),
};

constexpr Word NOT_COUNTED_AT_ALL_ONES[] = {{0xFFFFFFFF, "not counted"}, {}};
constexpr FieldRow LBA_STATUS_FIELDS[] = {  // section 5.14.1.14
    {"LSLPLEN", "LBA Status Log Page Length (bytes)", FIELD(LbaStatusLogHeader, length), Format::DECIMAL},
    {"NLSLNE", "Number of LBA Status Log Namespace Elements",
     FIELD(LbaStatusLogHeader, numberOfNamespaces), Format::DECIMAL},
    inWords(NOT_COUNTED_AT_ALL_ONES,
            {"ESTULB", "Estimate of Unrecoverable Logical Blocks (blocks)",
             FIELD(LbaStatusLogHeader, unrecoverableEstimate), Format::DECIMAL}),
    {"LSGC", "LBA Status Generation Counter", FIELD(LbaStatusLogHeader, generation), Format::DECIMAL},
};
constexpr FieldRow LBA_STATUS_NAMESPACE_FIELDS[] = {
    inWords(NOT_COUNTED_AT_ALL_ONES, {"NLRD", "Number of LBA Range Descriptors",
                                      FIELD(LbaStatusNamespace, numberOfRanges), Format::DECIMAL}),
    {"RATYPE", "Recommended Action Type", FIELD(LbaStatusNamespace, action), Format::HEX},
};
constexpr FieldRow LBA_RANGE_FIELDS[] = {
    {"RSLBA", "Range Starting LBA", FIELD(LbaRangeDescriptor, startingLba), Format::DECIMAL},
    {"RNLB", "Range Number of Logical Blocks (blocks)", FIELD(LbaRangeDescriptor, blocks), Format::DECIMAL},
};

constexpr Word RESERVATION_TYPES[] = {
    {0, "empty log page"}, {1, "registration preempted"}, {2, "reservation released"}, {3, "reservation preempted"}, {},
};
constexpr FieldRow RESERVATION_FIELDS[] = {  // section 5.14.1.16.1
    {"LPC", "Log Page Count", FIELD(ReservationLog, pageCount), Format::DECIMAL},
    word("RNLPT", "Reservation Notification Log Page Type", offsetof(ReservationLog, type), 7, 0, RESERVATION_TYPES),
    {"NALP", "Number of Available Log Pages", FIELD(ReservationLog, availablePages), Format::DECIMAL},
    {"NSID", "Namespace", FIELD(ReservationLog, nsid), Format::DECIMAL},
};
// clang-format on

constexpr uint32_t NO_RANGES = 0xFFFFFFFF;

/// A count of 8 bytes and identifiers of 2.
FieldTree decodeAggregate(const char* heading, const char* name, const Payload& data) {
    FieldTree tree{heading, {}, {}};
    if (data.getSize() < sizeof(AggregateLogHeader)) return tree;
    const uint64_t entries = structureAt<AggregateLogHeader>(data.getData()).numberOfEntries;
    tree.add("Entries", std::to_string(entries));
    std::vector<uint16_t> identifiers;
    for (size_t at = sizeof(AggregateLogHeader); at + 2 <= data.getSize() && identifiers.size() < entries; at += 2)
        identifiers.push_back(le16(data.getData() + at));
    tree.addList(name, identifiers);
    return tree;
}

/// Adds one group, and returns where the next one begins.
size_t addAnaGroup(FieldTree& tree, const Payload& data, size_t at) {
    const auto group = structureAt<AnaGroupDescriptor>(data.getData() + at);
    FieldTree& part = tree.addPart("ANA Group " + std::to_string(group.groupId));
    addFields(part, ANA_GROUP_FIELDS, data.getData() + at, sizeof group);
    const uint32_t count = group.numberOfNsids;
    std::vector<uint32_t> namespaces;
    for (at += sizeof group; namespaces.size() < count && at + 4 <= data.getSize(); at += 4)
        namespaces.push_back(le32(data.getData() + at));
    part.addList("Namespaces", namespaces);
    return at;
}

/// Adds one namespace with its ranges, and returns where the next one begins.
size_t addLbaStatusNamespace(FieldTree& tree, const Payload& data, size_t at) {
    constexpr size_t RANGE_BYTES = sizeof(LbaRangeDescriptor);
    const auto element = structureAt<LbaStatusNamespace>(data.getData() + at);
    FieldTree& part = tree.addPart("Namespace " + std::to_string(element.nsid));
    addFields(part, LBA_STATUS_NAMESPACE_FIELDS, data.getData() + at, sizeof element);
    at += sizeof element;
    if (element.numberOfRanges == NO_RANGES) return at;
    for (uint32_t i = 0; i < element.numberOfRanges && at + RANGE_BYTES <= data.getSize(); ++i, at += RANGE_BYTES)
        addFields(part.addPart("Range " + std::to_string(i + 1)), LBA_RANGE_FIELDS, data.getData() + at, RANGE_BYTES);
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
    if (data.getSize() < sizeof(AnaLogHeader)) return tree;
    const unsigned groups = structureAt<AnaLogHeader>(data.getData()).numberOfGroups;
    size_t at = sizeof(AnaLogHeader);
    for (unsigned i = 0; i < groups && at + sizeof(AnaGroupDescriptor) <= data.getSize(); ++i)
        at = addAnaGroup(tree, data, at);
    return tree;
}

FieldTree decodeLbaStatus(const Payload& data) {
    FieldTree tree = decodeTable("LBA Status Information", LBA_STATUS_FIELDS, data);
    if (data.getSize() < sizeof(LbaStatusLogHeader)) return tree;
    const uint32_t namespaces = structureAt<LbaStatusLogHeader>(data.getData()).numberOfNamespaces;
    size_t at = sizeof(LbaStatusLogHeader);
    for (uint32_t i = 0; i < namespaces && at + sizeof(LbaStatusNamespace) <= data.getSize(); ++i)
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
