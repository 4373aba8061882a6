#include "features/nvme/Identify.h"

#include <algorithm>

#include "features/nvme/Bytes.h"
#include "features/nvme/FieldTable.h"
#include "features/nvme/IdentifyCns.h"
#include "features/nvme/NamespaceProperties.h"
#include "features/nvme/NvmeVersions.h"
#include "features/nvme/Structures.h"
#include "features/nvme/structures/IdentifyController.h"
#include "features/nvme/structures/IdentifyNamespace.h"
#include "features/nvme/structures/NamespaceIdentificationDescriptor.h"
#include "features/nvme/structures/UuidList.h"
#include "ostrel/core/Strings.h"

namespace features::nvme {

using ostrel::core::Payload;

namespace {

// clang-format off
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
    {"VID", "PCI Vendor ID", FIELD(IdentifyController, vid), Format::HEX},
    {"SSVID", "PCI Subsystem Vendor ID", FIELD(IdentifyController, ssvid), Format::HEX},
    {"SN", "Serial Number", FIELD(IdentifyController, sn), Format::TEXT},
    {"MN", "Model Number", FIELD(IdentifyController, mn), Format::TEXT},
    {"FR", "Firmware Revision", FIELD(IdentifyController, fr), Format::TEXT},
    {"RAB", "Recommended Arbitration Burst", FIELD(IdentifyController, rab), Format::POWER_OF_2},
    {"IEEE", "IEEE OUI Identifier", FIELD(IdentifyController, ieee), Format::HEX},
    {"CMIC", "Controller Multi-Path I/O and Namespace Sharing Capabilities",
     FIELD(IdentifyController, cmic), Format::HEX},
    flag("CMIC Multiple Ports", "NVM subsystem may have more than one port", offsetof(IdentifyController, cmic), 0),
    flag("CMIC Multiple Controllers", "NVM subsystem may have more than one controller",
         offsetof(IdentifyController, cmic), 1),
    flag("CMIC SR-IOV", "Controller is an SR-IOV virtual function", offsetof(IdentifyController, cmic), 2),
    flag("CMIC ANA", "Asymmetric Namespace Access Reporting", offsetof(IdentifyController, cmic), 3),
    inWords(NO_LIMIT_AT_0, {"MDTS", "Maximum Data Transfer Size as Power of 2 of Memory Pages",
                            FIELD(IdentifyController, mdts), Format::DECIMAL}),
    {"CNTLID", "Controller ID", FIELD(IdentifyController, cntlid), Format::HEX},
    {"VER", "Version", FIELD(IdentifyController, ver), Format::VERSION},
    unless0({"RTD3R", "RTD3 Resume Latency (microseconds)", FIELD(IdentifyController, rtd3r), Format::DECIMAL}),
    unless0({"RTD3E", "RTD3 Entry Latency (microseconds)", FIELD(IdentifyController, rtd3e), Format::DECIMAL}),
    {"OAES", "Optional Asynchronous Events Supported", FIELD(IdentifyController, oaes), Format::HEX},
    flag("OAES Namespace Attribute", "Namespace Attribute Notices", offsetof(IdentifyController, oaes), 8),
    flag("OAES Firmware Activation", "Firmware Activation Notices", offsetof(IdentifyController, oaes), 9),
    flag("OAES ANA Change", "Asymmetric Namespace Access Change Notices", offsetof(IdentifyController, oaes), 11),
    flag("OAES Predictable Latency", "Predictable Latency Event Aggregate Log Change Notices",
         offsetof(IdentifyController, oaes), 12),
    flag("OAES LBA Status", "LBA Status Information Notices", offsetof(IdentifyController, oaes), 13),
    flag("OAES Endurance Group", "Endurance Group Event Aggregate Log Page Change Notices",
         offsetof(IdentifyController, oaes), 14),
    since(NVME_2_0, flag("OAES Normal Shutdown", "Normal NVM Subsystem Shutdown event", offsetof(IdentifyController, oaes), 15)),
    since(NVME_2_1, flag("OAES Temperature Hysteresis", "Temperature Threshold Hysteresis Recovery event",
                         offsetof(IdentifyController, oaes), 16)),
    since(NVME_2_1, flag("OAES Reachability", "Reachability Groups Change Notices", offsetof(IdentifyController, oaes), 17)),
    since(NVME_2_1, flag("OAES Allocated Namespaces", "Allocated Namespace Attribute Notices",
                         offsetof(IdentifyController, oaes), 19)),
    since(NVME_2_0, flag("OAES Zone Descriptors", "Zone Descriptor Changed Notices",
                         offsetof(IdentifyController, oaes), 27)),
    since(NVME_2_0, flag("OAES Discovery", "Discovery Log Page Change Notices", offsetof(IdentifyController, oaes), 31)),
    {"CTRATT", "Controller Attributes", FIELD(IdentifyController, ctratt), Format::HEX},
    flag("CTRATT Host Identifier", "128-bit Host Identifier", offsetof(IdentifyController, ctratt), 0),
    flag("CTRATT Non-Operational Power", "Non-Operational Power State Permissive Mode",
         offsetof(IdentifyController, ctratt), 1),
    flag("CTRATT NVM Sets", "NVM Sets", offsetof(IdentifyController, ctratt), 2),
    flag("CTRATT Read Recovery Levels", "Read Recovery Levels", offsetof(IdentifyController, ctratt), 3),
    flag("CTRATT Endurance Groups", "Endurance Groups", offsetof(IdentifyController, ctratt), 4),
    flag("CTRATT Predictable Latency", "Predictable Latency Mode", offsetof(IdentifyController, ctratt), 5),
    flag("CTRATT Traffic Based Keep Alive", "Traffic Based Keep Alive", offsetof(IdentifyController, ctratt), 6),
    flag("CTRATT Namespace Granularity", "Namespace Granularity", offsetof(IdentifyController, ctratt), 7),
    flag("CTRATT SQ Associations", "Submission Queue Associations", offsetof(IdentifyController, ctratt), 8),
    flag("CTRATT UUID List", "UUID List", offsetof(IdentifyController, ctratt), 9),
    flag("CTRATT Multi-Domain", "Multi-Domain Subsystem",
         offsetof(IdentifyController, ctratt), 10),  // this and the next five: NVMe 2.0
    flag("CTRATT Fixed Capacity", "Fixed Capacity Management", offsetof(IdentifyController, ctratt), 11),
    flag("CTRATT Variable Capacity", "Variable Capacity Management", offsetof(IdentifyController, ctratt), 12),
    flag("CTRATT Delete Endurance Group", "Delete Endurance Group", offsetof(IdentifyController, ctratt), 13),
    flag("CTRATT Delete NVM Set", "Delete NVM Set", offsetof(IdentifyController, ctratt), 14),
    flag("CTRATT Extended LBA Formats", "Extended LBA Formats", offsetof(IdentifyController, ctratt), 15),
    since(NVME_2_1, flag("CTRATT MDTS Without Metadata", "Maximum Data Transfer Size is without metadata",
                         offsetof(IdentifyController, ctratt), 16)),
    since(NVME_2_1, flag("CTRATT HMB Restrict", "Host Memory Buffer is restricted to non-operational power states",
                         offsetof(IdentifyController, ctratt), 17)),
    since(NVME_2_1, flag("CTRATT Reservations", "Reservations and Host Identifier interaction",
                         offsetof(IdentifyController, ctratt), 18)),
    since(NVME_2_1, flag("CTRATT FDP", "Flexible Data Placement", offsetof(IdentifyController, ctratt), 19)),
    since(NVME_2_1, flag("CTRATT Power Limit", "Power Limit", offsetof(IdentifyController, ctratt), 20)),
    since(NVME_2_1, flag("CTRATT Power Measurement", "Power Measurement", offsetof(IdentifyController, ctratt), 21)),
    since(NVME_2_1, flag("CTRATT Voltage Measurement", "Voltage Measurement", offsetof(IdentifyController, ctratt), 22)),
    {"RRLS", "Read Recovery Levels Supported", FIELD(IdentifyController, rrls), Format::HEX},
    since(NVME_2_0, {"BPCAP", "Boot Partition Capabilities", FIELD(IdentifyController, bpcap), Format::HEX}),
    since(NVME_2_0, bitsRow("BPCAP RPMB", "Boot Partition write protection by RPMB",
                            offsetof(IdentifyController, bpcap), 1, 0)),
    since(NVME_2_0, flag("BPCAP Set Features", "Boot Partition write protection by Set Features",
                         offsetof(IdentifyController, bpcap), 2)),
    since(NVME_2_1, unless0({"NSSL", "NVM Subsystem Shutdown Latency (microseconds)",
                             FIELD(IdentifyController, nssl), Format::DECIMAL})),
    since(NVME_2_1, {"PLSI", "Power Loss Signaling Information", FIELD(IdentifyController, plsi), Format::HEX}),
    word("CNTRLTYPE", "Controller Type", offsetof(IdentifyController, cntrltype), 7, 0, CONTROLLER_TYPES),
    {"FGUID", "FRU Globally Unique Identifier", FIELD(IdentifyController, fguid), Format::BYTES},
    {"CRDT1", "Command Retry Delay Time 1 (units of 100 milliseconds)",
     FIELD(IdentifyController, crdt1), Format::DECIMAL},
    {"CRDT2", "Command Retry Delay Time 2 (units of 100 milliseconds)",
     FIELD(IdentifyController, crdt2), Format::DECIMAL},
    {"CRDT3", "Command Retry Delay Time 3 (units of 100 milliseconds)",
     FIELD(IdentifyController, crdt3), Format::DECIMAL},
    since(NVME_2_1, {"CRCAP", "Controller Reachability Capabilities", FIELD(IdentifyController, crcap), Format::HEX}),
    since(NVME_2_1, {"CIU", "Controller Instance Uniquifier", FIELD(IdentifyController, ciu), Format::DECIMAL}),
    since(NVME_2_1, {"CIRN", "Controller Instance Random Number", FIELD(IdentifyController, cirn), Format::HEX}),
    {"NVMSR", "NVM Subsystem Report",
     FIELD(IdentifyController, nvmsr), Format::HEX},  // this and the next two: NVMe-MI 1.1
    {"VWCI", "VPD Write Cycle Information", FIELD(IdentifyController, vwci), Format::HEX},
    {"MEC", "Management Endpoint Capabilities", FIELD(IdentifyController, mec), Format::HEX},
    {"OACS", "Optional Admin Command Support", FIELD(IdentifyController, oacs), Format::HEX},
    flag("OACS Security", "Security Send and Security Receive commands", offsetof(IdentifyController, oacs), 0),
    flag("OACS Format", "Format NVM command", offsetof(IdentifyController, oacs), 1),
    flag("OACS Firmware", "Firmware Commit and Firmware Image Download commands",
         offsetof(IdentifyController, oacs), 2),
    flag("OACS Namespace Management", "Namespace Management and Namespace Attachment commands",
         offsetof(IdentifyController, oacs), 3),
    flag("OACS Self-test", "Device Self-test command", offsetof(IdentifyController, oacs), 4),
    flag("OACS Directives", "Directives", offsetof(IdentifyController, oacs), 5),
    flag("OACS NVMe-MI", "NVMe-MI Send and NVMe-MI Receive commands", offsetof(IdentifyController, oacs), 6),
    flag("OACS Virtualization", "Virtualization Management command", offsetof(IdentifyController, oacs), 7),
    flag("OACS Doorbell Buffer", "Doorbell Buffer Config command", offsetof(IdentifyController, oacs), 8),
    flag("OACS LBA Status", "Get LBA Status", offsetof(IdentifyController, oacs), 9),
    flag("OACS Lockdown", "Command and Feature Lockdown", offsetof(IdentifyController, oacs), 10),  // NVMe 2.0
    since(NVME_2_1, flag("OACS Live Migration", "Host managed live migration", offsetof(IdentifyController, oacs), 11)),
    {"ACL", "Abort Command Limit", FIELD(IdentifyController, acl), Format::DECIMAL_0BASED},
    {"AERL", "Asynchronous Event Request Limit", FIELD(IdentifyController, aerl), Format::DECIMAL_0BASED},
    {"FRMW", "Firmware Updates", FIELD(IdentifyController, frmw), Format::HEX},
    flag("FRMW Slot 1 Read Only", "Firmware slot 1 is read only", offsetof(IdentifyController, frmw), 0),
    bitsRow("FRMW Slots", "Number of firmware slots", offsetof(IdentifyController, frmw), 3, 1),
    flag("FRMW Activation Without Reset", "Firmware activation without a reset", offsetof(IdentifyController, frmw), 4),
    since(NVME_2_0, flag("FRMW Multiple Updates", "Overlapping firmware updates are detected",
                         offsetof(IdentifyController, frmw), 5)),
    {"LPA", "Log Page Attributes", FIELD(IdentifyController, lpa), Format::HEX},
    flag("LPA SMART per Namespace", "SMART / Health Information log page per namespace",
         offsetof(IdentifyController, lpa), 0),
    flag("LPA Command Effects", "Commands Supported and Effects log page", offsetof(IdentifyController, lpa), 1),
    flag("LPA Extended Data", "Log Page Offset and 32-bit Number of Dwords", offsetof(IdentifyController, lpa), 2),
    flag("LPA Telemetry", "Telemetry Host-Initiated and Controller-Initiated log pages",
         offsetof(IdentifyController, lpa), 3),
    flag("LPA Persistent Event", "Persistent Event log", offsetof(IdentifyController, lpa), 4),
    flag("LPA Supported Logs", "Supported Log Pages log page",
         offsetof(IdentifyController, lpa), 5),  // this and the next: NVMe 2.0
    flag("LPA Data Area 4", "Telemetry Data Area 4", offsetof(IdentifyController, lpa), 6),
    {"ELPE", "Error Log Page Entries", FIELD(IdentifyController, elpe), Format::DECIMAL_0BASED},
    {"NPSS", "Number of Power States Support", FIELD(IdentifyController, npss), Format::DECIMAL_0BASED},
    {"AVSCC", "Admin Vendor Specific Command Configuration", FIELD(IdentifyController, avscc), Format::HEX},
    flag("AVSCC Standard Format", "Admin Vendor Specific Commands use the standard format",
         offsetof(IdentifyController, avscc), 0),
    {"APSTA", "Autonomous Power State Transition Attributes", FIELD(IdentifyController, apsta), Format::HEX},
    flag("APSTA Supported", "Autonomous power state transitions", offsetof(IdentifyController, apsta), 0),
    {"WCTEMP", "Warning Composite Temperature Threshold (C)", FIELD(IdentifyController, wctemp), Format::CELSIUS},
    {"CCTEMP", "Critical Composite Temperature Threshold (C)", FIELD(IdentifyController, cctemp), Format::CELSIUS},
    unless0({"MTFA", "Maximum Time for Firmware Activation (units of 100 milliseconds)",
             FIELD(IdentifyController, mtfa), Format::DECIMAL}),
    {"HMPRE", "Host Memory Buffer Preferred Size (units of 4 KiB)", FIELD(IdentifyController, hmpre), Format::DECIMAL},
    {"HMMIN", "Host Memory Buffer Minimum Size (units of 4 KiB)", FIELD(IdentifyController, hmmin), Format::DECIMAL},
    {"TNVMCAP", "Total NVM Capacity (bytes)", FIELD(IdentifyController, tnvmcap), Format::COUNTER},
    {"UNVMCAP", "Unallocated NVM Capacity (bytes)", FIELD(IdentifyController, unvmcap), Format::COUNTER},
    {"RPMBS", "Replay Protected Memory Block Support", FIELD(IdentifyController, rpmbs), Format::HEX},
    bitsRow("RPMBS Units", "Number of RPMB Units", offsetof(IdentifyController, rpmbs), 2, 0),
    bitsRow("RPMBS Authentication", "Authentication Method", offsetof(IdentifyController, rpmbs), 5, 3),
    bitsRow("RPMBS Total Size", "Size of an RPMB unit (units of 128 KiB)",
            offsetof(IdentifyController, rpmbs), 23, 16, Format::DECIMAL_0BASED),
    bitsRow("RPMBS Access Size", "Most that one command reads or writes (units of 512 bytes)",
            offsetof(IdentifyController, rpmbs), 31, 24,
            Format::DECIMAL_0BASED),
    {"EDSTT", "Extended Device Self-test Time (minutes)", FIELD(IdentifyController, edstt), Format::DECIMAL},
    {"DSTO", "Device Self-test Options", FIELD(IdentifyController, dsto), Format::HEX},
    flag("DSTO One at a Time", "One device self-test operation in progress per NVM subsystem",
         offsetof(IdentifyController, dsto), 0),
    since(NVME_2_1, flag("DSTO Host Refresh", "Host-initiated refresh", offsetof(IdentifyController, dsto), 1)),
    inWords(FIRMWARE_GRANULARITY, {"FWUG", "Firmware Update Granularity (units of 4 KiB)",
                                   FIELD(IdentifyController, fwug), Format::DECIMAL}),
    {"KAS", "Keep Alive Support (units of 100 milliseconds)", FIELD(IdentifyController, kas), Format::DECIMAL},
    {"HCTMA", "Host Controlled Thermal Management Attributes", FIELD(IdentifyController, hctma), Format::HEX},
    flag("HCTMA Supported", "Host controlled thermal management", offsetof(IdentifyController, hctma), 0),
    {"MNTMT", "Minimum Thermal Management Temperature (C)", FIELD(IdentifyController, mntmt), Format::CELSIUS},
    {"MXTMT", "Maximum Thermal Management Temperature (C)", FIELD(IdentifyController, mxtmt), Format::CELSIUS},
    {"SANICAP", "Sanitize Capabilities", FIELD(IdentifyController, sanicap), Format::HEX},
    flag("SANICAP Crypto Erase", "Crypto Erase sanitize operation", offsetof(IdentifyController, sanicap), 0),
    flag("SANICAP Block Erase", "Block Erase sanitize operation", offsetof(IdentifyController, sanicap), 1),
    flag("SANICAP Overwrite", "Overwrite sanitize operation", offsetof(IdentifyController, sanicap), 2),
    since(NVME_2_1, flag("SANICAP Verification", "Media Verification state and Post-Verification Deallocation state",
                         offsetof(IdentifyController, sanicap), 3)),
    since(NVME_2_1, flag("SANICAP Namespace Verification", "Media verification of a namespace",
                         offsetof(IdentifyController, sanicap), 4)),
    flag("SANICAP No-Deallocate Inhibited", "No-Deallocate Inhibited", offsetof(IdentifyController, sanicap), 29),
    word("SANICAP Media Modified", "No-Deallocate Modifies Media After Sanitize",
         offsetof(IdentifyController, sanicap), 31, 30, MEDIA_MODIFICATION),
    {"HMMINDS", "Host Memory Buffer Minimum Descriptor Entry Size (units of 4 KiB)",
     FIELD(IdentifyController, hmminds), Format::DECIMAL},
    {"HMMAXD", "Host Memory Maximum Descriptors Entries", FIELD(IdentifyController, hmmaxd), Format::DECIMAL},
    {"NSETIDMAX", "NVM Set Identifier Maximum", FIELD(IdentifyController, nsetidmax), Format::DECIMAL},
    {"ENDGIDMAX", "Endurance Group Identifier Maximum", FIELD(IdentifyController, endgidmax), Format::DECIMAL},
    {"ANATT", "ANA Transition Time (seconds)", FIELD(IdentifyController, anatt), Format::DECIMAL},
    {"ANACAP", "Asymmetric Namespace Access Capabilities", FIELD(IdentifyController, anacap), Format::HEX},
    flag("ANACAP Optimized", "ANA Optimized state", offsetof(IdentifyController, anacap), 0),
    flag("ANACAP Non-Optimized", "ANA Non-Optimized state", offsetof(IdentifyController, anacap), 1),
    flag("ANACAP Inaccessible", "ANA Inaccessible state", offsetof(IdentifyController, anacap), 2),
    flag("ANACAP Persistent Loss", "ANA Persistent Loss state", offsetof(IdentifyController, anacap), 3),
    flag("ANACAP Change", "ANA Change state", offsetof(IdentifyController, anacap), 4),
    flag("ANACAP Group Fixed", "ANAGRPID does not change while the namespace is attached",
         offsetof(IdentifyController, anacap), 6),
    flag("ANACAP Group Non-Zero", "ANAGRPID may be other than 0", offsetof(IdentifyController, anacap), 7),
    {"ANAGRPMAX", "ANA Group Identifier Maximum", FIELD(IdentifyController, anagrpmax), Format::DECIMAL},
    {"NANAGRPID", "Number of ANA Group Identifiers", FIELD(IdentifyController, nanagrpid), Format::DECIMAL},
    {"PELS", "Persistent Event Log Size (units of 64 KiB)", FIELD(IdentifyController, pels), Format::DECIMAL},
    {"DID", "Domain Identifier", FIELD(IdentifyController, did), Format::DECIMAL},  // this and the next: NVMe 2.0
    since(NVME_2_1, {"KPIOC", "Key Per I/O Capabilities", FIELD(IdentifyController, kpioc), Format::HEX}),
    since(NVME_2_1, unless0({"MPTFAWR", "Maximum Processing Time for Firmware Activation Without Reset (units of 100 milliseconds)",
                             FIELD(IdentifyController, mptfawr), Format::DECIMAL})),
    {"MEGCAP", "Maximum Endurance Group Capacity (bytes)", FIELD(IdentifyController, megcap), Format::COUNTER},
    since(NVME_2_1, {"TMPTHHA", "Temperature Threshold Hysteresis Attributes",
                     FIELD(IdentifyController, tmpthha), Format::HEX}),
    since(NVME_2_1, {"CQT", "Command Quiesce Time (milliseconds)", FIELD(IdentifyController, cqt), Format::DECIMAL}),
    since(NVME_2_1, {"CDPA", "Configurable Device Personality Attributes", FIELD(IdentifyController, cdpa), Format::HEX}),
    since(NVME_2_1, {"MUP", "Maximum Unlimited Power", FIELD(IdentifyController, mup), Format::DECIMAL}),
    since(NVME_2_1, {"IPMSR", "Interval Power Measurement Sample Rate", FIELD(IdentifyController, ipmsr), Format::HEX}),
    since(NVME_2_1, {"MSMT", "Maximum Stop Measurement Time", FIELD(IdentifyController, msmt), Format::DECIMAL}),
    {"SQES", "Submission Queue Entry Size", FIELD(IdentifyController, sqes), Format::HEX},
    bitsRow("SQES Required", "Required entry size (bytes)",
            offsetof(IdentifyController, sqes), 3, 0, Format::POWER_OF_2),
    bitsRow("SQES Maximum", "Maximum entry size (bytes)", offsetof(IdentifyController, sqes), 7, 4, Format::POWER_OF_2),
    {"CQES", "Completion Queue Entry Size", FIELD(IdentifyController, cqes), Format::HEX},
    bitsRow("CQES Required", "Required entry size (bytes)",
            offsetof(IdentifyController, cqes), 3, 0, Format::POWER_OF_2),
    bitsRow("CQES Maximum", "Maximum entry size (bytes)", offsetof(IdentifyController, cqes), 7, 4, Format::POWER_OF_2),
    {"MAXCMD", "Maximum Outstanding Commands", FIELD(IdentifyController, maxcmd), Format::DECIMAL},
    {"NN", "Number of Namespaces", FIELD(IdentifyController, nn), Format::DECIMAL},
    {"ONCS", "Optional NVM Command Support", FIELD(IdentifyController, oncs), Format::HEX},
    flag("ONCS Compare", "Compare command", offsetof(IdentifyController, oncs), 0),
    flag("ONCS Write Uncorrectable", "Write Uncorrectable command", offsetof(IdentifyController, oncs), 1),
    flag("ONCS Dataset Management", "Dataset Management command", offsetof(IdentifyController, oncs), 2),
    flag("ONCS Write Zeroes", "Write Zeroes command", offsetof(IdentifyController, oncs), 3),
    flag("ONCS Save", "Save field in Set Features and Select field in Get Features",
         offsetof(IdentifyController, oncs), 4),
    flag("ONCS Reservations", "Reservations", offsetof(IdentifyController, oncs), 5),
    flag("ONCS Timestamp", "Timestamp feature", offsetof(IdentifyController, oncs), 6),
    flag("ONCS Verify", "Verify command", offsetof(IdentifyController, oncs), 7),
    flag("ONCS Copy", "Copy command", offsetof(IdentifyController, oncs), 8),  // NVMe 2.0
    since(NVME_2_1, flag("ONCS Copy Atomicity", "Copy command with atomicity", offsetof(IdentifyController, oncs), 9)),
    since(NVME_2_1, flag("ONCS Fast Copy", "Fast copy operations", offsetof(IdentifyController, oncs), 10)),
    since(NVME_2_1, flag("ONCS Deallocate Size", "Maximum size of a Write Zeroes with deallocation",
                         offsetof(IdentifyController, oncs), 11)),
    since(NVME_2_1, flag("ONCS Namespace Zeroes", "Write Zeroes of a namespace", offsetof(IdentifyController, oncs), 12)),
    {"FUSES", "Fused Operation Support", FIELD(IdentifyController, fuses), Format::HEX},
    flag("FUSES Compare and Write", "Compare and Write fused operation", offsetof(IdentifyController, fuses), 0),
    {"FNA", "Format NVM Attributes", FIELD(IdentifyController, fna), Format::HEX},
    flag("FNA Format All", "A format applies to all namespaces", offsetof(IdentifyController, fna), 0),
    flag("FNA Secure Erase All", "A secure erase applies to all namespaces", offsetof(IdentifyController, fna), 1),
    flag("FNA Crypto Erase", "Cryptographic erase", offsetof(IdentifyController, fna), 2),
    {"VWC", "Volatile Write Cache", FIELD(IdentifyController, vwc), Format::HEX},
    flag("VWC Present", "A volatile write cache is present", offsetof(IdentifyController, vwc), 0),
    word("VWC Flush Behavior", "Flush command", offsetof(IdentifyController, vwc), 2, 1, FLUSH_BEHAVIOR),
    {"AWUN", "Atomic Write Unit Normal (blocks)", FIELD(IdentifyController, awun), Format::DECIMAL_0BASED},
    {"AWUPF", "Atomic Write Unit Power Fail (blocks)", FIELD(IdentifyController, awupf), Format::DECIMAL_0BASED},
    {"NVSCC", "NVM Vendor Specific Command Configuration", FIELD(IdentifyController, nvscc), Format::HEX},
    flag("NVSCC Standard Format", "NVM Vendor Specific Commands use the standard format",
         offsetof(IdentifyController, nvscc), 0),
    {"NWPC", "Namespace Write Protection Capabilities", FIELD(IdentifyController, nwpc), Format::HEX},
    flag("NWPC Write Protect", "No Write Protect and Write Protect states", offsetof(IdentifyController, nwpc), 0),
    flag("NWPC Until Power Cycle", "Write Protect Until Power Cycle state", offsetof(IdentifyController, nwpc), 1),
    flag("NWPC Permanent", "Permanent Write Protect state", offsetof(IdentifyController, nwpc), 2),
    {"ACWU", "Atomic Compare and Write Unit (blocks)", FIELD(IdentifyController, acwu), Format::DECIMAL_0BASED},
    {"OCFS", "Optional Copy Formats Supported", FIELD(IdentifyController, ocfs), Format::HEX},  // NVMe 2.0
    {"SGLS", "SGL Support", FIELD(IdentifyController, sgls), Format::HEX},
    word("SGLS Support", "SGLs for the NVM command set", offsetof(IdentifyController, sgls), 1, 0, SGL_SUPPORT),
    flag("SGLS Keyed", "Keyed SGL Data Block descriptor", offsetof(IdentifyController, sgls), 2),
    flag("SGLS Bit Bucket", "SGL Bit Bucket descriptor", offsetof(IdentifyController, sgls), 16),
    flag("SGLS Metadata Alignment", "Byte aligned contiguous metadata buffer", offsetof(IdentifyController, sgls), 17),
    flag("SGLS Longer", "SGL may be longer than the data", offsetof(IdentifyController, sgls), 18),
    flag("SGLS Metadata Pointer", "Metadata Pointer with an SGL descriptor", offsetof(IdentifyController, sgls), 19),
    flag("SGLS Offset", "SGL descriptors with an offset as address", offsetof(IdentifyController, sgls), 20),
    flag("SGLS Transport", "Transport SGL Data Block descriptor", offsetof(IdentifyController, sgls), 21),
    {"MNAN", "Maximum Number of Allowed Namespaces", FIELD(IdentifyController, mnan), Format::DECIMAL},
    {"MAXDNA", "Maximum Domain Namespace Attachments",
     FIELD(IdentifyController, maxdna), Format::COUNTER},  // this and the next: NVMe 2.0
    {"MAXCNA", "Maximum I/O Controller Namespace Attachments", FIELD(IdentifyController, maxcna), Format::DECIMAL},
    since(NVME_2_1, {"OAQD", "Optimal Aggregated Queue Depth", FIELD(IdentifyController, oaqd), Format::DECIMAL}),
    since(NVME_2_1, {"RHIRI", "Recommended Host-Initiated Refresh Interval", FIELD(IdentifyController, rhiri), Format::DECIMAL}),
    since(NVME_2_1, {"HIRT", "Host-Initiated Refresh Time", FIELD(IdentifyController, hirt), Format::DECIMAL}),
    since(NVME_2_1, {"CMMRTD", "Controller Maximum Memory Range Tracking Descriptors",
                     FIELD(IdentifyController, cmmrtd), Format::DECIMAL}),
    since(NVME_2_1, {"NMMRTD", "NVM Subsystem Maximum Memory Range Tracking Descriptors",
                     FIELD(IdentifyController, nmmrtd), Format::DECIMAL}),
    since(NVME_2_1, {"MINMRTG", "Minimum Memory Range Tracking Granularity", FIELD(IdentifyController, minmrtg), Format::DECIMAL}),
    since(NVME_2_1, {"MAXMRTG", "Maximum Memory Range Tracking Granularity", FIELD(IdentifyController, maxmrtg), Format::DECIMAL}),
    since(NVME_2_1, {"TRATTR", "Tracking Attributes", FIELD(IdentifyController, trattr), Format::HEX}),
    {"SUBNQN", "NVM Subsystem NVMe Qualified Name", FIELD(IdentifyController, subnqn), Format::TEXT},
    {"IOCCSZ", "I/O Queue Command Capsule Size (units of 16 bytes)",
     FIELD(IdentifyController, ioccsz), Format::DECIMAL},  // from here: NVMe over Fabrics
    {"IORCSZ", "I/O Queue Response Capsule Size (units of 16 bytes)",
     FIELD(IdentifyController, iorcsz), Format::DECIMAL},
    {"ICDOFF", "In Capsule Data Offset (units of 16 bytes)", FIELD(IdentifyController, icdoff), Format::DECIMAL},
    {"FCATT", "Fabrics Controller Attributes", FIELD(IdentifyController, fcatt), Format::HEX},
    {"MSDBD", "Maximum SGL Data Block Descriptors", FIELD(IdentifyController, msdbd), Format::DECIMAL},
    {"OFCS", "Optional Fabric Commands Support", FIELD(IdentifyController, ofcs), Format::HEX},
};

constexpr FieldRow POWER_STATE_FIELDS[] = {  // without the powers, whose units depend on their scales
    flag("NOPS", "Non-Operational State", offsetof(PowerStateDescriptor, flags), 1),
    unless0({"ENLAT", "Entry Latency (microseconds)", FIELD(PowerStateDescriptor, enlat), Format::DECIMAL}),
    unless0({"EXLAT", "Exit Latency (microseconds)", FIELD(PowerStateDescriptor, exlat), Format::DECIMAL}),
    bitsRow("RRT", "Relative Read Throughput", offsetof(PowerStateDescriptor, rrt), 4, 0),
    bitsRow("RRL", "Relative Read Latency", offsetof(PowerStateDescriptor, rrl), 4, 0),
    bitsRow("RWT", "Relative Write Throughput", offsetof(PowerStateDescriptor, rwt), 4, 0),
    bitsRow("RWL", "Relative Write Latency", offsetof(PowerStateDescriptor, rwl), 4, 0),
};

constexpr Word PROTECTION_TYPES[] = {{0, "none"}, {1, "type 1"}, {2, "type 2"}, {3, "type 3"}, {}};
constexpr Word DEALLOCATED_READS[] = {{0, NOT_REPORTED}, {1, "all bytes 00h"}, {2, "all bytes FFh"}, {}};

constexpr FieldRow NAMESPACE_FIELDS[] = {  // section 5.15.2.1
    {"NSZE", "Namespace Size (blocks)", FIELD(IdentifyNamespace, nsze), Format::DECIMAL},
    {"NCAP", "Namespace Capacity (blocks)", FIELD(IdentifyNamespace, ncap), Format::DECIMAL},
    {"NUSE", "Namespace Utilization (blocks)", FIELD(IdentifyNamespace, nuse), Format::DECIMAL},
    {"NSFEAT", "Namespace Features", FIELD(IdentifyNamespace, nsfeat), Format::HEX},
    flag("NSFEAT Thin Provisioning", "Thin provisioning", offsetof(IdentifyNamespace, nsfeat), 0),
    flag("NSFEAT Atomic Units", "NAWUN and NAWUPF and NACWU are defined", offsetof(IdentifyNamespace, nsfeat), 1),
    flag("NSFEAT Deallocated Error", "Deallocated or Unwritten Logical Block error",
         offsetof(IdentifyNamespace, nsfeat), 2),
    flag("NSFEAT Identifiers Not Reused", "NGUID and EUI64 are never reused", offsetof(IdentifyNamespace, nsfeat), 3),
    flag("NSFEAT Optimal Performance", "Preferred write and deallocate sizes are defined",
         offsetof(IdentifyNamespace, nsfeat), 4),
    {"NLBAF", "Number of LBA Formats", FIELD(IdentifyNamespace, nlbaf), Format::DECIMAL_0BASED},
    {"FLBAS", "Formatted LBA Size", FIELD(IdentifyNamespace, flbas), Format::HEX},
    flag("FLBAS Extended Metadata", "Metadata is transferred at the end of the block",
         offsetof(IdentifyNamespace, flbas), 4),
    {"MC", "Metadata Capabilities", FIELD(IdentifyNamespace, mc), Format::HEX},
    flag("MC Extended", "Metadata at the end of the block", offsetof(IdentifyNamespace, mc), 0),
    flag("MC Separate", "Metadata in a separate buffer", offsetof(IdentifyNamespace, mc), 1),
    {"DPC", "End-to-end Data Protection Capabilities", FIELD(IdentifyNamespace, dpc), Format::HEX},
    flag("DPC Type 1", "Protection Information Type 1", offsetof(IdentifyNamespace, dpc), 0),
    flag("DPC Type 2", "Protection Information Type 2", offsetof(IdentifyNamespace, dpc), 1),
    flag("DPC Type 3", "Protection Information Type 3", offsetof(IdentifyNamespace, dpc), 2),
    flag("DPC First Bytes", "Protection information in the first bytes of metadata",
         offsetof(IdentifyNamespace, dpc), 3),
    flag("DPC Last Bytes", "Protection information in the last bytes of metadata", offsetof(IdentifyNamespace, dpc), 4),
    {"DPS", "End-to-end Data Protection Type Settings", FIELD(IdentifyNamespace, dps), Format::HEX},
    word("DPS Type", "Protection information in use", offsetof(IdentifyNamespace, dps), 2, 0, PROTECTION_TYPES),
    flag("DPS First Bytes", "Protection information is in the first bytes of metadata",
         offsetof(IdentifyNamespace, dps), 3),
    {"NMIC", "Namespace Multi-path I/O and Namespace Sharing Capabilities",
     FIELD(IdentifyNamespace, nmic), Format::HEX},
    flag("NMIC Shared", "May be attached to more than one controller", offsetof(IdentifyNamespace, nmic), 0),
    {"RESCAP", "Reservation Capabilities", FIELD(IdentifyNamespace, rescap), Format::HEX},
    flag("RESCAP Persist", "Persist Through Power Loss", offsetof(IdentifyNamespace, rescap), 0),
    flag("RESCAP Write Exclusive", "Write Exclusive", offsetof(IdentifyNamespace, rescap), 1),
    flag("RESCAP Exclusive Access", "Exclusive Access", offsetof(IdentifyNamespace, rescap), 2),
    flag("RESCAP WE Registrants", "Write Exclusive - Registrants Only", offsetof(IdentifyNamespace, rescap), 3),
    flag("RESCAP EA Registrants", "Exclusive Access - Registrants Only", offsetof(IdentifyNamespace, rescap), 4),
    flag("RESCAP WE All Registrants", "Write Exclusive - All Registrants", offsetof(IdentifyNamespace, rescap), 5),
    flag("RESCAP EA All Registrants", "Exclusive Access - All Registrants", offsetof(IdentifyNamespace, rescap), 6),
    flag("RESCAP Ignore Existing Key", "Ignore Existing Key is as in revision 1.3 and later",
         offsetof(IdentifyNamespace, rescap), 7),
    {"FPI", "Format Progress Indicator", FIELD(IdentifyNamespace, fpi), Format::HEX},
    flag("FPI Supported", "Format Progress Indicator is supported", offsetof(IdentifyNamespace, fpi), 7),
    onlyIf(offsetof(IdentifyNamespace, fpi), 7, bitsRow("FPI Remaining", "What remains to be formatted (%)",
                                                        offsetof(IdentifyNamespace, fpi), 6, 0)),
    {"DLFEAT", "Deallocate Logical Block Features", FIELD(IdentifyNamespace, dlfeat), Format::HEX},
    word("DLFEAT Read Behavior", "What a deallocated block reads as",
         offsetof(IdentifyNamespace, dlfeat), 2, 0, DEALLOCATED_READS),
    flag("DLFEAT Write Zeroes", "Deallocate bit of Write Zeroes", offsetof(IdentifyNamespace, dlfeat), 3),
    flag("DLFEAT Guard", "Guard of deallocated blocks is a valid CRC", offsetof(IdentifyNamespace, dlfeat), 4),
    onlyIf(offsetof(IdentifyNamespace, nsfeat), 1, {"NAWUN", "Namespace Atomic Write Unit Normal (blocks)",
                                                    FIELD(IdentifyNamespace, nawun), Format::DECIMAL_0BASED}),
    onlyIf(offsetof(IdentifyNamespace, nsfeat), 1, {"NAWUPF", "Namespace Atomic Write Unit Power Fail (blocks)",
                                                    FIELD(IdentifyNamespace, nawupf), Format::DECIMAL_0BASED}),
    onlyIf(offsetof(IdentifyNamespace, nsfeat), 1, {"NACWU", "Namespace Atomic Compare and Write Unit (blocks)",
                                                    FIELD(IdentifyNamespace, nacwu), Format::DECIMAL_0BASED}),
    inWords(NONE_AT_0, {"NABSN", "Namespace Atomic Boundary Size Normal (blocks)",
                        FIELD(IdentifyNamespace, nabsn), Format::DECIMAL_0BASED}),
    {"NABO", "Namespace Atomic Boundary Offset (blocks)", FIELD(IdentifyNamespace, nabo), Format::DECIMAL},
    inWords(NONE_AT_0, {"NABSPF", "Namespace Atomic Boundary Size Power Fail (blocks)",
                        FIELD(IdentifyNamespace, nabspf), Format::DECIMAL_0BASED}),
    unless0({"NOIOB", "Namespace Optimal I/O Boundary (blocks)", FIELD(IdentifyNamespace, noiob), Format::DECIMAL}),
    {"NVMCAP", "NVM Capacity (bytes)", FIELD(IdentifyNamespace, nvmcap), Format::COUNTER},
    onlyIf(offsetof(IdentifyNamespace, nsfeat), 4, {"NPWG", "Namespace Preferred Write Granularity (blocks)",
                                                    FIELD(IdentifyNamespace, npwg), Format::DECIMAL_0BASED}),
    onlyIf(offsetof(IdentifyNamespace, nsfeat), 4, {"NPWA", "Namespace Preferred Write Alignment (blocks)",
                                                    FIELD(IdentifyNamespace, npwa), Format::DECIMAL_0BASED}),
    onlyIf(offsetof(IdentifyNamespace, nsfeat), 4, {"NPDG", "Namespace Preferred Deallocate Granularity (blocks)",
                                                    FIELD(IdentifyNamespace, npdg), Format::DECIMAL_0BASED}),
    onlyIf(offsetof(IdentifyNamespace, nsfeat), 4, {"NPDA", "Namespace Preferred Deallocate Alignment (blocks)",
                                                    FIELD(IdentifyNamespace, npda), Format::DECIMAL_0BASED}),
    onlyIf(offsetof(IdentifyNamespace, nsfeat), 4, {"NOWS", "Namespace Optimal Write Size (blocks)",
                                                    FIELD(IdentifyNamespace, nows), Format::DECIMAL_0BASED}),
    unless0({"MSSRL", "Maximum Single Source Range Length (blocks)",
             FIELD(IdentifyNamespace, mssrl), Format::DECIMAL}),  // to MSRC: NVMe 2.0
    unless0({"MCL", "Maximum Copy Length (blocks)", FIELD(IdentifyNamespace, mcl), Format::DECIMAL}),
    {"MSRC", "Maximum Source Range Count", FIELD(IdentifyNamespace, msrc), Format::DECIMAL_0BASED},
    since(NVME_2_1, {"KPIOS", "Key Per I/O Status", FIELD(IdentifyNamespace, kpios), Format::HEX}),
    since(NVME_2_0, {"NULBAF", "Number of Unique Attribute LBA Formats", FIELD(IdentifyNamespace, nulbaf), Format::DECIMAL}),
    since(NVME_2_1, {"KPIODAAG", "Key Per I/O Data Access Alignment and Granularity",
                     FIELD(IdentifyNamespace, kpiodaag), Format::DECIMAL}),
    {"ANAGRPID", "ANA Group Identifier", FIELD(IdentifyNamespace, anagrpid), Format::DECIMAL},
    {"NSATTR", "Namespace Attributes", FIELD(IdentifyNamespace, nsattr), Format::HEX},
    flag("NSATTR Write Protected", "The namespace is write protected", offsetof(IdentifyNamespace, nsattr), 0),
    {"NVMSETID", "NVM Set Identifier", FIELD(IdentifyNamespace, nvmsetid), Format::DECIMAL},
    {"ENDGID", "Endurance Group Identifier", FIELD(IdentifyNamespace, endgid), Format::DECIMAL},
    {"NGUID", "Namespace Globally Unique Identifier", FIELD(IdentifyNamespace, nguid), Format::BYTES},
    {"EUI64", "IEEE Extended Unique Identifier", FIELD(IdentifyNamespace, eui64), Format::BYTES},
};

constexpr Word RELATIVE_PERFORMANCE[] = {{0, "best"}, {1, "better"}, {2, "good"}, {3, "degraded"}, {}};
constexpr FieldRow LBA_FORMAT_FIELDS[] = {
    inWords(NOT_AVAILABLE_AT_0, bitsRow("LBADS", "LBA Data Size (bytes)",
                                        offsetof(LbaFormatDescriptor, lbads), 7, 0, Format::POWER_OF_2)),
    {"MS", "Metadata Size (bytes)", FIELD(LbaFormatDescriptor, ms), Format::DECIMAL},
    word("RP", "Relative Performance", offsetof(LbaFormatDescriptor, rp), 1, 0, RELATIVE_PERFORMANCE),
};

constexpr Word UUID_ASSOCIATIONS[] = {{0, "none"}, {1, "PCI Vendor ID"}, {2, "PCI Subsystem Vendor ID"}, {}};
constexpr FieldRow UUID_FIELDS[] = {
    {"UUID", "", FIELD(UuidListEntry, uuid), Format::UUID},
    word("Identifier Association", "", offsetof(UuidListEntry, header), 1, 0, UUID_ASSOCIATIONS),
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

constexpr unsigned MAX_POWER_STATES = 32;

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
std::string maximumWattsText(const PowerStateDescriptor& state) {
    if (state.mp == 0) return NOT_REPORTED;
    return wattsText(state.mp, bit(state.flags, 0) ? SCALE_TENTH_OF_MILLIWATT : SCALE_HUNDREDTH_OF_WATT);
}

void addPowerState(FieldTree& tree, unsigned number, const uint8_t* bytes) {
    const auto state = structureAt<PowerStateDescriptor>(bytes);
    FieldTree& part = tree.addPart("Power State " + std::to_string(number));
    part.add("MP", "Maximum Power", withUnit(maximumWattsText(state), "watts"));
    addFields(part, POWER_STATE_FIELDS, bytes, sizeof state);
    part.add("IDLP", "Idle Power", withUnit(wattsText(state.idlp, state.ips >> 6), "watts"));
    part.add("ACTP", "Active Power", withUnit(wattsText(state.actp, state.apwAps >> 6), "watts"));
    part.add("APW", "Active Power Workload", std::to_string(state.apwAps & 7));
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
    constexpr size_t BYTES = sizeof(UuidListEntry);
    for (size_t at = BYTES; at + BYTES <= data.getSize(); at += BYTES) {
        const uint8_t* entry = data.getData() + at;
        const uint8_t* uuid = entry + offsetof(UuidListEntry, uuid);
        if (std::all_of(uuid, entry + BYTES, [](uint8_t byte) { return byte == 0; })) break;
        entries.push_back(entry);
    }
    return entries;
}

uint8_t uuidIndexOf(const Payload& data, const uint8_t* entry) {
    return static_cast<uint8_t>(static_cast<size_t>(entry - data.getData()) / sizeof(UuidListEntry));
}

/// The UUID Index of the first entry that is wanted; 0: none is.
template <typename IsWanted>
uint8_t findUuid(const Payload& data, const IsWanted& isWanted) {
    const std::vector<const uint8_t*> entries = uuidEntries(data);
    const auto found = std::find_if(entries.begin(), entries.end(),
                                    [&](const uint8_t* entry) { return isWanted(structureAt<UuidListEntry>(entry)); });
    return found == entries.end() ? uint8_t{0} : uuidIndexOf(data, *found);
}

}  // namespace

FieldTree decodeIdentifyController(const Payload& data) {
    FieldTree tree{"Identify Controller", {}, {}};
    constexpr size_t AT_VERSION = offsetof(IdentifyController, ver);
    const bool hasVersion = data.getSize() >= AT_VERSION + sizeof(Le32);
    const uint32_t version = hasVersion ? le32(data.getData() + AT_VERSION) : 0;
    addFields(tree, CONTROLLER_FIELDS, data.getData(), data.getSize(), majorAndMinor(version));
    constexpr size_t AT_NPSS = offsetof(IdentifyController, npss);
    if (data.getSize() <= AT_NPSS) return tree;
    const unsigned states = std::min(data.getData()[AT_NPSS] + 1U, MAX_POWER_STATES);
    for (unsigned i = 0; i < states; ++i) {
        const size_t at = offsetof(IdentifyController, psd) + i * sizeof(PowerStateDescriptor);
        if (at + sizeof(PowerStateDescriptor) > data.getSize()) break;
        addPowerState(tree, i, data.getData() + at);
    }
    return tree;
}

FieldTree decodeIdentifyNamespace(const Payload& data, uint32_t nsid, uint16_t nvmeVersion) {
    FieldTree tree{"Identify Namespace " + std::to_string(nsid), {}, {}};
    addFields(tree, NAMESPACE_FIELDS, data.getData(), data.getSize(), nvmeVersion);
    if (data.getSize() < IDENTIFY_BYTES) return tree;
    const NamespaceProperties properties(data.getData());
    for (unsigned i = 0; i < properties.numberOfFormats; ++i) {
        FieldTree& part = tree.addPart("LBA Format " + std::to_string(i));
        const size_t at = offsetof(IdentifyNamespace, lbaf) + i * sizeof(LbaFormatDescriptor);
        addFields(part, LBA_FORMAT_FIELDS, data.getData() + at, sizeof(LbaFormatDescriptor));
        part.add("In Use", ostrel::core::boolToText(i == properties.formatIndex()));
    }
    return tree;
}

FieldTree decodeNamespaceDescriptors(const Payload& data, uint32_t nsid) {
    constexpr size_t HEADER_BYTES = sizeof(NamespaceIdentificationDescriptor);
    FieldTree tree{"Namespace Identification Descriptors of Namespace " + std::to_string(nsid), {}, {}};
    for (size_t at = 0; at + HEADER_BYTES <= data.getSize();) {
        const auto head = structureAt<NamespaceIdentificationDescriptor>(data.getData() + at);
        if (head.nidl == 0) break;  // the end of the list
        at += HEADER_BYTES;
        if (at + head.nidl > data.getSize()) {
            tree.add("NIDT " + hexText(head.nidt, 2), "Damaged", "the descriptor is longer than the structure");
            break;
        }
        addDescriptor(tree, head.nidt, head.nidl, data.getData() + at);
        at += head.nidl;
    }
    return tree;
}

uint8_t commandSetOf(const Payload& descriptors) {
    constexpr size_t HEADER_BYTES = sizeof(NamespaceIdentificationDescriptor);
    constexpr uint8_t TYPE_CSI = 4;
    for (size_t at = 0; at + HEADER_BYTES < descriptors.getSize();) {
        const auto head = structureAt<NamespaceIdentificationDescriptor>(descriptors.getData() + at);
        if (head.nidl == 0) break;
        at += HEADER_BYTES;
        if (head.nidt == TYPE_CSI && at < descriptors.getSize()) return descriptors.getData()[at];
        at += head.nidl;
    }
    return CSI_NVM;
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
    for (const uint8_t* entry : uuidEntries(data))
        addFields(tree.addPart("UUID " + std::to_string(uuidIndexOf(data, entry))), UUID_FIELDS, entry,
                  sizeof(UuidListEntry));
    return tree;
}

uint8_t ocpUuidIndex(const Payload& data) {
    return findUuid(data, [](const UuidListEntry& entry) {
        return std::equal(std::begin(OCP_UUID), std::end(OCP_UUID), entry.uuid.begin());
    });
}

uint8_t makerUuidIndex(const Payload& data) {
    constexpr unsigned ASSOCIATED_WITH_VENDOR_ID = 1;
    return findUuid(data,
                    [](const UuidListEntry& entry) { return bits(entry.header, 1, 0) == ASSOCIATED_WITH_VENDOR_ID; });
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
