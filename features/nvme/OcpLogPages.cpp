// The log pages of the OCP Datacenter NVMe SSD Specification, versions 1.0 to 2.6.

#include "features/nvme/OcpLogPages.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "features/nvme/Bytes.h"
#include "features/nvme/FieldTable.h"
#include "features/nvme/FindRow.h"
#include "features/nvme/LogPageIds.h"
#include "features/nvme/Structures.h"
#include "features/nvme/structures/OcpErrorRecoveryLog.h"
#include "features/nvme/structures/OcpLatencyMonitorLog.h"
#include "ostrel/core/Strings.h"

namespace features::nvme {

using ostrel::core::Payload;

namespace {

constexpr size_t OFFSET_VERSION = 494;  // of the pages of 512 bytes, before their GUID

// clang-format off
constexpr Word NONE_AT_0[] = {{0, "none"}, {}};
constexpr Word NO_STAMP[] = {{UINT64_MAX, "none"}, {}};
constexpr Word NO_CAPACITORS[] = {{0xFFFF, "no capacitors"}, {}};
constexpr Word COUNTED_WITH_USER_BLOCKS[] = {{0xFFFFFFFFFFFF, NOT_REPORTED}, {0xFFFF, NOT_REPORTED}, {}};
constexpr Word THROTTLING[] = {
    {0, "not throttled"}, {1, "first level"}, {2, "second level"}, {3, "third level"}, {},
};

constexpr FieldRow SMART[] = {  // log C0h
    {"PMUW", "Physical Media Units Written (bytes)", 0, 16, Format::COUNTER},
    {"PMUR", "Physical Media Units Read (bytes)", 16, 16, Format::COUNTER},
    {"BUNBR", "Bad User NAND Blocks - Raw Count", 32, 6, Format::DECIMAL},
    {"BUNBN", "Bad User NAND Blocks - Normalized Value (%)", 38, 2, Format::DECIMAL},
    inWords(COUNTED_WITH_USER_BLOCKS, {"BSNBR", "Bad System NAND Blocks - Raw Count", 40, 6, Format::DECIMAL}),
    inWords(COUNTED_WITH_USER_BLOCKS,
            {"BSNBN", "Bad System NAND Blocks - Normalized Value (%)", 46, 2, Format::DECIMAL}),
    {"XRC", "XOR Recovery Count", 48, 8, Format::DECIMAL},
    {"UREC", "Uncorrectable Read Error Count", 56, 8, Format::DECIMAL},
    {"SEEC", "Soft ECC Error Count", 64, 8, Format::DECIMAL},
    {"EEDC", "End to End Correction Counts - Detected Errors", 72, 4, Format::DECIMAL},
    {"EECE", "End to End Correction Counts - Corrected Errors", 76, 4, Format::DECIMAL},
    {"SDPU", "System Data Percentage Used (%)", 80, 1, Format::DECIMAL},
    {"RFSC", "Refresh Counts", 81, 7, Format::DECIMAL},
    {"MXUDEC", "Maximum User Data Erase Count", 88, 4, Format::DECIMAL},
    {"MNUDEC", "Minimum User Data Erase Count", 92, 4, Format::DECIMAL},
    {"NTTE", "Number of Thermal Throttling Events", 96, 1, Format::DECIMAL},
    word("CTS", "Current Throttling Status", 97, 7, 0, THROTTLING),
    since(3, {"EVF", "DSSD Specification Errata Version", 98, 1, Format::DECIMAL}),
    since(3, {"PVF", "DSSD Specification Point Version", 99, 2, Format::DECIMAL}),
    since(3, {"MNVF", "DSSD Specification Minor Version", 101, 2, Format::DECIMAL}),
    since(3, {"MJVF", "DSSD Specification Major Version", 103, 1, Format::DECIMAL}),
    {"PCEC", "PCIe Correctable Error Count", 104, 8, Format::DECIMAL},
    {"ICS", "Incomplete Shutdowns", 112, 4, Format::DECIMAL},
    {"PFB", "Free Blocks (%)", 120, 1, Format::DECIMAL},
    inWords(NO_CAPACITORS, {"CPH", "Capacitor Health (%)", 128, 2, Format::DECIMAL}),
    since(3, {"NEV", "NVMe Base Errata Version", 130, 1, Format::DECIMAL}),
    since(4, {"NCEV", "NVM Command Set Errata Version", 131, 1, Format::DECIMAL}),
    since(5, {"NPEV", "NVMe over PCIe Errata Version", 132, 1, Format::DECIMAL}),
    since(5, {"NMEV", "NVMe-MI Errata Version", 133, 1, Format::DECIMAL}),
    {"UIO", "Unaligned I/O", 136, 8, Format::DECIMAL},
    {"SVN", "Security Version Number", 144, 8, Format::DECIMAL},
    {"NUSE", "Total Namespace Utilization (blocks)", 152, 8, Format::DECIMAL},
    {"PSC", "PLP Start Count", 160, 16, Format::COUNTER},
    {"EEST", "Endurance Estimate (bytes)", 176, 16, Format::COUNTER},
    since(3, {"PLRC", "PCIe Link Retraining Count", 192, 8, Format::DECIMAL}),
    since(3, {"PSCC", "Power State Change Count", 200, 8, Format::DECIMAL}),
    since(4, {"LPFR", "Lowest Permitted Firmware Revision", 208, 8, Format::DECIMAL}),
    since(5, {"TMD", "Total Media Dies", 216, 2, Format::DECIMAL}),
    since(5, {"TDFT", "Total Die Failure Tolerance", 218, 2, Format::DECIMAL}),
    since(5, {"MDO", "Media Dies Offline", 220, 2, Format::DECIMAL}),
    since(5, {"MXTR", "Maximum Temperature Recorded", 222, 1, Format::DECIMAL}),
    since(6, {"FFAC", "Form Factor", 223, 1, Format::HEX}),
    since(5, {"NAEC", "NAND Average Erase Count", 224, 8, Format::DECIMAL}),
    since(5, {"CTOC", "Command Timeouts", 232, 4, Format::DECIMAL}),
    since(5, {"SAPFR", "System Area Program Fail Count - Raw Count", 236, 4, Format::DECIMAL}),
    since(5, {"SAPFN", "System Area Program Fail Count - Normalized Value", 240, 1, Format::DECIMAL}),
    since(5, {"SAURR", "System Area Uncorrectable Read Count - Raw Count", 244, 4, Format::DECIMAL}),
    since(5, {"SAURN", "System Area Uncorrectable Read Count - Normalized Value", 248, 1, Format::DECIMAL}),
    since(5, {"SAEFR", "System Area Erase Fail Count - Raw Count", 252, 4, Format::DECIMAL}),
    since(5, {"SAEFN", "System Area Erase Fail Count - Normalized Value", 256, 1, Format::DECIMAL}),
    since(5, {"MPPC", "Maximum Peak Power Capability", 260, 2, Format::DECIMAL}),
    since(5, {"CMAP", "Current Maximum Average Power", 262, 2, Format::DECIMAL}),
    since(5, {"LPC", "Lifetime Power Consumed", 264, 6, Format::DECIMAL}),
    since(5, {"DFR", "DSSD Firmware Revision", 270, 8, Format::TEXT}),
    since(5, {"DFBU", "DSSD Firmware Build UUID", 278, 16, Format::UUID}),
    since(5, {"DFBL", "DSSD Firmware Build Label", 294, 64, Format::TEXT}),
    since(6, {"DIUR", "Dies In Use Bad NAND Block - Raw Count", 358, 6, Format::DECIMAL}),
    since(6, {"DIUN", "Dies In Use Bad NAND Block - Normalized Value", 364, 2, Format::DECIMAL}),
    {"LPV", "Log Page Version", OFFSET_VERSION, 2, Format::DECIMAL},
    {"LPG", "Log Page GUID", 496, 16, Format::BYTES},
};

constexpr FieldRow ERROR_RECOVERY[] = {  // log C1h
    {"PRWT", "Panic Reset Wait Time (ms)", 0, 2, Format::DECIMAL},
    {"PRA", "Panic Reset Action", 2, 1, Format::HEX},
    flag("PRA Controller Reset", "An NVMe Controller Reset may end the panic", 2, 0),
    flag("PRA Subsystem Reset", "An NVM Subsystem Reset may end the panic", 2, 1),
    flag("PRA Function Level Reset", "A PCIe Function Level Reset may end the panic", 2, 2),
    flag("PRA PERST", "PERST may end the panic", 2, 3),
    flag("PRA Power Cycle", "A main power cycle may end the panic", 2, 4),
    flag("PRA Hot Reset", "A PCIe Conventional Hot Reset may end the panic", 2, 5),
    // A mask of actions to some who read the specification, a number to others.
    {"DRA1", "Device Recovery Action 1", 3, 1, Format::HEX},
    inWords(NONE_AT_0, {"PID", "Panic ID", offsetof(OcpErrorRecoveryLog, panicId), 8, Format::HEX}),
    {"DC", "Device Capabilities", 12, 4, Format::HEX},
    flag("DC Panic AEN", "A panic is reported by an Asynchronous Event", 12, 0),
    flag("DC Panic CFS", "A panic is reported by Controller Fatal Status", 12, 1),
    {"VSRO", "Vendor Specific Recovery Opcode", 16, 1, Format::HEX},
    {"VSCC12", "Vendor Specific Command CDW12", 20, 4, Format::HEX},
    {"VSCC13", "Vendor Specific Command CDW13", 24, 4, Format::HEX},
    since(2, {"VSCT", "Vendor Specific Command Timeout", 28, 1, Format::DECIMAL}),
    // Version 2 or 3: in a page of version 2 that does not have it, it is reserved and 0.
    since(2, {"DRA2", "Device Recovery Action 2", 29, 1, Format::HEX}),
    since(2, {"DRA2T", "Device Recovery Action 2 Timeout", 30, 1, Format::DECIMAL}),
    since(3, {"PCNT", "Panic Count", 31, 1, Format::DECIMAL}),
    since(3, inWords(NONE_AT_0, {"PPID1", "Previous Panic ID N-1", 32, 8, Format::HEX})),
    since(3, inWords(NONE_AT_0, {"PPID2", "Previous Panic ID N-2", 40, 8, Format::HEX})),
    since(3, inWords(NONE_AT_0, {"PPID3", "Previous Panic ID N-3", 48, 8, Format::HEX})),
    since(3, inWords(NONE_AT_0, {"PPID4", "Previous Panic ID N-4", 56, 8, Format::HEX})),
    {"LPV", "Log Page Version", OFFSET_VERSION, 2, Format::DECIMAL},
    {"LPG", "Log Page GUID", 496, 16, Format::BYTES},
};

constexpr Word COMMIT_ACTIONS[] = {
    {0, "replace"},
    {1, "replace and activate at the next reset"},
    {2, "activate at the next reset"},
    {3, "activate immediately"},
    {6, "replace the Boot Partition"},
    {7, "activate the Boot Partition"},
    {},
};
constexpr FieldRow FIRMWARE_HISTORY[] = {  // log C2h
    {"VFHE", "Valid Firmware Activation History Entries", 4, 4, Format::DECIMAL},
    {"LPV", "Log Page Version", 4078, 2, Format::DECIMAL},
    {"LPG", "Log Page GUID", 4080, 16, Format::BYTES},
};
constexpr FieldRow FIRMWARE_HISTORY_ENTRY[] = {
    {"FHE Version", "Version of the entry", 0, 1, Format::DECIMAL},
    {"FAC", "Firmware Activation Count", 4, 2, Format::DECIMAL},
    {"TS", "Timestamp", 6, 8, Format::DATE},
    {"PCC", "Power Cycle Count", 22, 8, Format::DECIMAL},
    {"PFR", "Previous Firmware Revision", 30, 8, Format::TEXT},
    {"NFR", "New Firmware Revision", 38, 8, Format::TEXT},
    {"SN", "Slot Number", 46, 1, Format::DECIMAL},
    word("CAT", "Commit Action Type", 47, 7, 0, COMMIT_ACTIONS),
    {"Result", "Result of the activation", 48, 2, Format::HEX},
};

constexpr FieldRow LATENCY_MONITOR[] = {  // log C3h
    flag("LMFS Enabled", "Latency Monitor is enabled", 0, 0),
    flag("LMFS Active Latency Mode", "Active Latency Mode is enabled", 0, 1),
    flag("LMFS Active Measured Latency", "Active Measured Latency is enabled", 0, 2),
    {"ABT", "Active Bucket Timer (units of 5 minutes)", 2, 2, Format::DECIMAL},
    {"ABTT", "Active Bucket Timer Threshold (units of 5 minutes)", 4, 2, Format::DECIMAL},
    {"ATA", "Active Threshold A (units of 5 milliseconds)", 6, 1, Format::DECIMAL_0BASED},
    {"ATB", "Active Threshold B (units of 5 milliseconds)", 7, 1, Format::DECIMAL_0BASED},
    {"ATC", "Active Threshold C (units of 5 milliseconds)", 8, 1, Format::DECIMAL_0BASED},
    {"ATD", "Active Threshold D (units of 5 milliseconds)", 9, 1, Format::DECIMAL_0BASED},
    {"ALC", "Active Latency Configuration", 10, 2, Format::HEX},
    {"ALMW", "Active Latency Minimum Window (units of 100 milliseconds)", 12, 1, Format::DECIMAL},
    {"ALSU", "Active Latency Stamp Units", 216, 2, Format::HEX},
    {"SLSU", "Static Latency Stamp Units", 424, 2, Format::HEX},
    since(4, {"DTLS", "Latency Monitor Debug Telemetry Log Size", 436, 12, Format::BYTES}),
    {"DLTE", "Debug Log Trigger Enable", 448, 2, Format::HEX},
    {"DLML", "Debug Log Measured Latency (ms)", 450, 2, Format::DECIMAL},
    inWords(NO_STAMP, {"DLLS", "Debug Log Latency Stamp", 452, 8, Format::HEX}),
    {"DLP", "Debug Log Pointer", 460, 2, Format::HEX},
    {"DCTS", "Debug Counter Trigger Source", 462, 2, Format::HEX},
    flag("DLSU", "Debug Log Latency Stamp is based on the Timestamp feature", 464, 0),
    {"LPV", "Log Page Version", OFFSET_VERSION, 2, Format::DECIMAL},
    {"LPG", "Log Page GUID", 496, 16, Format::BYTES},
};
// Of one bucket. Which of its counters is first is disputed; two of three sources have this order.
constexpr FieldRow LATENCY_COUNTERS[] = {
    {"Deallocate Count", "Dataset Management commands in the bucket", 4, 4, Format::DECIMAL},
    {"Write Count", "Write commands in the bucket", 8, 4, Format::DECIMAL},
    {"Read Count", "Read commands in the bucket", 12, 4, Format::DECIMAL},
};
constexpr FieldRow LATENCY_STAMPS[] = {
    inWords(NO_STAMP, {"Deallocate Stamp", "Latency stamp of Dataset Management", 0, 8, Format::DATE}),
    inWords(NO_STAMP, {"Write Stamp", "Latency stamp of Write", 8, 8, Format::DATE}),
    inWords(NO_STAMP, {"Read Stamp", "Latency stamp of Read", 16, 8, Format::DATE}),
};
constexpr FieldRow LATENCIES[] = {
    {"Deallocate Latency", "Measured latency of Dataset Management (ms)", 0, 2, Format::DECIMAL},
    {"Write Latency", "Measured latency of Write (ms)", 2, 2, Format::DECIMAL},
    {"Read Latency", "Measured latency of Read (ms)", 4, 2, Format::DECIMAL},
};

constexpr FieldRow CAPABILITIES[] = {  // log C4h
    {"PCIEP", "PCI Express Ports", 0, 2, Format::DECIMAL},
    {"OMSC", "OOB Management Support", 2, 2, Format::HEX},
    flag("OMSC SMBus", "MCTP over SMBus", 2, 0),
    flag("OMSC VDM", "MCTP over PCIe VDM", 2, 1),
    flag("OMSC Basic Management", "NVMe Basic Management Command", 2, 2),
    flag("OMSC Met", "All requirements of out-of-band management are met", 2, 15),
    {"WZC", "Write Zeroes Command Support", 4, 2, Format::HEX},
    flag("WZC Command", "Write Zeroes", 4, 0),
    flag("WZC DEAC", "Setting the Deallocate bit", 4, 1),
    flag("WZC FUA", "Setting the Force Unit Access bit", 4, 2),
    flag("WZC NVMe-IO-5", "Requirement NVMe-IO-5 is met", 4, 3),
    flag("WZC NVMe-IO-6", "Requirement NVMe-IO-6 is met", 4, 4),
    flag("WZC Met", "All requirements of Write Zeroes are met", 4, 15),
    {"SCS", "Sanitize Command Support", 6, 2, Format::HEX},
    flag("SCS Command", "Sanitize", 6, 0),
    flag("SCS Crypto Erase", "Crypto Erase", 6, 1),
    flag("SCS Block Erase", "Block Erase", 6, 2),
    flag("SCS Overwrite", "Overwrite", 6, 3),
    flag("SCS Deallocates", "Sanitize deallocates LBAs", 6, 4),
    flag("SCS Met", "All requirements of Sanitize are met", 6, 15),
    {"DSMC", "Dataset Management Command Support", 8, 2, Format::HEX},
    flag("DSMC Command", "Dataset Management", 8, 0),
    flag("DSMC Deallocate", "Attribute Deallocate", 8, 1),
    flag("DSMC Met", "All requirements of Dataset Management are met", 8, 15),
    {"WUNC", "Write Uncorrectable Command Support", 10, 2, Format::HEX},
    flag("WUNC Command", "Write Uncorrectable", 10, 0),
    flag("WUNC One LBA", "Write Uncorrectable of one LBA", 10, 1),
    flag("WUNC Maximum LBAs", "Write Uncorrectable of the maximum of LBAs", 10, 2),
    flag("WUNC NVMe-IO-14", "Requirement NVMe-IO-14 is met", 10, 3),
    flag("WUNC Met", "All requirements of Write Uncorrectable are met", 10, 15),
    {"FOS", "Fused Operation Support", 12, 2, Format::HEX},
    flag("FOS Compare and Write", "Compare and Write", 12, 0),
    flag("FOS Met", "All requirements of fused operations are met", 12, 15),
    {"MVDPS", "Minimum Valid DSSD Power State (watts)", 14, 2, Format::DECIMAL},
    {"LPV", "Log Page Version", 4078, 2, Format::DECIMAL},
    {"LPG", "Log Page GUID", 4080, 16, Format::BYTES},
};

constexpr FieldRow UNSUPPORTED[] = {  // log C5h
    {"NUR", "Number of Unsupported Requirement IDs", 0, 2, Format::DECIMAL},
    {"LPV", "Log Page Version", 4078, 2, Format::DECIMAL},
    {"LPG", "Log Page GUID", 4080, 16, Format::BYTES},
};

constexpr FieldRow HARDWARE[] = {  // log C6h
    {"LPV", "Log Page Version", 0, 2, Format::DECIMAL},
    {"LPG", "Log Page GUID", 16, 16, Format::BYTES},
};
constexpr Word COMPONENTS[] = {
    {0x1, "controller ASIC"}, {0x2, "NAND"}, {0x3, "DRAM"}, {0x4, "PMIC"}, {0x5, "PCB"}, {0x6, "capacitor"},
    {0x7, "regulator"}, {0x8, "case"}, {0x9, "device serial number"}, {0xA, "country of origin"},
    {0xB, "global device hardware revision"}, {0xC, "born on date"}, {},
};
constexpr FieldRow COMPONENT[] = {
    inWords(COMPONENTS, {"CID", "Component Identifier", 16, 4, Format::HEX}),
    {"MFG", "Manufacturer", 20, 8, Format::TEXT},
    {"Revision", "Revision of the component", 28, 8, Format::TEXT},
    {"MFGC", "Manufacturer Code", 36, 8, Format::TEXT},
};

constexpr FieldRow TCG[] = {  // log C7h
    {"State", "State of the Security Providers", 0, 1, Format::HEX},
    flag("State CPIN SID", "Value of C_PIN_SID", 0, 0),
    flag("State SID Blocked", "SID authentication is blocked", 0, 1),
    flag("State Locking Enabled", "Locking is enabled", 0, 2),
    flag("State SUM Owner", "Single User Mode has an owner", 0, 3),
    {"LSPAC", "Locking SP Activation Count", 4, 1, Format::DECIMAL},
    {"TPRC", "TPer Revert Count", 5, 1, Format::DECIMAL},
    {"LSPRC", "Locking SP Revert Count", 6, 1, Format::DECIMAL},
    {"NLO", "Locking Objects", 7, 1, Format::DECIMAL},
    {"NSUMLO", "Single User Mode Locking Objects", 8, 1, Format::DECIMAL},
    {"NRPLO", "Range Provisioned Locking Objects", 9, 1, Format::DECIMAL},
    {"NNPLO", "Namespace Provisioned Locking Objects", 10, 1, Format::DECIMAL},
    {"NRLLO", "Read Locked Locking Objects", 11, 1, Format::DECIMAL},
    {"NWLLO", "Write Locked Locking Objects", 12, 1, Format::DECIMAL},
    {"NRULO", "Read Unlocked Locking Objects", 13, 1, Format::DECIMAL},
    {"NWULO", "Write Unlocked Locking Objects", 14, 1, Format::DECIMAL},
    {"SATC", "SID Authentication Try Count", 16, 4, Format::DECIMAL},
    {"SATL", "SID Authentication Try Limit", 20, 4, Format::DECIMAL},
    {"PTRC", "Programmatic TCG Reset Count", 24, 4, Format::DECIMAL},
    {"PRLC", "Programmatic Reset Lock Count", 28, 4, Format::DECIMAL},
    {"TCGEC", "TCG Error Count", 32, 4, Format::DECIMAL},
    since(2, {"NNPLOE", "Namespace Provisioned Locking Objects Extended", 36, 2, Format::DECIMAL}),
    {"LPV", "Log Page Version", OFFSET_VERSION, 2, Format::DECIMAL},
    {"LPG", "Log Page GUID", 496, 16, Format::BYTES},
};

constexpr FieldRow TELEMETRY_STRINGS[] = {  // log C9h
    {"LPV", "Log Page Version", 0, 1, Format::DECIMAL},
    {"LPG", "Log Page GUID", 16, 16, Format::BYTES},
};
// clang-format on

/// The fields of a page of 512 bytes, as far as its version has them.
FieldTree decodeVersioned(const char* heading, FieldRows rows, const Payload& data) {
    FieldTree tree{heading, {}, {}};
    // Cut before its version, a page shows what every version has.
    const uint16_t version = data.getSize() < OFFSET_VERSION + 2 ? uint16_t{0} : le16(data.getData() + OFFSET_VERSION);
    addFields(tree, rows, data.getData(), data.getSize(), version);
    return tree;
}

/// What is left of a page at `offset`: null and 0 after its end.
struct Rest {
    const uint8_t* at = nullptr;
    size_t size = 0;
};
Rest restOf(const Payload& data, uint64_t offset) {
    if (offset >= data.getSize()) return {};
    return {data.getData() + offset, data.getSize() - static_cast<size_t>(offset)};
}

std::string textOrNone(const uint8_t* at, size_t length) {
    const std::string text = shownText(at, length);
    return text.empty() ? NOT_REPORTED : text;
}

/// A table of `rows` that may be cut: its fields as far as they are there.
void addAt(FieldTree& tree, FieldRows rows, const Payload& data, size_t offset) {
    const Rest rest = restOf(data, offset);
    addFields(tree, rows, rest.at, rest.size);
}

/// By Panic Reset Action, from its bit 0 on.
constexpr const char* PANIC_RESETS[] = {"NVMe Controller Reset",     "NVM Subsystem Reset",
                                        "PCIe Function Level Reset", "PERST",
                                        "main power cycle",          "PCIe Conventional Hot Reset"};

/// What is to be done after a panic. Device Recovery Action 1 is a mask of actions to some who read the specification,
/// a number to others: its meaning is left to the maker's documents.
std::string panicEndText(const OcpErrorRecoveryLog& log) {
    std::string resets;
    for (unsigned i = 0; i < std::size(PANIC_RESETS); ++i) {
        if (bit(log.panicResetAction, i)) resets.append(resets.empty() ? "" : " or ").append(PANIC_RESETS[i]);
    }
    std::string text = resets.empty() ? "The drive does not report which reset ends the panic" : "Ended by " + resets;
    if (log.panicResetWaitTime != 0)
        text += "; the drive wants " + std::to_string(log.panicResetWaitTime) + " ms to get ready after it";
    if (log.recoveryAction != 0) text += "; Device Recovery Action 1 is " + hexText(log.recoveryAction, 2);
    return text + ".";
}

constexpr size_t BUCKETS = 4;
constexpr size_t BUCKET_BYTES = 16;
constexpr size_t STAMPS_BYTES = 24;
constexpr size_t LATENCIES_BYTES = 6;

/// Where the counters, stamps and latencies of a kind of buckets are.
struct LatencyBuckets {
    const char* heading;
    size_t offsetOfCounters;   ///< bucket 0 first
    size_t offsetOfStamps;     ///< bucket 3 first
    size_t offsetOfLatencies;  ///< bucket 3 first
    size_t offsetOfUnits;
};
constexpr LatencyBuckets LATENCY_BUCKETS[] = {
    {"Active Bucket ", offsetof(OcpLatencyMonitorLog, activeCounters), offsetof(OcpLatencyMonitorLog, activeStamps),
     offsetof(OcpLatencyMonitorLog, activeLatencies), offsetof(OcpLatencyMonitorLog, activeStampUnits)},
    {"Static Bucket ", offsetof(OcpLatencyMonitorLog, staticCounters), offsetof(OcpLatencyMonitorLog, staticStamps),
     offsetof(OcpLatencyMonitorLog, staticLatencies), offsetof(OcpLatencyMonitorLog, staticStampUnits)},
};

/// A stamp counts milliseconds since 1970 where `isDate`; what it counts otherwise is the maker's own.
std::string stampText(uint64_t stamp, bool isDate) {
    if (stamp == UINT64_MAX) return "none";
    return isDate ? timeText(bits(stamp, 47, 0)) : hexText(stamp, 16);
}

void addStamps(FieldTree& tree, const Payload& data, const LatencyBuckets& kind, size_t bucket) {
    constexpr size_t COMMANDS = std::size(LATENCY_STAMPS);
    const Rest stamps = restOf(data, kind.offsetOfStamps + (BUCKETS - 1 - bucket) * STAMPS_BYTES);
    const Rest units = restOf(data, kind.offsetOfUnits);
    if (stamps.size < STAMPS_BYTES || units.size < 2) return;
    for (size_t i = 0; i < COMMANDS; ++i) {
        // The bits of a bucket are for Read, Write and Dataset Management, its stamps in the opposite order.
        const auto unit = static_cast<unsigned>(bucket * COMMANDS + (COMMANDS - 1 - i));
        const FieldRow& row = LATENCY_STAMPS[i];
        tree.add(fieldName(row), fieldDescription(row),
                 stampText(le64(stamps.at + row.offset), bit(le16(units.at), unit)));
    }
}

void addBuckets(FieldTree& tree, const Payload& data, const LatencyBuckets& kind) {
    for (size_t bucket = 0; bucket < BUCKETS; ++bucket) {
        FieldTree part{kind.heading + std::to_string(bucket), {}, {}};
        addAt(part, LATENCY_COUNTERS, data, kind.offsetOfCounters + bucket * BUCKET_BYTES);
        addStamps(part, data, kind, bucket);
        addAt(part, LATENCIES, data, kind.offsetOfLatencies + (BUCKETS - 1 - bucket) * LATENCIES_BYTES);
        if (!part.fields.empty()) tree.parts.push_back(std::move(part));
    }
}

/// A descriptor's place is its wattage.
void addPowerStates(FieldTree& tree, const Payload& data) {
    FieldTree& part = tree.addPart("DSSD Power States");
    for (unsigned watts = 1; watts <= OCP_MAX_WATTS; ++watts) {
        const Rest descriptor = restOf(data, OCP_POWER_STATE_DESCRIPTORS + watts);
        if (descriptor.size == 0 || !bit(*descriptor.at, OCP_POWER_STATE_VALID_BIT)) continue;
        part.add("State " + std::to_string(watts), "NVMe power state", std::to_string(bits(*descriptor.at, 4, 0)));
    }
}

/// Dwords as bytes, without an overflow: what claims to be that long is refused before it is read.
uint64_t dwordsAsBytes(uint64_t dwords) {
    return std::min(dwords, UINT64_MAX / 8) * 4;
}

constexpr uint32_t HARDWARE_HEAD_BYTES = 64;
constexpr size_t COMPONENT_BYTES = 44;

/// Version 1 of log C6h counts its length in dwords, later ones in bytes.
uint64_t hardwareLength(const ControllerCapabilities&, const uint8_t* head) {
    constexpr size_t OFFSET_LENGTH = 32;
    const uint64_t length = le64(head + OFFSET_LENGTH);
    const uint64_t bytes = le16(head) == 1 ? dwordsAsBytes(length) : dwordsAsBytes(length / 4 + (length % 4 != 0));
    return std::max<uint64_t>(bytes, HARDWARE_HEAD_BYTES);
}

/// A descriptor of a component and what follows it: date or lot code, and additional information, in dwords.
/// Returns the bytes of all; 0 where they do not fit the page.
size_t addComponent(FieldTree& tree, const Rest& rest, size_t number) {
    const uint64_t lotBytes = dwordsAsBytes(le64(rest.at));
    const uint64_t informationBytes = dwordsAsBytes(le64(rest.at + 8));
    const size_t room = rest.size - COMPONENT_BYTES;
    FieldTree& part = tree.addPart("Component " + std::to_string(number));
    addFields(part, COMPONENT, rest.at, rest.size);
    if (lotBytes > room || informationBytes > room - lotBytes) {
        part.add("Damaged", "The lengths of its texts do not fit the page", "True");
        return 0;
    }
    const auto lot = static_cast<size_t>(lotBytes);
    const auto information = static_cast<size_t>(informationBytes);
    const uint8_t* at = rest.at + COMPONENT_BYTES;
    if (lot != 0) part.add("DLC", "Date or Lot Code", textOrNone(at, lot));
    if (information != 0)
        part.add("ACI", "Additional Component Information", ostrel::core::bytesToHex(at + lot, information));
    return COMPONENT_BYTES + lot + information;
}

constexpr uint32_t STRINGS_HEAD_BYTES = 432;
constexpr size_t STRING_ENTRY_BYTES = 16;

uint64_t stringsLength(const ControllerCapabilities&, const uint8_t* head) {
    constexpr size_t OFFSET_LENGTH = 32;
    return std::max<uint64_t>(dwordsAsBytes(le64(head + OFFSET_LENGTH)), STRINGS_HEAD_BYTES);
}

/// A table of log C9h: where its start and size are, in dwords, and the names of its entries.
struct StringTable {
    const char* heading;
    size_t offset;
    OcpTelemetryString::Kind kind;
};
constexpr StringTable STRING_TABLES[] = {
    {"Statistics", 64, OcpTelemetryString::Kind::STATISTIC},
    {"Events", 80, OcpTelemetryString::Kind::EVENT},
    {"Vendor Unique Events", 96, OcpTelemetryString::Kind::VENDOR_EVENT},
};
constexpr size_t OFFSET_OF_TEXTS = 112;  // start and size of the ASCII table

/// The bytes of a table whose start and size are at `offset`, as far as the page reaches.
Rest tableAt(const Payload& data, size_t offset) {
    Rest table = restOf(data, dwordsAsBytes(le64(data.getData() + offset)));
    table.size = static_cast<size_t>(std::min<uint64_t>(table.size, dwordsAsBytes(le64(data.getData() + offset + 8))));
    return table;
}

/// The text of an entry; its length counts from 0.
std::string entryText(const Rest& texts, const uint8_t* entry) {
    const uint64_t offset = dwordsAsBytes(le64(entry + 4));
    const size_t length = size_t{entry[3]} + 1;
    if (offset >= texts.size || length > texts.size - offset) return "beyond the end of the page";
    return textOrNone(texts.at + offset, length);
}

/// The names of a table; `data` has the head of the page.
std::vector<OcpTelemetryString> stringsOf(const Payload& data, const StringTable& table) {
    const Rest entries = tableAt(data, table.offset);
    const Rest texts = tableAt(data, OFFSET_OF_TEXTS);
    std::vector<OcpTelemetryString> strings;
    for (size_t at = 0; at + STRING_ENTRY_BYTES <= entries.size; at += STRING_ENTRY_BYTES) {
        const uint8_t* entry = entries.at + at;
        const bool isStatistic = table.kind == OcpTelemetryString::Kind::STATISTIC;
        strings.push_back({table.kind, isStatistic ? uint8_t{0} : entry[0], le16(isStatistic ? entry : entry + 1),
                           entryText(texts, entry)});
    }
    return strings;
}

/// Of the event FIFOs that have one.
std::vector<OcpTelemetryString> fifoNames(const Payload& data) {
    constexpr size_t OFFSET_FIFO_NAMES = 128;
    constexpr uint16_t FIFOS = 16;
    constexpr size_t FIFO_NAME_BYTES = 16;
    std::vector<OcpTelemetryString> strings;
    for (uint16_t i = 0; i < FIFOS; ++i) {
        std::string name = shownText(data.getData() + OFFSET_FIFO_NAMES + i * FIFO_NAME_BYTES, FIFO_NAME_BYTES);
        if (!name.empty())
            strings.push_back({OcpTelemetryString::Kind::FIFO, 0, static_cast<uint16_t>(i + 1), std::move(name)});
    }
    return strings;
}

void addStrings(FieldTree& tree, const Payload& data, const StringTable& table) {
    FieldTree& part = tree.addPart(table.heading);
    for (const OcpTelemetryString& string : stringsOf(data, table)) {
        const bool isStatistic = string.kind == OcpTelemetryString::Kind::STATISTIC;
        part.add(isStatistic ? "Statistic " + hexText(string.id, 4)
                             : "Event " + hexText(string.eventClass, 2) + " " + hexText(string.id, 4),
                 string.text);
    }
}

// The pages end with version and GUID: those of 512 bytes at 494, those of 4096 at 4078.
constexpr uint16_t GUID_OF_512 = 496;
constexpr uint16_t GUID_OF_4096 = 4080;
constexpr uint16_t GUID_AT_HEAD = 16;
constexpr uint16_t ANY_LATER = UINT16_MAX;

// clang-format off
constexpr OcpLogPageRow OCP_LOG_PAGES[] = {
    {{LID_OCP_SMART, "OCP SMART / Health Information Extended", "ocp-smart",
      nullptr, OCP_SMART_BYTES, nullptr, decodeOcpSmart},
     OCP_GUID_SMART,
     GUID_OF_512, OCP_SMART_OF_1_0, ANY_LATER},
    {{LID_OCP_ERROR_RECOVERY, "OCP Error Recovery", "ocp-recovery",
      nullptr, 512, nullptr, decodeOcpErrorRecovery},
     OCP_GUID_ERROR_RECOVERY,
     GUID_OF_512, OCP_SMART_OF_1_0, ANY_LATER},
    {{LID_OCP_FIRMWARE_HISTORY, "OCP Firmware Activation History", "ocp-firmware",
      nullptr, 4096, nullptr, decodeOcpFirmwareHistory},
     OCP_GUID_FIRMWARE_HISTORY,
     GUID_OF_4096, OCP_SMART_OF_1_0, OCP_SMART_OF_2_0},
    {{LID_OCP_LATENCY_MONITOR, "OCP Latency Monitor", "ocp-latency",
      nullptr, 512, nullptr, decodeOcpLatencyMonitor},
     OCP_GUID_LATENCY_MONITOR,
     GUID_OF_512, OCP_SMART_OF_2_0, ANY_LATER},
    {{LID_OCP_CAPABILITIES, "OCP Device Capabilities", "ocp-capabilities",
      nullptr, 4096, nullptr, decodeOcpCapabilities},
     OCP_GUID_CAPABILITIES,
     GUID_OF_4096, OCP_SMART_OF_2_0, ANY_LATER},
    {{LID_OCP_UNSUPPORTED_REQUIREMENTS, "OCP Unsupported Requirements", "ocp-unsupported",
      nullptr, 4096, nullptr, decodeOcpUnsupportedRequirements},
     OCP_GUID_UNSUPPORTED_REQUIREMENTS,
     GUID_OF_4096, OCP_SMART_OF_2_0, ANY_LATER},
    {{LID_OCP_HARDWARE_COMPONENTS, "OCP Hardware Component", "ocp-hardware",
      nullptr, HARDWARE_HEAD_BYTES, hardwareLength, decodeOcpHardwareComponents},
     OCP_GUID_HARDWARE_COMPONENTS,
     GUID_AT_HEAD, 0, 0},
    {{LID_OCP_TCG_CONFIGURATION, "OCP TCG Configuration", "ocp-tcg",
      nullptr, 512, nullptr, decodeOcpTcgConfiguration},
     OCP_GUID_TCG_CONFIGURATION,
     GUID_OF_512, 0, 0},
    {{LID_OCP_TELEMETRY_STRINGS, "OCP Telemetry String Log", "ocp-strings",
      nullptr, STRINGS_HEAD_BYTES, stringsLength, decodeOcpTelemetryStrings},
     OCP_GUID_TELEMETRY_STRINGS,
     GUID_AT_HEAD, 0, 0},
};
// clang-format on

}  // namespace

bool OcpLogPageRow::isIn(const Payload& data) const {
    return data.getSize() >= offsetOfGuid + guid.size() &&
           std::memcmp(data.getData() + offsetOfGuid, guid.data(), guid.size()) == 0;
}

const OcpLogPageRow* findOcpLogPage(uint8_t lid) {
    return findRow(ocpLogPagesBegin(), ocpLogPagesEnd(),
                   [lid](const OcpLogPageRow& row) { return row.page.lid == lid; });
}

const OcpLogPageRow* findOcpLogPage(const std::string& name) {
    return findRow(ocpLogPagesBegin(), ocpLogPagesEnd(),
                   [&](const OcpLogPageRow& row) { return isLogName(row.page, name); });
}

const OcpLogPageRow* identifyOcpLogPage(uint8_t lid, const Payload& data) {
    const OcpLogPageRow* row = findOcpLogPage(lid);
    return row != nullptr && row->isIn(data) ? row : nullptr;
}

const OcpLogPageRow* ocpLogPagesBegin() {
    return std::begin(OCP_LOG_PAGES);
}
const OcpLogPageRow* ocpLogPagesEnd() {
    return std::end(OCP_LOG_PAGES);
}

uint16_t ocpSmartVersion(const uint8_t* page) {
    return le16(page + OFFSET_VERSION);
}

std::string ocpPanicText(const uint8_t* page) {
    const auto log = structureAt<OcpErrorRecoveryLog>(page);
    if (log.panicId == 0) return {};
    return "The drive's firmware has panicked with the ID " + hexText(log.panicId) + ". " + panicEndText(log);
}

bool isOcpSmart(const Payload& data) {
    return identifyOcpLogPage(LID_OCP_SMART, data) != nullptr;
}

FieldTree decodeOcpSmart(const Payload& data) {
    return decodeVersioned("OCP SMART / Health Information Extended", SMART, data);
}

FieldTree decodeOcpErrorRecovery(const Payload& data) {
    FieldTree tree = decodeVersioned("OCP Error Recovery", ERROR_RECOVERY, data);
    if (data.getSize() < sizeof(OcpErrorRecoveryLog)) return tree;
    const std::string panic = ocpPanicText(data.getData());
    if (!panic.empty()) tree.add("Panic", "What happened and what ends it", panic);
    return tree;
}

FieldTree decodeOcpFirmwareHistory(const Payload& data) {
    constexpr uint32_t MAX_ENTRIES = 20;
    constexpr size_t OFFSET_ENTRIES = 8;
    constexpr size_t ENTRY_BYTES = 64;
    FieldTree tree = decodeTable("OCP Firmware Activation History", FIRMWARE_HISTORY, data);
    const size_t count = data.getSize() < OFFSET_ENTRIES ? 0 : std::min(le32(data.getData() + 4), MAX_ENTRIES);
    for (size_t i = 0; i < count; ++i) {
        const Rest entry = restOf(data, OFFSET_ENTRIES + i * ENTRY_BYTES);
        if (entry.size < ENTRY_BYTES) break;
        addFields(tree.addPart("Entry " + std::to_string(i + 1)), FIRMWARE_HISTORY_ENTRY, entry.at, ENTRY_BYTES);
    }
    return tree;
}

FieldTree decodeOcpLatencyMonitor(const Payload& data) {
    FieldTree tree = decodeVersioned("OCP Latency Monitor", LATENCY_MONITOR, data);
    for (const LatencyBuckets& kind : LATENCY_BUCKETS) addBuckets(tree, data, kind);
    return tree;
}

FieldTree decodeOcpCapabilities(const Payload& data) {
    FieldTree tree = decodeTable("OCP Device Capabilities", CAPABILITIES, data);
    addPowerStates(tree, data);
    return tree;
}

FieldTree decodeOcpUnsupportedRequirements(const Payload& data) {
    constexpr uint16_t MAX_REQUIREMENTS = 253;
    constexpr size_t OFFSET_REQUIREMENTS = 16;
    constexpr size_t REQUIREMENT_BYTES = 16;
    FieldTree tree = decodeTable("OCP Unsupported Requirements", UNSUPPORTED, data);
    const size_t count = data.getSize() < 2 ? 0 : std::min(le16(data.getData()), MAX_REQUIREMENTS);
    std::vector<std::string> requirements;
    for (size_t i = 0; i < count; ++i) {
        const Rest text = restOf(data, OFFSET_REQUIREMENTS + i * REQUIREMENT_BYTES);
        if (text.size < REQUIREMENT_BYTES) break;
        requirements.push_back(textOrNone(text.at, REQUIREMENT_BYTES));
    }
    tree.addList("Requirements", requirements);
    return tree;
}

FieldTree decodeOcpHardwareComponents(const Payload& data) {
    constexpr size_t OFFSET_COMPONENT = 16;
    FieldTree tree = decodeTable("OCP Hardware Component", HARDWARE, data);
    size_t offset = HARDWARE_HEAD_BYTES;
    for (size_t number = 1;; ++number) {
        const Rest rest = restOf(data, offset);
        // What follows the last one is zero.
        if (rest.size < COMPONENT_BYTES || le32(rest.at + OFFSET_COMPONENT) == 0) return tree;
        const size_t bytes = addComponent(tree, rest, number);
        if (bytes == 0) return tree;
        offset += bytes;
    }
}

FieldTree decodeOcpTcgConfiguration(const Payload& data) {
    return decodeVersioned("OCP TCG Configuration", TCG, data);
}

FieldTree decodeOcpTelemetryStrings(const Payload& data) {
    FieldTree tree = decodeTable("OCP Telemetry String Log", TELEMETRY_STRINGS, data);
    if (data.getSize() < STRINGS_HEAD_BYTES) return tree;
    for (const OcpTelemetryString& fifo : fifoNames(data))
        tree.add("FIFO " + std::to_string(fifo.id), "Name of the event FIFO", fifo.text);
    for (const StringTable& table : STRING_TABLES) addStrings(tree, data, table);
    return tree;
}

std::vector<OcpTelemetryString> ocpTelemetryStrings(const Payload& page) {
    if (page.getSize() < STRINGS_HEAD_BYTES || identifyOcpLogPage(LID_OCP_TELEMETRY_STRINGS, page) == nullptr)
        return {};
    std::vector<OcpTelemetryString> strings = fifoNames(page);
    for (const StringTable& table : STRING_TABLES) {
        for (OcpTelemetryString& string : stringsOf(page, table)) strings.push_back(std::move(string));
    }
    return strings;
}

std::vector<Structure> ocpLogStructures() {
    return {
        {"OCP SMART / Health Information Extended", SMART},
        {"OCP Error Recovery", ERROR_RECOVERY},
        {"OCP Firmware Activation History", FIRMWARE_HISTORY},
        {"OCP Firmware Activation History > Entry *", FIRMWARE_HISTORY_ENTRY},
        {"OCP Latency Monitor", LATENCY_MONITOR},
        {"OCP Latency Monitor > Active Bucket *", LATENCY_COUNTERS},
        {"OCP Latency Monitor > Active Bucket *", LATENCY_STAMPS},
        {"OCP Latency Monitor > Active Bucket *", LATENCIES},
        {"OCP Latency Monitor > Static Bucket *", LATENCY_COUNTERS},
        {"OCP Latency Monitor > Static Bucket *", LATENCY_STAMPS},
        {"OCP Latency Monitor > Static Bucket *", LATENCIES},
        {"OCP Device Capabilities", CAPABILITIES},
        {"OCP Unsupported Requirements", UNSUPPORTED},
        {"OCP Hardware Component", HARDWARE},
        {"OCP Hardware Component > Component *", COMPONENT},
        {"OCP TCG Configuration", TCG},
        {"OCP Telemetry String Log", TELEMETRY_STRINGS},
    };
}

}  // namespace features::nvme
