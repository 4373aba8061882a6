#include "features/nvme/LogPages.h"

#include <algorithm>
#include <iterator>

#include "features/nvme/Bytes.h"
#include "features/nvme/FindRow.h"
#include "features/nvme/LogPageIds.h"
#include "features/nvme/structures/AggregateLog.h"
#include "features/nvme/structures/AnaLog.h"
#include "features/nvme/structures/BootPartitionLog.h"
#include "features/nvme/structures/ChangedNamespaceList.h"
#include "features/nvme/structures/ChangedZoneList.h"
#include "features/nvme/structures/CommandEffectsLog.h"
#include "features/nvme/structures/DataPlacementLogs.h"
#include "features/nvme/structures/EnduranceGroupLog.h"
#include "features/nvme/structures/ErrorInformationLog.h"
#include "features/nvme/structures/FirmwareSlotLog.h"
#include "features/nvme/structures/LbaStatusLog.h"
#include "features/nvme/structures/LockdownLog.h"
#include "features/nvme/structures/MediaUnitStatusLog.h"
#include "features/nvme/structures/PersistentEventLog.h"
#include "features/nvme/structures/PredictableLatencyLog.h"
#include "features/nvme/structures/ReservationLog.h"
#include "features/nvme/structures/SanitizeStatusLog.h"
#include "features/nvme/structures/SelfTestLog.h"
#include "features/nvme/structures/SmartHealthLog.h"
#include "features/nvme/structures/SupportedFeaturesLog.h"
#include "features/nvme/structures/SupportedLogsLog.h"
#include "features/nvme/structures/TelemetryLogHeader.h"
#include "ostrel/core/Strings.h"

