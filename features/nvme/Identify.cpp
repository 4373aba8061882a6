#include "features/nvme/Identify.h"

#include <algorithm>
#include <cstring>

#include "features/nvme/Bytes.h"
#include "features/nvme/FieldTable.h"
#include "ostrel/core/ScopeTrace.h"
#include "ostrel/core/Strings.h"

namespace features::nvme {

using ostrel::core::Payload;

namespace {

// clang-format off
constexpr FieldRow CONTROLLER_FIELDS[] = {  // figure 247
    {"VID",       "PCI Vendor ID",                                                    0,   2, Format::HEX},
    {"SSVID",     "PCI Subsystem Vendor ID",                                          2,   2, Format::HEX},
    {"SN",        "Serial Number",                                                    4,  20, Format::TEXT},
    {"MN",        "Model Number",                                                    24,  40, Format::TEXT},
    {"FR",        "Firmware Revision",                                               64,   8, Format::TEXT},
    {"RAB",       "Recommended Arbitration Burst (2^n commands)",                    72,   1, Format::DECIMAL},
    {"IEEE",      "IEEE OUI Identifier",                                             73,   3, Format::HEX},
    {"CMIC",      "Controller Multi-Path I/O and Namespace Sharing Capabilities",    76,   1, Format::HEX},
    {"MDTS",      "Maximum Data Transfer Size (2^n memory pages, 0: no limit)",      77,   1, Format::DECIMAL},
    {"CNTLID",    "Controller ID",                                                   78,   2, Format::HEX},
    {"VER",       "Version",                                                         80,   4, Format::VERSION},
    {"RTD3R",     "RTD3 Resume Latency (microseconds)",                              84,   4, Format::DECIMAL},
    {"RTD3E",     "RTD3 Entry Latency (microseconds)",                               88,   4, Format::DECIMAL},
    {"OAES",      "Optional Asynchronous Events Supported",                          92,   4, Format::HEX},
    {"CTRATT",    "Controller Attributes",                                           96,   4, Format::HEX},
    {"RRLS",      "Read Recovery Levels Supported",                                 100,   2, Format::HEX},
    {"CNTRLTYPE", "Controller Type",                                                111,   1, Format::DECIMAL},
    {"FGUID",     "FRU Globally Unique Identifier",                                 112,  16, Format::BYTES},
    {"CRDT1",     "Command Retry Delay Time 1 (100 milliseconds)",                  128,   2, Format::DECIMAL},
    {"CRDT2",     "Command Retry Delay Time 2 (100 milliseconds)",                  130,   2, Format::DECIMAL},
    {"CRDT3",     "Command Retry Delay Time 3 (100 milliseconds)",                  132,   2, Format::DECIMAL},
    {"OACS",      "Optional Admin Command Support",                                 256,   2, Format::HEX},
    {"ACL",       "Abort Command Limit",                                            258,   1, Format::DECIMAL_0BASED},
    {"AERL",      "Asynchronous Event Request Limit",                               259,   1, Format::DECIMAL_0BASED},
    {"FRMW",      "Firmware Updates",                                               260,   1, Format::HEX},
    {"LPA",       "Log Page Attributes",                                            261,   1, Format::HEX},
    {"ELPE",      "Error Log Page Entries",                                         262,   1, Format::DECIMAL_0BASED},
    {"NPSS",      "Number of Power States Support",                                 263,   1, Format::DECIMAL_0BASED},
    {"AVSCC",     "Admin Vendor Specific Command Configuration",                    264,   1, Format::HEX},
    {"APSTA",     "Autonomous Power State Transition Attributes",                   265,   1, Format::HEX},
    {"WCTEMP",    "Warning Composite Temperature Threshold",                        266,   2, Format::KELVIN},
    {"CCTEMP",    "Critical Composite Temperature Threshold",                       268,   2, Format::KELVIN},
    {"MTFA",      "Maximum Time for Firmware Activation (100 milliseconds)",        270,   2, Format::DECIMAL},
    {"HMPRE",     "Host Memory Buffer Preferred Size (4 KiB)",                      272,   4, Format::DECIMAL},
    {"HMMIN",     "Host Memory Buffer Minimum Size (4 KiB)",                        276,   4, Format::DECIMAL},
    {"TNVMCAP",   "Total NVM Capacity (bytes)",                                     280,  16, Format::COUNTER},
    {"UNVMCAP",   "Unallocated NVM Capacity (bytes)",                               296,  16, Format::COUNTER},
    {"RPMBS",     "Replay Protected Memory Block Support",                          312,   4, Format::HEX},
    {"EDSTT",     "Extended Device Self-test Time (minutes)",                       316,   2, Format::DECIMAL},
    {"DSTO",      "Device Self-test Options",                                       318,   1, Format::HEX},
    {"FWUG",      "Firmware Update Granularity (4 KiB, 255: no restriction)",       319,   1, Format::DECIMAL},
    {"KAS",       "Keep Alive Support (100 milliseconds)",                          320,   2, Format::DECIMAL},
    {"HCTMA",     "Host Controlled Thermal Management Attributes",                  322,   2, Format::HEX},
    {"MNTMT",     "Minimum Thermal Management Temperature",                         324,   2, Format::KELVIN},
    {"MXTMT",     "Maximum Thermal Management Temperature",                         326,   2, Format::KELVIN},
    {"SANICAP",   "Sanitize Capabilities",                                          328,   4, Format::HEX},
    {"HMMINDS",   "Host Memory Buffer Minimum Descriptor Entry Size (4 KiB)",       332,   4, Format::DECIMAL},
    {"HMMAXD",    "Host Memory Maximum Descriptors Entries",                        336,   2, Format::DECIMAL},
    {"NSETIDMAX", "NVM Set Identifier Maximum",                                     338,   2, Format::DECIMAL},
    {"ENDGIDMAX", "Endurance Group Identifier Maximum",                             340,   2, Format::DECIMAL},
    {"ANATT",     "ANA Transition Time (seconds)",                                  342,   1, Format::DECIMAL},
    {"ANACAP",    "Asymmetric Namespace Access Capabilities",                       343,   1, Format::HEX},
    {"ANAGRPMAX", "ANA Group Identifier Maximum",                                   344,   4, Format::DECIMAL},
    {"NANAGRPID", "Number of ANA Group Identifiers",                                348,   4, Format::DECIMAL},
    {"PELS",      "Persistent Event Log Size (64 KiB)",                             352,   4, Format::DECIMAL},
    {"SQES",      "Submission Queue Entry Size",                                    512,   1, Format::HEX},
    {"CQES",      "Completion Queue Entry Size",                                    513,   1, Format::HEX},
    {"MAXCMD",    "Maximum Outstanding Commands",                                   514,   2, Format::DECIMAL},
    {"NN",        "Number of Namespaces",                                           516,   4, Format::DECIMAL},
    {"ONCS",      "Optional NVM Command Support",                                   520,   2, Format::HEX},
    {"FUSES",     "Fused Operation Support",                                        522,   2, Format::HEX},
    {"FNA",       "Format NVM Attributes",                                          524,   1, Format::HEX},
    {"VWC",       "Volatile Write Cache",                                           525,   1, Format::HEX},
    {"AWUN",      "Atomic Write Unit Normal (blocks)",                              526,   2, Format::DECIMAL_0BASED},
    {"AWUPF",     "Atomic Write Unit Power Fail (blocks)",                          528,   2, Format::DECIMAL_0BASED},
    {"NVSCC",     "NVM Vendor Specific Command Configuration",                      530,   1, Format::HEX},
    {"NWPC",      "Namespace Write Protection Capabilities",                        531,   1, Format::HEX},
    {"ACWU",      "Atomic Compare & Write Unit (blocks)",                           532,   2, Format::DECIMAL_0BASED},
    {"SGLS",      "SGL Support",                                                    536,   4, Format::HEX},
    {"MNAN",      "Maximum Number of Allowed Namespaces",                           540,   4, Format::DECIMAL},
    {"SUBNQN",    "NVM Subsystem NVMe Qualified Name",                              768, 256, Format::TEXT},
};

constexpr BitRow CONTROLLER_BITS[] = {
    {"CMIC",    0,  0, "CMIC Multiple Ports",               "NVM subsystem may have more than one port"},
    {"CMIC",    1,  1, "CMIC Multiple Controllers",         "NVM subsystem may have more than one controller"},
    {"CMIC",    2,  2, "CMIC SR-IOV",                       "Controller is an SR-IOV virtual function"},
    {"CMIC",    3,  3, "CMIC ANA",                          "Asymmetric Namespace Access Reporting"},
    {"OAES",    8,  8, "OAES Namespace Attribute",          "Namespace Attribute Notices"},
    {"OAES",    9,  9, "OAES Firmware Activation",          "Firmware Activation Notices"},
    {"OAES",   11, 11, "OAES ANA Change",                   "Asymmetric Namespace Access Change Notices"},
    {"OAES",   12, 12, "OAES Predictable Latency",          "Predictable Latency Event Aggregate Log Change Notices"},
    {"OAES",   13, 13, "OAES LBA Status",                   "LBA Status Information Notices"},
    {"OAES",   14, 14, "OAES Endurance Group",              "Endurance Group Event Aggregate Log Page Change Notices"},
    {"CTRATT",  0,  0, "CTRATT Host Identifier",            "128-bit Host Identifier"},
    {"CTRATT",  1,  1, "CTRATT Non-Operational Power",      "Non-Operational Power State Permissive Mode"},
    {"CTRATT",  2,  2, "CTRATT NVM Sets",                   "NVM Sets"},
    {"CTRATT",  3,  3, "CTRATT Read Recovery Levels",       "Read Recovery Levels"},
    {"CTRATT",  4,  4, "CTRATT Endurance Groups",           "Endurance Groups"},
    {"CTRATT",  5,  5, "CTRATT Predictable Latency",        "Predictable Latency Mode"},
    {"CTRATT",  6,  6, "CTRATT Traffic Based Keep Alive",   "Traffic Based Keep Alive Support"},
    {"CTRATT",  7,  7, "CTRATT Namespace Granularity",      "Namespace Granularity"},
    {"CTRATT",  8,  8, "CTRATT SQ Associations",            "SQ Associations"},
    {"CTRATT",  9,  9, "CTRATT UUID List",                  "UUID List"},
    {"OACS",    0,  0, "OACS Security",                     "Security Send and Security Receive commands"},
    {"OACS",    1,  1, "OACS Format",                       "Format NVM command"},
    {"OACS",    2,  2, "OACS Firmware",                     "Firmware Commit and Firmware Image Download commands"},
    {"OACS",    3,  3, "OACS Namespace Management",         "Namespace Management and Namespace Attachment commands"},
    {"OACS",    4,  4, "OACS Self-test",                    "Device Self-test command"},
    {"OACS",    5,  5, "OACS Directives",                   "Directives"},
    {"OACS",    6,  6, "OACS NVMe-MI",                      "NVMe-MI Send and NVMe-MI Receive commands"},
    {"OACS",    7,  7, "OACS Virtualization",               "Virtualization Management command"},
    {"OACS",    8,  8, "OACS Doorbell Buffer",              "Doorbell Buffer Config command"},
    {"OACS",    9,  9, "OACS LBA Status",                   "Get LBA Status"},
    {"FRMW",    0,  0, "FRMW Slot 1 Read Only",             "Firmware slot 1 is read only"},
    {"FRMW",    3,  1, "FRMW Slots",                        "Number of firmware slots"},
    {"FRMW",    4,  4, "FRMW Activation Without Reset",     "Firmware activation without a reset"},
    {"LPA",     0,  0, "LPA SMART per Namespace",           "SMART / Health Information log page per namespace"},
    {"LPA",     1,  1, "LPA Command Effects",               "Commands Supported and Effects log page"},
    {"LPA",     2,  2, "LPA Extended Data",                 "Log Page Offset and 32-bit Number of Dwords"},
    {"LPA",     3,  3, "LPA Telemetry",                     "Telemetry Host-Initiated and Controller-Initiated log pages"},
    {"LPA",     4,  4, "LPA Persistent Event",              "Persistent Event log"},
    {"AVSCC",   0,  0, "AVSCC Standard Format",             "Admin Vendor Specific Commands use the standard format"},
    {"APSTA",   0,  0, "APSTA Supported",                   "Autonomous power state transitions"},
    {"RPMBS",   2,  0, "RPMBS Units",                       "Number of RPMB Units"},
    {"RPMBS",   5,  3, "RPMBS Authentication",              "Authentication Method"},
    {"RPMBS",  23, 16, "RPMBS Total Size",                  "Total Size (128 KiB, 0-based)"},
    {"RPMBS",  31, 24, "RPMBS Access Size",                 "Access Size (512 bytes, 0-based)"},
    {"DSTO",    0,  0, "DSTO One at a Time",                "One device self-test operation in progress per NVM subsystem"},
    {"HCTMA",   0,  0, "HCTMA Supported",                   "Host controlled thermal management"},
    {"SANICAP", 0,  0, "SANICAP Crypto Erase",              "Crypto Erase sanitize operation"},
    {"SANICAP", 1,  1, "SANICAP Block Erase",               "Block Erase sanitize operation"},
    {"SANICAP", 2,  2, "SANICAP Overwrite",                 "Overwrite sanitize operation"},
    {"SANICAP", 29, 29, "SANICAP No-Deallocate Inhibited",  "No-Deallocate Inhibited"},
    {"SANICAP", 31, 30, "SANICAP Media Modified",           "No-Deallocate Modifies Media After Sanitize"},
    {"SQES",    3,  0, "SQES Minimum",                      "Required entry size (2^n bytes)"},
    {"SQES",    7,  4, "SQES Maximum",                      "Maximum entry size (2^n bytes)"},
    {"CQES",    3,  0, "CQES Minimum",                      "Required entry size (2^n bytes)"},
    {"CQES",    7,  4, "CQES Maximum",                      "Maximum entry size (2^n bytes)"},
    {"ONCS",    0,  0, "ONCS Compare",                      "Compare command"},
    {"ONCS",    1,  1, "ONCS Write Uncorrectable",          "Write Uncorrectable command"},
    {"ONCS",    2,  2, "ONCS Dataset Management",           "Dataset Management command"},
    {"ONCS",    3,  3, "ONCS Write Zeroes",                 "Write Zeroes command"},
    {"ONCS",    4,  4, "ONCS Save",                         "Save field in Set Features and Select field in Get Features"},
    {"ONCS",    5,  5, "ONCS Reservations",                 "Reservations"},
    {"ONCS",    6,  6, "ONCS Timestamp",                    "Timestamp feature"},
    {"ONCS",    7,  7, "ONCS Verify",                       "Verify command"},
    {"FUSES",   0,  0, "FUSES Compare and Write",           "Compare and Write fused operation"},
    {"FNA",     0,  0, "FNA Format All",                    "A format applies to all namespaces"},
    {"FNA",     1,  1, "FNA Secure Erase All",              "A secure erase applies to all namespaces"},
    {"FNA",     2,  2, "FNA Crypto Erase",                  "Cryptographic erase"},
    {"VWC",     0,  0, "VWC Present",                       "A volatile write cache is present"},
    {"VWC",     2,  1, "VWC Flush Behavior",                "Flush command with all namespaces (2: not supported, 3: supported)"},
    {"NWPC",    0,  0, "NWPC Write Protect",                "No Write Protect and Write Protect states"},
    {"NWPC",    1,  1, "NWPC Until Power Cycle",            "Write Protect Until Power Cycle state"},
    {"NWPC",    2,  2, "NWPC Permanent",                    "Permanent Write Protect state"},
};

constexpr FieldRow POWER_STATE_FIELDS[] = {  // figure 249
    {"ENLAT", "Entry Latency (microseconds)",    4, 4, Format::DECIMAL},
    {"EXLAT", "Exit Latency (microseconds)",     8, 4, Format::DECIMAL},
    {"RRT",   "Relative Read Throughput",       12, 1, Format::DECIMAL},
    {"RRL",   "Relative Read Latency",          13, 1, Format::DECIMAL},
    {"RWT",   "Relative Write Throughput",      14, 1, Format::DECIMAL},
    {"RWL",   "Relative Write Latency",         15, 1, Format::DECIMAL},
};

constexpr FieldRow NAMESPACE_FIELDS[] = {  // figure 245
    {"NSZE",     "Namespace Size (blocks)",                              0,  8, Format::DECIMAL},
    {"NCAP",     "Namespace Capacity (blocks)",                          8,  8, Format::DECIMAL},
    {"NUSE",     "Namespace Utilization (blocks)",                      16,  8, Format::DECIMAL},
    {"NSFEAT",   "Namespace Features",                                  24,  1, Format::HEX},
    {"NLBAF",    "Number of LBA Formats",                               25,  1, Format::DECIMAL_0BASED},
    {"FLBAS",    "Formatted LBA Size",                                  26,  1, Format::HEX},
    {"MC",       "Metadata Capabilities",                               27,  1, Format::HEX},
    {"DPC",      "End-to-end Data Protection Capabilities",             28,  1, Format::HEX},
    {"DPS",      "End-to-end Data Protection Type Settings",            29,  1, Format::HEX},
    {"NMIC",     "Namespace Multi-path I/O and Sharing Capabilities",   30,  1, Format::HEX},
    {"RESCAP",   "Reservation Capabilities",                            31,  1, Format::HEX},
    {"FPI",      "Format Progress Indicator",                           32,  1, Format::HEX},
    {"DLFEAT",   "Deallocate Logical Block Features",                   33,  1, Format::HEX},
    {"NAWUN",    "Namespace Atomic Write Unit Normal (0-based)",        34,  2, Format::DECIMAL},
    {"NAWUPF",   "Namespace Atomic Write Unit Power Fail (0-based)",    36,  2, Format::DECIMAL},
    {"NACWU",    "Namespace Atomic Compare & Write Unit (0-based)",     38,  2, Format::DECIMAL},
    {"NABSN",    "Namespace Atomic Boundary Size Normal",               40,  2, Format::DECIMAL},
    {"NABO",     "Namespace Atomic Boundary Offset",                    42,  2, Format::DECIMAL},
    {"NABSPF",   "Namespace Atomic Boundary Size Power Fail",           44,  2, Format::DECIMAL},
    {"NOIOB",    "Namespace Optimal I/O Boundary (blocks)",             46,  2, Format::DECIMAL},
    {"NVMCAP",   "NVM Capacity (bytes)",                                48, 16, Format::COUNTER},
    {"NPWG",     "Namespace Preferred Write Granularity (0-based)",     64,  2, Format::DECIMAL},
    {"NPWA",     "Namespace Preferred Write Alignment (0-based)",       66,  2, Format::DECIMAL},
    {"NPDG",     "Namespace Preferred Deallocate Granularity (0-based)", 68, 2, Format::DECIMAL},
    {"NPDA",     "Namespace Preferred Deallocate Alignment (0-based)",  70,  2, Format::DECIMAL},
    {"NOWS",     "Namespace Optimal Write Size (0-based)",              72,  2, Format::DECIMAL},
    {"ANAGRPID", "ANA Group Identifier",                                92,  4, Format::DECIMAL},
    {"NSATTR",   "Namespace Attributes",                                99,  1, Format::HEX},
    {"NVMSETID", "NVM Set Identifier",                                 100,  2, Format::DECIMAL},
    {"ENDGID",   "Endurance Group Identifier",                         102,  2, Format::DECIMAL},
    {"NGUID",    "Namespace Globally Unique Identifier",               104, 16, Format::BYTES},
    {"EUI64",    "IEEE Extended Unique Identifier",                    120,  8, Format::BYTES},
};

constexpr BitRow NAMESPACE_BITS[] = {
    {"NSFEAT", 0, 0, "NSFEAT Thin Provisioning",        "Thin provisioning"},
    {"NSFEAT", 1, 1, "NSFEAT Atomic Units",             "NAWUN, NAWUPF and NACWU are defined"},
    {"NSFEAT", 2, 2, "NSFEAT Deallocated Error",        "Deallocated or Unwritten Logical Block error"},
    {"NSFEAT", 3, 3, "NSFEAT Identifiers Not Reused",   "NGUID and EUI64 are never reused"},
    {"NSFEAT", 4, 4, "NSFEAT Optimal Performance",      "NPWG, NPWA, NPDG, NPDA and NOWS are defined"},
    {"FLBAS",  4, 4, "FLBAS Extended Metadata",         "Metadata is transferred at the end of the data LBA"},
    {"MC",     0, 0, "MC Extended",                     "Metadata as part of an extended data LBA"},
    {"MC",     1, 1, "MC Separate",                     "Metadata in a separate buffer"},
    {"DPC",    0, 0, "DPC Type 1",                      "Protection Information Type 1"},
    {"DPC",    1, 1, "DPC Type 2",                      "Protection Information Type 2"},
    {"DPC",    2, 2, "DPC Type 3",                      "Protection Information Type 3"},
    {"DPC",    3, 3, "DPC First Bytes",                 "Protection information in the first bytes of metadata"},
    {"DPC",    4, 4, "DPC Last Bytes",                  "Protection information in the last bytes of metadata"},
    {"DPS",    2, 0, "DPS Type",                        "Protection information type in use (0: none)"},
    {"DPS",    3, 3, "DPS First Bytes",                 "Protection information is in the first bytes of metadata"},
    {"NMIC",   0, 0, "NMIC Shared",                     "May be attached to more than one controller"},
    {"RESCAP", 0, 0, "RESCAP Persist",                  "Persist Through Power Loss"},
    {"RESCAP", 1, 1, "RESCAP Write Exclusive",          "Write Exclusive"},
    {"RESCAP", 2, 2, "RESCAP Exclusive Access",         "Exclusive Access"},
    {"RESCAP", 3, 3, "RESCAP WE Registrants",           "Write Exclusive - Registrants Only"},
    {"RESCAP", 4, 4, "RESCAP EA Registrants",           "Exclusive Access - Registrants Only"},
    {"RESCAP", 5, 5, "RESCAP WE All Registrants",       "Write Exclusive - All Registrants"},
    {"RESCAP", 6, 6, "RESCAP EA All Registrants",       "Exclusive Access - All Registrants"},
    {"RESCAP", 7, 7, "RESCAP Ignore Existing Key",      "Ignore Existing Key is as in revision 1.3"},
    {"FPI",    6, 0, "FPI Remaining",                   "Percentage of the namespace that remains to be formatted"},
    {"FPI",    7, 7, "FPI Supported",                   "Format Progress Indicator is supported"},
    {"DLFEAT", 2, 0, "DLFEAT Read Behavior",            "A deallocated block reads as (0: not told, 1: 00h, 2: FFh)"},
    {"DLFEAT", 3, 3, "DLFEAT Write Zeroes",             "Deallocate bit of Write Zeroes"},
    {"DLFEAT", 4, 4, "DLFEAT Guard",                    "Guard of deallocated blocks is a valid CRC"},
    {"NSATTR", 0, 0, "NSATTR Write Protected",          "The namespace is write protected"},
};
// clang-format on

constexpr size_t OFFSET_NPSS = 263;
constexpr size_t OFFSET_POWER_STATES = 2048;
constexpr size_t POWER_STATE_BYTES = 32;
constexpr size_t OFFSET_LBA_FORMATS = 128;

/// A power as figure 249 gives it: the scale's bits say what the number counts.
std::string wattsText(uint16_t power, unsigned scale) {
    switch (scale) {
        case 1:  // 0.0001 W
            return decimalFraction(power, 4) + " W";
        case 2:  // 0.01 W
            return decimalFraction(power, 2) + " W";
        default:
            return "not reported";
    }
}

void addPowerState(FieldTree& tree, unsigned number, const uint8_t* state) {
    FieldTree& part = tree.addPart("Power State " + std::to_string(number));
    // Bit 24 of the descriptor: the maximum counts in 0.0001 W instead of 0.01 W.
    part.add("MP", "Maximum Power", wattsText(le16(state), bit(state[3], 0) ? 1 : 2));
    part.add("NOPS", "Non-Operational State", ostrel::core::boolToText(bit(state[3], 1)));
    addFields(part, POWER_STATE_FIELDS, state, POWER_STATE_BYTES);
    part.add("IDLP", "Idle Power", wattsText(le16(state + 16), state[18] >> 6));
    part.add("ACTP", "Active Power", wattsText(le16(state + 20), state[22] >> 6));
    part.add("APW", "Active Power Workload", std::to_string(state[22] & 7));
}

constexpr const char* relativePerformanceText(unsigned value) {
    constexpr const char* TEXTS[] = {"Best performance", "Better performance", "Good performance",
                                     "Degraded performance"};
    return TEXTS[value & 3];
}

struct DescriptorRow {
    uint8_t type;
    uint8_t length;
    const char* name;
    const char* description;
};
constexpr DescriptorRow DESCRIPTORS[] = {
    // figure 253
    {1, 8, "EUI64", "IEEE Extended Unique Identifier"},
    {2, 16, "NGUID", "Namespace Globally Unique Identifier"},
    {3, 16, "UUID", "Namespace UUID"},
    {4, 1, "CSI", "Command Set Identifier"},
};

void addDescriptor(FieldTree& tree, uint8_t type, uint8_t length, const uint8_t* at) {
    for (const DescriptorRow& row : DESCRIPTORS) {
        if (row.type != type || row.length != length) continue;
        tree.add(row.name, row.description, type == 3 ? uuidText(at) : ostrel::core::bytesToHex(at, length));
        return;
    }
    tree.add("NIDT " + hexText(type, 2), "Unknown identifier type", ostrel::core::bytesToHex(at, length));
}

template <typename Number>
std::vector<Number> numbersUntilZero(const uint8_t* data, size_t size) {
    std::vector<Number> numbers;
    for (size_t at = 0; at + sizeof(Number) <= size; at += sizeof(Number)) {
        const auto number = static_cast<Number>(leNumber(data + at, sizeof(Number)));
        if (number == 0) break;
        numbers.push_back(number);
    }
    return numbers;
}

}  // namespace

FieldTree decodeIdentifyController(const Payload& data) {
    OSTREL_TRACE();
    FieldTree tree{"Identify Controller", {}, {}};
    addFields(tree, CONTROLLER_FIELDS, CONTROLLER_BITS, data.getData(), data.getSize());
    if (data.getSize() <= OFFSET_NPSS) return tree;
    const unsigned states = std::min(data.getData()[OFFSET_NPSS] + 1U, 32U);
    for (unsigned i = 0; i < states; ++i) {
        const size_t at = OFFSET_POWER_STATES + i * POWER_STATE_BYTES;
        if (at + POWER_STATE_BYTES > data.getSize()) break;
        addPowerState(tree, i, data.getData() + at);
    }
    return tree;
}

FieldTree decodeIdentifyNamespace(const Payload& data, uint32_t nsid) {
    OSTREL_TRACE();
    FieldTree tree{"Identify Namespace " + std::to_string(nsid), {}, {}};
    addFields(tree, NAMESPACE_FIELDS, NAMESPACE_BITS, data.getData(), data.getSize());
    if (data.getSize() < IDENTIFY_BYTES) return tree;
    const NamespaceProperties properties(data.getData());
    for (unsigned i = 0; i < properties.numberOfFormats; ++i) {
        const NamespaceProperties::LbaFormat& format = properties.formats[i];
        FieldTree& part = tree.addPart("LBA Format " + std::to_string(i));
        part.add("LBADS", "LBA Data Size (bytes)", std::to_string(format.dataBytes()));
        part.add("MS", "Metadata Size (bytes)", std::to_string(format.metadataBytes));
        part.add("RP", "Relative Performance", relativePerformanceText(format.relativePerformance));
        part.add("In Use", ostrel::core::boolToText(i == properties.formatIndex()));
    }
    return tree;
}

FieldTree decodeNamespaceDescriptors(const Payload& data, uint32_t nsid) {
    OSTREL_TRACE();
    FieldTree tree{"Namespace Identification Descriptors of Namespace " + std::to_string(nsid), {}, {}};
    for (size_t at = 0; at + 4 <= data.getSize();) {
        const uint8_t type = data.getData()[at];
        const uint8_t length = data.getData()[at + 1];
        if (length == 0) break;  // the end of the list
        at += 4;
        if (at + length > data.getSize()) {
            tree.add("NIDT " + hexText(type, 2), "Damaged", "the descriptor is longer than the structure");
            break;
        }
        addDescriptor(tree, type, length, data.getData() + at);
        at += length;
    }
    return tree;
}

std::vector<uint32_t> decodeNamespaceList(const Payload& data) {
    OSTREL_TRACE();
    return numbersUntilZero<uint32_t>(data.getData(), data.getSize());
}

std::vector<uint16_t> decodeControllerList(const Payload& data) {
    OSTREL_TRACE();
    std::vector<uint16_t> controllers;
    if (data.getSize() < 2) return controllers;
    const size_t count = std::min<size_t>(le16(data.getData()), data.getSize() / 2 - 1);
    for (size_t i = 0; i < count; ++i) controllers.push_back(le16(data.getData() + 2 + 2 * i));
    return controllers;
}

FieldTree decodeUuidList(const Payload& data) {
    OSTREL_TRACE();
    constexpr size_t ENTRY_BYTES = 32;
    constexpr const char* ASSOCIATIONS[] = {"none", "PCI Vendor ID", "PCI Subsystem Vendor ID", "reserved"};
    FieldTree tree{"UUID List", {}, {}};
    for (size_t at = ENTRY_BYTES; at + ENTRY_BYTES <= data.getSize(); at += ENTRY_BYTES) {
        const uint8_t* entry = data.getData() + at;
        if (std::all_of(entry + 16, entry + ENTRY_BYTES, [](uint8_t byte) { return byte == 0; })) break;
        FieldTree& part = tree.addPart("UUID " + std::to_string(at / ENTRY_BYTES));
        part.add("UUID", uuidText(entry + 16));
        part.add("Identifier Association", ASSOCIATIONS[entry[0] & 3]);
    }
    return tree;
}

std::string uuidText(const uint8_t* at) {
    OSTREL_TRACE();
    const std::string digits = ostrel::core::toLower(ostrel::core::bytesToHex(at, 16));
    return digits.substr(0, 8) + "-" + digits.substr(8, 4) + "-" + digits.substr(12, 4) + "-" + digits.substr(16, 4) +
           "-" + digits.substr(20);
}

ControllerCapabilities::ControllerCapabilities(const uint8_t* identify)
    : vid(le16(identify)),
      mdts(identify[77]),
      cntlid(le16(identify + 78)),
      version(le32(identify + 80)),
      oacs(le16(identify + 256)),
      frmw(identify[260]),
      lpa(identify[261]),
      npss(identify[263]),
      fwug(identify[319]),
      edstt(le16(identify + 316)),
      sanicap(le32(identify + 328)),
      pels(le32(identify + 352)),
      nn(le32(identify + 516)),
      oncs(le16(identify + 520)),
      fna(identify[524]),
      vwc(identify[525]) {}

NamespaceProperties::NamespaceProperties(const uint8_t* identify)
    : sizeBlocks(le64(identify)),
      capacityBlocks(le64(identify + 8)),
      utilizationBlocks(le64(identify + 16)),
      flbas(identify[26]),
      dps(identify[29]),
      nmic(identify[30]),
      numberOfFormats(static_cast<uint8_t>(std::min(identify[25] + 1, 64))),
      formats{} {
    for (unsigned i = 0; i < numberOfFormats; ++i) {
        const uint8_t* at = identify + OFFSET_LBA_FORMATS + i * 4;
        formats[i] = {le16(at), at[2], static_cast<uint8_t>(at[3] & 3)};
    }
}

}  // namespace features::nvme
