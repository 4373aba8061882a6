#include "features/nvme/Features.h"

#include <iterator>

#include "features/nvme/Bytes.h"
#include "features/nvme/FdpEventTypes.h"
#include "features/nvme/FeatureIds.h"
#include "features/nvme/FindRow.h"
#include "features/nvme/LogPages.h"
#include "features/nvme/NamespaceIds.h"
#include "features/nvme/NvmeVersions.h"
#include "features/nvme/OcpLogPages.h"
#include "features/nvme/Structures.h"
#include "features/nvme/structures/FeatureData.h"
#include "features/nvme/structures/OcpFeatureData.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/Strings.h"

namespace features::nvme {

using ostrel::core::Payload;
namespace key = ostrel::core::attributes::feature;

namespace {

// Fields of dword 0, by feature.

// clang-format off
constexpr Word BURSTS[] = {{7, "no limit"}, {}};
constexpr FieldRow ARBITRATION[] = {
    keyed(key::arbitrationBurst,
          inWords(BURSTS, bitsRow("AB", "Arbitration Burst", 0, 2, 0, Format::POWER_OF_2))),
    keyed(key::lowPriorityWeightArbitration,
          bitsRow("LPW", "Low Priority Weight", 0, 15, 8, Format::DECIMAL_0BASED)),
    keyed(key::mediumPriorityWeightArbitration,
          bitsRow("MPW", "Medium Priority Weight", 0, 23, 16, Format::DECIMAL_0BASED)),
    keyed(key::highPriorityWeightArbitration,
          bitsRow("HPW", "High Priority Weight", 0, 31, 24, Format::DECIMAL_0BASED)),
};
constexpr FieldRow POWER_MANAGEMENT[] = {
    keyed(key::nvmePowerState, bitsRow("PS", "Power State", 0, 4, 0)),
    bitsRow("WH", "Workload Hint", 0, 7, 5),
};
constexpr FieldRow LBA_RANGE_TYPE[] = {
    bitsRow("NUM", "Number of LBA Ranges", 0, 5, 0, Format::DECIMAL_0BASED),
};
constexpr Word UNSET_THRESHOLDS[] = {{0, "not set"}, {0xFFFF, "not set"}, {}};
constexpr FieldRow TEMPERATURE_THRESHOLD[] = {
    keyed(key::tempThreshold,
          inWords(UNSET_THRESHOLDS, bitsRow("TMPTH", "Temperature Threshold (C)", 0, 15, 0, Format::CELSIUS))),
    since(NVME_2_1, bitsRow("TMPTHH", "Temperature Threshold Hysteresis (C)", 0, 24, 22)),
};
constexpr FieldRow ERROR_RECOVERY[] = {
    keyed(key::timeLimitedErrorRecovery,
          inWords(NO_LIMIT_AT_0, bitsRow("TLER", "Time Limited Error Recovery (units of 100 milliseconds)", 0, 15, 0))),
    flag("DULBE", "Deallocated or Unwritten Logical Block Error Enable", 0, 16),
};
constexpr FieldRow VOLATILE_WRITE_CACHE[] = {
    keyed(key::volatileWriteCacheEnabled, flag("WCE", "Volatile Write Cache Enable", 0, 0)),
};
constexpr FieldRow NUMBER_OF_QUEUES[] = {
    keyed(key::ioSubmissionQueuesRequested,
          bitsRow("NSQA", "I/O Submission Queues Allocated", 0, 15, 0, Format::DECIMAL_0BASED)),
    keyed(key::ioCompletionQueuesRequested,
          bitsRow("NCQA", "I/O Completion Queues Allocated", 0, 31, 16, Format::DECIMAL_0BASED)),
};
constexpr FieldRow INTERRUPT_COALESCING[] = {
    // Counts from 0, and is shown as it is set: set -velkossd writes the number that it is given.
    keyed(key::aggregationThreshold, bitsRow("THR", "Aggregation Threshold 0-based", 0, 7, 0)),
    keyed(key::aggregationTime, bitsRow("TIME", "Aggregation Time (units of 100 microseconds)", 0, 15, 8)),
};
constexpr FieldRow INTERRUPT_VECTOR[] = {
    keyed(key::interruptVector, bitsRow("IV", "Interrupt Vector", 0, 15, 0)),
    keyed(key::coalescingDisable, flag("CD", "Coalescing Disable", 0, 16)),
};
constexpr FieldRow WRITE_ATOMICITY[] = {
    keyed(key::writeAtomicityDisableNormal, flag("DN", "Disable Normal", 0, 0)),
};
constexpr FieldRow ASYNCHRONOUS_EVENT[] = {
    keyed(key::smartHealthCriticalWarningsConfiguration,
          bitsRow("SHCW", "SMART / Health Critical Warnings", 0, 7, 0, Format::HEX)),
    keyed(key::namespaceAttributeNoticesConfiguration, flag("NAN", "Namespace Attribute Notices", 0, 8)),
    keyed(key::firmwareActivationNoticesConfiguration, flag("FAN", "Firmware Activation Notices", 0, 9)),
    keyed(key::telemetryLogNoticesConfiguration, flag("TLN", "Telemetry Log Notices", 0, 10)),
    flag("ANACN", "Asymmetric Namespace Access Change Notices", 0, 11),
    flag("PLEALCN", "Predictable Latency Event Aggregate Log Change Notices", 0, 12),
    flag("LBASIN", "LBA Status Information Notices", 0, 13),
    flag("EGEALCN", "Endurance Group Event Aggregate Log Change Notices", 0, 14),
    since(NVME_2_0, flag("NNSSHDN", "Normal NVM Subsystem Shutdown", 0, 15)),
    since(NVME_2_1, flag("TTHRY", "Temperature Threshold Hysteresis Recovery", 0, 16)),
    since(NVME_2_1, flag("RASSN", "Reachability Association", 0, 17)),
    since(NVME_2_1, flag("RGRP0", "Reachability Group", 0, 18)),
    since(NVME_2_1, flag("ANSAN", "Allocated Namespace Attribute Notices", 0, 19)),
    since(NVME_2_0, flag("ZDCN", "Zone Descriptor Changed Notices", 0, 27)),
    since(NVME_2_0, bitsRow("DLPCN", "Discovery notices", 0, 31, 28, Format::HEX)),
};
constexpr FieldRow AUTONOMOUS_POWER_STATE[] = {
    flag("APSTE", "Autonomous Power State Transition Enable", 0, 0),
};
constexpr FieldRow HOST_MEMORY_BUFFER[] = {
    flag("EHM", "Enable Host Memory", 0, 0),
};
constexpr FieldRow KEEP_ALIVE[] = {
    inWords(NO_LIMIT_AT_0, bitsRow("KATO", "Keep Alive Timeout (milliseconds)", 0, 31, 0)),
};
constexpr FieldRow HOST_THERMAL_MANAGEMENT[] = {
    inWords(UNSET_THRESHOLDS,
            bitsRow("TMT1", "Thermal Management Temperature 1 (C)", 0, 31, 16, Format::CELSIUS)),
    inWords(UNSET_THRESHOLDS,
            bitsRow("TMT2", "Thermal Management Temperature 2 (C)", 0, 15, 0, Format::CELSIUS)),
};
constexpr FieldRow NON_OPERATIONAL_POWER_STATE[] = {
    flag("NOPPME", "Non-Operational Power State Permissive Mode Enable", 0, 0),
};
constexpr FieldRow READ_RECOVERY_LEVEL[] = {
    bitsRow("RRL", "Read Recovery Level", 0, 3, 0),
};
constexpr FieldRow PREDICTABLE_LATENCY_CONFIG[] = {
    flag("PLE", "Predictable Latency Enable", 0, 0),
};
constexpr Word WINDOWS[] = {{1, "deterministic window"}, {2, "non-deterministic window"}, {}};
constexpr FieldRow PREDICTABLE_LATENCY_WINDOW[] = {
    word("WS", "Window Select", 0, 2, 0, WINDOWS),
};
constexpr FieldRow LBA_STATUS_INTERVAL[] = {
    bitsRow("LSIRI", "LBA Status Information Report Interval (units of 100 milliseconds)", 0, 15, 0),
    bitsRow("LSIPI", "LBA Status Information Poll Interval (units of 100 milliseconds)", 0, 31, 16),
};
constexpr FieldRow SANITIZE_CONFIG[] = {
    flag("NODRM", "No-Deallocate Response Mode", 0, 0),
};
constexpr FieldRow ENDURANCE_GROUP_EVENT[] = {
    bitsRow("ENDGID", "Endurance Group Identifier", 0, 15, 0),
    bitsRow("EGCW", "Endurance Group Critical Warnings", 0, 23, 16, Format::HEX),
};
constexpr FieldRow COMMAND_SET_PROFILE[] = {
    bitsRow("IOCSCI", "I/O Command Set Combination Index", 0, 8, 0),
};
constexpr FieldRow SPINUP_CONTROL[] = {
    flag("SPINUP", "Spinup Control", 0, 0),
};
constexpr FieldRow POWER_LOSS_SIGNALING[] = {
    bitsRow("PLSM", "Power Loss Signaling Mode", 0, 1, 0),
};
constexpr FieldRow PERFORMANCE_CHARACTERISTICS[] = {
    bitsRow("ATTRI", "Attribute Index", 0, 7, 0, Format::HEX),
};
constexpr FieldRow FDP[] = {
    flag("FDPE", "Flexible Data Placement Enable", 0, 0),
    bitsRow("FDPCIDX", "Flexible Data Placement Configuration Index", 0, 15, 8),
};
constexpr FieldRow FDP_EVENTS[] = {
    bitsRow("NOET", "Number of FDP Event Types", 0, 7, 0),
};
constexpr FieldRow POWER_LIMIT[] = {
    bitsRow("PLV", "Power Limit Value", 0, 15, 0),
    bitsRow("PLS", "Power Limit Scale", 0, 17, 16),
};
constexpr FieldRow POWER_THRESHOLD[] = {
    bitsRow("PTV", "Power Threshold Value", 0, 15, 0),
    bitsRow("PTS", "Power Threshold Scale", 0, 17, 16),
    bitsRow("PMTS", "Power Measurement Type Select", 0, 23, 20),
    flag("EPT", "Enable Power Threshold", 0, 31),
};
constexpr FieldRow POWER_MEASUREMENT[] = {
    bitsRow("ACT", "Action", 0, 3, 0),
    bitsRow("PMT", "Power Measurement Type", 0, 7, 4),
    bitsRow("SMT", "Stop Measurement Time", 0, 31, 16),
};
constexpr FieldRow SOFTWARE_PROGRESS[] = {
    bitsRow("PBSLC", "Pre-boot Software Load Count", 0, 7, 0),
};
constexpr FieldRow RESERVATION_MASK[] = {
    flag("REGPRE", "Mask Registration Preempted Notification", 0, 1),
    flag("RESREL", "Mask Reservation Released Notification", 0, 2),
    flag("RESPRE", "Mask Reservation Preempted Notification", 0, 3),
};
constexpr FieldRow RESERVATION_PERSISTENCE[] = {
    flag("PTPL", "Persist Through Power Loss", 0, 0),
};
constexpr Word NAMESPACE_PROTECTIONS[] = {
    {0, "no write protect"}, {1, "write protect"}, {2, "write protect until power cycle"},
    {3, "permanent write protect"}, {},
};
constexpr FieldRow NAMESPACE_WRITE_PROTECTION[] = {
    word("WPS", "Write Protection State", 0, 2, 0, NAMESPACE_PROTECTIONS),
};
constexpr Word BOOT_PROTECTIONS[] = {
    {1, "write unlocked"}, {2, "write locked"}, {3, "write locked until power cycle"}, {4, "controlled by RPMB"}, {},
};
constexpr FieldRow BOOT_PARTITION_WRITE_PROTECTION[] = {
    word("BP0WPS", "Boot Partition 0 Write Protection State", 0, 2, 0, BOOT_PROTECTIONS),
    word("BP1WPS", "Boot Partition 1 Write Protection State", 0, 5, 3, BOOT_PROTECTIONS),
};

constexpr FieldRow OCP_ERROR_INJECTION[] = {
    keyed(key::numberOfErrorInjections, bitsRow("NUM", "Number of Error Injections", 0, 6, 0)),
};
constexpr Word END_OF_LIFE_MODES[] = {{1, "read only mode"}, {2, "write through mode"}, {3, "normal mode"}, {}};
constexpr FieldRow OCP_END_OF_LIFE_MODE[] = {
    keyed(key::mode, word("MODE", "End of Life and PLP Failure Mode", 0, 2, 0, END_OF_LIFE_MODES)),
};
constexpr FieldRow OCP_IEEE1667_SILO[] = {
    keyed(key::siloEnabled, flag("EN", "IEEE 1667 Silo Enabled", 0, 0)),
};
constexpr FieldRow OCP_PLP_CHECK_INTERVAL[] = {
    keyed(key::plpCheckInterval, bitsRow("INT", "PLP Health Check Interval (minutes)", 0, 15, 0)),
};
constexpr FieldRow OCP_DSSD_POWER_STATE[] = {
    keyed(key::dssdPowerState, bitsRow("PS", "DSSD Power State (watts)", 0, 6, 0)),
};
constexpr FieldRow OCP_TELEMETRY_PROFILE[] = {
    bitsRow("TPS", "Telemetry Profile Select", 0, 7, 0),
};
constexpr FieldRow OCP_ASYNCHRONOUS_EVENT[] = {
    flag("EPN", "Enable Panic Notices", 0, 0),
};
constexpr Word DISABLED_AT_0[] = {{0, "disabled"}, {}};
constexpr FieldRow OCP_IDLE_WAKE_UP_TIME[] = {
    inWords(DISABLED_AT_0, bitsRow("IWUT", "Idle Wake Up Time", 0, 31, 0)),
};

/// What Get Features returns of a feature's capabilities.
constexpr FieldRow CAPABILITIES[] = {
    flag("Saveable", "Can be saved", 0, 0),
    flag("Namespace Specific", "Each namespace has its own", 0, 1),
    flag("Changeable", "Can be changed", 0, 2),
};

// Fields of data structures.

constexpr Word LBA_RANGE_TYPES[] = {
    {0, "general purpose"}, {1, "file system"}, {2, "RAID"}, {3, "cache"}, {4, "page or swap file"}, {},
};
constexpr FieldRow LBA_RANGE[] = {
    word("Type", "", offsetof(LbaRangeTypeEntry, type), 7, 0, LBA_RANGE_TYPES),
    flag("Overwritable", "May be overwritten", offsetof(LbaRangeTypeEntry, attributes), 0),
    flag("Hidden", "Is to be hidden from the system", offsetof(LbaRangeTypeEntry, attributes), 1),
    {"SLBA", "Starting LBA", FIELD(LbaRangeTypeEntry, startingLba), Format::DECIMAL},
    {"NLB", "Number of Logical Blocks (blocks)", FIELD(LbaRangeTypeEntry, blocks0Based), Format::DECIMAL_0BASED},
    {"GUID", "Unique Identifier", FIELD(LbaRangeTypeEntry, guid), Format::BYTES},
};
constexpr FieldRow POWER_TRANSITION[] = {
    bitsRow("ITPS", "Idle Transition Power State", 0, 7, 3),
    bitsRow("ITPT", "Idle Time Prior to Transition (milliseconds)", 0, 31, 8),
};
constexpr FieldRow HOST_MEMORY[] = {
    {"HSIZE", "Host Memory Buffer Size (memory pages)", FIELD(HostMemoryAttributes, hsize), Format::DECIMAL},
    {"HMDLA", "Host Memory Descriptor List Address", FIELD(HostMemoryAttributes, hmdla), Format::HEX},
    {"HMDLEC", "Host Memory Descriptor List Entry Count", FIELD(HostMemoryAttributes, hmdlec), Format::DECIMAL},
};
constexpr Word ORIGINS[] = {{0, "cleared by a controller level reset"}, {1, "set by the host"}, {}};
constexpr Word SYNCHS[] = {{0, "counted without a stop"}, {1, "may have stopped at times"}, {}};
constexpr FieldRow TIMESTAMP[] = {
    keyed(key::timestamp, {"TSTMP", "Timestamp (milliseconds)", FIELD(TimestampData, milliseconds), Format::DECIMAL}),
    keyed(key::timestampOrigin, word("ORIGIN", "Timestamp Origin", 0, 51, 49, ORIGINS)),
    keyed(key::timestampSynch, word("SYNCH", "Timestamp Synch", 0, 48, 48, SYNCHS)),
    {"Date", "", 0, sizeof(TimestampData), Format::DATE},
};
constexpr FieldRow DETERMINISTIC_THRESHOLDS[] = {
    {"Enable Event", "", FIELD(PredictableLatencyConfig, enableEvent), Format::HEX},
    flag("Enable Event Reads", "Reads warning of the deterministic window",
         offsetof(PredictableLatencyConfig, enableEvent), 0),
    flag("Enable Event Writes", "Writes warning of the deterministic window",
         offsetof(PredictableLatencyConfig, enableEvent), 1),
    flag("Enable Event Time", "Time warning of the deterministic window",
         offsetof(PredictableLatencyConfig, enableEvent), 2),
    flag("Enable Event Exceeded", "Left the deterministic window since a value was exceeded",
         offsetof(PredictableLatencyConfig, enableEvent), 14),
    flag("Enable Event Excursion", "Left the deterministic window by an excursion",
         offsetof(PredictableLatencyConfig, enableEvent), 15),
    {"DTWIN Reads Threshold", "Deterministic window (units of 4 KiB)",
     FIELD(PredictableLatencyConfig, readsThreshold), Format::DECIMAL},
    {"DTWIN Writes Threshold", "Deterministic window (optimal write sizes)",
     FIELD(PredictableLatencyConfig, writesThreshold), Format::DECIMAL},
    {"DTWIN Time Threshold", "Deterministic window (milliseconds)",
     FIELD(PredictableLatencyConfig, timeThreshold), Format::DECIMAL},
};
constexpr FieldRow HOST_BEHAVIOR[] = {
    flag("ACRE", "Advanced Command Retry Enable", offsetof(HostBehaviorSupport, acre), 0),
    since(NVME_2_0, flag("ETDAS", "Extended Telemetry Data Area 4 Supported", offsetof(HostBehaviorSupport, etdas), 0)),
    since(NVME_2_0, flag("LBAFEE", "LBA Format Extension Enable", offsetof(HostBehaviorSupport, lbafee), 0)),
    since(NVME_2_1, flag("HDISNS", "Host Dispersed Namespace Support", offsetof(HostBehaviorSupport, hdisns), 0)),
    since(NVME_2_1, {"CDFE", "Copy Descriptor Formats Enable", FIELD(HostBehaviorSupport, cdfe), Format::HEX}),
};
constexpr FieldRow FDP_EVENT[] = {
    word("FDPET", "Event Type", offsetof(FdpEventSupport, type), 7, 0, FDP_EVENT_TYPES),
    flag("FDPEE", "Event Enabled", offsetof(FdpEventSupport, attributes), 0),
};
constexpr FieldRow HOST_IDENTIFIER[] = {{"HOSTID", "Host Identifier", 0, 8, Format::BYTES}};
constexpr FieldRow EXTENDED_HOST_IDENTIFIER[] = {{"HOSTID", "Host Identifier", 0, 16, Format::BYTES}};

constexpr Word ERROR_INJECTION_TYPES[] = {
    {0x1, "device panic - CPU or controller hang"},
    {0x2, "device panic - NAND hang"},
    {0x3, "device panic - PLP defect"},
    {0x4, "device panic - logical firmware error"},
    {0x5, "device panic - DRAM corruption of the critical path"},
    {0x6, "device panic - DRAM corruption of a non-critical path"},
    {0x7, "device panic - NAND corruption"},
    {0x8, "device panic - SRAM corruption"},
    {0x9, "device panic - hardware malfunction"},
    {0xA, "device panic - no more NAND spares"},
    {0xB, "device panic - incomplete shutdown"},
    {0xC, "metadata corruption"},
    {0xD, "critical garbage collection"},
    {0xE, "latency spike"},
    {0xF, "I/O command failure"},
    {0x10, "I/O command timeout"},
    {0x11, "Admin command failure"},
    {0x12, "Admin command timeout"},
    {0x13, "thermal throttle engaged"},
    {0x14, "thermal throttle disengaged"},
    {0x15, "critical temperature event"},
    {0x16, "die offline"},
    {},
};
constexpr FieldRow ERROR_INJECTION_ENTRY[] = {
    flag("Enabled", "Error Injection Enable", offsetof(OcpErrorInjectionEntry, flags), 0),
    flag("Single Instance", "Injected once and not until it is disabled", offsetof(OcpErrorInjectionEntry, flags), 1),
    keyed(key::errorInjectionType, word("TYPE", "Error Injection Type",
                                        offsetof(OcpErrorInjectionEntry, type), 15, 0, ERROR_INJECTION_TYPES)),
    keyed(key::numReadsToTriggerPanic, {"NRTDP", "Reads that trigger the device panic",
                                        FIELD(OcpErrorInjectionEntry, reads), Format::DECIMAL}),
};
constexpr FieldRow LATENCY_MONITOR[] = {
    flag("Enabled", "Latency Monitor Feature Enable", offsetof(OcpLatencyMonitorSetting, enable), 0),
    {"ABTT", "Active Bucket Timer Threshold (units of 5 minutes)",
     FIELD(OcpLatencyMonitorSetting, bucketTimerThreshold), Format::DECIMAL},
    {"ATA", "Active Threshold A (units of 5 milliseconds)",
     FIELD(OcpLatencyMonitorSetting, thresholds[0]), Format::DECIMAL_0BASED},
    {"ATB", "Active Threshold B (units of 5 milliseconds)",
     FIELD(OcpLatencyMonitorSetting, thresholds[1]), Format::DECIMAL_0BASED},
    {"ATC", "Active Threshold C (units of 5 milliseconds)",
     FIELD(OcpLatencyMonitorSetting, thresholds[2]), Format::DECIMAL_0BASED},
    {"ATD", "Active Threshold D (units of 5 milliseconds)",
     FIELD(OcpLatencyMonitorSetting, thresholds[3]), Format::DECIMAL_0BASED},
    {"ALC", "Active Latency Configuration", FIELD(OcpLatencyMonitorSetting, latencyConfiguration), Format::HEX},
    {"ALMW", "Active Latency Minimum Window (units of 100 milliseconds)",
     FIELD(OcpLatencyMonitorSetting, minimumWindow), Format::DECIMAL},
    {"DLTE", "Debug Log Trigger Enable", FIELD(OcpLatencyMonitorSetting, debugLogTriggers), Format::HEX},
    {"DDL", "Discard Debug Log", FIELD(OcpLatencyMonitorSetting, discardDebugLog), Format::DECIMAL},
};
// clang-format on

constexpr size_t LBA_RANGE_BYTES = sizeof(LbaRangeTypeEntry);
constexpr size_t POWER_TRANSITION_BYTES = sizeof(PowerTransitionEntry);
constexpr size_t ERROR_INJECTION_BYTES = sizeof(OcpErrorInjectionEntry);

/// A part for each of the first `count` entries that lie in the data.
void addEntries(FieldTree& tree, const char* heading, FieldRows rows, const Payload& data, size_t entryBytes,
                uint64_t count) {
    for (size_t i = 0; i < count && (i + 1) * entryBytes <= data.getSize(); ++i)
        addFields(tree.addPart(heading + std::to_string(i + 1)), rows, data.getData() + i * entryBytes, entryBytes);
}

void addLbaRanges(FieldTree& tree, uint32_t dword0, const Payload& data, uint16_t) {
    addEntries(tree, "LBA Range ", LBA_RANGE, data, LBA_RANGE_BYTES, bits(dword0, 5, 0) + 1);
}

void addErrorInjections(FieldTree& tree, uint32_t dword0, const Payload& data, uint16_t) {
    addEntries(tree, "Error Injection ", ERROR_INJECTION_ENTRY, data, ERROR_INJECTION_BYTES, bits(dword0, 6, 0));
}

/// Power states that are left after some idle time; the others are not named.
void addPowerTransitions(FieldTree& tree, uint32_t, const Payload& data, uint16_t) {
    for (size_t at = 0; at + POWER_TRANSITION_BYTES <= data.getSize(); at += POWER_TRANSITION_BYTES) {
        const uint8_t* entry = data.getData() + at;
        if (structureAt<PowerTransitionEntry>(entry).idleTime == 0) continue;
        addFields(tree.addPart("Power State " + std::to_string(at / POWER_TRANSITION_BYTES)), POWER_TRANSITION, entry,
                  POWER_TRANSITION_BYTES);
    }
}

/// Dword 0 gives how many types of events there are.
void addFdpEvents(FieldTree& tree, uint32_t dword0, const Payload& data, uint16_t) {
    addEntries(tree, "Event ", FDP_EVENT, data, sizeof(FdpEventSupport), bits(dword0, 7, 0));
}

/// Dword 11 of the command said which form was asked for, and nothing in the answer repeats it but its length.
void addHostIdentifier(FieldTree& tree, uint32_t, const Payload& data, uint16_t) {
    const bool extended = data.getSize() >= 16;
    addFields(tree, extended ? FieldRows(EXTENDED_HOST_IDENTIFIER) : FieldRows(HOST_IDENTIFIER), data.getData(),
              data.getSize());
}

using Controller = ControllerCapabilities;

// clang-format off
constexpr FeatureRow FEATURES[] = {
    // identifier                      name                       data  per ns  dword 0                    data structure
    //     which controllers have it; whether it is persistent
    {FID_ARBITRATION,                  "Arbitration",                0, false, ARBITRATION,                nullptr},
    {FID_POWER_MANAGEMENT,             "Power Management",           0, false, POWER_MANAGEMENT,           nullptr},
    {FID_LBA_RANGE_TYPE,               "LBA Range Type",          4096, true,  LBA_RANGE_TYPE,             addLbaRanges,
     nullptr, true},
    {FID_TEMPERATURE_THRESHOLD,        "Temperature Threshold",      0, false, TEMPERATURE_THRESHOLD,      nullptr},
    {FID_ERROR_RECOVERY,               "Error Recovery",             0, true,  ERROR_RECOVERY,             nullptr},
    {FID_VOLATILE_WRITE_CACHE,         "Volatile Write Cache",       0, false, VOLATILE_WRITE_CACHE,       nullptr,
     &Controller::supportsVolatileWriteCache},
    {FID_NUMBER_OF_QUEUES,             "Number of Queues",           0, false, NUMBER_OF_QUEUES,           nullptr},
    {FID_INTERRUPT_COALESCING,         "Interrupt Coalescing",       0, false, INTERRUPT_COALESCING,       nullptr},
    {FID_INTERRUPT_VECTOR,             "Interrupt Vector Configuration", 0, false, INTERRUPT_VECTOR,       nullptr},
    {FID_WRITE_ATOMICITY,              "Write Atomicity Normal",     0, false, WRITE_ATOMICITY,            nullptr},
    {FID_ASYNCHRONOUS_EVENT,           "Asynchronous Event Configuration", 0, false, ASYNCHRONOUS_EVENT,   nullptr},
    {FID_AUTONOMOUS_POWER_STATE,       "Autonomous Power State Transition",
                                                                   256, false, AUTONOMOUS_POWER_STATE,     addPowerTransitions,
     &Controller::supportsAutonomousPowerStates},
    {FID_HOST_MEMORY_BUFFER,           "Host Memory Buffer",      4096, false, HOST_MEMORY_BUFFER,         addTable<HOST_MEMORY>,
     &Controller::wantsHostMemory},
    {FID_TIMESTAMP,                    "Timestamp",                  8, false, {},                         addTable<TIMESTAMP>,
     &Controller::supportsTimestamp},
    {FID_KEEP_ALIVE,                   "Keep Alive Timer",           0, false, KEEP_ALIVE,                 nullptr,
     &Controller::supportsKeepAlive},
    {FID_HOST_THERMAL_MANAGEMENT,      "Host Controlled Thermal Management", 0, false, HOST_THERMAL_MANAGEMENT, nullptr,
     &Controller::supportsThermalManagement, true},
    {FID_NON_OPERATIONAL_POWER_STATE,  "Non-Operational Power State Config", 0, false, NON_OPERATIONAL_POWER_STATE, nullptr,
     &Controller::supportsPermissivePowerStates},
    {FID_READ_RECOVERY_LEVEL,          "Read Recovery Level Config", 0, false, READ_RECOVERY_LEVEL,        nullptr,
     &Controller::supportsReadRecoveryLevels, true},
    {FID_PREDICTABLE_LATENCY_CONFIG,   "Predictable Latency Mode Config",
                                                                   512, false, PREDICTABLE_LATENCY_CONFIG, addTable<DETERMINISTIC_THRESHOLDS>,
     &Controller::supportsPredictableLatency, true},
    {FID_PREDICTABLE_LATENCY_WINDOW,   "Predictable Latency Mode Window", 0, false, PREDICTABLE_LATENCY_WINDOW, nullptr,
     &Controller::supportsPredictableLatency},
    {FID_LBA_STATUS_INTERVAL,          "LBA Status Information Attributes", 0, false, LBA_STATUS_INTERVAL, nullptr,
     &Controller::supportsLbaStatus},
    {FID_HOST_BEHAVIOR_SUPPORT,        "Host Behavior Support",    512, false, {},                         addTable<HOST_BEHAVIOR>},
    {FID_SANITIZE_CONFIG,              "Sanitize Config",            0, false, SANITIZE_CONFIG,            nullptr,
     &Controller::supportsSanitize, true},
    {FID_ENDURANCE_GROUP_EVENT,        "Endurance Group Event Configuration", 0, false, ENDURANCE_GROUP_EVENT, nullptr,
     &Controller::supportsEnduranceGroupNotices},
    {FID_COMMAND_SET_PROFILE,          "I/O Command Set Profile",    0, false, COMMAND_SET_PROFILE,        nullptr},
    {FID_SPINUP_CONTROL,               "Spinup Control",             0, false, SPINUP_CONTROL,             nullptr},
    {FID_POWER_LOSS_SIGNALING,         "Power Loss Signaling Config", 0, false, POWER_LOSS_SIGNALING,      nullptr},
    {FID_PERFORMANCE_CHARACTERISTICS,  "Performance Characteristics", 4096, false, PERFORMANCE_CHARACTERISTICS, nullptr},
    {FID_FDP,                          "Flexible Data Placement",    0, false, FDP,                        nullptr,
     &Controller::supportsFdp},
    {FID_FDP_EVENTS,                   "Flexible Data Placement Events", 512, true, FDP_EVENTS,            addFdpEvents,
     &Controller::supportsFdp},
    {FID_NAMESPACE_ADMIN_LABEL,        "Namespace Admin Label",   4096, true,  {},                         nullptr},
    {FID_KEY_VALUE,                    "Key Value Configuration", 4096, true,  {},                         nullptr},
    {FID_CONTROLLER_DATA_QUEUE,        "Controller Data Queue",   4096, false, {},                         nullptr},
    {FID_DEVICE_PERSONALITY,           "Configurable Device Personality", 4096, false, {},                 nullptr},
    {FID_POWER_LIMIT,                  "Power Limit",                0, false, POWER_LIMIT,                nullptr},
    {FID_POWER_THRESHOLD,              "Power Threshold",            0, false, POWER_THRESHOLD,            nullptr},
    {FID_POWER_MEASUREMENT,            "Power Measurement",          0, false, POWER_MEASUREMENT,          nullptr},
    {FID_VOLTAGE_THRESHOLD,            "Voltage Threshold",       4096, false, {},                         nullptr},
    {FID_VOLTAGE_MEASUREMENT,          "Voltage Measurement",     4096, false, {},                         nullptr},
    {FID_RATE_LIMITING,                "Rate Limiting",           4096, false, {},                         nullptr},
    {FID_SOFTWARE_PROGRESS,            "Software Progress Marker",   0, false, SOFTWARE_PROGRESS,          nullptr,
     nullptr, true},
    {FID_HOST_IDENTIFIER,              "Host Identifier",           16, false, {},                         addHostIdentifier},
    {FID_RESERVATION_MASK,             "Reservation Notification Mask", 0, true, RESERVATION_MASK,         nullptr,
     &Controller::supportsReservations},
    {FID_RESERVATION_PERSISTENCE,      "Reservation Persistence",    0, true,  RESERVATION_PERSISTENCE,    nullptr,
     &Controller::supportsReservations, true},
    {FID_NAMESPACE_WRITE_PROTECTION,   "Namespace Write Protection Config", 0, true, NAMESPACE_WRITE_PROTECTION, nullptr,
     &Controller::supportsNamespaceWriteProtection, true},
    {FID_BOOT_PARTITION_WRITE_PROTECTION, "Boot Partition Write Protection Config",
                                                                     0, false, BOOT_PARTITION_WRITE_PROTECTION, nullptr,
     nullptr, true},
};

constexpr FeatureRow OCP_FEATURES[] = {
    {FID_OCP_ERROR_INJECTION,          "Error Injection",         4096, false, OCP_ERROR_INJECTION,        addErrorInjections},
    {FID_OCP_CLEAR_FIRMWARE_HISTORY,   "Clear Firmware Update History", 0, false, {},                      nullptr, nullptr, true},
    {FID_OCP_END_OF_LIFE_MODE,         "EOL/PLP Failure Mode",       0, false, OCP_END_OF_LIFE_MODE,       nullptr},
    {FID_OCP_CLEAR_PCIE_ERRORS,        "Clear PCIe Correctable Error Counters", 0, false, {},              nullptr, nullptr, true},
    {FID_OCP_IEEE1667_SILO,            "Enable IEEE1667 Silo",       0, false, OCP_IEEE1667_SILO,          nullptr},
    {FID_OCP_LATENCY_MONITOR,          "Latency Monitor",         4096, false, {},                         addTable<LATENCY_MONITOR>},
    {FID_OCP_PLP_CHECK_INTERVAL,       "PLP Health Check Interval",  0, false, OCP_PLP_CHECK_INTERVAL,     nullptr},
    {FID_OCP_DSSD_POWER_STATE,         "DSSD Power State",           0, false, OCP_DSSD_POWER_STATE,       nullptr},
    {FID_OCP_TELEMETRY_PROFILE,        "Telemetry Profile",          0, false, OCP_TELEMETRY_PROFILE,      nullptr},
    {FID_OCP_ASYNCHRONOUS_EVENT,       "DSSD Asynchronous Event Configuration",
                                                                     0, false, OCP_ASYNCHRONOUS_EVENT,     nullptr},
    {FID_OCP_IDLE_WAKE_UP_TIME,        "Idle Wake Up Time Configuration",
                                                                     0, false, OCP_IDLE_WAKE_UP_TIME,      nullptr},
};
/// How the features are addressed: the version of log page C0h with which each became OCP's, and the first version
/// whose commands have the NSID FFFFFFFFh; 0: they have none.
constexpr struct {
    uint8_t fid;
    uint16_t firstVersion;
    uint16_t firstVersionForAll;
} OCP_ADDRESSES[] = {
    {FID_OCP_ERROR_INJECTION,        OCP_SMART_OF_1_0, OCP_SMART_OF_2_0},
    {FID_OCP_CLEAR_FIRMWARE_HISTORY, OCP_SMART_OF_1_0, 0},
    {FID_OCP_END_OF_LIFE_MODE,       OCP_SMART_OF_1_0, 0},
    {FID_OCP_CLEAR_PCIE_ERRORS,      OCP_SMART_OF_1_0, 0},
    {FID_OCP_IEEE1667_SILO,          OCP_SMART_OF_1_0, 0},
    {FID_OCP_LATENCY_MONITOR,        OCP_SMART_OF_2_0, 0},
    {FID_OCP_PLP_CHECK_INTERVAL,     OCP_SMART_OF_2_0, 0},
    {FID_OCP_DSSD_POWER_STATE,       OCP_SMART_OF_2_0, 0},
    {FID_OCP_TELEMETRY_PROFILE,      OCP_SMART_OF_2_5, OCP_SMART_OF_2_5},
    {FID_OCP_ASYNCHRONOUS_EVENT,     OCP_SMART_OF_2_5, 0},
    {FID_OCP_IDLE_WAKE_UP_TIME,      OCP_SMART_OF_2_6, 0},
};

constexpr struct {
    uint8_t fid;
    FieldRow row;
} OCP_SET_FIELDS[] = {
    {FID_OCP_ERROR_INJECTION,        bitsRow("NUM", "Number of Error Injections", 0, 6, 0)},
    {FID_OCP_CLEAR_FIRMWARE_HISTORY, bitsRow("CLR", "Clear the history", 0, 31, 31)},
    {FID_OCP_END_OF_LIFE_MODE,       bitsRow("MODE", "End of Life and PLP Failure Mode", 0, 31, 30)},
    {FID_OCP_CLEAR_PCIE_ERRORS,      bitsRow("CLR", "Clear the counters", 0, 31, 31)},
    {FID_OCP_IEEE1667_SILO,          bitsRow("EN", "Enable the silo", 0, 31, 31)},
    {FID_OCP_PLP_CHECK_INTERVAL,     bitsRow("INT", "PLP Health Check Interval (minutes)", 0, 31, 16)},
    {FID_OCP_DSSD_POWER_STATE,       bitsRow("PS", "DSSD Power State (watts)", 0, 6, 0)},
    {FID_OCP_TELEMETRY_PROFILE,      bitsRow("TPS", "Telemetry Profile Select", 0, 7, 0)},
    {FID_OCP_ASYNCHRONOUS_EVENT,     bitsRow("EPN", "Enable Panic Notices", 0, 0, 0)},
};
// clang-format on

/// Where the row's bits begin in the dword, and how many there are.
struct Position {
    unsigned shift;
    unsigned width;
};
Position positionOf(const FieldRow& row) {
    return {row.offset * 8U + row.low, row.high - row.low + 1U};
}

}  // namespace

const FeatureRow* findFeature(uint8_t fid) {
    return findRow(featuresBegin(), featuresEnd(), [fid](const FeatureRow& row) { return row.fid == fid; });
}

const FeatureRow* findOcpFeature(uint8_t fid) {
    return findRow(ocpFeaturesBegin(), ocpFeaturesEnd(), [fid](const FeatureRow& row) { return row.fid == fid; });
}

const FeatureRow* featuresBegin() {
    return std::begin(FEATURES);
}
const FeatureRow* featuresEnd() {
    return std::end(FEATURES);
}
const FeatureRow* ocpFeaturesBegin() {
    return std::begin(OCP_FEATURES);
}
const FeatureRow* ocpFeaturesEnd() {
    return std::end(OCP_FEATURES);
}

std::optional<uint16_t> findErrorInjectionType(const std::string& name) {
    constexpr const char* PREFIX = "devicepanic";
    const std::string wanted = comparableLogName(name);
    for (const Word* word = ERROR_INJECTION_TYPES; word->text != nullptr; ++word) {
        const std::string type = comparableLogName(word->text);
        if (type == wanted || type == PREFIX + wanted) return static_cast<uint16_t>(word->code);
    }
    return std::nullopt;
}

bool isOcpFeature(uint8_t fid, uint16_t ocpSmartVersion) {
    return std::any_of(std::begin(OCP_ADDRESSES), std::end(OCP_ADDRESSES),
                       [&](const auto& row) { return row.fid == fid && ocpSmartVersion >= row.firstVersion; });
}

uint32_t ocpFeatureNsid(uint8_t fid, uint16_t ocpSmartVersion) {
    const bool isForAll = std::any_of(std::begin(OCP_ADDRESSES), std::end(OCP_ADDRESSES), [&](const auto& row) {
        return row.fid == fid && row.firstVersionForAll != 0 && ocpSmartVersion >= row.firstVersionForAll;
    });
    return isForAll ? NSID_ALL : 0;
}

FieldTree decodeFeature(const FeatureRow& feature, uint32_t dword0, const Payload& data, uint16_t nvmeVersion) {
    FieldTree tree{feature.name, {}, {}};
    uint8_t bytes[4];
    putLe32(bytes, dword0);
    addFields(tree, feature.dword0, bytes, sizeof bytes, nvmeVersion);
    if (feature.decodeData != nullptr) feature.decodeData(tree, dword0, data, nvmeVersion);
    return tree;
}

bool hasFieldsOfVersions(const FeatureRow& feature) {
    return feature.fid == FID_HOST_BEHAVIOR_SUPPORT ||
           std::any_of(feature.dword0.begin(), feature.dword0.end(), [](const FieldRow& row) { return row.version; });
}

FieldTree decodeFeatureCapabilities(const FeatureRow& feature, uint32_t dword0) {
    FieldTree tree{std::string(feature.name) + " Capabilities", {}, {}};
    uint8_t bytes[4];
    putLe32(bytes, dword0);
    addFields(tree, CAPABILITIES, bytes, sizeof bytes);
    return tree;
}

FeatureField findFeatureField(const std::string& key) {
    return findFeatureField(featuresBegin(), featuresEnd(), key);
}

FeatureField findFeatureField(const FeatureRow* begin, const FeatureRow* end, const std::string& key) {
    for (const auto* feature = begin; feature != end; ++feature) {
        for (const FieldRow& row : feature->dword0) {
            if (row.key != nullptr && fieldName(row) == key) return {feature, &row};
        }
    }
    return {nullptr, nullptr};
}

const FieldRow* findOcpSetField(uint8_t fid) {
    for (const auto& field : OCP_SET_FIELDS) {
        if (field.fid == fid) return &field.row;
    }
    return nullptr;
}

bool fitsField(const FieldRow& row, uint64_t value) {
    return value >> positionOf(row).width == 0;
}

uint32_t withField(const FieldRow& row, uint32_t dword, uint32_t value) {
    const Position position = positionOf(row);
    const auto mask = static_cast<uint32_t>(bits(~uint64_t{0}, position.width - 1, 0) << position.shift);
    return (dword & ~mask) | (value << position.shift & mask);
}

std::vector<Structure> featureStructures() {
    std::vector<Structure> structures = {
        {"LBA Range Type > LBA Range *", LBA_RANGE},
        {"Autonomous Power State Transition > Power State *", POWER_TRANSITION},
        {"Host Memory Buffer", HOST_MEMORY},
        {"Timestamp", TIMESTAMP},
        {"Predictable Latency Mode Config", DETERMINISTIC_THRESHOLDS},
        {"Host Behavior Support", HOST_BEHAVIOR},
        {"Host Identifier", EXTENDED_HOST_IDENTIFIER},
        {"Flexible Data Placement Events > Event *", FDP_EVENT},
        {"Error Injection > Error Injection *", ERROR_INJECTION_ENTRY},
        {"Latency Monitor", LATENCY_MONITOR},
        {"* Capabilities", CAPABILITIES},
    };
    for (const FeatureRow& row : FEATURES) structures.push_back({row.name, row.dword0});
    for (const FeatureRow& row : OCP_FEATURES) structures.push_back({row.name, row.dword0});
    return structures;
}

}  // namespace features::nvme
