// The logs of where a drive puts data: media units, Flexible Data Placement, Boot Partitions, zones.

#include "features/nvme/LogPages.h"

#include <algorithm>

#include "features/nvme/Bytes.h"
#include "features/nvme/FdpEventTypes.h"
#include "features/nvme/FieldTable.h"
#include "features/nvme/Structures.h"
#include "features/nvme/structures/BootPartitionLog.h"
#include "features/nvme/structures/ChangedZoneList.h"
#include "features/nvme/structures/DataPlacementLogs.h"
#include "features/nvme/structures/MediaUnitStatusLog.h"
#include "ostrel/core/Strings.h"

namespace features::nvme {

using ostrel::core::Payload;

namespace {

// clang-format off
constexpr FieldRow MEDIA_UNIT_STATUS_FIELDS[] = {
    {"NMU", "Number of Media Unit Status Descriptors", FIELD(MediaUnitStatusLogHeader, numberOfUnits), Format::DECIMAL},
    {"CCHANS", "Number of Channels", FIELD(MediaUnitStatusLogHeader, numberOfChannels), Format::DECIMAL},
    {"SCONFIG", "Selected Configuration", FIELD(MediaUnitStatusLogHeader, selectedConfiguration), Format::DECIMAL},
};
constexpr FieldRow MEDIA_UNIT_FIELDS[] = {
    {"DID", "Domain Identifier", FIELD(MediaUnitDescriptor, domain), Format::DECIMAL},
    {"ENDGID", "Endurance Group Identifier", FIELD(MediaUnitDescriptor, enduranceGroup), Format::DECIMAL},
    {"NVMSETID", "NVM Set Identifier", FIELD(MediaUnitDescriptor, nvmSet), Format::DECIMAL},
    {"CAF", "Capacity Adjustment Factor", FIELD(MediaUnitDescriptor, capacityAdjustment), Format::DECIMAL},
    {"AVSP", "Available Spare (%)", FIELD(MediaUnitDescriptor, availableSpare), Format::DECIMAL},
    {"PUSED", "Percentage Used (%)", FIELD(MediaUnitDescriptor, percentageUsed), Format::DECIMAL},
    {"MUCS", "Number of Channels", FIELD(MediaUnitDescriptor, numberOfChannels), Format::DECIMAL},
};

constexpr FieldRow BOOT_PARTITION_FIELDS[] = {
    {"LID", "Log Identifier", FIELD(BootPartitionLogHeader, lid), Format::HEX},
    bitsRow("BPSZ", "Boot Partition Size (units of 128 KiB)", offsetof(BootPartitionLogHeader, information), 14, 0),
    bitsRow("ABPID", "Active Boot Partition ID", offsetof(BootPartitionLogHeader, information), 31, 31),
};

constexpr FieldRow FDP_CONFIGURATIONS_FIELDS[] = {
    {"NUMFDPC", "Number of FDP Configurations",
     FIELD(FdpConfigurationsHeader, numberOfConfigurations0Based), Format::DECIMAL_0BASED},
    {"VERSION", "Version of the log page", FIELD(FdpConfigurationsHeader, version), Format::DECIMAL},
    {"SIZE", "Size of the log page (bytes)", FIELD(FdpConfigurationsHeader, sizeBytes), Format::DECIMAL},
};
constexpr FieldRow FDP_CONFIGURATION_FIELDS[] = {
    {"DSZE", "Descriptor Size (bytes)", FIELD(FdpConfiguration, sizeBytes), Format::DECIMAL},
    {"FDPA", "FDP Attributes", FIELD(FdpConfiguration, attributes), Format::HEX},
    bitsRow("FDPA RGIF", "Bits of the Reclaim Group Identifier", offsetof(FdpConfiguration, attributes), 3, 0),
    flag("FDPA Volatile Cache", "FDP Volatile Write Cache", offsetof(FdpConfiguration, attributes), 4),
    flag("FDPA Valid", "FDP Configuration is valid", offsetof(FdpConfiguration, attributes), 7),
    {"VSS", "Vendor Specific Size (bytes)", FIELD(FdpConfiguration, vendorSpecificBytes), Format::DECIMAL},
    {"NRG", "Number of Reclaim Groups", FIELD(FdpConfiguration, reclaimGroups), Format::DECIMAL},
    {"NRUH", "Number of Reclaim Unit Handles", FIELD(FdpConfiguration, handles), Format::DECIMAL},
    {"MAXPIDS", "Max Placement Identifiers", FIELD(FdpConfiguration, maxPlacementIds0Based), Format::DECIMAL_0BASED},
    {"NNS", "Number of Namespaces Supported", FIELD(FdpConfiguration, maxNamespaces), Format::DECIMAL},
    {"RUNS", "Reclaim Unit Nominal Size (bytes)", FIELD(FdpConfiguration, reclaimUnitBytes), Format::DECIMAL},
    unless0({"ERUTL", "Estimated Reclaim Unit Time Limit (seconds)",
             FIELD(FdpConfiguration, timeLimitSeconds), Format::DECIMAL}),
};
constexpr Word FDP_HANDLE_TYPES[] = {{1, "initially isolated"}, {2, "persistently isolated"}, {}};

constexpr FieldRow FDP_USAGE_FIELDS[] = {
    {"NRUH", "Number of Reclaim Unit Handles", FIELD(FdpUsageHeader, handles), Format::DECIMAL},
};
constexpr Word FDP_USAGES[] = {{0, "unused"}, {1, "host specified"}, {2, "controller specified"}, {}};

constexpr FieldRow FDP_STATISTICS_FIELDS[] = {
    {"HBMW", "Host Bytes with Metadata Written (bytes)", FIELD(FdpStatisticsLog, hostBytesWritten), Format::COUNTER},
    {"MBMW", "Media Bytes with Metadata Written (bytes)", FIELD(FdpStatisticsLog, mediaBytesWritten), Format::COUNTER},
    {"MBE", "Media Bytes Erased (bytes)", FIELD(FdpStatisticsLog, mediaBytesErased), Format::COUNTER},
};

constexpr FieldRow FDP_EVENTS_FIELDS[] = {
    {"NEV", "Number of FDP Events", FIELD(FdpEventsHeader, numberOfEvents), Format::DECIMAL},
};
constexpr FieldRow FDP_EVENT_FIELDS[] = {
    word("FDPET", "Event Type", offsetof(FdpEvent, type), 7, 0, FDP_EVENT_TYPES),
    {"FDPEF", "Event Flags", FIELD(FdpEvent, flags), Format::HEX},
    {"PID", "Placement Identifier", FIELD(FdpEvent, placementId), Format::HEX},
    {"TSTMP", "Event Timestamp (milliseconds)", offsetof(FdpEvent, timestamp), 6, Format::DECIMAL},
    {"TSTMP Date", "Date", FIELD(FdpEvent, timestamp), Format::DATE},
    {"NSID", "Namespace", FIELD(FdpEvent, nsid), Format::DECIMAL},
    {"ETS", "Event Type Specific", FIELD(FdpEvent, typeSpecific), Format::BYTES},
    {"RGID", "Reclaim Group Identifier", FIELD(FdpEvent, reclaimGroup), Format::DECIMAL},
    {"RUHID", "Reclaim Unit Handle Identifier", FIELD(FdpEvent, handle), Format::DECIMAL},
};
// clang-format on

constexpr uint16_t TOO_MANY_ZONES = 0xFFFF;

/// The words of `count` descriptors of `entryBytes` bytes, of their first byte, as far as they lie within `end`.
std::vector<std::string> wordsOf(const Word* words, const Payload& data, size_t at, size_t end, size_t entryBytes,
                                 size_t count) {
    std::vector<std::string> texts;
    for (; texts.size() < count && at + entryBytes <= end; at += entryBytes)
        texts.push_back(wordText(words, data.getData()[at]));
    return texts;
}

/// Adds one media unit, and returns where the next one begins.
size_t addMediaUnit(FieldTree& tree, unsigned number, const Payload& data, size_t at) {
    const auto unit = structureAt<MediaUnitDescriptor>(data.getData() + at);
    // Two units that name themselves alike must not have one heading.
    FieldTree& part = tree.addPart("Media Unit " + std::to_string(number));
    part.add("MUID", "Media Unit Identifier", std::to_string(unit.unit));
    addFields(part, MEDIA_UNIT_FIELDS, data.getData() + at, sizeof unit);
    at += std::max<size_t>(unit.channelsOffset, sizeof unit);
    std::vector<uint16_t> channels;
    for (unsigned i = 0; i < unit.numberOfChannels; ++i, at += sizeof(Le16)) {
        if (at + sizeof(Le16) <= data.getSize()) channels.push_back(le16(data.getData() + at));
    }
    part.addList("Channels", channels);
    return at;
}

/// Adds one configuration, and returns where the next one begins.
size_t addFdpConfiguration(FieldTree& tree, unsigned number, const Payload& data, size_t at) {
    const auto configuration = structureAt<FdpConfiguration>(data.getData() + at);
    FieldTree& part = tree.addPart("Configuration " + std::to_string(number));
    addFields(part, FDP_CONFIGURATION_FIELDS, data.getData() + at, sizeof configuration);
    const size_t end = std::min<size_t>(at + configuration.sizeBytes, data.getSize());
    part.addList("Reclaim Unit Handles", wordsOf(FDP_HANDLE_TYPES, data, at + sizeof configuration, end,
                                                 sizeof(FdpHandleDescriptor), configuration.handles));
    return at + configuration.sizeBytes;
}

}  // namespace

FieldTree decodeMediaUnitStatus(const Payload& data) {
    FieldTree tree = decodeTable("Media Unit Status", MEDIA_UNIT_STATUS_FIELDS, data);
    if (data.getSize() < sizeof(MediaUnitStatusLogHeader)) return tree;
    const unsigned units = structureAt<MediaUnitStatusLogHeader>(data.getData()).numberOfUnits;
    size_t at = sizeof(MediaUnitStatusLogHeader);
    for (unsigned i = 1; i <= units && at + sizeof(MediaUnitDescriptor) <= data.getSize(); ++i)
        at = addMediaUnit(tree, i, data, at);
    return tree;
}

FieldTree decodeBootPartition(const Payload& data) {
    return decodeTable("Boot Partition Header", BOOT_PARTITION_FIELDS, data);
}

FieldTree decodeFdpConfigurations(const Payload& data) {
    FieldTree tree = decodeTable("FDP Configurations", FDP_CONFIGURATIONS_FIELDS, data);
    if (data.getSize() < sizeof(FdpConfigurationsHeader)) return tree;
    const auto head = structureAt<FdpConfigurationsHeader>(data.getData());
    size_t at = sizeof head;
    for (unsigned i = 0; i <= head.numberOfConfigurations0Based; ++i) {
        if (at + sizeof(FdpConfiguration) > data.getSize()) break;
        // One that is shorter than its own fields would be read for ever.
        if (structureAt<FdpConfiguration>(data.getData() + at).sizeBytes < sizeof(FdpConfiguration)) break;
        at = addFdpConfiguration(tree, i, data, at);
    }
    return tree;
}

FieldTree decodeFdpUsage(const Payload& data) {
    FieldTree tree = decodeTable("FDP Reclaim Unit Handle Usage", FDP_USAGE_FIELDS, data);
    if (data.getSize() < sizeof(FdpUsageHeader)) return tree;
    const unsigned handles = structureAt<FdpUsageHeader>(data.getData()).handles;
    tree.addList("Reclaim Unit Handles", wordsOf(FDP_USAGES, data, sizeof(FdpUsageHeader), data.getSize(),
                                                 sizeof(FdpUsageDescriptor), handles));
    return tree;
}

FieldTree decodeFdpStatistics(const Payload& data) {
    return decodeTable("FDP Statistics", FDP_STATISTICS_FIELDS, data);
}

FieldTree decodeFdpEvents(const Payload& data) {
    FieldTree tree = decodeTable("FDP Events", FDP_EVENTS_FIELDS, data);
    if (data.getSize() < sizeof(FdpEventsHeader)) return tree;
    const uint32_t events = structureAt<FdpEventsHeader>(data.getData()).numberOfEvents;
    size_t at = sizeof(FdpEventsHeader);
    for (uint32_t i = 1; i <= events && at + sizeof(FdpEvent) <= data.getSize(); ++i, at += sizeof(FdpEvent))
        addFields(tree.addPart("Event " + std::to_string(i)), FDP_EVENT_FIELDS, data.getData() + at, sizeof(FdpEvent));
    return tree;
}

FieldTree decodeChangedZones(const Payload& data) {
    FieldTree tree{"Changed Zone List", {}, {}};
    if (data.getSize() < offsetof(ChangedZoneList, zones)) return tree;
    const uint16_t count = le16(data.getData());
    tree.add("More", "More than 511 zones changed", ostrel::core::boolToText(count == TOO_MANY_ZONES));
    std::vector<uint64_t> zones;
    for (size_t at = offsetof(ChangedZoneList, zones); at + sizeof(Le64) <= data.getSize(); at += sizeof(Le64)) {
        if (count != TOO_MANY_ZONES && zones.size() < count) zones.push_back(le64(data.getData() + at));
    }
    tree.addList("Zones", zones);
    return tree;
}

std::vector<Structure> mediaLogStructures() {
    return {
        {"Media Unit Status", MEDIA_UNIT_STATUS_FIELDS},
        {"Media Unit Status > Media Unit *", MEDIA_UNIT_FIELDS},
        {"Boot Partition Header", BOOT_PARTITION_FIELDS},
        {"FDP Configurations", FDP_CONFIGURATIONS_FIELDS},
        {"FDP Configurations > Configuration *", FDP_CONFIGURATION_FIELDS},
        {"FDP Reclaim Unit Handle Usage", FDP_USAGE_FIELDS},
        {"FDP Statistics", FDP_STATISTICS_FIELDS},
        {"FDP Events", FDP_EVENTS_FIELDS},
        {"FDP Events > Event *", FDP_EVENT_FIELDS},
    };
}

}  // namespace features::nvme