namespace features::nvme {

using ostrel::core::Payload;

namespace {

uint64_t roundedUpToDword(uint64_t bytes) {
    return (bytes + 3) / 4 * 4;
}

uint64_t errorInformationLength(const ControllerCapabilities& controller, const uint8_t*) {
    return uint64_t{controller.errorLogEntries()} * sizeof(ErrorInformationEntry);
}

/// Logs 0Bh and 0Fh: a count of 8 bytes and as many identifiers of 2 bytes. An identifier can be there once.
uint64_t aggregateLength(const ControllerCapabilities&, const uint8_t* head) {
    constexpr uint64_t MAX_IDENTIFIERS = 65535;
    const uint64_t entries = structureAt<AggregateLogHeader>(head).numberOfEntries;
    return roundedUpToDword(sizeof(AggregateLogHeader) + sizeof(Le16) * std::min(entries, MAX_IDENTIFIERS));
}

/// The head gives how many groups there are, but not how many namespaces they hold: the most that the controller takes.
uint64_t anaLength(const ControllerCapabilities& controller, const uint8_t* head) {
    return sizeof(AnaLogHeader) + sizeof(AnaGroupDescriptor) * structureAt<AnaLogHeader>(head).numberOfGroups +
           sizeof(Le32) * uint64_t{controller.maxNamespaces()};
}

uint64_t lbaStatusLength(const ControllerCapabilities&, const uint8_t* head) {
    const uint32_t length = structureAt<LbaStatusLogHeader>(head).length;
    return roundedUpToDword(std::max<uint64_t>(length, sizeof(LbaStatusLogHeader)));
}

uint64_t telemetryLength(const uint8_t* head) {
    constexpr unsigned LAST_AREA = 3;
    return telemetryLogBytes(structureAt<TelemetryLogHeader>(head), LAST_AREA);
}

/// The most that the units can have: each says itself how many channels it has.
uint64_t mediaUnitStatusLength(const ControllerCapabilities&, const uint8_t* head) {
    constexpr unsigned MAX_CHANNELS_OF_A_UNIT = 255;
    const auto header = structureAt<MediaUnitStatusLogHeader>(head);
    const unsigned channels = std::min<unsigned>(header.numberOfChannels, MAX_CHANNELS_OF_A_UNIT);
    const uint64_t unitBytes = sizeof(MediaUnitDescriptor) + channels * sizeof(Le16);
    return roundedUpToDword(sizeof header + header.numberOfUnits * unitBytes);
}

uint64_t bootPartitionLength(const uint8_t* head) {
    constexpr uint64_t UNIT_BYTES = uint64_t{128} * 1024;
    const uint32_t information = structureAt<BootPartitionLogHeader>(head).information;
    return sizeof(BootPartitionLogHeader) + bits(information, 14, 0) * UNIT_BYTES;
}

uint64_t fdpConfigurationsLength(const ControllerCapabilities&, const uint8_t* head) {
    const uint32_t size = structureAt<FdpConfigurationsHeader>(head).sizeBytes;
    return roundedUpToDword(std::max<uint64_t>(size, sizeof(FdpConfigurationsHeader)));
}

uint64_t fdpUsageLength(const ControllerCapabilities&, const uint8_t* head) {
    return sizeof(FdpUsageHeader) + sizeof(FdpUsageDescriptor) * structureAt<FdpUsageHeader>(head).handles;
}

uint64_t fdpEventsLength(const ControllerCapabilities&, const uint8_t* head) {
    return sizeof(FdpEventsHeader) + sizeof(FdpEvent) * uint64_t{structureAt<FdpEventsHeader>(head).numberOfEvents};
}

/// What is read of a page whose layout is not known.
constexpr uint32_t UNDECODED_BYTES = 512;

using Controller = ControllerCapabilities;

// clang-format off
constexpr LogPageRow LOG_PAGES[] = {
    {LID_SUPPORTED_LOGS, "Supported Log Pages", "supported",
     &Controller::supportsSupportedLogs, sizeof(SupportedLogsLog), nullptr, decodeSupportedLogs},
    {LID_ERROR_INFORMATION, "Error Information", "error",
     nullptr, 0, errorInformationLength, decodeErrorInformation},
    {LID_SMART_HEALTH, "SMART / Health Information", "smart",
     nullptr, sizeof(SmartHealthLog), nullptr, decodeSmartHealth},
    {LID_FIRMWARE_SLOT, "Firmware Slot Information", "firmware",
     nullptr, sizeof(FirmwareSlotLog), nullptr, decodeFirmwareSlots},
    {LID_CHANGED_NAMESPACES, "Changed Namespace List", "changed-ns",
     &Controller::supportsNamespaceNotices, sizeof(ChangedNamespaceList), nullptr, decodeChangedNamespaces},
    {LID_COMMAND_EFFECTS, "Commands Supported and Effects", "effects",
     &Controller::supportsCommandEffects, sizeof(CommandEffectsLog), nullptr, decodeCommandEffects},
    {LID_DEVICE_SELF_TEST, "Device Self-test", "selftest",
     &Controller::supportsSelfTest, sizeof(SelfTestLog), nullptr, decodeSelfTest},
    {LID_TELEMETRY_HOST, "Telemetry Host-Initiated", "telemetry",
     &Controller::supportsTelemetry, sizeof(TelemetryLogHeader), nullptr, decodeTelemetryHeader, telemetryLength},
    {LID_TELEMETRY_CONTROLLER, "Telemetry Controller-Initiated", "telemetry-ctrl",
     &Controller::supportsTelemetry, sizeof(TelemetryLogHeader), nullptr, decodeTelemetryHeader, telemetryLength},
    {LID_ENDURANCE_GROUP, "Endurance Group Information", "endurance",
     &Controller::supportsEnduranceGroups, sizeof(EnduranceGroupLog), nullptr, decodeEnduranceGroup},
    {LID_PREDICTABLE_LATENCY_SET, "Predictable Latency Per NVM Set", "predictable-latency",
     &Controller::supportsPredictableLatency, sizeof(PredictableLatencyLog), nullptr, decodePredictableLatency},
    {LID_PREDICTABLE_LATENCY_AGGREGATE, "Predictable Latency Event Aggregate", "predictable-latency-events",
     &Controller::supportsPredictableLatency, sizeof(AggregateLogHeader), aggregateLength, decodePredictableLatencyAggregate},
    {LID_ANA, "Asymmetric Namespace Access", "ana",
     &Controller::supportsAna, sizeof(AnaLogHeader), anaLength, decodeAna},
    {LID_PERSISTENT_EVENT, "Persistent Event Log", "events",
     &Controller::supportsPersistentEventLog, sizeof(PersistentEventLogHeader), nullptr, decodePersistentEventHeader, persistentEventLogBytes},
    {LID_LBA_STATUS, "LBA Status Information", "lba-status",
     &Controller::supportsLbaStatus, sizeof(LbaStatusLogHeader), lbaStatusLength, decodeLbaStatus},
    {LID_ENDURANCE_GROUP_AGGREGATE, "Endurance Group Event Aggregate", "endurance-events",
     &Controller::supportsEnduranceGroupNotices, sizeof(AggregateLogHeader), aggregateLength, decodeEnduranceGroupAggregate},
    {LID_MEDIA_UNIT_STATUS, "Media Unit Status", "media-units",
     &Controller::supportsListedLog, sizeof(MediaUnitStatusLogHeader), mediaUnitStatusLength, decodeMediaUnitStatus},
    {LID_CAPACITY_CONFIGURATIONS, "Supported Capacity Configuration List", "capacity-configurations",
     &Controller::supportsListedLog, UNDECODED_BYTES, nullptr, nullptr},
    {LID_SUPPORTED_FEATURES, "Feature Identifiers Supported and Effects", "features",
     &Controller::supportsListedLog, sizeof(SupportedFeaturesLog), nullptr, decodeSupportedFeatures},
    {LID_SUPPORTED_MI_COMMANDS, "NVMe-MI Commands Supported and Effects", "mi-commands",
     &Controller::supportsListedLog, SUPPORTED_MI_COMMANDS_BYTES, nullptr, decodeSupportedMiCommands},
    {LID_LOCKDOWN, "Command and Feature Lockdown", "lockdown",
     &Controller::supportsLockdown, sizeof(LockdownLog), nullptr, decodeLockdown},
    {LID_BOOT_PARTITION, "Boot Partition", "boot-partition",
     &Controller::supportsListedLog, sizeof(BootPartitionLogHeader), nullptr, decodeBootPartition, bootPartitionLength},
    {LID_ROTATIONAL_MEDIA, "Rotational Media Information", "rotational-media",
     &Controller::supportsListedLog, UNDECODED_BYTES, nullptr, nullptr},
    {LID_DISPERSED_NAMESPACE_SUBSYSTEMS, "Dispersed Namespace Participating NVM Subsystems", "dispersed-namespaces",
     &Controller::supportsListedLog, UNDECODED_BYTES, nullptr, nullptr},
    {LID_MANAGEMENT_ADDRESSES, "Management Address List", "management-addresses",
     &Controller::supportsListedLog, UNDECODED_BYTES, nullptr, nullptr},
    {LID_EYE_OPENING, "Physical Interface Receiver Eye Opening Measurement", "eye-opening",
     &Controller::supportsListedLog, UNDECODED_BYTES, nullptr, nullptr},
    {LID_REACHABILITY_GROUPS, "Reachability Groups", "reachability-groups",
     &Controller::supportsListedLog, UNDECODED_BYTES, nullptr, nullptr},
    {LID_REACHABILITY_ASSOCIATIONS, "Reachability Associations", "reachability-associations",
     &Controller::supportsListedLog, UNDECODED_BYTES, nullptr, nullptr},
    {LID_CHANGED_ALLOCATED_NAMESPACES, "Changed Allocated Namespace List", "changed-allocated-ns",
     &Controller::supportsListedLog, UNDECODED_BYTES, nullptr, nullptr},
    {LID_DEVICE_PERSONALITY, "Device Personality", "personality",
     &Controller::supportsListedLog, UNDECODED_BYTES, nullptr, nullptr},
    {LID_CROSS_CONTROLLER_RESET, "Cross-Controller Reset", "cross-controller-reset",
     &Controller::supportsListedLog, UNDECODED_BYTES, nullptr, nullptr},
    {LID_LOST_HOST_COMMUNICATION, "Lost Host Communication", "lost-host",
     &Controller::supportsListedLog, UNDECODED_BYTES, nullptr, nullptr},
    {LID_FDP_CONFIGURATIONS, "FDP Configurations", "fdp-configurations",
     &Controller::supportsFdp, sizeof(FdpConfigurationsHeader), fdpConfigurationsLength, decodeFdpConfigurations},
    {LID_FDP_USAGE, "FDP Reclaim Unit Handle Usage", "fdp-usage",
     &Controller::supportsFdp, sizeof(FdpUsageHeader), fdpUsageLength, decodeFdpUsage},
    {LID_FDP_STATISTICS, "FDP Statistics", "fdp-statistics",
     &Controller::supportsFdp, sizeof(FdpStatisticsLog), nullptr, decodeFdpStatistics},
    {LID_FDP_EVENTS, "FDP Events", "fdp-events",
     &Controller::supportsFdp, sizeof(FdpEventsHeader), fdpEventsLength, decodeFdpEvents},
    {LID_MANUFACTURING_DEFAULT, "Manufacturing Default Configuration", "manufacturing-default",
     &Controller::supportsListedLog, UNDECODED_BYTES, nullptr, nullptr},
    {LID_POWER_MEASUREMENT, "Power Measurement", "power-measurement",
     &Controller::supportsListedLog, UNDECODED_BYTES, nullptr, nullptr},
    {LID_VOLTAGE_MEASUREMENT, "Voltage Measurement", "voltage-measurement",
     &Controller::supportsListedLog, UNDECODED_BYTES, nullptr, nullptr},
    {LID_RATE_LIMITING, "Rate Limiting", "rate-limiting",
     &Controller::supportsListedLog, UNDECODED_BYTES, nullptr, nullptr},
    {LID_SANITIZE_NAMESPACES, "Sanitize Namespace Status List", "sanitize-namespaces",
     &Controller::supportsListedLog, UNDECODED_BYTES, nullptr, nullptr},
    {LID_RESERVATION, "Reservation Notification", "reservation",
     &Controller::supportsReservations, sizeof(ReservationLog), nullptr, decodeReservation},
    {LID_SANITIZE_STATUS, "Sanitize Status", "sanitize",
     &Controller::supportsSanitize, sizeof(SanitizeStatusLog), nullptr, decodeSanitizeStatus},
    {LID_CHANGED_ZONES, "Changed Zone List", "changed-zones",
     &Controller::supportsZoneNotices, sizeof(ChangedZoneList), nullptr, decodeChangedZones},
};
// clang-format on

}  // namespace

std::string comparableLogName(const std::string& name) {
    std::string text;
    for (const char c : ostrel::core::toLower(name)) {
        if ((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9')) text += c;
    }
    return text;
}

bool isLogName(const LogPageRow& row, const std::string& name) {
    const std::string wanted = comparableLogName(name);
    return comparableLogName(row.name) == wanted || comparableLogName(row.shortName) == wanted;
}

const LogPageRow* findLogPage(uint8_t lid) {
    return findRow(logPagesBegin(), logPagesEnd(), [lid](const LogPageRow& row) { return row.lid == lid; });
}

const LogPageRow* findLogPage(const std::string& name) {
    return findRow(logPagesBegin(), logPagesEnd(), [&](const LogPageRow& row) { return isLogName(row, name); });
}

const LogPageRow* logPagesBegin() {
    return std::begin(LOG_PAGES);
}
const LogPageRow* logPagesEnd() {
    return std::end(LOG_PAGES);
}

}  // namespace features::nvme
