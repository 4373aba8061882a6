#include "features/parsers/PersistentEvents.h"

#include <algorithm>
#include <iterator>

#include "features/nvme/Bytes.h"
#include "features/nvme/Features.h"
#include "features/nvme/FieldTable.h"
#include "features/nvme/LogPages.h"
#include "features/nvme/PersistentEventTypes.h"
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
    {"OFR", "Old Firmware Revision", 0, 8, Format::TEXT},
    {"NFR", "New Firmware Revision", 8, 8, Format::TEXT},
    {"FCA", "Firmware Commit Action", 16, 1, Format::DECIMAL},
    {"FS", "Firmware Slot", 17, 1, Format::DECIMAL},
    {"SCT", "Status Code Type for Firmware Commit Command", 18, 1, Format::HEX},
    {"SC", "Status Returned for Firmware Commit Command", 19, 1, Format::HEX},
    {"VFCRC", "Vendor Assigned Firmware Commit Result Code", 20, 2, Format::HEX},
};

constexpr FieldRow TIMESTAMP_FIELDS[] = {
    {"PTSTMP", "Previous Timestamp (milliseconds)", 0, 6, Format::DECIMAL},
    {"PTSTMP Date", "Date", 0, 8, Format::DATE},
    {"MSR", "Milliseconds Since Reset (milliseconds)", 8, 8, Format::DECIMAL},
};

constexpr FieldRow POWER_ON_FIELDS[] = {
    {"FR", "Firmware Revision", 0, 8, Format::TEXT},
};
constexpr FieldRow RESET_FIELDS[] = {
    {"CNTLID", "Controller ID", 0, 2, Format::DECIMAL},
    {"FA", "Firmware Activation", 2, 1, Format::HEX},
    {"OIP", "Operation in Progress", 3, 1, Format::HEX},
    {"CPC", "Controller Power Cycle", 16, 4, Format::DECIMAL},
    {"POM", "Power On Milliseconds (milliseconds)", 20, 8, Format::DECIMAL},
    {"CTSTMP", "Controller Timestamp (milliseconds)", 28, 6, Format::DECIMAL},
    {"CTSTMP Date", "Date", 28, 8, Format::DATE},
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
    {"NSHEEC", "NVM Subsystem Hardware Error Event Code", 0, 2, Format::HEX},
    word("NSHEEC Error", "What failed", 0, 15, 0, HARDWARE_ERRORS),
};

constexpr FieldRow CHANGE_NAMESPACE_FIELDS[] = {
    {"NMCDW10", "Namespace Management Command Dword 10", 0, 4, Format::HEX},
    {"NSZE", "Namespace Size (blocks)", 8, 8, Format::DECIMAL},
    {"NCAP", "Namespace Capacity (blocks)", 24, 8, Format::DECIMAL},
    {"FLBAS", "Formatted LBA Size", 32, 1, Format::HEX},
    {"DPS", "End-to-end Data Protection Type Settings", 33, 1, Format::HEX},
    {"NMIC", "Namespace Multi-path I/O and Namespace Sharing Capabilities", 34, 1, Format::HEX},
    {"ANAGRPID", "ANA Group Identifier", 36, 4, Format::DECIMAL},
    {"NVMSETID", "NVM Set Identifier", 40, 2, Format::DECIMAL},
    {"NSID", "Namespace", 44, 4, Format::HEX},
};

constexpr FieldRow FORMAT_START_FIELDS[] = {
    {"NSID", "Namespace", 0, 4, Format::HEX},
    {"FNA", "Format NVM Attributes", 4, 1, Format::HEX},
    {"FCDW10", "Format NVM Command Dword 10", 8, 4, Format::HEX},
};
constexpr FieldRow FORMAT_COMPLETION_FIELDS[] = {
    {"NSID", "Namespace", 0, 4, Format::HEX},
    {"SFPI", "Smallest Format Progress Indicator", 4, 1, Format::DECIMAL},
    {"FNS", "Format NVM Status", 5, 1, Format::HEX},
    {"CI", "Completion Information", 6, 2, Format::HEX},
    {"SF", "Status Field", 8, 4, Format::HEX},
};

constexpr FieldRow SANITIZE_START_FIELDS[] = {
    {"SANICAP", "Sanitize Capabilities", 0, 4, Format::HEX},
    {"SCDW10", "Sanitize Command Dword 10", 4, 4, Format::HEX},
    {"SCDW11", "Sanitize Command Dword 11", 8, 4, Format::HEX},
};
constexpr FieldRow SANITIZE_COMPLETION_FIELDS[] = {
    {"SPROG", "Sanitize Progress (units of 1/65536)", 0, 2, Format::DECIMAL},
    {"SSTAT", "Sanitize Status", 2, 2, Format::HEX},
    {"CI", "Completion Information", 4, 2, Format::HEX},
};

constexpr FieldRow SET_FEATURE_FIELDS[] = {
    {"SFEL", "Set Feature Event Layout", 0, 4, Format::HEX},
};

constexpr FieldRow THERMAL_FIELDS[] = {
    {"OT", "Over Temperature (C)", 0, 1, Format::DECIMAL},
    {"THRESH", "Threshold", 1, 1, Format::HEX},
};

constexpr Word VENDOR_DATA_TYPES[] = {
    {1, "Event Name"}, {2, "ASCII String"}, {3, "Binary"}, {4, "Signed Integer"}, {},
};
constexpr FieldRow VENDOR_FIELDS[] = {
    {"VSEC", "Vendor Specific Event Code", 0, 2, Format::HEX},
    word("VSEDT", "Vendor Specific Event Data Type", 2, 7, 0, VENDOR_DATA_TYPES),
    {"UIDX", "UUID Index", 3, 1, Format::DECIMAL},
    {"VSEDL", "Vendor Specific Event Data Length (bytes)", 4, 2, Format::DECIMAL},
};
// clang-format on

