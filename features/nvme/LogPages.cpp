#include "features/nvme/LogPages.h"

#include <algorithm>
#include <iterator>

#include "features/nvme/Bytes.h"
#include "features/nvme/LogPageIds.h"
#include "features/nvme/LogSizes.h"
#include "ostrel/core/Strings.h"

namespace features::nvme {

using ostrel::core::Payload;

namespace {

uint64_t roundedUpToDword(uint64_t bytes) {
    return (bytes + 3) / 4 * 4;
}

uint64_t errorInformationLength(const ControllerCapabilities& controller, const uint8_t*) {
    constexpr uint64_t ENTRY_BYTES = 64;
    return controller.errorLogEntries() * ENTRY_BYTES;
}

/// Logs 0Bh and 0Fh: a count of 8 bytes and as many identifiers of 2 bytes. An identifier can be there once.
uint64_t aggregateLength(const ControllerCapabilities&, const uint8_t* head) {
    constexpr uint64_t MAX_IDENTIFIERS = 65535;
    return roundedUpToDword(8 + 2 * std::min(le64(head), MAX_IDENTIFIERS));
}

/// The head gives how many groups there are, but not how many namespaces they hold: the most that the controller takes.
uint64_t anaLength(const ControllerCapabilities& controller, const uint8_t* head) {
    return 16 + uint64_t{32} * le16(head + 8) + uint64_t{4} * controller.maxNamespaces();
}

uint64_t lbaStatusLength(const ControllerCapabilities&, const uint8_t* head) {
    constexpr uint32_t HEAD_BYTES = 16;
    return roundedUpToDword(std::max(le32(head), HEAD_BYTES));
}

using Controller = ControllerCapabilities;

// clang-format off
constexpr LogPageRow LOG_PAGES[] = {
    {LID_SUPPORTED_LOGS, "Supported Log Pages", "supported",
     &Controller::supportsSupportedLogs, SUPPORTED_LOGS_BYTES, nullptr, decodeSupportedLogs},
    {LID_ERROR_INFORMATION, "Error Information", "error",
     nullptr, 0, errorInformationLength, decodeErrorInformation},
    {LID_SMART_HEALTH, "SMART / Health Information", "smart",
     nullptr, SMART_HEALTH_BYTES, nullptr, decodeSmartHealth},
    {LID_FIRMWARE_SLOT, "Firmware Slot Information", "firmware",
     nullptr, FIRMWARE_SLOT_BYTES, nullptr, decodeFirmwareSlots},
    {LID_CHANGED_NAMESPACES, "Changed Namespace List", "changed-ns",
     &Controller::supportsNamespaceNotices, 4096, nullptr, decodeChangedNamespaces},
    {LID_COMMAND_EFFECTS, "Commands Supported and Effects", "effects",
     &Controller::supportsCommandEffects, 4096, nullptr, decodeCommandEffects},
    {LID_DEVICE_SELF_TEST, "Device Self-test", "selftest",
     &Controller::supportsSelfTest, SELF_TEST_BYTES, nullptr, decodeSelfTest},
    {LID_TELEMETRY_HOST, "Telemetry Host-Initiated", "telemetry",
     &Controller::supportsTelemetry, 512, nullptr, decodeTelemetryHeader},
    {LID_TELEMETRY_CONTROLLER, "Telemetry Controller-Initiated", "telemetry-ctrl",
     &Controller::supportsTelemetry, 512, nullptr, decodeTelemetryHeader},
    {LID_ENDURANCE_GROUP, "Endurance Group Information", "endurance",
     &Controller::supportsEnduranceGroups, 512, nullptr, decodeEnduranceGroup},
    {LID_PREDICTABLE_LATENCY_SET, "Predictable Latency Per NVM Set", "predictable-latency",
     &Controller::supportsPredictableLatency, 512, nullptr, decodePredictableLatency},
    {LID_PREDICTABLE_LATENCY_AGGREGATE, "Predictable Latency Event Aggregate", "predictable-latency-events",
     &Controller::supportsPredictableLatency, 8, aggregateLength, decodePredictableLatencyAggregate},
    {LID_ANA, "Asymmetric Namespace Access", "ana",
     &Controller::supportsAna, 16, anaLength, decodeAna},
    {LID_PERSISTENT_EVENT, "Persistent Event Log", "events",
     &Controller::supportsPersistentEventLog, 512, nullptr, decodePersistentEventHeader},
    {LID_LBA_STATUS, "LBA Status Information", "lba-status",
     &Controller::supportsLbaStatus, 16, lbaStatusLength, decodeLbaStatus},
    {LID_ENDURANCE_GROUP_AGGREGATE, "Endurance Group Event Aggregate", "endurance-events",
     &Controller::supportsEnduranceGroups, 8, aggregateLength, decodeEnduranceGroupAggregate},
    {LID_RESERVATION, "Reservation Notification", "reservation",
     &Controller::supportsReservations, 64, nullptr, decodeReservation},
    {LID_SANITIZE_STATUS, "Sanitize Status", "sanitize",
     &Controller::supportsSanitize, SANITIZE_STATUS_BYTES, nullptr, decodeSanitizeStatus},
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
    const auto* row = std::find_if(logPagesBegin(), logPagesEnd(), [lid](const LogPageRow& r) { return r.lid == lid; });
    return row == logPagesEnd() ? nullptr : row;
}

const LogPageRow* findLogPage(const std::string& name) {
    const auto* row =
        std::find_if(logPagesBegin(), logPagesEnd(), [&](const LogPageRow& r) { return isLogName(r, name); });
    return row == logPagesEnd() ? nullptr : row;
}

const LogPageRow* logPagesBegin() {
    return std::begin(LOG_PAGES);
}
const LogPageRow* logPagesEnd() {
    return std::end(LOG_PAGES);
}

FieldTree decodeSupportedLogs(const Payload& data) {
    FieldTree tree{"Supported Log Pages", {}, {}};
    for (unsigned lid = 0; lid < 256 && (lid + 1) * 4 <= data.getSize(); ++lid) {
        if (!bit(le32(data.getData() + lid * 4), 0)) continue;
        const LogPageRow* row = findLogPage(static_cast<uint8_t>(lid));
        tree.add("LID " + hexText(lid, 2), row != nullptr            ? row->name
                                           : lid >= FIRST_VENDOR_LID ? "Vendor Specific"
                                                                     : "Not decoded");
    }
    return tree;
}

}  // namespace features::nvme
