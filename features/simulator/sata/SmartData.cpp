#include "features/simulator/sata/SmartData.h"

#include <algorithm>
#include <iterator>

#include "features/nvme/Bytes.h"
#include "features/simulator/sata/IdentifyData.h"
#include "features/simulator/sata/SelfTest.h"

namespace features::simulator::sata {

using nvme::putLe16;
using nvme::putLe64;
using Part = AttributeFault::Part;

namespace {

constexpr uint8_t GOOD = 100;
constexpr size_t FIRST_ATTRIBUTE = 2;
constexpr size_t ATTRIBUTE_BYTES = 12;
constexpr uint32_t SECONDS_PER_MINUTE = 60;

// Flags of an attribute.
constexpr uint16_t PREFAILURE = 0x01;
constexpr uint16_t ONLINE = 0x02;
constexpr uint16_t EVENTS = 0x10;
constexpr uint16_t PRESERVED = 0x20;

struct Row {
    uint8_t id;
    uint16_t flags;
    uint8_t threshold;
    uint64_t (*raw)(const SataContext& context);
    uint8_t (*value)(const SataContext& context) = nullptr;  ///< null: 100
};

uint8_t lifeLeft(const SataContext& context) {
    return static_cast<uint8_t>(GOOD - std::min(percentageUsed(context), GOOD));
}

uint64_t none(const SataContext&) {
    return 0;
}

uint64_t temperatureRaw(const SataContext& context) {
    const auto now = static_cast<uint8_t>(context.temperatureCelsius());
    const auto highest = static_cast<uint8_t>(std::max(context.temperatureCelsius(), HIGHEST_CELSIUS));
    return now | uint64_t{LOWEST_CELSIUS} << 16 | static_cast<uint64_t>(highest) << 32;
}

uint8_t temperatureValue(const SataContext& context) {
    return static_cast<uint8_t>(std::clamp(GOOD - context.temperatureCelsius(), 1, 253));
}

using C = SataContext;
// clang-format off
constexpr Row ATTRIBUTES[] = {  // in the order of their numbers
    {1,   PREFAILURE | ONLINE | PRESERVED,          50, [](const C& c) { return uint64_t{c.state.uncorrectableErrors}; }},
    {5,   PREFAILURE | ONLINE | EVENTS | PRESERVED, 10, [](const C& c) { return uint64_t{c.state.reallocated}; }},
    {9,   ONLINE | EVENTS | PRESERVED,               0, [](const C& c) { return c.powerOnHours(); }},
    {12,  ONLINE | EVENTS | PRESERVED,               0, [](const C& c) { return c.drive.health.powerCycles; }},
    {171, ONLINE | EVENTS | PRESERVED,               0, none},
    {172, ONLINE | EVENTS | PRESERVED,               0, none},
    {174, ONLINE | EVENTS | PRESERVED,               0, [](const C& c) { return c.drive.health.unsafeShutdowns; }},
    {177, PREFAILURE | ONLINE | EVENTS,              5, [](const C& c) { return uint64_t{percentageUsed(c)}; }, lifeLeft},
    {184, PREFAILURE | ONLINE | EVENTS | PRESERVED, 97, none},
    {187, ONLINE | EVENTS | PRESERVED,               0, [](const C& c) { return uint64_t{c.state.uncorrectableErrors}; }},
    {194, ONLINE | PRESERVED,                        0, temperatureRaw, temperatureValue},
    {197, ONLINE | EVENTS | PRESERVED,               0, [](const C& c) { return uint64_t{c.state.pending.size()}; }},
    {198, EVENTS | PRESERVED,                        0, [](const C& c) { return uint64_t{c.state.pending.size()}; }},
    {199, ONLINE | EVENTS | PRESERVED,               0, none},
    {231, PREFAILURE | ONLINE | EVENTS,             10, [](const C& c) { return uint64_t{lifeLeft(c)}; }, lifeLeft},
    {241, ONLINE | EVENTS | PRESERVED,               0, [](const C& c) { return workOf(c).bytesWritten / SECTOR_BYTES; }},
    {242, ONLINE | EVENTS | PRESERVED,               0, [](const C& c) { return workOf(c).bytesRead / SECTOR_BYTES; }},
};
// clang-format on

uint8_t valueOf(const SataContext& context, const Row& row) {
    const auto fault = attributeFaultOf(context.description.faults.attributes, row.id, Part::VALUE);
    if (fault) return static_cast<uint8_t>(*fault);
    return row.value == nullptr ? GOOD : row.value(context);
}

void putAttribute(const SataContext& context, const Row& row, uint8_t* at) {
    const auto& faults = context.description.faults.attributes;
    const uint8_t value = valueOf(context, row);
    at[0] = row.id;
    putLe16(at + 1, row.flags);
    at[3] = value;
    at[4] = static_cast<uint8_t>(attributeFaultOf(faults, row.id, Part::WORST).value_or(value));
    uint8_t raw[8];
    putLe64(raw, attributeFaultOf(faults, row.id, Part::RAW).value_or(row.raw(context)));
    std::copy_n(raw, 6, at + 5);
}

/// Rounded up.
uint16_t minutes(uint32_t seconds) {
    constexpr uint32_t MAX = 0xFFFF;
    return static_cast<uint16_t>(std::min(seconds / SECONDS_PER_MINUTE + (seconds % SECONDS_PER_MINUTE != 0), MAX));
}

void putSelfTests(const SataContext& context, uint8_t* page) {
    constexpr uint16_t MAX_BYTE = 0xFF;
    const Description& description = context.description;
    page[362] = offlineStatus(context);
    page[363] = selfTestStatus(context);
    putLe16(page + 364, static_cast<uint16_t>(std::min<uint32_t>(description.shortSelfTestSeconds, 0xFFFF)));
    // Off-line collection at once and automatic, and the tests but selective ones.
    page[367] = description.supportsSelfTest ? 0x33 : 0x03;
    putLe16(page + 368, 0x0003);
    page[370] = 0x01;
    if (!description.supportsSelfTest) return;
    const uint16_t shortMinutes = std::max<uint16_t>(minutes(description.shortSelfTestSeconds), 1);
    const uint16_t extendedMinutes = std::max<uint16_t>(minutes(description.extendedSelfTestSeconds), 1);
    page[372] = page[374] = static_cast<uint8_t>(std::min<uint16_t>(shortMinutes, MAX_BYTE - 1));
    page[373] = static_cast<uint8_t>(std::min(extendedMinutes, MAX_BYTE));
    if (extendedMinutes >= MAX_BYTE) putLe16(page + 375, extendedMinutes);
}

}  // namespace

std::vector<uint8_t> smartData(const SataContext& context) {
    std::vector<uint8_t> page(SECTOR_BYTES);
    putLe16(page.data(), 0x0010);
    uint8_t* at = page.data() + FIRST_ATTRIBUTE;
    for (const Row& row : ATTRIBUTES) {
        putAttribute(context, row, at);
        at += ATTRIBUTE_BYTES;
    }
    putSelfTests(context, page.data());
    putChecksum(page);
    return page;
}

std::vector<uint8_t> smartThresholds() {
    std::vector<uint8_t> page(SECTOR_BYTES);
    putLe16(page.data(), 0x0010);
    uint8_t* at = page.data() + FIRST_ATTRIBUTE;
    for (const Row& row : ATTRIBUTES) {
        at[0] = row.id;
        at[1] = row.threshold;
        at += ATTRIBUTE_BYTES;
    }
    putChecksum(page);
    return page;
}

bool isThresholdExceeded(const SataContext& context) {
    return std::any_of(std::begin(ATTRIBUTES), std::end(ATTRIBUTES), [&](const Row& row) {
        return (row.flags & PREFAILURE) != 0 && row.threshold != 0 && valueOf(context, row) <= row.threshold;
    });
}

uint8_t percentageUsed(const SataContext& context) {
    return static_cast<uint8_t>(smartFaultAt(context.description.faults.smart, SMART_PERCENTAGE_USED).value_or(0));
}

WorkCounters workOf(const SataContext& context) {
    WorkCounters work = context.drive.health.work;
    work += context.work;
    return work;
}

}  // namespace features::simulator::sata
