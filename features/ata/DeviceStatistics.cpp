#include "features/ata/DeviceStatistics.h"

#include <algorithm>
#include <iterator>

#include "features/ata/LogAddresses.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/FieldTable.h"

namespace features::ata {

using namespace nvme;
using ostrel::core::Payload;

namespace {

// Flags of a statistic: of its 8 bytes, the value has the low ones.
constexpr unsigned SUPPORTED = 63;
constexpr unsigned VALID = 62;
constexpr unsigned NORMALIZED = 61;
constexpr unsigned CONDITION_MET = 59;

constexpr size_t PAGE_NUMBER_OFFSET = 2;

constexpr bool SIGNED = true;

struct StatisticRow {
    uint8_t page;
    uint16_t offset;
    uint8_t width;  ///< bytes
    const char* name;
    const char* unit = "";
    bool isSigned = false;
};
// clang-format off
constexpr StatisticRow ROWS[] = {
    {0x01, 0x08, 4, "Power-On Resets"},
    {0x01, 0x10, 4, "Power-On Hours", "hours"},
    {0x01, 0x18, 6, "Logical Sectors Written"},
    {0x01, 0x20, 6, "Write Commands"},
    {0x01, 0x28, 6, "Logical Sectors Read"},
    {0x01, 0x30, 6, "Read Commands"},
    {0x01, 0x38, 6, "Date and Time", "milliseconds since 1970"},
    {0x01, 0x40, 4, "Pending Errors"},
    {0x01, 0x48, 2, "Workload Utilization", "%"},
    {0x01, 0x50, 6, "Utilization Usage Rate"},
    {0x01, 0x58, 7, "Resource Availability"},
    {0x01, 0x60, 1, "Random Write Resources Used", "%"},
    {0x03, 0x08, 4, "Spindle Motor Power-on Hours", "hours"},
    {0x03, 0x10, 4, "Head Flying Hours", "hours"},
    {0x03, 0x18, 4, "Head Load Events"},
    {0x03, 0x20, 4, "Reallocated Logical Sectors"},
    {0x03, 0x28, 4, "Read Recovery Attempts"},
    {0x03, 0x30, 4, "Mechanical Start Failures"},
    {0x04, 0x08, 4, "Reported Uncorrectable Errors"},
    {0x04, 0x10, 4, "Resets Between Command Acceptance and Completion"},
    {0x04, 0x18, 4, "Physical Element Status Changes"},
    {0x05, 0x08, 1, "Current Temperature", "C", SIGNED},
    {0x05, 0x10, 1, "Average Short Term Temperature", "C", SIGNED},
    {0x05, 0x18, 1, "Average Long Term Temperature", "C", SIGNED},
    {0x05, 0x20, 1, "Highest Temperature", "C", SIGNED},
    {0x05, 0x28, 1, "Lowest Temperature", "C", SIGNED},
    {0x05, 0x30, 1, "Highest Average Short Term Temperature", "C", SIGNED},
    {0x05, 0x38, 1, "Lowest Average Short Term Temperature", "C", SIGNED},
    {0x05, 0x40, 1, "Highest Average Long Term Temperature", "C", SIGNED},
    {0x05, 0x48, 1, "Lowest Average Long Term Temperature", "C", SIGNED},
    {0x05, 0x50, 4, "Time in Over-Temperature", "minutes"},
    {0x05, 0x58, 1, "Specified Maximum Operating Temperature", "C", SIGNED},
    {0x05, 0x60, 4, "Time in Under-Temperature", "minutes"},
    {0x05, 0x68, 1, "Specified Minimum Operating Temperature", "C", SIGNED},
    {0x06, 0x08, 4, "Hardware Resets"},
    {0x06, 0x10, 4, "Asynchronous Signal Recovery Events"},
    {0x06, 0x18, 4, "Interface CRC Errors"},
    {0x07, 0x08, 1, "Percentage Used Endurance Indicator", "%"},
};

constexpr Word PAGES[] = {
    {0x00, "List of Statistics Pages"}, {0x01, "General Statistics"}, {0x03, "Rotating Media Statistics"},
    {0x04, "General Errors Statistics"}, {0x05, "Temperature Statistics"}, {0x06, "Transport Statistics"},
    {0x07, "Solid State Device Statistics"}, {}};
// clang-format on

std::optional<int64_t> valueOf(uint64_t statistic, const StatisticRow& row) {
    if (!bit(statistic, SUPPORTED) || !bit(statistic, VALID)) return std::nullopt;
    const auto value = static_cast<int64_t>(bits(statistic, row.width * 8 - 1, 0));
    return row.isSigned ? static_cast<int8_t>(value) : value;
}

uint64_t statisticAt(const Payload& page, uint16_t offset) {
    return le64(page.getData() + offset);
}

std::string textOf(uint64_t statistic, const StatisticRow& row) {
    const auto value = valueOf(statistic, row);
    if (!value) return NOT_REPORTED;
    std::string text = withUnit(std::to_string(*value), row.unit);
    if (bit(statistic, NORMALIZED)) text += " (normalized)";
    if (bit(statistic, CONDITION_MET)) text += " (condition met)";
    return text;
}

}  // namespace

std::optional<int64_t> statistic(const Payload& page, StatisticId id) {
    if (page.getSize() < LOG_PAGE_BYTES || page.getData()[PAGE_NUMBER_OFFSET] != id.page) return std::nullopt;
    const auto* const row = std::find_if(std::begin(ROWS), std::end(ROWS), [id](const StatisticRow& candidate) {
        return candidate.page == id.page && candidate.offset == id.offset;
    });
    return row == std::end(ROWS) ? std::nullopt : valueOf(statisticAt(page, id.offset), *row);
}

FieldTree decodeStatistics(const Payload& page) {
    FieldTree tree{"Device Statistics", {}, {}};
    if (page.getSize() < LOG_PAGE_BYTES) return tree;
    const uint8_t number = page.getData()[PAGE_NUMBER_OFFSET];
    if (const char* const name = findWord(PAGES, number)) tree.heading = name;
    for (const StatisticRow& row : ROWS) {
        if (row.page == number && bit(statisticAt(page, row.offset), SUPPORTED))
            tree.add(row.name, textOf(statisticAt(page, row.offset), row));
    }
    return tree;
}

}  // namespace features::ata
