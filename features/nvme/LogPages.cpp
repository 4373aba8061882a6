#include "features/nvme/LogPages.h"

#include <algorithm>
#include <cstring>

#include "features/nvme/Bytes.h"
#include "features/nvme/FieldTable.h"
#include "features/nvme/Opcodes.h"
#include "features/nvme/StatusCodes.h"
#include "ostrel/core/ScopeTrace.h"
#include "ostrel/core/Strings.h"

namespace features::nvme {

using ostrel::core::boolToText;
using ostrel::core::Payload;

namespace {

// clang-format off
constexpr FieldRow SMART_FIELDS[] = {  // figure 194
    {"CW",     "Critical Warning",                                          0,  1, Format::HEX},
    {"CTEMP",  "Composite Temperature",                                     1,  2, Format::KELVIN},
    {"AVSP",   "Available Spare (%)",                                       3,  1, Format::DECIMAL},
    {"AVSPT",  "Available Spare Threshold (%)",                             4,  1, Format::DECIMAL},
    {"PUSED",  "Percentage Used",                                           5,  1, Format::DECIMAL},
    {"EGCWS",  "Endurance Group Critical Warning Summary",                  6,  1, Format::HEX},
    {"DUR",    "Data Units Read (512,000 bytes)",                          32, 16, Format::COUNTER},
    {"DUW",    "Data Units Written (512,000 bytes)",                       48, 16, Format::COUNTER},
    {"HRC",    "Host Read Commands",                                       64, 16, Format::COUNTER},
    {"HWC",    "Host Write Commands",                                      80, 16, Format::COUNTER},
    {"CBT",    "Controller Busy Time (minutes)",                           96, 16, Format::COUNTER},
    {"PWRC",   "Power Cycles",                                            112, 16, Format::COUNTER},
    {"POH",    "Power On Hours",                                          128, 16, Format::COUNTER},
    {"UPL",    "Unsafe Shutdowns",                                        144, 16, Format::COUNTER},
    {"MDIE",   "Media and Data Integrity Errors",                         160, 16, Format::COUNTER},
    {"NEIL",   "Number of Error Information Log Entries",                 176, 16, Format::COUNTER},
    {"WCTT",   "Warning Composite Temperature Time (minutes)",            192,  4, Format::DECIMAL},
    {"CCTT",   "Critical Composite Temperature Time (minutes)",           196,  4, Format::DECIMAL},
    {"TSEN1",  "Temperature Sensor 1",                                    200,  2, Format::KELVIN},
    {"TSEN2",  "Temperature Sensor 2",                                    202,  2, Format::KELVIN},
    {"TSEN3",  "Temperature Sensor 3",                                    204,  2, Format::KELVIN},
    {"TSEN4",  "Temperature Sensor 4",                                    206,  2, Format::KELVIN},
    {"TSEN5",  "Temperature Sensor 5",                                    208,  2, Format::KELVIN},
    {"TSEN6",  "Temperature Sensor 6",                                    210,  2, Format::KELVIN},
    {"TSEN7",  "Temperature Sensor 7",                                    212,  2, Format::KELVIN},
    {"TSEN8",  "Temperature Sensor 8",                                    214,  2, Format::KELVIN},
    {"TMT1TC", "Thermal Management Temperature 1 Transition Count",       216,  4, Format::DECIMAL},
    {"TMT2TC", "Thermal Management Temperature 2 Transition Count",       220,  4, Format::DECIMAL},
    {"TTTMT1", "Total Time For Thermal Management Temperature 1 (seconds)", 224, 4, Format::DECIMAL},
    {"TTTMT2", "Total Time For Thermal Management Temperature 2 (seconds)", 228, 4, Format::DECIMAL},
};
constexpr BitRow SMART_BITS[] = {
    {"CW",    0, 0, "CW Spare",                 "Available spare has fallen below the threshold"},
    {"CW",    1, 1, "CW Temperature",           "A temperature is beyond its threshold"},
    {"CW",    2, 2, "CW Reliability",           "NVM subsystem reliability is degraded"},
    {"CW",    3, 3, "CW Read Only",             "All media is in read only mode"},
    {"CW",    4, 4, "CW Backup",                "The volatile memory backup device has failed"},
    {"CW",    5, 5, "CW Persistent Memory",     "Persistent Memory Region is read only or unreliable"},
    {"EGCWS", 0, 0, "EGCWS Spare",              "Available spare of an Endurance Group is below its threshold"},
    {"EGCWS", 2, 2, "EGCWS Reliability",        "Reliability of an Endurance Group is degraded"},
    {"EGCWS", 3, 3, "EGCWS Read Only",          "Namespaces of an Endurance Group are read only"},
};

constexpr FieldRow ERROR_FIELDS[] = {  // figure 193
    {"ECNT",   "Error Count",                         0, 8, Format::DECIMAL},
    {"SQID",   "Submission Queue ID",                 8, 2, Format::DECIMAL},
    {"CID",    "Command ID",                         10, 2, Format::HEX},
    {"PEL",    "Parameter Error Location",           14, 2, Format::HEX},
    {"LBA",    "LBA",                                16, 8, Format::DECIMAL},
    {"NSID",   "Namespace",                          24, 4, Format::DECIMAL},
    {"VSI",    "Vendor Specific Information Available", 28, 1, Format::HEX},
    {"TRTYPE", "Transport Type",                     29, 1, Format::DECIMAL},
    {"CSI",    "Command Specific Information",       32, 8, Format::HEX},
    {"TTSI",   "Transport Type Specific Information", 40, 2, Format::HEX},
};

constexpr FieldRow FIRMWARE_FIELDS[] = {  // figure 195
    {"AFI",  "Active Firmware Info",          0, 1, Format::HEX},
    {"FRS1", "Firmware Revision for Slot 1",  8, 8, Format::TEXT},
    {"FRS2", "Firmware Revision for Slot 2", 16, 8, Format::TEXT},
    {"FRS3", "Firmware Revision for Slot 3", 24, 8, Format::TEXT},
    {"FRS4", "Firmware Revision for Slot 4", 32, 8, Format::TEXT},
    {"FRS5", "Firmware Revision for Slot 5", 40, 8, Format::TEXT},
    {"FRS6", "Firmware Revision for Slot 6", 48, 8, Format::TEXT},
    {"FRS7", "Firmware Revision for Slot 7", 56, 8, Format::TEXT},
};
constexpr BitRow FIRMWARE_BITS[] = {
    {"AFI", 2, 0, "AFI Active Slot", "Slot from which the running firmware was loaded"},
    {"AFI", 6, 4, "AFI Next Slot",   "Slot that is activated at the next controller level reset (0: not told)"},
};

constexpr FieldRow TELEMETRY_FIELDS[] = {  // figures 201 and 203
    {"LID",     "Log Identifier",                                           0,   1, Format::HEX},
    {"IEEE",    "IEEE OUI Identifier",                                      5,   3, Format::HEX},
    {"DA1LB",   "Telemetry Data Area 1 Last Block",                         8,   2, Format::DECIMAL},
    {"DA2LB",   "Telemetry Data Area 2 Last Block",                        10,   2, Format::DECIMAL},
    {"DA3LB",   "Telemetry Data Area 3 Last Block",                        12,   2, Format::DECIMAL},
    {"TCDA",    "Telemetry Controller-Initiated Data Available",          382,   1, Format::DECIMAL},
    {"TCDGN",   "Telemetry Controller-Initiated Data Generation Number",  383,   1, Format::DECIMAL},
    {"RID",     "Reason Identifier",                                      384, 128, Format::BYTES},
};

constexpr FieldRow ENDURANCE_GROUP_FIELDS[] = {  // figure 204
    {"CW",    "Critical Warning",                                   0,  1, Format::HEX},
    {"AVSP",  "Available Spare (%)",                                3,  1, Format::DECIMAL},
    {"AVSPT", "Available Spare Threshold (%)",                      4,  1, Format::DECIMAL},
    {"PUSED", "Percentage Used",                                    5,  1, Format::DECIMAL},
    {"EE",    "Endurance Estimate (10^9 bytes)",                   32, 16, Format::COUNTER},
    {"DUR",   "Data Units Read (10^9 bytes)",                      48, 16, Format::COUNTER},
    {"DUW",   "Data Units Written (10^9 bytes)",                   64, 16, Format::COUNTER},
    {"MUW",   "Media Units Written (10^9 bytes)",                  80, 16, Format::COUNTER},
    {"HRC",   "Host Read Commands",                                96, 16, Format::COUNTER},
    {"HWC",   "Host Write Commands",                              112, 16, Format::COUNTER},
    {"MDIE",  "Media and Data Integrity Errors",                  128, 16, Format::COUNTER},
    {"NEIL",  "Number of Error Information Log Entries",          144, 16, Format::COUNTER},
};

constexpr FieldRow RESERVATION_FIELDS[] = {  // figure 228
    {"LPC",   "Log Page Count",                            0, 8, Format::DECIMAL},
    {"RNLPT", "Reservation Notification Log Page Type",    8, 1, Format::DECIMAL},
    {"NALP",  "Number of Available Log Pages",             9, 1, Format::DECIMAL},
    {"NSID",  "Namespace ID",                             12, 4, Format::DECIMAL},
};

constexpr FieldRow SANITIZE_FIELDS[] = {  // figure 229
    {"SPROG",  "Sanitize Progress (of 65536)",                                    0, 2, Format::DECIMAL},
    {"SSTAT",  "Sanitize Status",                                                 2, 2, Format::HEX},
    {"SCDW10", "Sanitize Command Dword 10 Information",                           4, 4, Format::HEX},
    {"ETO",    "Estimated Time For Overwrite (seconds)",                          8, 4, Format::DECIMAL},
    {"ETBE",   "Estimated Time For Block Erase (seconds)",                       12, 4, Format::DECIMAL},
    {"ETCE",   "Estimated Time For Crypto Erase (seconds)",                      16, 4, Format::DECIMAL},
    {"ETOND",  "Estimated Time For Overwrite With No-Deallocate (seconds)",      20, 4, Format::DECIMAL},
    {"ETBEND", "Estimated Time For Block Erase With No-Deallocate (seconds)",    24, 4, Format::DECIMAL},
    {"ETCEND", "Estimated Time For Crypto Erase With No-Deallocate (seconds)",   28, 4, Format::DECIMAL},
};
constexpr BitRow SANITIZE_BITS[] = {
    {"SSTAT", 7, 3, "SSTAT Passes",             "Completed overwrite passes"},
    {"SSTAT", 8, 8, "SSTAT Global Data Erased", "Nothing was written since the drive was made or last sanitized"},
};

constexpr FieldRow OCP_SMART_FIELDS[] = {  // OCP Datacenter NVMe SSD Specification 2.0, section 4.8.4
    {"PMUW",     "Physical Media Units Written (bytes)",                     0, 16, Format::COUNTER},
    {"PMUR",     "Physical Media Units Read (bytes)",                       16, 16, Format::COUNTER},
    {"BUNBRaw",  "Bad User NAND Blocks, Raw Count",                         32,  6, Format::DECIMAL},
    {"BUNBNorm", "Bad User NAND Blocks, Normalized Value",                  38,  2, Format::DECIMAL},
    {"BSNBRaw",  "Bad System NAND Blocks, Raw Count",                       40,  6, Format::DECIMAL},
    {"BSNBNorm", "Bad System NAND Blocks, Normalized Value",                46,  2, Format::DECIMAL},
    {"XRC",      "XOR Recovery Count",                                      48,  8, Format::DECIMAL},
    {"UREC",     "Uncorrectable Read Error Count",                          56,  8, Format::DECIMAL},
    {"SEEC",     "Soft ECC Error Count",                                    64,  8, Format::DECIMAL},
    {"EEDE",     "End to End Correction Counts, Detected Errors",           72,  4, Format::DECIMAL},
    {"EECE",     "End to End Correction Counts, Corrected Errors",          76,  4, Format::DECIMAL},
    {"SDPU",     "System Data Percentage Used",                             80,  1, Format::DECIMAL},
    {"RFSC",     "Refresh Counts",                                          81,  7, Format::DECIMAL},
    {"MXUDEC",   "Max User Data Erase Count",                               88,  4, Format::DECIMAL},
    {"MNUDEC",   "Min User Data Erase Count",                               92,  4, Format::DECIMAL},
    {"NTTE",     "Number of Thermal Throttling Events",                     96,  1, Format::DECIMAL},
    {"CTS",      "Current Throttling Status",                               97,  1, Format::HEX},
    {"EVF",      "DSSD Specification Errata Version",                       98,  1, Format::DECIMAL},
    {"PVF",      "DSSD Specification Point Version",                        99,  2, Format::DECIMAL},
    {"MNVF",     "DSSD Specification Minor Version",                       101,  2, Format::DECIMAL},
    {"MJVF",     "DSSD Specification Major Version",                       103,  1, Format::DECIMAL},
    {"PCEC",     "PCIe Correctable Error Count",                           104,  8, Format::DECIMAL},
    {"ICS",      "Incomplete Shutdowns",                                   112,  4, Format::DECIMAL},
    {"PFB",      "Percent Free Blocks",                                    120,  1, Format::DECIMAL},
    {"CPH",      "Capacitor Health (%)",                                   128,  2, Format::DECIMAL},
    {"NEV",      "NVMe Errata Version",                                    130,  1, Format::HEX},
    {"UIO",      "Unaligned I/O",                                          136,  8, Format::DECIMAL},
    {"SVN",      "Security Version Number",                                144,  8, Format::DECIMAL},
    {"NUSE",     "Total Namespace Utilization (blocks)",                   152,  8, Format::DECIMAL},
    {"PLPSC",    "PLP Start Count",                                        160, 16, Format::COUNTER},
    {"EEST",     "Endurance Estimate (bytes)",                             176, 16, Format::COUNTER},
    {"PLRC",     "PCIe Link Retraining Count",                             192,  8, Format::DECIMAL},
    {"PSCC",     "Power State Change Count",                               200,  8, Format::DECIMAL},
    {"LPV",      "Log Page Version",                                       494,  2, Format::DECIMAL},
    {"LPG",      "Log Page GUID",                                          496, 16, Format::BYTES},
};
constexpr size_t OFFSET_OCP_GUID = 496;
constexpr uint8_t OCP_SMART_GUID[] = {0xC5, 0xAF, 0x10, 0x28, 0xEA, 0xBF, 0xF2, 0xA4,
                                      0x9C, 0x4F, 0x6F, 0x7C, 0xC9, 0x14, 0xD5, 0xAF};

constexpr LogPageRow LOG_PAGES[] = {
    {LID_SUPPORTED_LOGS,       "Supported Log Pages",             1024, decodeSupportedLogs},
    {LID_ERROR_INFORMATION,    "Error Information",                  0, decodeErrorInformation},
    {LID_SMART_HEALTH,         "SMART / Health Information",       512, decodeSmartHealth},
    {LID_FIRMWARE_SLOT,        "Firmware Slot Information",        512, decodeFirmwareSlots},
    {LID_CHANGED_NAMESPACES,   "Changed Namespace List",          4096, decodeChangedNamespaces},
    {LID_COMMAND_EFFECTS,      "Commands Supported and Effects",  4096, decodeCommandEffects},
    {LID_DEVICE_SELF_TEST,     "Device Self-test",                 564, decodeSelfTest},
    {LID_TELEMETRY_HOST,       "Telemetry Host-Initiated",         512, decodeTelemetryHeader},
    {LID_TELEMETRY_CONTROLLER, "Telemetry Controller-Initiated",   512, decodeTelemetryHeader},
    {LID_ENDURANCE_GROUP,      "Endurance Group Information",      512, decodeEnduranceGroup},
    {LID_ANA,                  "Asymmetric Namespace Access",        0, decodeAna},
    {LID_RESERVATION,          "Reservation Notification",          64, decodeReservation},
    {LID_SANITIZE_STATUS,      "Sanitize Status",                  512, decodeSanitizeStatus},
};
// clang-format on

constexpr size_t ERROR_ENTRY_BYTES = 64;
constexpr size_t SELF_TEST_RESULT_BYTES = 28;
constexpr size_t SELF_TEST_RESULTS = 20;

std::string statusFieldText(uint16_t statusWithPhase) {
    const auto status = static_cast<uint16_t>(statusWithPhase >> 1);
    return hexText(status & 0x7FF, 3) + " " + statusCodeText(status >> 8 & 7, static_cast<uint8_t>(status));
}

void addEffects(FieldTree& tree, const uint8_t* data, const char* queue) {
    for (unsigned opcode = 0; opcode < 256; ++opcode) {
        const uint32_t effects = le32(data + opcode * 4);
        if (!bit(effects, 0)) continue;
        std::string text = "supported";
        constexpr struct {
            uint8_t position;
            const char* text;
        } EFFECTS[] = {{1, "changes user data"},
                       {2, "changes a namespace's capabilities"},
                       {3, "changes the inventory of namespaces"},
                       {4, "changes the controller's capabilities"},
                       {19, "takes a UUID"}};
        for (const auto& effect : EFFECTS) {
            if (bit(effects, effect.position)) text.append(", ").append(effect.text);
        }
        if (bits(effects, 18, 16) == 1) text += ", no other command on the namespace at the same time";
        if (bits(effects, 18, 16) == 2) text += ", no other command on any namespace at the same time";
        tree.add(std::string(queue) + " " + hexText(opcode, 2), text);
    }
}

void addSelfTestResult(FieldTree& tree, unsigned number, const uint8_t* result) {
    const unsigned code = result[0] & 0x0F;
    if (code == 0x0F) return;  // the entry was never used
    FieldTree& part = tree.addPart("Result " + std::to_string(number));
    part.add("Test", selfTestOperationText(result[0] >> 4));
    part.add("Outcome", selfTestResultText(code));
    if (code == 0x07) part.add("Segment Number", std::to_string(result[1]));
    part.add("Power On Hours", std::to_string(le64(result + 4)));
    if (bit(result[2], 0)) part.add("Namespace ID", std::to_string(le32(result + 12)));
    if (bit(result[2], 1)) part.add("Failing LBA", std::to_string(le64(result + 16)));
    if (bit(result[2], 2)) part.add("Status Code Type", hexText(result[24]));
    if (bit(result[2], 3)) part.add("Status Code", hexText(result[25], 2));
    part.add("Vendor Specific", hexText(le16(result + 26), 4));
}

/// A name as it is compared: without case, blanks and punctuation, so that "smart/health" finds its page.
std::string comparable(const std::string& name) {
    std::string text;
    for (const char c : ostrel::core::toLower(name)) {
        if ((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9')) text += c;
    }
    return text;
}

}  // namespace

const LogPageRow* findLogPage(uint8_t lid) {
    OSTREL_TRACE();
    const auto* row = std::find_if(logPagesBegin(), logPagesEnd(), [lid](const LogPageRow& r) { return r.lid == lid; });
    return row == logPagesEnd() ? nullptr : row;
}

const LogPageRow* findLogPage(const std::string& name) {
    OSTREL_TRACE();
    const std::string wanted = comparable(name);
    const auto* row =
        std::find_if(logPagesBegin(), logPagesEnd(), [&](const LogPageRow& r) { return comparable(r.name) == wanted; });
    return row == logPagesEnd() ? nullptr : row;
}

const LogPageRow* logPagesBegin() {
    return std::begin(LOG_PAGES);
}
const LogPageRow* logPagesEnd() {
    return std::end(LOG_PAGES);
}

FieldTree decodeSmartHealth(const Payload& data) {
    OSTREL_TRACE();
    FieldTree tree{"SMART / Health Information", {}, {}};
    addFields(tree, SMART_FIELDS, SMART_BITS, data.getData(), data.getSize());
    return tree;
}

FieldTree decodeErrorInformation(const Payload& data) {
    OSTREL_TRACE();
    FieldTree tree{"Error Information", {}, {}};
    for (size_t at = 0; at + ERROR_ENTRY_BYTES <= data.getSize(); at += ERROR_ENTRY_BYTES) {
        const uint8_t* entry = data.getData() + at;
        if (le64(entry) == 0) continue;  // never used
        FieldTree& part = tree.addPart("Error " + std::to_string(at / ERROR_ENTRY_BYTES));
        addFields(part, ERROR_FIELDS, entry, ERROR_ENTRY_BYTES);
        part.add("SF", "Status Field", statusFieldText(le16(entry + 12)));
    }
    tree.add("Entries", std::to_string(tree.parts.size()));
    return tree;
}

FieldTree decodeFirmwareSlots(const Payload& data) {
    OSTREL_TRACE();
    FieldTree tree{"Firmware Slot Information", {}, {}};
    addFields(tree, FIRMWARE_FIELDS, FIRMWARE_BITS, data.getData(), data.getSize());
    return tree;
}

FieldTree decodeChangedNamespaces(const Payload& data) {
    OSTREL_TRACE();
    FieldTree tree{"Changed Namespace List", {}, {}};
    for (size_t at = 0; at + 4 <= data.getSize(); at += 4) {
        const uint32_t nsid = le32(data.getData() + at);
        if (nsid == 0) break;
        if (nsid == NSID_ALL) {
            tree.add("Changed", "more than 1024 namespaces");
            break;
        }
        tree.add("Namespace", std::to_string(nsid));
    }
    return tree;
}

FieldTree decodeCommandEffects(const Payload& data) {
    OSTREL_TRACE();
    FieldTree tree{"Commands Supported and Effects", {}, {}};
    if (data.getSize() < 2048) return tree;
    addEffects(tree, data.getData(), "Admin");
    addEffects(tree, data.getData() + 1024, "I/O");
    return tree;
}

FieldTree decodeSelfTest(const Payload& data) {
    OSTREL_TRACE();
    FieldTree tree{"Device Self-test", {}, {}};
    if (data.getSize() < 4) return tree;
    const unsigned operation = data.getData()[0] & 0x0F;
    tree.add("Current Operation", selfTestOperationText(operation));
    if (operation != 0) tree.add("Completion", std::to_string(data.getData()[1] & 0x7F) + " %");
    for (unsigned i = 0; i < SELF_TEST_RESULTS; ++i) {
        const size_t at = 4 + i * SELF_TEST_RESULT_BYTES;
        if (at + SELF_TEST_RESULT_BYTES > data.getSize()) break;
        addSelfTestResult(tree, i, data.getData() + at);
    }
    return tree;
}

FieldTree decodeTelemetryHeader(const Payload& data) {
    OSTREL_TRACE();
    FieldTree tree{"Telemetry Header", {}, {}};
    addFields(tree, TELEMETRY_FIELDS, data.getData(), data.getSize());
    return tree;
}

FieldTree decodeEnduranceGroup(const Payload& data) {
    OSTREL_TRACE();
    FieldTree tree{"Endurance Group Information", {}, {}};
    addFields(tree, ENDURANCE_GROUP_FIELDS, data.getData(), data.getSize());
    return tree;
}

FieldTree decodeAna(const Payload& data) {
    OSTREL_TRACE();
    constexpr size_t HEADER_BYTES = 16;
    constexpr size_t DESCRIPTOR_BYTES = 32;
    FieldTree tree{"Asymmetric Namespace Access", {}, {}};
    if (data.getSize() < HEADER_BYTES) return tree;
    tree.add("CHGCNT", "Change Count", std::to_string(le64(data.getData())));
    const unsigned groups = le16(data.getData() + 8);
    tree.add("NAGRPS", "Number of ANA Group Descriptors", std::to_string(groups));
    size_t at = HEADER_BYTES;
    for (unsigned group = 0; group < groups && at + DESCRIPTOR_BYTES <= data.getSize(); ++group) {
        const uint8_t* descriptor = data.getData() + at;
        const uint64_t namespaces = le32(descriptor + 4);
        FieldTree& part = tree.addPart("ANA Group " + std::to_string(le32(descriptor)));
        part.add("CHGCNT", "Change Count", std::to_string(le64(descriptor + 8)));
        part.add("STATE", "Asymmetric Namespace Access State", hexText(descriptor[16] & 0x0F));
        part.add("NNV", "Number of NSID Values", std::to_string(namespaces));
        at += DESCRIPTOR_BYTES;
        for (uint64_t i = 0; i < namespaces && at + 4 <= data.getSize(); ++i, at += 4) {
            part.add("Namespace", std::to_string(le32(data.getData() + at)));
        }
    }
    return tree;
}

FieldTree decodeReservation(const Payload& data) {
    OSTREL_TRACE();
    FieldTree tree{"Reservation Notification", {}, {}};
    addFields(tree, RESERVATION_FIELDS, data.getData(), data.getSize());
    return tree;
}

FieldTree decodeSanitizeStatus(const Payload& data) {
    OSTREL_TRACE();
    FieldTree tree{"Sanitize Status", {}, {}};
    addFields(tree, SANITIZE_FIELDS, SANITIZE_BITS, data.getData(), data.getSize());
    if (data.getSize() >= 4) tree.add("Status", sanitizeStatusText(le16(data.getData() + 2) & 7));
    return tree;
}

FieldTree decodeSupportedLogs(const Payload& data) {
    OSTREL_TRACE();
    FieldTree tree{"Supported Log Pages", {}, {}};
    for (unsigned lid = 0; lid < 256 && (lid + 1) * 4 <= data.getSize(); ++lid) {
        if (!bit(le32(data.getData() + lid * 4), 0)) continue;
        const LogPageRow* row = findLogPage(static_cast<uint8_t>(lid));
        tree.add(hexText(lid, 2), row != nullptr ? row->name : lid >= 0xC0 ? "Vendor Specific" : "Not Decoded");
    }
    return tree;
}

FieldTree decodeOcpSmart(const Payload& data) {
    OSTREL_TRACE();
    FieldTree tree{"OCP SMART / Health Information Extended", {}, {}};
    addFields(tree, OCP_SMART_FIELDS, data.getData(), data.getSize());
    return tree;
}

bool isOcpSmart(const Payload& data) {
    OSTREL_TRACE();
    return data.getSize() >= OFFSET_OCP_GUID + sizeof OCP_SMART_GUID &&
           std::memcmp(data.getData() + OFFSET_OCP_GUID, OCP_SMART_GUID, sizeof OCP_SMART_GUID) == 0;
}

std::string selfTestOperationText(unsigned code) {
    switch (code) {
        case 0x0:
            return "none";
        case 0x1:
            return "short";
        case 0x2:
            return "extended";
        case 0xE:
            return "vendor specific";
        default:
            return "reserved (" + hexText(code) + ")";
    }
}

std::string selfTestResultText(unsigned code) {
    constexpr const char* TEXTS[] = {
        // figure 199
        "Completed without error",
        "Aborted by a Device Self-test command",
        "Aborted by a controller level reset",
        "Aborted due to a removal of a namespace",
        "Aborted due to the processing of a Format NVM command",
        "A fatal or unknown test error occurred",
        "Completed with a segment that failed, which is not known",
        "Completed with one or more failed segments",
        "Aborted for an unknown reason",
        "Aborted due to a sanitize operation",
    };
    return code < std::size(TEXTS) ? TEXTS[code] : "reserved (" + hexText(code) + ")";
}

std::string sanitizeStatusText(unsigned code) {
    constexpr const char* TEXTS[] = {
        "The drive has never been sanitized",
        "The most recent sanitize operation completed successfully",
        "A sanitize operation is in progress",
        "The most recent sanitize operation failed",
        "The most recent sanitize operation completed successfully, with blocks that were not deallocated",
    };
    return code < std::size(TEXTS) ? TEXTS[code] : "reserved (" + hexText(code) + ")";
}

}  // namespace features::nvme
