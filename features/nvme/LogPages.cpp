#include "features/nvme/LogPages.h"

#include <algorithm>
#include <iterator>

#include "features/nvme/Bytes.h"
#include "features/nvme/FindRow.h"
#include "features/nvme/LogPageIds.h"
#include "features/nvme/structures/AggregateLog.h"
#include "features/nvme/structures/AnaLog.h"
#include "features/nvme/structures/ChangedNamespaceList.h"
#include "features/nvme/structures/CommandEffectsLog.h"
#include "features/nvme/structures/EnduranceGroupLog.h"
#include "features/nvme/structures/ErrorInformationLog.h"
#include "features/nvme/structures/FirmwareSlotLog.h"
#include "features/nvme/structures/LbaStatusLog.h"
#include "features/nvme/structures/PersistentEventLog.h"
#include "features/nvme/structures/PredictableLatencyLog.h"
#include "features/nvme/structures/ReservationLog.h"
#include "features/nvme/structures/SanitizeStatusLog.h"
#include "features/nvme/structures/SelfTestLog.h"
#include "features/nvme/structures/SmartHealthLog.h"
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
     &Controller::supportsEnduranceGroups, sizeof(AggregateLogHeader), aggregateLength, decodeEnduranceGroupAggregate},
    {LID_RESERVATION, "Reservation Notification", "reservation",
     &Controller::supportsReservations, sizeof(ReservationLog), nullptr, decodeReservation},
    {LID_SANITIZE_STATUS, "Sanitize Status", "sanitize",
     &Controller::supportsSanitize, sizeof(SanitizeStatusLog), nullptr, decodeSanitizeStatus},
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

FieldTree decodeSupportedLogs(const Payload& data) {
    FieldTree tree{"Supported Log Pages", {}, {}};
    for (size_t lid = 0; lid < 256 && (lid + 1) * sizeof(Le32) <= data.getSize(); ++lid) {
        if (!bit(structureAt<Le32>(data.getData() + lid * sizeof(Le32)), 0)) continue;
        const LogPageRow* row = findLogPage(static_cast<uint8_t>(lid));
        tree.add("LID " + hexText(lid, 2), row != nullptr            ? row->name
                                           : lid >= FIRST_VENDOR_LID ? "Vendor Specific"
                                                                     : "Not decoded");
    }
    return tree;
}

}  // namespace features::nvme
