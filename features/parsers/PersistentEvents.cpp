#include "features/parsers/PersistentEvents.h"

#include <algorithm>
#include <iterator>

#include "features/errors/PayloadCopy.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/Features.h"
#include "features/nvme/FieldTable.h"
#include "features/nvme/LogPages.h"
#include "features/nvme/PersistentEventTypes.h"
#include "features/nvme/structures/PersistentEventData.h"
#include "features/nvme/structures/SmartHealthLog.h"
#include "features/nvme/structures/TelemetryLogHeader.h"
#include "features/parsers/Structures.h"
#include "ostrel/core/Payload.h"
#include "ostrel/core/Strings.h"

namespace features::parsers {

using namespace nvme;
using ostrel::core::bytesToHex;
using ostrel::core::Payload;

namespace {

// clang-format off
constexpr FieldRow FIRMWARE_COMMIT_FIELDS[] = {
    {"OFR", "Old Firmware Revision", FIELD(FirmwareCommitEvent, oldRevision), Format::TEXT},
    {"NFR", "New Firmware Revision", FIELD(FirmwareCommitEvent, newRevision), Format::TEXT},
    {"FCA", "Firmware Commit Action", FIELD(FirmwareCommitEvent, commitAction), Format::DECIMAL},
    {"FS", "Firmware Slot", FIELD(FirmwareCommitEvent, slot), Format::DECIMAL},
    {"SCT", "Status Code Type for Firmware Commit Command", FIELD(FirmwareCommitEvent, statusCodeType), Format::HEX},
    {"SC", "Status Returned for Firmware Commit Command", FIELD(FirmwareCommitEvent, statusCode), Format::HEX},
    {"VFCRC", "Vendor Assigned Firmware Commit Result Code", FIELD(FirmwareCommitEvent, vendorResult), Format::HEX},
};

constexpr FieldRow TIMESTAMP_FIELDS[] = {
    {"PTSTMP", "Previous Timestamp (milliseconds)",
     offsetof(TimestampChangeEvent, previousTimestamp), 6, Format::DECIMAL},
    {"PTSTMP Date", "Date", FIELD(TimestampChangeEvent, previousTimestamp), Format::DATE},
    {"MSR", "Milliseconds Since Reset (milliseconds)",
     FIELD(TimestampChangeEvent, millisecondsSinceReset), Format::DECIMAL},
};

constexpr FieldRow POWER_ON_FIELDS[] = {
    {"FR", "Firmware Revision", FIELD(PowerOnEvent, revision), Format::TEXT},
};
constexpr FieldRow RESET_FIELDS[] = {
    {"CNTLID", "Controller ID", FIELD(ResetDescriptor, cntlid), Format::DECIMAL},
    {"FA", "Firmware Activation", FIELD(ResetDescriptor, firmwareActivation), Format::HEX},
    {"OIP", "Operation in Progress", FIELD(ResetDescriptor, operationInProgress), Format::HEX},
    {"CPC", "Controller Power Cycle", FIELD(ResetDescriptor, powerCycle), Format::DECIMAL},
    {"POM", "Power On Milliseconds (milliseconds)", FIELD(ResetDescriptor, powerOnMilliseconds), Format::DECIMAL},
    {"CTSTMP", "Controller Timestamp (milliseconds)", offsetof(ResetDescriptor, timestamp), 6, Format::DECIMAL},
    {"CTSTMP Date", "Date", FIELD(ResetDescriptor, timestamp), Format::DATE},
};

constexpr Word HARDWARE_ERRORS[] = {
    {HARDWARE_ERROR_PCIE_CORRECTABLE, "PCIe Correctable Error"},
    {HARDWARE_ERROR_PCIE_NON_FATAL, "PCIe Uncorrectable Non-fatal Error"},
    {HARDWARE_ERROR_PCIE_FATAL, "PCIe Uncorrectable Fatal Error"},
    {HARDWARE_ERROR_PCIE_LINK_STATUS, "PCIe Link Status Change"},
    {HARDWARE_ERROR_PCIE_LINK_INACTIVE, "PCIe Link Not Active"},
    {HARDWARE_ERROR_CRITICAL_WARNING, "Critical Warning Condition"},
    {HARDWARE_ERROR_ENDURANCE_GROUP_WARNING, "Endurance Group Critical Warning Condition"},
    {HARDWARE_ERROR_UNSAFE_SHUTDOWN, "Unsafe Shutdown"},
    {HARDWARE_ERROR_CONTROLLER_FATAL, "Controller Fatal Status"},
    {HARDWARE_ERROR_MEDIA, "Media and Data Integrity Status"},
    {HARDWARE_ERROR_READY_TIMEOUT, "Controller Ready Timeout Exceeded"},
    {},
};
constexpr FieldRow HARDWARE_ERROR_FIELDS[] = {
    {"NSHEEC", "NVM Subsystem Hardware Error Event Code", FIELD(HardwareErrorEvent, code), Format::HEX},
    word("NSHEEC Error", "What failed", offsetof(HardwareErrorEvent, code), 15, 0, HARDWARE_ERRORS),
};

constexpr FieldRow CHANGE_NAMESPACE_FIELDS[] = {
    {"NMCDW10", "Namespace Management Command Dword 10", FIELD(ChangeNamespaceEvent, cdw10), Format::HEX},
    {"NSZE", "Namespace Size (blocks)", FIELD(ChangeNamespaceEvent, nsze), Format::DECIMAL},
    {"NCAP", "Namespace Capacity (blocks)", FIELD(ChangeNamespaceEvent, ncap), Format::DECIMAL},
    {"FLBAS", "Formatted LBA Size", FIELD(ChangeNamespaceEvent, flbas), Format::HEX},
    {"DPS", "End-to-end Data Protection Type Settings", FIELD(ChangeNamespaceEvent, dps), Format::HEX},
    {"NMIC", "Namespace Multi-path I/O and Namespace Sharing Capabilities",
     FIELD(ChangeNamespaceEvent, nmic), Format::HEX},
    {"ANAGRPID", "ANA Group Identifier", FIELD(ChangeNamespaceEvent, anagrpid), Format::DECIMAL},
    {"NVMSETID", "NVM Set Identifier", FIELD(ChangeNamespaceEvent, nvmsetid), Format::DECIMAL},
    {"NSID", "Namespace", FIELD(ChangeNamespaceEvent, nsid), Format::HEX},
};

constexpr FieldRow FORMAT_START_FIELDS[] = {
    {"NSID", "Namespace", FIELD(FormatStartEvent, nsid), Format::HEX},
    {"FNA", "Format NVM Attributes", FIELD(FormatStartEvent, fna), Format::HEX},
    {"FCDW10", "Format NVM Command Dword 10", FIELD(FormatStartEvent, cdw10), Format::HEX},
};
constexpr FieldRow FORMAT_COMPLETION_FIELDS[] = {
    {"NSID", "Namespace", FIELD(FormatCompletionEvent, nsid), Format::HEX},
    {"SFPI", "Smallest Format Progress Indicator", FIELD(FormatCompletionEvent, smallestProgress), Format::DECIMAL},
    {"FNS", "Format NVM Status", FIELD(FormatCompletionEvent, formatStatus), Format::HEX},
    {"CI", "Completion Information", FIELD(FormatCompletionEvent, completionInformation), Format::HEX},
    {"SF", "Status Field", FIELD(FormatCompletionEvent, statusField), Format::HEX},
};

constexpr FieldRow SANITIZE_START_FIELDS[] = {
    {"SANICAP", "Sanitize Capabilities", FIELD(SanitizeStartEvent, sanicap), Format::HEX},
    {"SCDW10", "Sanitize Command Dword 10", FIELD(SanitizeStartEvent, cdw10), Format::HEX},
    {"SCDW11", "Sanitize Command Dword 11", FIELD(SanitizeStartEvent, cdw11), Format::HEX},
};
constexpr FieldRow SANITIZE_COMPLETION_FIELDS[] = {
    {"SPROG", "Sanitize Progress (units of 1/65536)", FIELD(SanitizeCompletionEvent, sprog), Format::DECIMAL},
    {"SSTAT", "Sanitize Status", FIELD(SanitizeCompletionEvent, sstat), Format::HEX},
    {"CI", "Completion Information", FIELD(SanitizeCompletionEvent, completionInformation), Format::HEX},
};

constexpr FieldRow SET_FEATURE_FIELDS[] = {
    {"SFEL", "Set Feature Event Layout", FIELD(SetFeatureEvent, layout), Format::HEX},
};

constexpr FieldRow THERMAL_FIELDS[] = {
    {"OT", "Over Temperature (C)", FIELD(ThermalExcursionEvent, overTemperature), Format::DECIMAL},
    {"THRESH", "Threshold", FIELD(ThermalExcursionEvent, threshold), Format::HEX},
};

constexpr Word VENDOR_DATA_TYPES[] = {
    {1, "Event Name"}, {2, "ASCII String"}, {3, "Binary"}, {4, "Signed Integer"}, {},
};
constexpr FieldRow VENDOR_FIELDS[] = {
    {"VSEC", "Vendor Specific Event Code", FIELD(VendorEventDescriptor, code), Format::HEX},
    word("VSEDT", "Vendor Specific Event Data Type", offsetof(VendorEventDescriptor, type), 7, 0, VENDOR_DATA_TYPES),
    {"UIDX", "UUID Index", FIELD(VendorEventDescriptor, uuidIndex), Format::DECIMAL},
    {"VSEDL", "Vendor Specific Event Data Length (bytes)", FIELD(VendorEventDescriptor, length), Format::DECIMAL},
};

/// What the OCP Datacenter NVMe SSD Specification puts into a descriptor of a vendor specific event.
constexpr FieldRow TCG_ACTIVITY_FIELDS[] = {
    {"TCGCC", "TCG Command Count", FIELD(TcgActivity, commandCount), Format::DECIMAL},
    {"IID", "Invoking ID", FIELD(TcgActivity, invokingId), Format::HEX},
    {"MID", "Method ID", FIELD(TcgActivity, methodId), Format::HEX},
    {"COMID", "ComID", FIELD(TcgActivity, comId), Format::HEX},
    {"PID", "Protocol ID", FIELD(TcgActivity, protocolId), Format::HEX},
    {"STAT", "Status", FIELD(TcgActivity, status), Format::HEX},
    {"PTIME", "Process Time (milliseconds)", FIELD(TcgActivity, processTime), Format::DECIMAL},
    {"CTX", "Context", FIELD(TcgActivity, context), Format::BYTES},
};
// clang-format on

constexpr size_t RESET_BYTES = sizeof(ResetDescriptor);
constexpr size_t VENDOR_HEAD_BYTES = sizeof(VendorEventDescriptor);
constexpr size_t SMART_BYTES = sizeof(SmartHealthLog);
constexpr size_t TELEMETRY_BYTES = sizeof(TelemetryLogHeader);

/// Bytes that have no fields: also those that are all zero are shown.
void addBytes(FieldTree& tree, const char* name, const char* description, const uint8_t* data, size_t size) {
    if (size != 0) tree.add(name, description, bytesToHex(data, size));
}

std::string addSmart(FieldTree& tree, const uint8_t* data, size_t size) {
    tree.parts.push_back(decodeSmartHealth(copyOf(data, std::min(size, SMART_BYTES))));
    return {};
}

std::string addResets(FieldTree& tree, const uint8_t* data, size_t size) {
    size_t at = sizeof(PowerOnEvent);
    for (unsigned number = 1; at + RESET_BYTES <= size; at += RESET_BYTES, ++number)
        addFields(tree.addPart("Reset " + std::to_string(number)), RESET_FIELDS, data + at, RESET_BYTES);
    return at < size ? "its list of resets ends within an entry" : "";
}

std::string addHardwareError(FieldTree& tree, const uint8_t* data, size_t size) {
    constexpr size_t HEAD_BYTES = sizeof(HardwareErrorEvent);
    addBytes(tree, "AHEI", "Additional Hardware Error Information", data + HEAD_BYTES, size - HEAD_BYTES);
    return {};
}

/// The command's dwords from dword 10 on, its data, and dword 0 of its completion: the layout says how much of each.
std::string addSetFeature(FieldTree& tree, const uint8_t* data, size_t size) {
    const uint32_t layout = structureAt<SetFeatureEvent>(data).layout;
    const auto dwords = static_cast<size_t>(bits(layout, 2, 0));
    const bool hasCompletion = bit(layout, 3);
    const auto bufferBytes = static_cast<size_t>(bits(layout, 31, 16));
    size_t at = sizeof(SetFeatureEvent);
    if (at + dwords * 4 + bufferBytes + (hasCompletion ? 4 : 0) > size) {
        addBytes(tree, "Data", "Bytes as they are", data + at, size - at);
        return "its layout describes more than it has";
    }
    for (size_t i = 0; i < dwords; ++i, at += 4) {
        const uint32_t dword = le32(data + at);
        tree.add("CDW" + std::to_string(10 + i), "Command Dword", hexText(dword, 8));
        if (i != 0) continue;
        const auto fid = static_cast<uint8_t>(dword);
        const FeatureRow* feature = findFeature(fid);
        tree.add("FID", "Feature Identifier",
                 hexText(fid, 2) + (feature != nullptr ? std::string(" ") + feature->name : std::string()));
    }
    addBytes(tree, "Memory Buffer", "Data of the command", data + at, bufferBytes);
    if (hasCompletion) tree.add("CCDW0", "Command Completion Dword 0", hexText(le32(data + at + bufferBytes), 8));
    return {};
}

std::string addTelemetry(FieldTree& tree, const uint8_t* data, size_t size) {
    tree.parts.push_back(decodeTelemetryHeader(copyOf(data, std::min(size, TELEMETRY_BYTES))));
    return {};
}

/// One text of a drive, a number or bytes.
std::string vendorValue(uint8_t type, const uint8_t* data, size_t size) {
    constexpr uint8_t LAST_TEXT_TYPE = 2;
    if (type == 1 || type == LAST_TEXT_TYPE) {
        const std::string text = shownText(data, size);
        return text.empty() ? NOT_REPORTED : text;
    }
    constexpr uint8_t SIGNED_INTEGER = 4;
    if (type != SIGNED_INTEGER || size > 8 || size == 0) return bytesToHex(data, size);
    const uint64_t number = leNumber(data, size);
    const auto unused = static_cast<unsigned>(64 - size * 8);
    return std::to_string(static_cast<int64_t>(number << unused) >> unused);
}

/// Whether a descriptor is that of TCG activity, by all that OCP fixes of it: another maker's event may have the code.
bool isTcgActivity(const VendorEventDescriptor& descriptor, size_t eventBytes) {
    constexpr uint16_t TCG_ACTIVITY = 1;
    constexpr uint8_t BINARY = 3;
    return descriptor.code == TCG_ACTIVITY && descriptor.type == BINARY && descriptor.length == sizeof(TcgActivity) &&
           eventBytes == VENDOR_HEAD_BYTES + sizeof(TcgActivity);
}

std::string addVendorSpecific(FieldTree& tree, const uint8_t* data, size_t size) {
    size_t at = 0;
    for (unsigned number = 1; at + VENDOR_HEAD_BYTES <= size; ++number) {
        FieldTree& part = tree.addPart("Descriptor " + std::to_string(number));
        addFields(part, VENDOR_FIELDS, data + at, VENDOR_HEAD_BYTES);
        const auto descriptor = structureAt<VendorEventDescriptor>(data + at);
        const size_t length = descriptor.length;
        if (length > size - at - VENDOR_HEAD_BYTES) {
            addBytes(part, "Data", "Bytes as they are", data + at + VENDOR_HEAD_BYTES, size - at - VENDOR_HEAD_BYTES);
            return "its descriptor " + std::to_string(number) + " describes more data than there is";
        }
        if (length != 0)
            part.add("VSED", "Vendor Specific Event Data",
                     vendorValue(descriptor.type, data + at + VENDOR_HEAD_BYTES, length));
        if (isTcgActivity(descriptor, size))
            addFields(part.addPart("TCG Activity"), TCG_ACTIVITY_FIELDS, data + at + VENDOR_HEAD_BYTES, length);
        at += VENDOR_HEAD_BYTES + length;
    }
    return at < size ? "its list of descriptors ends within one" : "";
}

std::string addAsBytes(FieldTree& tree, const uint8_t* data, size_t size) {
    addBytes(tree, "Data", "Bytes as they are", data, size);
    return {};
}

struct EventRow {
    PersistentEvent type;
    const char* name;
    FieldRows fields;
    size_t minBytes;  ///< of its data
    /// What follows the fields, when there are `minBytes` at least; null: nothing.
    std::string (*addRest)(FieldTree& tree, const uint8_t* data, size_t size);
};

// clang-format off
const EventRow EVENTS[] = {
    {PersistentEvent::SMART_SNAPSHOT,      "SMART / Health Log Snapshot",  {},                         SMART_BYTES,                     addSmart},
    {PersistentEvent::FIRMWARE_COMMIT,     "Firmware Commit",              FIRMWARE_COMMIT_FIELDS,     sizeof(FirmwareCommitEvent),     nullptr},
    {PersistentEvent::TIMESTAMP_CHANGE,    "Timestamp Change",             TIMESTAMP_FIELDS,           sizeof(TimestampChangeEvent),    nullptr},
    {PersistentEvent::POWER_ON_OR_RESET,   "Power-on or Reset",            POWER_ON_FIELDS,            sizeof(PowerOnEvent),            addResets},
    {PersistentEvent::HARDWARE_ERROR,      "NVM Subsystem Hardware Error", HARDWARE_ERROR_FIELDS,      sizeof(HardwareErrorEvent),      addHardwareError},
    {PersistentEvent::CHANGE_NAMESPACE,    "Change Namespace",             CHANGE_NAMESPACE_FIELDS,    sizeof(ChangeNamespaceEvent),    nullptr},
    {PersistentEvent::FORMAT_START,        "Format NVM Start",             FORMAT_START_FIELDS,        sizeof(FormatStartEvent),        nullptr},
    {PersistentEvent::FORMAT_COMPLETION,   "Format NVM Completion",        FORMAT_COMPLETION_FIELDS,   sizeof(FormatCompletionEvent),   nullptr},
    {PersistentEvent::SANITIZE_START,      "Sanitize Start",               SANITIZE_START_FIELDS,      sizeof(SanitizeStartEvent),      nullptr},
    {PersistentEvent::SANITIZE_COMPLETION, "Sanitize Completion",          SANITIZE_COMPLETION_FIELDS, sizeof(SanitizeCompletionEvent), nullptr},
    {PersistentEvent::SET_FEATURE,         "Set Feature",                  SET_FEATURE_FIELDS,         sizeof(SetFeatureEvent),         addSetFeature},
    {PersistentEvent::TELEMETRY_CREATED,   "Telemetry Log Created",        {},                         TELEMETRY_BYTES,                 addTelemetry},
    {PersistentEvent::THERMAL_EXCURSION,   "Thermal Excursion",            THERMAL_FIELDS,             sizeof(ThermalExcursionEvent),   nullptr},
    {PersistentEvent::SANITIZE_MEDIA_VERIFICATION, "Sanitize Media Verification", {},                  0,                               addAsBytes},
    {PersistentEvent::PERSONALITY_CHANGE,  "Configurable Personality Change", {},                      0,                               addAsBytes},
    {PersistentEvent::EXPORTED_SUBSYSTEM_CHANGE, "Exported Subsystem Change", {},                      0,                               addAsBytes},
    {PersistentEvent::VENDOR_SPECIFIC,     "Vendor Specific",              {},                         VENDOR_HEAD_BYTES,               addVendorSpecific},
    {PersistentEvent::TCG_DEFINED,         "TCG Defined",                  {},                         0,                               addAsBytes},
};
// clang-format on

const EventRow* findEvent(uint8_t type) {
    const auto* row = std::find_if(std::begin(EVENTS), std::end(EVENTS),
                                   [&](const auto& e) { return static_cast<uint8_t>(e.type) == type; });
    return row == std::end(EVENTS) ? nullptr : row;
}

}  // namespace

std::string eventName(uint8_t type) {
    const EventRow* row = findEvent(type);
    return row != nullptr ? row->name : "Reserved (" + hexText(type, 2) + ")";
}

std::string supportedEventsText(const uint8_t* bitmap) {
    std::string text;
    for (unsigned type = 0; type < 256; ++type) {
        if (!bit(bitmap[type / 8], type % 8)) continue;
        text.append(text.empty() ? "" : ", ").append(eventName(static_cast<uint8_t>(type)));
    }
    return text.empty() ? "none" : text;
}

std::string addEventData(FieldTree& tree, uint8_t type, const uint8_t* data, size_t size) {
    const EventRow* row = findEvent(type);
    if (row == nullptr) return addAsBytes(tree, data, size);
    addFields(tree, row->fields, data, size);
    if (size < row->minBytes)
        return "its data has " + std::to_string(size) + " bytes, and such an event has " +
               std::to_string(row->minBytes) + " at least";
    return row->addRest == nullptr ? std::string() : row->addRest(tree, data, size);
}

std::vector<nvme::Structure> eventStructures() {
    std::vector<nvme::Structure> structures = {
        {"Persistent Event Log > Event * > Reset *", RESET_FIELDS},
        {"Persistent Event Log > Event * > Descriptor *", VENDOR_FIELDS},
        {"Persistent Event Log > Event * > Descriptor * > TCG Activity", TCG_ACTIVITY_FIELDS},
    };
    for (const EventRow& row : EVENTS) structures.push_back({"Persistent Event Log > Event *", row.fields});
    return structures;
}

}  // namespace features::parsers