constexpr size_t RESET_BYTES = 36;
constexpr size_t VENDOR_HEAD_BYTES = 6;
constexpr size_t SMART_BYTES = 512;
constexpr size_t TELEMETRY_BYTES = 512;

/// Bytes that have no fields: also those that are all zero are shown.
void addBytes(FieldTree& tree, const char* name, const char* description, const uint8_t* data, size_t size) {
    if (size != 0) tree.add(name, description, bytesToHex(data, size));
}

std::string addSmart(FieldTree& tree, const uint8_t* data, size_t size) {
    tree.parts.push_back(decodeSmartHealth(Payload(data, std::min(size, SMART_BYTES))));
    return {};
}

std::string addResets(FieldTree& tree, const uint8_t* data, size_t size) {
    constexpr size_t HEAD_BYTES = 8;
    size_t at = HEAD_BYTES;
    for (unsigned number = 1; at + RESET_BYTES <= size; at += RESET_BYTES, ++number)
        addFields(tree.addPart("Reset " + std::to_string(number)), RESET_FIELDS, data + at, RESET_BYTES);
    return at < size ? "its list of resets ends within an entry" : "";
}

std::string addHardwareError(FieldTree& tree, const uint8_t* data, size_t size) {
    constexpr size_t HEAD_BYTES = 4;
    addBytes(tree, "AHEI", "Additional Hardware Error Information", data + HEAD_BYTES, size - HEAD_BYTES);
    return {};
}

/// The command's dwords from dword 10 on, its data, and dword 0 of its completion: the layout says how much of each.
std::string addSetFeature(FieldTree& tree, const uint8_t* data, size_t size) {
    const uint32_t layout = le32(data);
    const auto dwords = static_cast<size_t>(bits(layout, 2, 0));
    const bool hasCompletion = bit(layout, 3);
    const auto bufferBytes = static_cast<size_t>(bits(layout, 31, 16));
    size_t at = 4;
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
    tree.parts.push_back(decodeTelemetryHeader(Payload(data, std::min(size, TELEMETRY_BYTES))));
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

std::string addVendorSpecific(FieldTree& tree, const uint8_t* data, size_t size) {
    size_t at = 0;
    for (unsigned number = 1; at + VENDOR_HEAD_BYTES <= size; ++number) {
        FieldTree& part = tree.addPart("Descriptor " + std::to_string(number));
        addFields(part, VENDOR_FIELDS, data + at, VENDOR_HEAD_BYTES);
        const size_t length = le16(data + at + 4);
        if (length > size - at - VENDOR_HEAD_BYTES) {
            addBytes(part, "Data", "Bytes as they are", data + at + VENDOR_HEAD_BYTES, size - at - VENDOR_HEAD_BYTES);
            return "its descriptor " + std::to_string(number) + " describes more data than there is";
        }
        if (length != 0)
            part.add("VSED", "Vendor Specific Event Data",
                     vendorValue(data[at + 2], data + at + VENDOR_HEAD_BYTES, length));
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
    {PersistentEvent::SMART_SNAPSHOT,      "SMART / Health Log Snapshot",   {},                         SMART_BYTES,       addSmart},
    {PersistentEvent::FIRMWARE_COMMIT,     "Firmware Commit",               FIRMWARE_COMMIT_FIELDS,     22,                nullptr},
    {PersistentEvent::TIMESTAMP_CHANGE,    "Timestamp Change",              TIMESTAMP_FIELDS,           16,                nullptr},
    {PersistentEvent::POWER_ON_OR_RESET,   "Power-on or Reset",             POWER_ON_FIELDS,            8,                 addResets},
    {PersistentEvent::HARDWARE_ERROR,      "NVM Subsystem Hardware Error",  HARDWARE_ERROR_FIELDS,      4,                 addHardwareError},
    {PersistentEvent::CHANGE_NAMESPACE,    "Change Namespace",              CHANGE_NAMESPACE_FIELDS,    48,                nullptr},
    {PersistentEvent::FORMAT_START,        "Format NVM Start",              FORMAT_START_FIELDS,        12,                nullptr},
    {PersistentEvent::FORMAT_COMPLETION,   "Format NVM Completion",         FORMAT_COMPLETION_FIELDS,   12,                nullptr},
    {PersistentEvent::SANITIZE_START,      "Sanitize Start",                SANITIZE_START_FIELDS,      12,                nullptr},
    {PersistentEvent::SANITIZE_COMPLETION, "Sanitize Completion",           SANITIZE_COMPLETION_FIELDS, 8,                 nullptr},
    {PersistentEvent::SET_FEATURE,         "Set Feature",                   SET_FEATURE_FIELDS,         4,                 addSetFeature},
    {PersistentEvent::TELEMETRY_CREATED,   "Telemetry Log Created",         {},                         TELEMETRY_BYTES,   addTelemetry},
    {PersistentEvent::THERMAL_EXCURSION,   "Thermal Excursion",             THERMAL_FIELDS,             2,                 nullptr},
    {PersistentEvent::VENDOR_SPECIFIC,     "Vendor Specific",               {},                         VENDOR_HEAD_BYTES, addVendorSpecific},
    {PersistentEvent::TCG_DEFINED,         "TCG Defined",                   {},                         0,                 addAsBytes},
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
    };
    for (const EventRow& row : EVENTS) structures.push_back({"Persistent Event Log > Event *", row.fields});
    return structures;
}

}  // namespace features::parsers
