#include "features/parsers/OcpTelemetryNames.h"

#include <algorithm>
#include <iterator>

namespace features::parsers {

using namespace nvme;
using Kind = OcpTelemetryString::Kind;

namespace {

// clang-format off
constexpr Word TIMESTAMP_EVENTS[] = {{0, "set by the host"}, {1, "firmware snapshot"}, {2, "obsolete"}, {}};
constexpr Word PCIE_EVENTS[] = {
    {0, "link up"}, {1, "link down"}, {2, "error detected"}, {3, "PERST asserted"}, {4, "PERST deasserted"},
    {5, "refclk stable"}, {6, "Vmain stable"}, {7, "link negotiated"}, {},
};
constexpr Word NVME_EVENTS[] = {
    {0x0, "CC.EN set"}, {0x1, "CC.EN cleared"}, {0x2, "CSTS.RDY set"}, {0x3, "CSTS.RDY cleared"},
    {0x5, "I/O queue created"}, {0x6, "Admin command"}, {0x7, "Admin command with an error"},
    {0x8, "I/O command with an error"}, {0x9, "CSTS.CFS set"}, {0xA, "Admin queue base written"}, {0xB, "CC changed"},
    {0xC, "CSTS changed"}, {0xD, "I/O queue deleted"}, {0xE, "out-of-band command"},
    {0xF, "Asynchronous Event reported"}, {},
};
constexpr Word RESET_EVENTS[] = {
    {0, "PCIe Conventional Hot Reset"}, {1, "main power cycle"}, {2, "PERST"}, {3, "PCIe Function Level Reset"},
    {4, "NVM Subsystem Reset"}, {},
};
constexpr Word BOOT_EVENTS[] = {
    {0, "firmware is up"}, {1, "FTL loaded"}, {2, "FTL rebuild started"}, {3, "FTL rebuild complete"}, {},
};
constexpr Word ASSERT_EVENTS[] = {
    {0, "NVMe"}, {1, "media"}, {2, "security"}, {3, "background"}, {4, "FTL rebuild failed"}, {5, "FTL mismatch"},
    {6, "other"}, {},
};
constexpr Word TEMPERATURE_EVENTS[] = {
    {0, "fell to WCTEMP - 2 or below"}, {1, "reached WCTEMP"}, {2, "reached CCTEMP"}, {},
};
constexpr Word MEDIA_EVENTS[] = {
    {0, "XOR recovery"}, {1, "uncorrectable"}, {2, "bad block by a program"}, {3, "bad block by an erase"},
    {4, "bad block by a read"}, {5, "plane failure"}, {},
};
constexpr Word WEAR_EVENTS[] = {{0, "wear"}, {}};
constexpr Word SNAPSHOT_EVENTS[] = {{}};
constexpr Word FIFO_EVENTS[] = {{0, "start"}, {2, "end"}, {}};

constexpr OcpEventClass CLASSES[] = {
    {0x1, "Timestamp",          TIMESTAMP_EVENTS,   8},
    {0x2, "PCIe",               PCIE_EVENTS,        4},
    {0x3, "NVMe",               NVME_EVENTS,        8},
    {0x4, "Reset",              RESET_EVENTS,       0},
    {0x5, "Boot Sequence",      BOOT_EVENTS,        0},
    {0x6, "Firmware Assert",    ASSERT_EVENTS,      0},
    {0x7, "Temperature",        TEMPERATURE_EVENTS, 0},
    {0x8, "Media",              MEDIA_EVENTS,       0},
    {0x9, "Media Wear",         WEAR_EVENTS,        12},
    {0xA, "Statistic Snapshot", SNAPSHOT_EVENTS,    0},
    {0xB, "Virtual FIFO",       FIFO_EVENTS,        0},
};

constexpr FieldRow TIMESTAMP_DATA[] = {{"Time", "Timestamp (milliseconds)", 0, 6, Format::DECIMAL}};
constexpr Word LINK_CHANGES[] = {{0, "none"}, {1, "speed"}, {2, "width"}, {3, "speed and width"}, {}};
constexpr Word LINK_SPEEDS[] = {
    {1, "Gen1"}, {2, "Gen2"}, {3, "Gen3"}, {4, "Gen4"}, {5, "Gen5"}, {6, "Gen6"}, {7, "Gen7"}, {},
};
constexpr Word LINK_WIDTHS[] = {{1, "x1"}, {2, "x2"}, {3, "x4"}, {4, "x8"}, {5, "x16"}, {}};
constexpr FieldRow PCIE_DATA[] = {
    word("State Changed", "", 0, 1, 0, LINK_CHANGES),
    word("Link Speed", "", 1, 7, 0, LINK_SPEEDS),
    word("Link Width", "", 2, 7, 0, LINK_WIDTHS),
};
constexpr FieldRow COMMAND_DATA[] = {
    {"Opcode", "", 0, 1, Format::HEX},
    {"Status", "Status field of the completion", 1, 2, Format::STATUS},
    {"CID", "Command Identifier", 3, 2, Format::DECIMAL},
    {"SQID", "Submission Queue Identifier", 5, 2, Format::DECIMAL},
    {"LID or FID", "Log page or feature identifier", 7, 1, Format::HEX},
};
constexpr FieldRow REGISTER_DATA[] = {{"Register", "Value of the register", 0, 4, Format::HEX}};
constexpr FieldRow OUT_OF_BAND_DATA[] = {
    {"Opcode", "", 0, 1, Format::HEX},
    {"Status", "Status field of the completion", 1, 2, Format::STATUS},
    {"MI Status", "Status of the NVMe-MI response", 3, 1, Format::HEX},
    {"Request", "Bytes 1 and 2 of the NVMe-MI request", 4, 2, Format::BYTES},
};
constexpr FieldRow WEAR_DATA[] = {
    {"Host Written", "Written by the host (TB)", 0, 4, Format::DECIMAL},
    {"Media Written", "Written to the media (TB)", 4, 4, Format::DECIMAL},
    {"Media Erased", "Erased on the media (TB)", 8, 4, Format::DECIMAL},
};

struct EventData {
    uint8_t eventClass;
    uint16_t first;  ///< events from this one
    uint16_t last;   ///< to this one
    FieldRows rows;
};
constexpr EventData EVENT_DATA[] = {
    {0x1, 0x0, 0xFFFF, TIMESTAMP_DATA},
    {0x2, 0x0, 0xFFFF, PCIE_DATA},
    {0x3, 0x7, 0x8,    COMMAND_DATA},
    {0x3, 0xB, 0xC,    REGISTER_DATA},
    {0x3, 0xE, 0xE,    OUT_OF_BAND_DATA},
    {0x9, 0x0, 0xFFFF, WEAR_DATA},
};

/// By identifier, from 1 on.
constexpr const char* STATISTICS[] = {
    "Outstanding Admin Commands", "Host Write Bandwidth", "Garbage Collection Write Bandwidth", "Active Namespaces",
    "Internal Write Workload", "Internal Read Workload", "Internal Write Queue Depth", "Internal Read Queue Depth",
    "Pending Trim LBA Count", "Host Trim LBA Request Count", "Current NVMe Power State", "Current DSSD Power State",
    "Program Fail Count", "Erase Fail Count", "Read Disturb Writes", "Retention Writes", "Wear Leveling Writes",
    "Read Recovery Writes", "Garbage Collection Writes", "SRAM Correctable Count", "DRAM Correctable Count",
    "SRAM Uncorrectable Count", "DRAM Uncorrectable Count", "Data Integrity Error Count", "Read Retry Error Count",
    "PERST Events Count", "Maximum Die Bad Blocks", "Maximum NAND Channel Bad Blocks",
    "Minimum NAND Channel Bad Blocks",
    // 1Eh to 3Ah: log page C0h
    "Physical Media Units Written", "Physical Media Units Read", "Bad User NAND Blocks", "Bad System NAND Blocks",
    "XOR Recovery Count", "Uncorrectable Read Error Count", "Soft ECC Error Count", "End to End Correction Counts",
    "System Data Percentage Used", "Refresh Counts", "User Data Erase Counts", "Thermal Throttling Status and Count",
    "DSSD Specification Version", "PCIe Correctable Error Count", "Incomplete Shutdowns", "Free Blocks",
    "Capacitor Health", "NVMe Base Errata Version", "NVM Command Set Errata Version", "NVMe-MI Errata Version",
    "Unaligned I/O", "Security Version Number", "Total Namespace Utilization", "PLP Start Count", "Endurance Estimate",
    "PCIe Link Retraining Count", "Power State Change Count", "Lowest Permitted Firmware Revision",
    "Log Page Version",
    // 3Bh to 46h
    "Media Dies Offline", "Maximum Temperature Recorded", "NAND Average Erase Count", "Command Timeouts",
    "System Area Program Fail Count", "System Area Uncorrectable Read Count", "System Area Erase Fail Count",
    "Maximum Peak Power Capability", "Current Maximum Average Power", "Lifetime Power Consumed", "Panic Count",
    "Device Busy Time",
    // 47h to 64h: log page 02h
    "Critical Warning", "Composite Temperature", "Available Spare", "Available Spare Threshold", "Percentage Used",
    "Endurance Group Critical Warning Summary", "Data Units Read", "Data Units Written", "Host Read Commands",
    "Host Write Commands", "Controller Busy Time", "Power Cycles", "Power On Hours", "Unsafe Shutdowns",
    "Media and Data Integrity Errors", "Number of Error Information Log Entries", "Warning Composite Temperature Time",
    "Critical Composite Temperature Time", "Temperature Sensor 1", "Temperature Sensor 2", "Temperature Sensor 3",
    "Temperature Sensor 4", "Temperature Sensor 5", "Temperature Sensor 6", "Temperature Sensor 7",
    "Temperature Sensor 8", "Thermal Management Temperature 1 Transition Count",
    "Thermal Management Temperature 2 Transition Count", "Total Time For Thermal Management Temperature 1",
    "Total Time For Thermal Management Temperature 2",
    // 65h to 69h: the endurance group
    "Endurance Group Estimate", "Endurance Group Data Units Read", "Endurance Group Data Units Written",
    "Endurance Group Media Units Written", "Endurance Group Error Information Log Entries",
    "Form Factor", "Dies In Use Bad NAND Block", "Proactive Die Retirement", "Namespace Context Descriptor",
    "Controller Context Descriptor", "Queue Context Descriptor",
};
// clang-format on
static_assert(std::size(STATISTICS) == 0x6F);

}  // namespace

const OcpEventClass* findOcpEventClass(uint8_t id) {
    const auto* row =
        std::find_if(std::begin(CLASSES), std::end(CLASSES), [id](const OcpEventClass& each) { return each.id == id; });
    return row == std::end(CLASSES) ? nullptr : row;
}

FieldRows ocpEventFields(uint8_t eventClass, uint16_t id) {
    const auto* row = std::find_if(std::begin(EVENT_DATA), std::end(EVENT_DATA), [&](const EventData& each) {
        return each.eventClass == eventClass && id >= each.first && id <= each.last;
    });
    return row == std::end(EVENT_DATA) ? FieldRows() : row->rows;
}

OcpTelemetryNames::OcpTelemetryNames(const ostrel::core::Payload& stringLog)
    : strings_(ocpTelemetryStrings(stringLog)) {}

std::string OcpTelemetryNames::find(Kind kind, uint8_t eventClass, uint16_t id) const {
    const auto found = std::find_if(strings_.begin(), strings_.end(), [&](const OcpTelemetryString& each) {
        return each.kind == kind && each.eventClass == eventClass && each.id == id;
    });
    return found == strings_.end() ? std::string() : found->text;
}

std::string OcpTelemetryNames::statistic(uint16_t id) const {
    if (id >= 1 && id <= std::size(STATISTICS)) return STATISTICS[id - 1];
    return find(Kind::STATISTIC, 0, id);
}

std::string OcpTelemetryNames::event(uint8_t eventClass, uint16_t id) const {
    const OcpEventClass* row = findOcpEventClass(eventClass);
    const char* name = row == nullptr ? nullptr : findWord(row->events, id);
    return name == nullptr ? find(Kind::EVENT, eventClass, id) : name;
}

std::string OcpTelemetryNames::vendorEvent(uint8_t eventClass, uint16_t id) const {
    return find(eventClass < FIRST_VENDOR_EVENT_CLASS ? Kind::VENDOR_EVENT : Kind::EVENT, eventClass, id);
}

std::string OcpTelemetryNames::fifo(unsigned number) const {
    return find(Kind::FIFO, 0, static_cast<uint16_t>(number));
}

}  // namespace features::parsers
