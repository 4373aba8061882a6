// The logs of a drive's health: SMART / Health, and Endurance Group Information.

#include "features/nvme/LogPages.h"

#include "features/nvme/FieldTable.h"
#include "features/nvme/NvmeVersions.h"
#include "features/nvme/Structures.h"
#include "features/nvme/structures/EnduranceGroupLog.h"
#include "features/nvme/structures/OcpSmartLog.h"
#include "features/nvme/structures/SmartHealthLog.h"

namespace features::nvme {

using ostrel::core::Payload;

namespace {

// clang-format off
constexpr FieldRow SMART_FIELDS[] = {  // section 5.14.1.2
    {"CW", "Critical Warning", FIELD(SmartHealthLog, criticalWarning), Format::HEX},
    flag("CW Spare", "Available spare has fallen below the threshold", offsetof(SmartHealthLog, criticalWarning), 0),
    flag("CW Temperature", "A temperature is beyond its threshold", offsetof(SmartHealthLog, criticalWarning), 1),
    flag("CW Reliability", "NVM subsystem reliability is degraded", offsetof(SmartHealthLog, criticalWarning), 2),
    flag("CW Read Only", "All media is in read only mode", offsetof(SmartHealthLog, criticalWarning), 3),
    flag("CW Backup", "The volatile memory backup device has failed", offsetof(SmartHealthLog, criticalWarning), 4),
    flag("CW Persistent Memory", "Persistent Memory Region is read only or unreliable",
         offsetof(SmartHealthLog, criticalWarning), 5),
    {"CTEMP", "Composite Temperature (C)", FIELD(SmartHealthLog, compositeTemperature), Format::CELSIUS},
    {"AVSP", "Available Spare (%)", FIELD(SmartHealthLog, availableSpare), Format::DECIMAL},
    {"AVSPT", "Available Spare Threshold (%)", FIELD(SmartHealthLog, availableSpareThreshold), Format::DECIMAL},
    {"PUSED", "Percentage Used (%)", FIELD(SmartHealthLog, percentageUsed), Format::DECIMAL},
    {"EGCWS", "Endurance Group Critical Warning Summary", FIELD(SmartHealthLog, enduranceGroupWarnings), Format::HEX},
    flag("EGCWS Spare", "Available spare of an Endurance Group is below its threshold",
         offsetof(SmartHealthLog, enduranceGroupWarnings), 0),
    flag("EGCWS Reliability", "Reliability of an Endurance Group is degraded",
         offsetof(SmartHealthLog, enduranceGroupWarnings), 2),
    flag("EGCWS Read Only", "Namespaces of an Endurance Group are in read only mode",
         offsetof(SmartHealthLog, enduranceGroupWarnings), 3),
    {"DUR", "Data Units Read (units of 512000 bytes)", FIELD(SmartHealthLog, dataUnitsRead), Format::COUNTER},
    {"DUW", "Data Units Written (units of 512000 bytes)", FIELD(SmartHealthLog, dataUnitsWritten), Format::COUNTER},
    {"HRC", "Host Read Commands", FIELD(SmartHealthLog, hostReadCommands), Format::COUNTER},
    {"HWC", "Host Write Commands", FIELD(SmartHealthLog, hostWriteCommands), Format::COUNTER},
    {"CBT", "Controller Busy Time (minutes)", FIELD(SmartHealthLog, controllerBusyTime), Format::COUNTER},
    {"PWRC", "Power Cycles", FIELD(SmartHealthLog, powerCycles), Format::COUNTER},
    {"POH", "Power On Hours (hours)", FIELD(SmartHealthLog, powerOnHours), Format::COUNTER},
    {"UPL", "Unsafe Shutdowns", FIELD(SmartHealthLog, unsafeShutdowns), Format::COUNTER},
    {"MDIE", "Media and Data Integrity Errors", FIELD(SmartHealthLog, mediaErrors), Format::COUNTER},
    {"NEIL", "Number of Error Information Log Entries", FIELD(SmartHealthLog, errorLogEntries), Format::COUNTER},
    {"WCTT", "Warning Composite Temperature Time (minutes)",
     FIELD(SmartHealthLog, warningTemperatureTime), Format::DECIMAL},
    {"CCTT", "Critical Composite Temperature Time (minutes)",
     FIELD(SmartHealthLog, criticalTemperatureTime), Format::DECIMAL},
    {"TSEN1", "Temperature Sensor 1 (C)", FIELD(SmartHealthLog, temperatureSensor[0]), Format::CELSIUS},
    {"TSEN2", "Temperature Sensor 2 (C)", FIELD(SmartHealthLog, temperatureSensor[1]), Format::CELSIUS},
    {"TSEN3", "Temperature Sensor 3 (C)", FIELD(SmartHealthLog, temperatureSensor[2]), Format::CELSIUS},
    {"TSEN4", "Temperature Sensor 4 (C)", FIELD(SmartHealthLog, temperatureSensor[3]), Format::CELSIUS},
    {"TSEN5", "Temperature Sensor 5 (C)", FIELD(SmartHealthLog, temperatureSensor[4]), Format::CELSIUS},
    {"TSEN6", "Temperature Sensor 6 (C)", FIELD(SmartHealthLog, temperatureSensor[5]), Format::CELSIUS},
    {"TSEN7", "Temperature Sensor 7 (C)", FIELD(SmartHealthLog, temperatureSensor[6]), Format::CELSIUS},
    {"TSEN8", "Temperature Sensor 8 (C)", FIELD(SmartHealthLog, temperatureSensor[7]), Format::CELSIUS},
    {"TMT1TC", "Thermal Management Temperature 1 Transition Count",
     FIELD(SmartHealthLog, thermalTransitions[0]), Format::DECIMAL},
    {"TMT2TC", "Thermal Management Temperature 2 Transition Count",
     FIELD(SmartHealthLog, thermalTransitions[1]), Format::DECIMAL},
    {"TTTMT1", "Total Time For Thermal Management Temperature 1 (seconds)",
     FIELD(SmartHealthLog, thermalTime[0]), Format::DECIMAL},
    {"TTTMT2", "Total Time For Thermal Management Temperature 2 (seconds)",
     FIELD(SmartHealthLog, thermalTime[1]), Format::DECIMAL},
    since(NVME_2_2, unless0({"OLEC", "Operational Lifetime Energy Consumed",
                             FIELD(SmartHealthLog, lifetimeEnergy), Format::DECIMAL})),
    since(NVME_2_2, unless0(bitsRow("IPM", "Interval Power Measurement",
                                    offsetof(SmartHealthLog, intervalPower), 15, 0))),
    since(NVME_2_2, bitsRow("IPM Scale", "Scale of the Interval Power Measurement",
                            offsetof(SmartHealthLog, intervalPower), 17, 16)),
};

constexpr FieldRow ENDURANCE_GROUP_FIELDS[] = {  // section 5.14.1.9
    {"CW", "Critical Warning", FIELD(EnduranceGroupLog, criticalWarning), Format::HEX},
    flag("CW Spare", "Available spare has fallen below the threshold", offsetof(EnduranceGroupLog, criticalWarning), 0),
    flag("CW Reliability", "Reliability is degraded", offsetof(EnduranceGroupLog, criticalWarning), 2),
    flag("CW Read Only", "All namespaces are in read only mode", offsetof(EnduranceGroupLog, criticalWarning), 3),
    since(NVME_2_0, {"EGFEAT", "Endurance Group Features", FIELD(EnduranceGroupLog, features), Format::HEX}),
    {"AVSP", "Available Spare (%)", FIELD(EnduranceGroupLog, availableSpare), Format::DECIMAL},
    {"AVSPT", "Available Spare Threshold (%)", FIELD(EnduranceGroupLog, availableSpareThreshold), Format::DECIMAL},
    {"PUSED", "Percentage Used (%)", FIELD(EnduranceGroupLog, percentageUsed), Format::DECIMAL},
    since(NVME_2_0, {"DID", "Domain Identifier", FIELD(EnduranceGroupLog, domain), Format::DECIMAL}),
    {"EE", "Endurance Estimate (units of 1000000000 bytes)",
     FIELD(EnduranceGroupLog, enduranceEstimate), Format::COUNTER},
    {"DUR", "Data Units Read (units of 1000000000 bytes)", FIELD(EnduranceGroupLog, dataUnitsRead), Format::COUNTER},
    {"DUW", "Data Units Written (units of 1000000000 bytes)",
     FIELD(EnduranceGroupLog, dataUnitsWritten), Format::COUNTER},
    {"MUW", "Media Units Written (units of 1000000000 bytes)",
     FIELD(EnduranceGroupLog, mediaUnitsWritten), Format::COUNTER},
    {"HRC", "Host Read Commands", FIELD(EnduranceGroupLog, hostReadCommands), Format::COUNTER},
    {"HWC", "Host Write Commands", FIELD(EnduranceGroupLog, hostWriteCommands), Format::COUNTER},
    {"MDIE", "Media and Data Integrity Errors", FIELD(EnduranceGroupLog, mediaErrors), Format::COUNTER},
    {"NEIL", "Number of Error Information Log Entries", FIELD(EnduranceGroupLog, errorLogEntries), Format::COUNTER},
    since(NVME_2_0, {"TEGCAP", "Total Endurance Group Capacity (bytes)",
                     FIELD(EnduranceGroupLog, totalCapacity), Format::COUNTER}),
    since(NVME_2_0, {"UEGCAP", "Unallocated Endurance Group Capacity (bytes)",
                     FIELD(EnduranceGroupLog, unallocatedCapacity), Format::COUNTER}),
};
// clang-format on

/// Whether a controller reports the fields of NVMe 2.2. One of an earlier version leaves 0 there, which means that it
/// does not, so that its version need not be asked for.
bool hasEnergyFields(const Payload& data) {
    if (data.getSize() < sizeof(SmartHealthLog)) return false;
    const auto log = structureAt<SmartHealthLog>(data.getData());
    return log.lifetimeEnergy != 0 || log.intervalPower != 0;
}

}  // namespace

FieldTree decodeSmartHealth(const Payload& data) {
    return decodeTable("SMART / Health Information", SMART_FIELDS, data, hasEnergyFields(data) ? NVME_2_2 : NVME_2_1);
}

FieldTree decodeEnduranceGroup(const Payload& data, uint16_t nvmeVersion) {
    return decodeTable("Endurance Group Information", ENDURANCE_GROUP_FIELDS, data, nvmeVersion);
}

std::vector<Structure> healthLogStructures() {
    return {
        {"SMART / Health Information", SMART_FIELDS},
        {"Endurance Group Information", ENDURANCE_GROUP_FIELDS},
    };
}

}  // namespace features::nvme
