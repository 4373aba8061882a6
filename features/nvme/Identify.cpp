#include "features/nvme/Identify.h"

#include <algorithm>

#include "features/nvme/Bytes.h"
#include "features/nvme/FieldTable.h"
#include "features/nvme/NamespaceProperties.h"
#include "features/nvme/Structures.h"
#include "ostrel/core/Strings.h"

namespace features::nvme {

using ostrel::core::Payload;

namespace {

// clang-format off
constexpr Word NO_LIMIT_AT_0[] = {{0, "no limit"}, {}};
constexpr Word NONE_AT_0[] = {{0, "none"}, {}};
constexpr Word NOT_AVAILABLE_AT_0[] = {{0, "not available"}, {}};
constexpr Word FIRMWARE_GRANULARITY[] = {{0, NOT_REPORTED}, {255, "no restriction"}, {}};
constexpr Word CONTROLLER_TYPES[] = {
    {0, NOT_REPORTED}, {1, "I/O controller"}, {2, "discovery controller"}, {3, "administrative controller"}, {},
};
constexpr Word MEDIA_MODIFICATION[] = {
    {0, NOT_REPORTED}, {1, "media is not modified by the controller"}, {2, "media is modified by the controller"}, {},
};
constexpr Word FLUSH_BEHAVIOR[] = {
    {0, NOT_REPORTED}, {2, "does not take all namespaces"}, {3, "takes all namespaces"}, {},
};
constexpr Word SGL_SUPPORT[] = {
    {0, "not supported"}, {1, "supported without alignment"}, {2, "supported with dword alignment"}, {},
};

constexpr FieldRow CONTROLLER_FIELDS[] = {  // section 5.15.2.2
    {"VID", "PCI Vendor ID", 0, 2, Format::HEX},
    {"SSVID", "PCI Subsystem Vendor ID", 2, 2, Format::HEX},
    {"SN", "Serial Number", 4, 20, Format::TEXT},
    {"MN", "Model Number", 24, 40, Format::TEXT},
    {"FR", "Firmware Revision", 64, 8, Format::TEXT},
    {"RAB", "Recommended Arbitration Burst", 72, 1, Format::POWER_OF_2},
    {"IEEE", "IEEE OUI Identifier", 73, 3, Format::HEX},
    {"CMIC", "Controller Multi-Path I/O and Namespace Sharing Capabilities", 76, 1, Format::HEX},
    flag("CMIC Multiple Ports", "NVM subsystem may have more than one port", 76, 0),
    flag("CMIC Multiple Controllers", "NVM subsystem may have more than one controller", 76, 1),
    flag("CMIC SR-IOV", "Controller is an SR-IOV virtual function", 76, 2),
    flag("CMIC ANA", "Asymmetric Namespace Access Reporting", 76, 3),
    inWords(NO_LIMIT_AT_0, {"MDTS", "Maximum Data Transfer Size as Power of 2 of Memory Pages", 77, 1, Format::DECIMAL}),
    {"CNTLID", "Controller ID", 78, 2, Format::HEX},
    {"VER", "Version", 80, 4, Format::VERSION},
    unless0({"RTD3R", "RTD3 Resume Latency (microseconds)", 84, 4, Format::DECIMAL}),
    unless0({"RTD3E", "RTD3 Entry Latency (microseconds)", 88, 4, Format::DECIMAL}),
    {"OAES", "Optional Asynchronous Events Supported", 92, 4, Format::HEX},
    flag("OAES Namespace Attribute", "Namespace Attribute Notices", 92, 8),
    flag("OAES Firmware Activation", "Firmware Activation Notices", 92, 9),
    flag("OAES ANA Change", "Asymmetric Namespace Access Change Notices", 92, 11),
    flag("OAES Predictable Latency", "Predictable Latency Event Aggregate Log Change Notices", 92, 12),
    flag("OAES LBA Status", "LBA Status Information Notices", 92, 13),
    flag("OAES Endurance Group", "Endurance Group Event Aggregate Log Page Change Notices", 92, 14),
    {"CTRATT", "Controller Attributes", 96, 4, Format::HEX},
    flag("CTRATT Host Identifier", "128-bit Host Identifier", 96, 0),
    flag("CTRATT Non-Operational Power", "Non-Operational Power State Permissive Mode", 96, 1),
    flag("CTRATT NVM Sets", "NVM Sets", 96, 2),
    flag("CTRATT Read Recovery Levels", "Read Recovery Levels", 96, 3),
    flag("CTRATT Endurance Groups", "Endurance Groups", 96, 4),
    flag("CTRATT Predictable Latency", "Predictable Latency Mode", 96, 5),
    flag("CTRATT Traffic Based Keep Alive", "Traffic Based Keep Alive", 96, 6),
    flag("CTRATT Namespace Granularity", "Namespace Granularity", 96, 7),
    flag("CTRATT SQ Associations", "Submission Queue Associations", 96, 8),
    flag("CTRATT UUID List", "UUID List", 96, 9),
    flag("CTRATT Multi-Domain", "Multi-Domain Subsystem", 96, 10),  // this and the next five: NVMe 2.0
    flag("CTRATT Fixed Capacity", "Fixed Capacity Management", 96, 11),
    flag("CTRATT Variable Capacity", "Variable Capacity Management", 96, 12),
    flag("CTRATT Delete Endurance Group", "Delete Endurance Group", 96, 13),
    flag("CTRATT Delete NVM Set", "Delete NVM Set", 96, 14),
    flag("CTRATT Extended LBA Formats", "Extended LBA Formats", 96, 15),
    {"RRLS", "Read Recovery Levels Supported", 100, 2, Format::HEX},
    word("CNTRLTYPE", "Controller Type", 111, 7, 0, CONTROLLER_TYPES),
    {"FGUID", "FRU Globally Unique Identifier", 112, 16, Format::BYTES},
    {"CRDT1", "Command Retry Delay Time 1 (units of 100 milliseconds)", 128, 2, Format::DECIMAL},
    {"CRDT2", "Command Retry Delay Time 2 (units of 100 milliseconds)", 130, 2, Format::DECIMAL},
    {"CRDT3", "Command Retry Delay Time 3 (units of 100 milliseconds)", 132, 2, Format::DECIMAL},
    {"NVMSR", "NVM Subsystem Report", 253, 1, Format::HEX},  // this and the next two: NVMe-MI 1.1
    {"VWCI", "VPD Write Cycle Information", 254, 1, Format::HEX},
    {"MEC", "Management Endpoint Capabilities", 255, 1, Format::HEX},
    {"OACS", "Optional Admin Command Support", 256, 2, Format::HEX},
    flag("OACS Security", "Security Send and Security Receive commands", 256, 0),
    flag("OACS Format", "Format NVM command", 256, 1),
    flag("OACS Firmware", "Firmware Commit and Firmware Image Download commands", 256, 2),
    flag("OACS Namespace Management", "Namespace Management and Namespace Attachment commands", 256, 3),
    flag("OACS Self-test", "Device Self-test command", 256, 4),
    flag("OACS Directives", "Directives", 256, 5),
    flag("OACS NVMe-MI", "NVMe-MI Send and NVMe-MI Receive commands", 256, 6),
    flag("OACS Virtualization", "Virtualization Management command", 256, 7),
    flag("OACS Doorbell Buffer", "Doorbell Buffer Config command", 256, 8),
    flag("OACS LBA Status", "Get LBA Status", 256, 9),
    flag("OACS Lockdown", "Command and Feature Lockdown", 256, 10),  // NVMe 2.0
    {"ACL", "Abort Command Limit", 258, 1, Format::DECIMAL_0BASED},
    {"AERL", "Asynchronous Event Request Limit", 259, 1, Format::DECIMAL_0BASED},
    {"FRMW", "Firmware Updates", 260, 1, Format::HEX},
    flag("FRMW Slot 1 Read Only", "Firmware slot 1 is read only", 260, 0),
    bitsRow("FRMW Slots", "Number of firmware slots", 260, 3, 1),
    flag("FRMW Activation Without Reset", "Firmware activation without a reset", 260, 4),
    {"LPA", "Log Page Attributes", 261, 1, Format::HEX},
    flag("LPA SMART per Namespace", "SMART / Health Information log page per namespace", 261, 0),
    flag("LPA Command Effects", "Commands Supported and Effects log page", 261, 1),
    flag("LPA Extended Data", "Log Page Offset and 32-bit Number of Dwords", 261, 2),
    flag("LPA Telemetry", "Telemetry Host-Initiated and Controller-Initiated log pages", 261, 3),
    flag("LPA Persistent Event", "Persistent Event log", 261, 4),
    flag("LPA Supported Logs", "Supported Log Pages log page", 261, 5),  // this and the next: NVMe 2.0
    flag("LPA Data Area 4", "Telemetry Data Area 4", 261, 6),
    {"ELPE", "Error Log Page Entries", 262, 1, Format::DECIMAL_0BASED},
    {"NPSS", "Number of Power States Support", 263, 1, Format::DECIMAL_0BASED},
    {"AVSCC", "Admin Vendor Specific Command Configuration", 264, 1, Format::HEX},
    flag("AVSCC Standard Format", "Admin Vendor Specific Commands use the standard format", 264, 0),
    {"APSTA", "Autonomous Power State Transition Attributes", 265, 1, Format::HEX},
    flag("APSTA Supported", "Autonomous power state transitions", 265, 0),
    {"WCTEMP", "Warning Composite Temperature Threshold (C)", 266, 2, Format::CELSIUS},
    {"CCTEMP", "Critical Composite Temperature Threshold (C)", 268, 2, Format::CELSIUS},
    unless0({"MTFA", "Maximum Time for Firmware Activation (units of 100 milliseconds)", 270, 2, Format::DECIMAL}),
    {"HMPRE", "Host Memory Buffer Preferred Size (units of 4 KiB)", 272, 4, Format::DECIMAL},
    {"HMMIN", "Host Memory Buffer Minimum Size (units of 4 KiB)", 276, 4, Format::DECIMAL},
    {"TNVMCAP", "Total NVM Capacity (bytes)", 280, 16, Format::COUNTER},
    {"UNVMCAP", "Unallocated NVM Capacity (bytes)", 296, 16, Format::COUNTER},
    {"RPMBS", "Replay Protected Memory Block Support", 312, 4, Format::HEX},
    bitsRow("RPMBS Units", "Number of RPMB Units", 312, 2, 0),
    bitsRow("RPMBS Authentication", "Authentication Method", 312, 5, 3),
    bitsRow("RPMBS Total Size", "Size of an RPMB unit (units of 128 KiB)", 312, 23, 16, Format::DECIMAL_0BASED),
    bitsRow("RPMBS Access Size", "Most that one command reads or writes (units of 512 bytes)", 312, 31, 24,
            Format::DECIMAL_0BASED),
    {"EDSTT", "Extended Device Self-test Time (minutes)", 316, 2, Format::DECIMAL},
    {"DSTO", "Device Self-test Options", 318, 1, Format::HEX},
    flag("DSTO One at a Time", "One device self-test operation in progress per NVM subsystem", 318, 0),
    inWords(FIRMWARE_GRANULARITY, {"FWUG", "Firmware Update Granularity (units of 4 KiB)", 319, 1, Format::DECIMAL}),
    {"KAS", "Keep Alive Support (units of 100 milliseconds)", 320, 2, Format::DECIMAL},
    {"HCTMA", "Host Controlled Thermal Management Attributes", 322, 2, Format::HEX},
    flag("HCTMA Supported", "Host controlled thermal management", 322, 0),
    {"MNTMT", "Minimum Thermal Management Temperature (C)", 324, 2, Format::CELSIUS},
    {"MXTMT", "Maximum Thermal Management Temperature (C)", 326, 2, Format::CELSIUS},
    {"SANICAP", "Sanitize Capabilities", 328, 4, Format::HEX},
    flag("SANICAP Crypto Erase", "Crypto Erase sanitize operation", 328, 0),
    flag("SANICAP Block Erase", "Block Erase sanitize operation", 328, 1),
    flag("SANICAP Overwrite", "Overwrite sanitize operation", 328, 2),
    flag("SANICAP No-Deallocate Inhibited", "No-Deallocate Inhibited", 328, 29),
    word("SANICAP Media Modified", "No-Deallocate Modifies Media After Sanitize", 328, 31, 30, MEDIA_MODIFICATION),
    {"HMMINDS", "Host Memory Buffer Minimum Descriptor Entry Size (units of 4 KiB)", 332, 4, Format::DECIMAL},
    {"HMMAXD", "Host Memory Maximum Descriptors Entries", 336, 2, Format::DECIMAL},
    {"NSETIDMAX", "NVM Set Identifier Maximum", 338, 2, Format::DECIMAL},
    {"ENDGIDMAX", "Endurance Group Identifier Maximum", 340, 2, Format::DECIMAL},
    {"ANATT", "ANA Transition Time (seconds)", 342, 1, Format::DECIMAL},
    {"ANACAP", "Asymmetric Namespace Access Capabilities", 343, 1, Format::HEX},
    flag("ANACAP Optimized", "ANA Optimized state", 343, 0),
    flag("ANACAP Non-Optimized", "ANA Non-Optimized state", 343, 1),
    flag("ANACAP Inaccessible", "ANA Inaccessible state", 343, 2),
    flag("ANACAP Persistent Loss", "ANA Persistent Loss state", 343, 3),
    flag("ANACAP Change", "ANA Change state", 343, 4),
    flag("ANACAP Group Fixed", "ANAGRPID does not change while the namespace is attached", 343, 6),
    flag("ANACAP Group Non-Zero", "ANAGRPID may be other than 0", 343, 7),
    {"ANAGRPMAX", "ANA Group Identifier Maximum", 344, 4, Format::DECIMAL},
    {"NANAGRPID", "Number of ANA Group Identifiers", 348, 4, Format::DECIMAL},
    {"PELS", "Persistent Event Log Size (units of 64 KiB)", 352, 4, Format::DECIMAL},
    {"DID", "Domain Identifier", 356, 2, Format::DECIMAL},  // this and the next: NVMe 2.0
    {"MEGCAP", "Maximum Endurance Group Capacity (bytes)", 368, 16, Format::COUNTER},
    {"SQES", "Submission Queue Entry Size", 512, 1, Format::HEX},
    bitsRow("SQES Required", "Required entry size (bytes)", 512, 3, 0, Format::POWER_OF_2),
    bitsRow("SQES Maximum", "Maximum entry size (bytes)", 512, 7, 4, Format::POWER_OF_2),
    {"CQES", "Completion Queue Entry Size", 513, 1, Format::HEX},
    bitsRow("CQES Required", "Required entry size (bytes)", 513, 3, 0, Format::POWER_OF_2),
    bitsRow("CQES Maximum", "Maximum entry size (bytes)", 513, 7, 4, Format::POWER_OF_2),
    {"MAXCMD", "Maximum Outstanding Commands", 514, 2, Format::DECIMAL},
    {"NN", "Number of Namespaces", 516, 4, Format::DECIMAL},
    {"ONCS", "Optional NVM Command Support", 520, 2, Format::HEX},
    flag("ONCS Compare", "Compare command", 520, 0),
    flag("ONCS Write Uncorrectable", "Write Uncorrectable command", 520, 1),
    flag("ONCS Dataset Management", "Dataset Management command", 520, 2),
    flag("ONCS Write Zeroes", "Write Zeroes command", 520, 3),
    flag("ONCS Save", "Save field in Set Features and Select field in Get Features", 520, 4),
    flag("ONCS Reservations", "Reservations", 520, 5),
    flag("ONCS Timestamp", "Timestamp feature", 520, 6),
    flag("ONCS Verify", "Verify command", 520, 7),
    flag("ONCS Copy", "Copy command", 520, 8),  // NVMe 2.0
    {"FUSES", "Fused Operation Support", 522, 2, Format::HEX},
    flag("FUSES Compare and Write", "Compare and Write fused operation", 522, 0),
    {"FNA", "Format NVM Attributes", 524, 1, Format::HEX},
    flag("FNA Format All", "A format applies to all namespaces", 524, 0),
    flag("FNA Secure Erase All", "A secure erase applies to all namespaces", 524, 1),
    flag("FNA Crypto Erase", "Cryptographic erase", 524, 2),
    {"VWC", "Volatile Write Cache", 525, 1, Format::HEX},
    flag("VWC Present", "A volatile write cache is present", 525, 0),
    word("VWC Flush Behavior", "Flush command", 525, 2, 1, FLUSH_BEHAVIOR),
    {"AWUN", "Atomic Write Unit Normal (blocks)", 526, 2, Format::DECIMAL_0BASED},
    {"AWUPF", "Atomic Write Unit Power Fail (blocks)", 528, 2, Format::DECIMAL_0BASED},
    {"NVSCC", "NVM Vendor Specific Command Configuration", 530, 1, Format::HEX},
    flag("NVSCC Standard Format", "NVM Vendor Specific Commands use the standard format", 530, 0),
    {"NWPC", "Namespace Write Protection Capabilities", 531, 1, Format::HEX},
    flag("NWPC Write Protect", "No Write Protect and Write Protect states", 531, 0),
    flag("NWPC Until Power Cycle", "Write Protect Until Power Cycle state", 531, 1),
    flag("NWPC Permanent", "Permanent Write Protect state", 531, 2),
    {"ACWU", "Atomic Compare and Write Unit (blocks)", 532, 2, Format::DECIMAL_0BASED},
    {"OCFS", "Optional Copy Formats Supported", 534, 2, Format::HEX},  // NVMe 2.0
    {"SGLS", "SGL Support", 536, 4, Format::HEX},
    word("SGLS Support", "SGLs for the NVM command set", 536, 1, 0, SGL_SUPPORT),
    flag("SGLS Keyed", "Keyed SGL Data Block descriptor", 536, 2),
    flag("SGLS Bit Bucket", "SGL Bit Bucket descriptor", 536, 16),
    flag("SGLS Metadata Alignment", "Byte aligned contiguous metadata buffer", 536, 17),
    flag("SGLS Longer", "SGL may be longer than the data", 536, 18),
    flag("SGLS Metadata Pointer", "Metadata Pointer with an SGL descriptor", 536, 19),
    flag("SGLS Offset", "SGL descriptors with an offset as address", 536, 20),
    flag("SGLS Transport", "Transport SGL Data Block descriptor", 536, 21),
    {"MNAN", "Maximum Number of Allowed Namespaces", 540, 4, Format::DECIMAL},
    {"MAXDNA", "Maximum Domain Namespace Attachments", 544, 16, Format::COUNTER},  // this and the next: NVMe 2.0
    {"MAXCNA", "Maximum I/O Controller Namespace Attachments", 560, 4, Format::DECIMAL},
    {"SUBNQN", "NVM Subsystem NVMe Qualified Name", 768, 256, Format::TEXT},
    {"IOCCSZ", "I/O Queue Command Capsule Size (units of 16 bytes)", 1792, 4, Format::DECIMAL},  // from here: NVMe over Fabrics
    {"IORCSZ", "I/O Queue Response Capsule Size (units of 16 bytes)", 1796, 4, Format::DECIMAL},
    {"ICDOFF", "In Capsule Data Offset (units of 16 bytes)", 1800, 2, Format::DECIMAL},
    {"FCATT", "Fabrics Controller Attributes", 1802, 1, Format::HEX},
    {"MSDBD", "Maximum SGL Data Block Descriptors", 1803, 1, Format::DECIMAL},
    {"OFCS", "Optional Fabric Commands Support", 1804, 2, Format::HEX},
};

constexpr FieldRow POWER_STATE_FIELDS[] = {  // without the powers, whose units depend on their scales
    flag("NOPS", "Non-Operational State", 3, 1),
    unless0({"ENLAT", "Entry Latency (microseconds)", 4, 4, Format::DECIMAL}),
    unless0({"EXLAT", "Exit Latency (microseconds)", 8, 4, Format::DECIMAL}),
    bitsRow("RRT", "Relative Read Throughput", 12, 4, 0),
    bitsRow("RRL", "Relative Read Latency", 13, 4, 0),
    bitsRow("RWT", "Relative Write Throughput", 14, 4, 0),
    bitsRow("RWL", "Relative Write Latency", 15, 4, 0),
};

constexpr Word PROTECTION_TYPES[] = {{0, "none"}, {1, "type 1"}, {2, "type 2"}, {3, "type 3"}, {}};
constexpr Word DEALLOCATED_READS[] = {{0, NOT_REPORTED}, {1, "all bytes 00h"}, {2, "all bytes FFh"}, {}};

constexpr FieldRow NAMESPACE_FIELDS[] = {  // section 5.15.2.1
    {"NSZE", "Namespace Size (blocks)", 0, 8, Format::DECIMAL},
    {"NCAP", "Namespace Capacity (blocks)", 8, 8, Format::DECIMAL},
    {"NUSE", "Namespace Utilization (blocks)", 16, 8, Format::DECIMAL},
    {"NSFEAT", "Namespace Features", 24, 1, Format::HEX},
    flag("NSFEAT Thin Provisioning", "Thin provisioning", 24, 0),
    flag("NSFEAT Atomic Units", "NAWUN and NAWUPF and NACWU are defined", 24, 1),
    flag("NSFEAT Deallocated Error", "Deallocated or Unwritten Logical Block error", 24, 2),
    flag("NSFEAT Identifiers Not Reused", "NGUID and EUI64 are never reused", 24, 3),
    flag("NSFEAT Optimal Performance", "Preferred write and deallocate sizes are defined", 24, 4),
    {"NLBAF", "Number of LBA Formats", 25, 1, Format::DECIMAL_0BASED},
    {"FLBAS", "Formatted LBA Size", 26, 1, Format::HEX},
    flag("FLBAS Extended Metadata", "Metadata is transferred at the end of the block", 26, 4),
    {"MC", "Metadata Capabilities", 27, 1, Format::HEX},
    flag("MC Extended", "Metadata at the end of the block", 27, 0),
    flag("MC Separate", "Metadata in a separate buffer", 27, 1),
    {"DPC", "End-to-end Data Protection Capabilities", 28, 1, Format::HEX},
    flag("DPC Type 1", "Protection Information Type 1", 28, 0),
    flag("DPC Type 2", "Protection Information Type 2", 28, 1),
    flag("DPC Type 3", "Protection Information Type 3", 28, 2),
    flag("DPC First Bytes", "Protection information in the first bytes of metadata", 28, 3),
    flag("DPC Last Bytes", "Protection information in the last bytes of metadata", 28, 4),
    {"DPS", "End-to-end Data Protection Type Settings", 29, 1, Format::HEX},
    word("DPS Type", "Protection information in use", 29, 2, 0, PROTECTION_TYPES),
    flag("DPS First Bytes", "Protection information is in the first bytes of metadata", 29, 3),
    {"NMIC", "Namespace Multi-path I/O and Namespace Sharing Capabilities", 30, 1, Format::HEX},
    flag("NMIC Shared", "May be attached to more than one controller", 30, 0),
    {"RESCAP", "Reservation Capabilities", 31, 1, Format::HEX},
    flag("RESCAP Persist", "Persist Through Power Loss", 31, 0),
    flag("RESCAP Write Exclusive", "Write Exclusive", 31, 1),
    flag("RESCAP Exclusive Access", "Exclusive Access", 31, 2),
    flag("RESCAP WE Registrants", "Write Exclusive - Registrants Only", 31, 3),
    flag("RESCAP EA Registrants", "Exclusive Access - Registrants Only", 31, 4),
    flag("RESCAP WE All Registrants", "Write Exclusive - All Registrants", 31, 5),
    flag("RESCAP EA All Registrants", "Exclusive Access - All Registrants", 31, 6),
    flag("RESCAP Ignore Existing Key", "Ignore Existing Key is as in revision 1.3 and later", 31, 7),
    {"FPI", "Format Progress Indicator", 32, 1, Format::HEX},
    flag("FPI Supported", "Format Progress Indicator is supported", 32, 7),
    onlyIf(32, 7, bitsRow("FPI Remaining", "What remains to be formatted (%)", 32, 6, 0)),
    {"DLFEAT", "Deallocate Logical Block Features", 33, 1, Format::HEX},
    word("DLFEAT Read Behavior", "What a deallocated block reads as", 33, 2, 0, DEALLOCATED_READS),
    flag("DLFEAT Write Zeroes", "Deallocate bit of Write Zeroes", 33, 3),
    flag("DLFEAT Guard", "Guard of deallocated blocks is a valid CRC", 33, 4),
    onlyIf(24, 1, {"NAWUN", "Namespace Atomic Write Unit Normal (blocks)", 34, 2, Format::DECIMAL_0BASED}),
    onlyIf(24, 1, {"NAWUPF", "Namespace Atomic Write Unit Power Fail (blocks)", 36, 2, Format::DECIMAL_0BASED}),
    onlyIf(24, 1, {"NACWU", "Namespace Atomic Compare and Write Unit (blocks)", 38, 2, Format::DECIMAL_0BASED}),
    inWords(NONE_AT_0, {"NABSN", "Namespace Atomic Boundary Size Normal (blocks)", 40, 2, Format::DECIMAL_0BASED}),
    {"NABO", "Namespace Atomic Boundary Offset (blocks)", 42, 2, Format::DECIMAL},
    inWords(NONE_AT_0, {"NABSPF", "Namespace Atomic Boundary Size Power Fail (blocks)", 44, 2, Format::DECIMAL_0BASED}),
    unless0({"NOIOB", "Namespace Optimal I/O Boundary (blocks)", 46, 2, Format::DECIMAL}),
    {"NVMCAP", "NVM Capacity (bytes)", 48, 16, Format::COUNTER},
    onlyIf(24, 4, {"NPWG", "Namespace Preferred Write Granularity (blocks)", 64, 2, Format::DECIMAL_0BASED}),
    onlyIf(24, 4, {"NPWA", "Namespace Preferred Write Alignment (blocks)", 66, 2, Format::DECIMAL_0BASED}),
    onlyIf(24, 4, {"NPDG", "Namespace Preferred Deallocate Granularity (blocks)", 68, 2, Format::DECIMAL_0BASED}),
    onlyIf(24, 4, {"NPDA", "Namespace Preferred Deallocate Alignment (blocks)", 70, 2, Format::DECIMAL_0BASED}),
    onlyIf(24, 4, {"NOWS", "Namespace Optimal Write Size (blocks)", 72, 2, Format::DECIMAL_0BASED}),
    unless0({"MSSRL", "Maximum Single Source Range Length (blocks)", 74, 2, Format::DECIMAL}),  // to MSRC: NVMe 2.0
    unless0({"MCL", "Maximum Copy Length (blocks)", 76, 4, Format::DECIMAL}),
    {"MSRC", "Maximum Source Range Count", 80, 1, Format::DECIMAL_0BASED},
    {"ANAGRPID", "ANA Group Identifier", 92, 4, Format::DECIMAL},
    {"NSATTR", "Namespace Attributes", 99, 1, Format::HEX},
    flag("NSATTR Write Protected", "The namespace is write protected", 99, 0),
    {"NVMSETID", "NVM Set Identifier", 100, 2, Format::DECIMAL},
    {"ENDGID", "Endurance Group Identifier", 102, 2, Format::DECIMAL},
    {"NGUID", "Namespace Globally Unique Identifier", 104, 16, Format::BYTES},
    {"EUI64", "IEEE Extended Unique Identifier", 120, 8, Format::BYTES},
};

constexpr Word RELATIVE_PERFORMANCE[] = {{0, "best"}, {1, "better"}, {2, "good"}, {3, "degraded"}, {}};
constexpr FieldRow LBA_FORMAT_FIELDS[] = {
    inWords(NOT_AVAILABLE_AT_0, bitsRow("LBADS", "LBA Data Size (bytes)", 0, 23, 16, Format::POWER_OF_2)),
    {"MS", "Metadata Size (bytes)", 0, 2, Format::DECIMAL},
    word("RP", "Relative Performance", 0, 25, 24, RELATIVE_PERFORMANCE),
};

constexpr Word UUID_ASSOCIATIONS[] = {{0, "none"}, {1, "PCI Vendor ID"}, {2, "PCI Subsystem Vendor ID"}, {}};
constexpr FieldRow UUID_FIELDS[] = {
    {"UUID", "", 16, 16, Format::UUID},
    word("Identifier Association", "", 0, 1, 0, UUID_ASSOCIATIONS),
};

/// The identifiers of a namespace (section 5.15.2.4): what a descriptor's type says it holds, and in how many bytes.
constexpr struct {
    uint8_t type;
    FieldRow row;
} DESCRIPTORS[] = {
    {1, {"EUI64", "IEEE Extended Unique Identifier", 0, 8, Format::BYTES}},
    {2, {"NGUID", "Namespace Globally Unique Identifier", 0, 16, Format::BYTES}},
    {3, {"UUID", "Namespace UUID", 0, 16, Format::UUID}},
    {4, {"CSI", "Command Set Identifier", 0, 1, Format::HEX}},
};
// clang-format on

constexpr size_t OFFSET_NPSS = 263;
constexpr size_t OFFSET_POWER_STATES = 2048;
constexpr size_t POWER_STATE_BYTES = 32;
constexpr unsigned MAX_POWER_STATES = 32;
constexpr size_t OFFSET_LBA_FORMATS = 128;
constexpr size_t LBA_FORMAT_BYTES = 4;
constexpr size_t UUID_ENTRY_BYTES = 32;
constexpr size_t UUID_OFFSET = 16;

constexpr unsigned SCALE_TENTH_OF_MILLIWATT = 1;
constexpr unsigned SCALE_HUNDREDTH_OF_WATT = 2;

/// A power in watts; each number has a scale beside it.
std::string wattsText(uint16_t power, unsigned scale) {
    switch (scale) {
        case SCALE_TENTH_OF_MILLIWATT:
            return decimalFraction(power, 4);
        case SCALE_HUNDREDTH_OF_WATT:
            return decimalFraction(power, 2);
        default:
            return NOT_REPORTED;
    }
}

/// The maximum has a scale of its own kind, and no code that says that it is not reported.
std::string maximumWattsText(const uint8_t* state) {
    const uint16_t power = le16(state);
    if (power == 0) return NOT_REPORTED;
    return wattsText(power, bit(state[3], 0) ? SCALE_TENTH_OF_MILLIWATT : SCALE_HUNDREDTH_OF_WATT);
}

void addPowerState(FieldTree& tree, unsigned number, const uint8_t* state) {
    FieldTree& part = tree.addPart("Power State " + std::to_string(number));
    part.add("MP", "Maximum Power", withUnit(maximumWattsText(state), "watts"));
    addFields(part, POWER_STATE_FIELDS, state, POWER_STATE_BYTES);
    part.add("IDLP", "Idle Power", withUnit(wattsText(le16(state + 16), state[18] >> 6), "watts"));
    part.add("ACTP", "Active Power", withUnit(wattsText(le16(state + 20), state[22] >> 6), "watts"));
    part.add("APW", "Active Power Workload", std::to_string(state[22] & 7));
}

void addDescriptor(FieldTree& tree, uint8_t type, uint8_t length, const uint8_t* at) {
    for (const auto& descriptor : DESCRIPTORS) {
        if (descriptor.type != type || descriptor.row.width != length) continue;
        addFields(tree, FieldRows(&descriptor.row, 1), at, length);
        return;
    }
    tree.add("NIDT " + hexText(type, 2), "Unknown identifier type", ostrel::core::bytesToHex(at, length));
}

/// Up to the first entry that is zero.
std::vector<const uint8_t*> uuidEntries(const Payload& data) {
    std::vector<const uint8_t*> entries;
    for (size_t at = UUID_ENTRY_BYTES; at + UUID_ENTRY_BYTES <= data.getSize(); at += UUID_ENTRY_BYTES) {
        const uint8_t* entry = data.getData() + at;
        const uint8_t* end = entry + UUID_ENTRY_BYTES;
        if (std::all_of(entry + UUID_OFFSET, end, [](uint8_t byte) { return byte == 0; })) break;
        entries.push_back(entry);
    }
    return entries;
}

}  // namespace

FieldTree decodeIdentifyController(const Payload& data) {
    FieldTree tree{"Identify Controller", {}, {}};
    addFields(tree, CONTROLLER_FIELDS, data.getData(), data.getSize());
    if (data.getSize() <= OFFSET_NPSS) return tree;
    const unsigned states = std::min(data.getData()[OFFSET_NPSS] + 1U, MAX_POWER_STATES);
    for (unsigned i = 0; i < states; ++i) {
        const size_t at = OFFSET_POWER_STATES + i * POWER_STATE_BYTES;
        if (at + POWER_STATE_BYTES > data.getSize()) break;
        addPowerState(tree, i, data.getData() + at);
    }
    return tree;
}

FieldTree decodeIdentifyNamespace(const Payload& data, uint32_t nsid) {
    FieldTree tree{"Identify Namespace " + std::to_string(nsid), {}, {}};
    addFields(tree, NAMESPACE_FIELDS, data.getData(), data.getSize());
    if (data.getSize() < IDENTIFY_BYTES) return tree;
    const NamespaceProperties properties(data.getData());
    for (unsigned i = 0; i < properties.numberOfFormats; ++i) {
        FieldTree& part = tree.addPart("LBA Format " + std::to_string(i));
        addFields(part, LBA_FORMAT_FIELDS, data.getData() + OFFSET_LBA_FORMATS + i * LBA_FORMAT_BYTES,
                  LBA_FORMAT_BYTES);
        part.add("In Use", ostrel::core::boolToText(i == properties.formatIndex()));
    }
    return tree;
}

FieldTree decodeNamespaceDescriptors(const Payload& data, uint32_t nsid) {
    constexpr size_t HEADER_BYTES = 4;
    FieldTree tree{"Namespace Identification Descriptors of Namespace " + std::to_string(nsid), {}, {}};
    for (size_t at = 0; at + HEADER_BYTES <= data.getSize();) {
        const uint8_t type = data.getData()[at];
        const uint8_t length = data.getData()[at + 1];
        if (length == 0) break;  // the end of the list
        at += HEADER_BYTES;
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
    std::vector<uint32_t> namespaces;
    for (size_t at = 0; at + 4 <= data.getSize(); at += 4) {
        const uint32_t nsid = le32(data.getData() + at);
        if (nsid == 0) break;
        namespaces.push_back(nsid);
    }
    return namespaces;
}

std::vector<uint16_t> decodeControllerList(const Payload& data) {
    std::vector<uint16_t> controllers;
    if (data.getSize() < 2) return controllers;
    const size_t count = std::min<size_t>(le16(data.getData()), data.getSize() / 2 - 1);
    for (size_t i = 1; i <= count; ++i) controllers.push_back(le16(data.getData() + 2 * i));
    return controllers;
}

FieldTree decodeUuidList(const Payload& data) {
    FieldTree tree{"UUID List", {}, {}};
    for (const uint8_t* entry : uuidEntries(data)) {
        const auto number = static_cast<size_t>(entry - data.getData()) / UUID_ENTRY_BYTES;
        addFields(tree.addPart("UUID " + std::to_string(number)), UUID_FIELDS, entry, UUID_ENTRY_BYTES);
    }
    return tree;
}

bool hasOcpUuid(const Payload& data) {
    const std::vector<const uint8_t*> entries = uuidEntries(data);
    return std::any_of(entries.begin(), entries.end(), [](const uint8_t* entry) {
        return std::equal(std::begin(OCP_UUID), std::end(OCP_UUID), entry + UUID_OFFSET);
    });
}

std::vector<Structure> identifyStructures() {
    std::vector<Structure> structures = {
        {"Identify Controller", CONTROLLER_FIELDS}, {"Identify Controller > Power State *", POWER_STATE_FIELDS},
        {"Identify Namespace *", NAMESPACE_FIELDS}, {"Identify Namespace * > LBA Format *", LBA_FORMAT_FIELDS},
        {"UUID List > UUID *", UUID_FIELDS},
    };
    for (const auto& descriptor : DESCRIPTORS)
        structures.push_back({"Namespace Identification Descriptors of Namespace *", FieldRows(&descriptor.row, 1)});
    return structures;
}

}  // namespace features::nvme
