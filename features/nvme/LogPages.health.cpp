// The logs of a drive's health: SMART / Health, Endurance Group Information, and OCP's extension.

#include "features/nvme/LogPages.h"

#include <cstring>

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

constexpr Word NO_CAPACITORS[] = {{0xFFFF, "no capacitors"}, {}};
constexpr Word COUNTED_WITH_USER_BLOCKS[] = {{0xFFFFFFFFFFFF, NOT_REPORTED}, {0xFFFF, NOT_REPORTED}, {}};
constexpr Word THROTTLING[] = {
    {0, "not throttled"}, {1, "first level"}, {2, "second level"}, {3, "third level"}, {},
};

constexpr FieldRow OCP_SMART_FIELDS[] = {  // OCP Datacenter NVMe SSD Specification 2.0, log C0h
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
    {"EVF", "DSSD Specification Errata Version", 98, 1, Format::DECIMAL},
    {"PVF", "DSSD Specification Point Version", 99, 2, Format::DECIMAL},
    {"MNVF", "DSSD Specification Minor Version", 101, 2, Format::DECIMAL},
    {"MJVF", "DSSD Specification Major Version", 103, 1, Format::DECIMAL},
    {"PCEC", "PCIe Correctable Error Count", 104, 8, Format::DECIMAL},
    {"ICS", "Incomplete Shutdowns", 112, 4, Format::DECIMAL},
    {"PFB", "Free Blocks (%)", 120, 1, Format::DECIMAL},
    inWords(NO_CAPACITORS, {"CPH", "Capacitor Health (%)", 128, 2, Format::DECIMAL}),
    {"NEV", "NVMe Base Errata Version", 130, 1, Format::DECIMAL},
    {"UIO", "Unaligned I/O", 136, 8, Format::DECIMAL},
    {"SVN", "Security Version Number", 144, 8, Format::DECIMAL},
    {"NUSE", "Total Namespace Utilization (blocks)", 152, 8, Format::DECIMAL},
    {"PSC", "PLP Start Count", 160, 16, Format::COUNTER},
    {"EEST", "Endurance Estimate (bytes)", 176, 16, Format::COUNTER},
    {"PLRC", "PCIe Link Retraining Count", 192, 8, Format::DECIMAL},
    {"PSCC", "Power State Change Count", 200, 8, Format::DECIMAL},
    {"LPV", "Log Page Version", 494, 2, Format::DECIMAL},
    {"LPG", "Log Page GUID", 496, 16, Format::BYTES},
};
// clang-format on

constexpr size_t OFFSET_OCP_GUID = 496;
/// AFD514C97C6F4F9CA4F2BFEA2810AFC5h, little endian.
constexpr uint8_t OCP_SMART_GUID[] = {0xC5, 0xAF, 0x10, 0x28, 0xEA, 0xBF, 0xF2, 0xA4,
                                      0x9C, 0x4F, 0x6F, 0x7C, 0xC9, 0x14, 0xD5, 0xAF};

}  // namespace

FieldTree decodeSmartHealth(const Payload& data) {
    return decodeTable("SMART / Health Information", SMART_FIELDS, data);
}

FieldTree decodeEnduranceGroup(const Payload& data) {
    return decodeTable("Endurance Group Information", ENDURANCE_GROUP_FIELDS, data);
}

FieldTree decodeOcpSmart(const Payload& data) {
    return decodeTable("OCP SMART / Health Information Extended", OCP_SMART_FIELDS, data);
}

bool isOcpSmart(const Payload& data) {
    return data.getSize() >= OFFSET_OCP_GUID + sizeof OCP_SMART_GUID &&
           std::memcmp(data.getData() + OFFSET_OCP_GUID, OCP_SMART_GUID, sizeof OCP_SMART_GUID) == 0;
}

std::vector<Structure> healthLogStructures() {
    return {
        {"SMART / Health Information", SMART_FIELDS},
        {"Endurance Group Information", ENDURANCE_GROUP_FIELDS},
        {"OCP SMART / Health Information Extended", OCP_SMART_FIELDS},
    };
}

}  // namespace features::nvme
