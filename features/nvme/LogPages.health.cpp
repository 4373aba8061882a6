// The logs of a drive's health: SMART / Health, and Endurance Group Information.

#include "features/nvme/LogPages.h"

#include "features/nvme/FieldTable.h"
#include "features/nvme/Structures.h"

namespace features::nvme {

using ostrel::core::Payload;

namespace {

// clang-format off
constexpr FieldRow SMART_FIELDS[] = {  // section 5.14.1.2
    {"CW", "Critical Warning", 0, 1, Format::HEX},
    flag("CW Spare", "Available spare has fallen below the threshold", 0, 0),
    flag("CW Temperature", "A temperature is beyond its threshold", 0, 1),
    flag("CW Reliability", "NVM subsystem reliability is degraded", 0, 2),
    flag("CW Read Only", "All media is in read only mode", 0, 3),
    flag("CW Backup", "The volatile memory backup device has failed", 0, 4),
    flag("CW Persistent Memory", "Persistent Memory Region is read only or unreliable", 0, 5),
    {"CTEMP", "Composite Temperature (C)", 1, 2, Format::CELSIUS},
    {"AVSP", "Available Spare (%)", 3, 1, Format::DECIMAL},
    {"AVSPT", "Available Spare Threshold (%)", 4, 1, Format::DECIMAL},
    {"PUSED", "Percentage Used (%)", 5, 1, Format::DECIMAL},
    {"EGCWS", "Endurance Group Critical Warning Summary", 6, 1, Format::HEX},
    flag("EGCWS Spare", "Available spare of an Endurance Group is below its threshold", 6, 0),
    flag("EGCWS Reliability", "Reliability of an Endurance Group is degraded", 6, 2),
    flag("EGCWS Read Only", "Namespaces of an Endurance Group are in read only mode", 6, 3),
    {"DUR", "Data Units Read (units of 512000 bytes)", 32, 16, Format::COUNTER},
    {"DUW", "Data Units Written (units of 512000 bytes)", 48, 16, Format::COUNTER},
    {"HRC", "Host Read Commands", 64, 16, Format::COUNTER},
    {"HWC", "Host Write Commands", 80, 16, Format::COUNTER},
    {"CBT", "Controller Busy Time (minutes)", 96, 16, Format::COUNTER},
    {"PWRC", "Power Cycles", 112, 16, Format::COUNTER},
    {"POH", "Power On Hours (hours)", 128, 16, Format::COUNTER},
    {"UPL", "Unsafe Shutdowns", 144, 16, Format::COUNTER},
    {"MDIE", "Media and Data Integrity Errors", 160, 16, Format::COUNTER},
    {"NEIL", "Number of Error Information Log Entries", 176, 16, Format::COUNTER},
    {"WCTT", "Warning Composite Temperature Time (minutes)", 192, 4, Format::DECIMAL},
    {"CCTT", "Critical Composite Temperature Time (minutes)", 196, 4, Format::DECIMAL},
    {"TSEN1", "Temperature Sensor 1 (C)", 200, 2, Format::CELSIUS},
    {"TSEN2", "Temperature Sensor 2 (C)", 202, 2, Format::CELSIUS},
    {"TSEN3", "Temperature Sensor 3 (C)", 204, 2, Format::CELSIUS},
    {"TSEN4", "Temperature Sensor 4 (C)", 206, 2, Format::CELSIUS},
    {"TSEN5", "Temperature Sensor 5 (C)", 208, 2, Format::CELSIUS},
    {"TSEN6", "Temperature Sensor 6 (C)", 210, 2, Format::CELSIUS},
    {"TSEN7", "Temperature Sensor 7 (C)", 212, 2, Format::CELSIUS},
    {"TSEN8", "Temperature Sensor 8 (C)", 214, 2, Format::CELSIUS},
    {"TMT1TC", "Thermal Management Temperature 1 Transition Count", 216, 4, Format::DECIMAL},
    {"TMT2TC", "Thermal Management Temperature 2 Transition Count", 220, 4, Format::DECIMAL},
    {"TTTMT1", "Total Time For Thermal Management Temperature 1 (seconds)", 224, 4, Format::DECIMAL},
    {"TTTMT2", "Total Time For Thermal Management Temperature 2 (seconds)", 228, 4, Format::DECIMAL},
};

constexpr FieldRow ENDURANCE_GROUP_FIELDS[] = {  // section 5.14.1.9
    {"CW", "Critical Warning", 0, 1, Format::HEX},
    flag("CW Spare", "Available spare has fallen below the threshold", 0, 0),
    flag("CW Reliability", "Reliability is degraded", 0, 2),
    flag("CW Read Only", "All namespaces are in read only mode", 0, 3),
    {"AVSP", "Available Spare (%)", 3, 1, Format::DECIMAL},
    {"AVSPT", "Available Spare Threshold (%)", 4, 1, Format::DECIMAL},
    {"PUSED", "Percentage Used (%)", 5, 1, Format::DECIMAL},
    {"EE", "Endurance Estimate (units of 1000000000 bytes)", 32, 16, Format::COUNTER},
    {"DUR", "Data Units Read (units of 1000000000 bytes)", 48, 16, Format::COUNTER},
    {"DUW", "Data Units Written (units of 1000000000 bytes)", 64, 16, Format::COUNTER},
    {"MUW", "Media Units Written (units of 1000000000 bytes)", 80, 16, Format::COUNTER},
    {"HRC", "Host Read Commands", 96, 16, Format::COUNTER},
    {"HWC", "Host Write Commands", 112, 16, Format::COUNTER},
    {"MDIE", "Media and Data Integrity Errors", 128, 16, Format::COUNTER},
    {"NEIL", "Number of Error Information Log Entries", 144, 16, Format::COUNTER},
};
// clang-format on

}  // namespace

FieldTree decodeSmartHealth(const Payload& data) {
    return decodeTable("SMART / Health Information", SMART_FIELDS, data);
}

FieldTree decodeEnduranceGroup(const Payload& data) {
    return decodeTable("Endurance Group Information", ENDURANCE_GROUP_FIELDS, data);
}

std::vector<Structure> healthLogStructures() {
    return {
        {"SMART / Health Information", SMART_FIELDS},
        {"Endurance Group Information", ENDURANCE_GROUP_FIELDS},
    };
}

}  // namespace features::nvme
