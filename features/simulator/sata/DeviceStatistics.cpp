#include "features/simulator/sata/DeviceStatistics.h"

#include <algorithm>

#include "features/nvme/Bytes.h"
#include "features/simulator/sata/SmartData.h"

namespace features::simulator::sata {

using nvme::putLe64;

namespace {

constexpr size_t PAGES = 8;
constexpr uint64_t SUPPORTED = uint64_t{1} << 63;
constexpr uint64_t VALID = uint64_t{1} << 62;
constexpr uint64_t NORMALIZED = uint64_t{1} << 61;
constexpr int32_t SPECIFIED_MAXIMUM = 70;

using C = SataContext;

uint64_t celsius(int32_t temperature) {
    return static_cast<uint8_t>(static_cast<int8_t>(temperature));
}

uint64_t none(const C&) {
    return 0;
}

struct Row {
    uint8_t page;
    uint16_t offset;
    uint64_t flags;
    uint64_t (*value)(const C& context);
};
// clang-format off
constexpr Row STATISTICS[] = {
    // general
    {0x01, 0x08, VALID, [](const C& c) { return c.drive.health.powerCycles; }},
    {0x01, 0x10, VALID, [](const C& c) { return c.powerOnHours(); }},
    {0x01, 0x18, VALID, [](const C& c) { return workOf(c).bytesWritten / SECTOR_BYTES; }},
    {0x01, 0x20, VALID, [](const C& c) { return workOf(c).writeCommands; }},
    {0x01, 0x28, VALID, [](const C& c) { return workOf(c).bytesRead / SECTOR_BYTES; }},
    {0x01, 0x30, VALID, [](const C& c) { return workOf(c).readCommands; }},
    {0x01, 0x38, VALID, [](const C& c) { return c.dateMs(); }},
    {0x01, 0x40, VALID, [](const C& c) { return uint64_t{c.state.pending.size()}; }},
    // errors
    {0x04, 0x08, VALID, [](const C& c) { return uint64_t{c.state.uncorrectableErrors}; }},
    {0x04, 0x10, VALID, none},
    // temperature; averages need hours of samples, which a simulated drive has not
    {0x05, 0x08, VALID, [](const C& c) { return celsius(c.temperatureCelsius()); }},
    {0x05, 0x10, 0,     none},
    {0x05, 0x18, 0,     none},
    {0x05, 0x20, VALID, [](const C& c) { return celsius(std::max(c.temperatureCelsius(), HIGHEST_CELSIUS)); }},
    {0x05, 0x28, VALID, [](const C& c) { return celsius(std::min(c.temperatureCelsius(), LOWEST_CELSIUS)); }},
    {0x05, 0x58, VALID, [](const C&) { return celsius(SPECIFIED_MAXIMUM); }},
    {0x05, 0x68, VALID, none},
    // transport
    {0x06, 0x08, VALID, none},
    {0x06, 0x10, VALID, none},
    {0x06, 0x18, VALID, none},
    // SSD
    {0x07, 0x08, VALID | NORMALIZED, [](const C& c) { return uint64_t{percentageUsed(c)}; }},
};
// clang-format on

}  // namespace

std::vector<uint8_t> deviceStatistics(SataContext& context) {
    constexpr uint8_t SUPPORTED_PAGES[] = {0x00, 0x01, 0x04, 0x05, 0x06, 0x07};
    std::vector<uint8_t> log(PAGES * SECTOR_BYTES);
    log[8] = sizeof SUPPORTED_PAGES;
    for (size_t i = 0; i < sizeof SUPPORTED_PAGES; ++i) {
        const uint8_t page = SUPPORTED_PAGES[i];
        log[9 + i] = page;
        putLe64(log.data() + page * SECTOR_BYTES, 0x0001 | uint64_t{page} << 16);
    }
    for (const Row& row : STATISTICS) {
        putLe64(log.data() + row.page * SECTOR_BYTES + row.offset, SUPPORTED | row.flags | row.value(context));
    }
    return log;
}

}  // namespace features::simulator::sata
