#include "features/simulator/sata/LogTable.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "features/ata/structures/SctStatus.h"
#include "features/nvme/Bytes.h"
#include "features/simulator/sata/DeviceStatistics.h"
#include "features/simulator/sata/ErrorLogs.h"
#include "features/simulator/sata/Handlers.h"
#include "features/simulator/sata/IdentifyData.h"
#include "features/simulator/sata/IdentifyLog.h"
#include "features/simulator/sata/InternalStatus.h"
#include "features/simulator/sata/SelfTestLogs.h"
#include "features/simulator/sata/SmartData.h"

namespace features::simulator::sata {

using nvme::putLe16;
using Bytes = std::vector<uint8_t>;

namespace {

bool always(const Description&) {
    return true;
}
bool hasSelfTest(const Description& description) {
    return description.supportsSelfTest;
}
bool hasTelemetry(const Description& description) {
    return description.supportsTelemetry;
}

Bytes phyEventCounters(SataContext&) {
    Bytes page(SECTOR_BYTES);
    // Identifier with the counter's length in bits 14:12, in words; a simulated link makes no errors.
    constexpr uint16_t COUNTERS[] = {0x1001, 0x1002, 0x1009, 0x100A, 0x100B};
    size_t at = 4;
    for (const uint16_t counter : COUNTERS) {
        putLe16(page.data() + at, counter);
        at += 4;
    }
    putChecksum(page);
    return page;
}

/// An NCQ error: there are no queued commands. Bit 7 says so.
Bytes queuedErrors(SataContext&) {
    Bytes page(SECTOR_BYTES);
    page[0] = 0x80;
    putChecksum(page);
    return page;
}

/// No action by SCT was ever asked for. The drive was as warm as it is since its power came.
Bytes sctStatus(SataContext& context) {
    constexpr uint16_t FORMAT_VERSION = 3;
    enum State : uint8_t { ACTIVE = 0, STANDBY = 1, SELF_TEST = 3 };
    ata::SctStatus status{};
    status.formatVersion = FORMAT_VERSION;
    status.vendorVersion = 1;
    status.state = context.state.selfTest.running != 0 ? SELF_TEST : context.state.isStandby ? STANDBY : ACTIVE;
    const int32_t now = context.temperatureCelsius();
    const auto celsius = [](int32_t temperature) { return static_cast<uint8_t>(static_cast<int8_t>(temperature)); };
    status.temperature = status.minimum = status.maximum = celsius(now);
    status.lifetimeMinimum = celsius(std::min(now, LOWEST_CELSIUS));
    status.lifetimeMaximum = celsius(std::max(now, HIGHEST_CELSIUS));
    Bytes page(sizeof status);
    std::memcpy(page.data(), &status, sizeof status);
    return page;
}

/// One log: all of its pages. `general` and `smart`: whether that way leads to it.
struct Row {
    uint8_t address;
    bool general;
    bool smart;
    bool (*isThere)(const Description& description);
    Bytes (*pages)(SataContext& context);
};
// clang-format off
constexpr Row ROWS[] = {
    {0x01, false, true,  always,       summaryErrors},
    {0x03, true,  false, always,       extendedErrors},
    {0x04, true,  true,  always,       deviceStatistics},
    {0x06, false, true,  hasSelfTest,  selfTests},
    {0x07, true,  false, hasSelfTest,  extendedSelfTests},
    {0x0C, true,  false, always,       pendingDefects},
    {0x10, true,  false, always,       queuedErrors},
    {0x11, true,  false, always,       phyEventCounters},
    {0x24, true,  false, hasTelemetry, currentStatus},
    {0x25, true,  false, hasTelemetry, savedStatus},
    {0x30, true,  true,  always,       identifyLog},
    {0xE0, true,  true,  always,       sctStatus},
};
// clang-format on

bool isReached(const Row& row, LogWay way, const Description& description) {
    return (way == LogWay::GENERAL ? row.general : row.smart) && row.isThere(description);
}

/// The number of pages of each log; word 0 is the version.
Bytes directory(SataContext& context, LogWay way) {
    Bytes page(SECTOR_BYTES);
    putLe16(page.data(), 0x0001);
    for (const Row& row : ROWS) {
        if (!isReached(row, way, context.description)) continue;
        putLe16(page.data() + size_t{2} * row.address, static_cast<uint16_t>(row.pages(context).size() / SECTOR_BYTES));
    }
    return page;
}

}  // namespace

ata::Registers readPages(SataContext& context, LogWay way, uint8_t address, uint16_t page) {
    const size_t count = context.command.count;
    Bytes log;
    if (address == 0) {
        log = directory(context, way);
    } else {
        const auto* row = std::find_if(std::begin(ROWS), std::end(ROWS),
                                       [address](const Row& each) { return each.address == address; });
        if (row == std::end(ROWS) || !isReached(*row, way, context.description)) return aborted();
        log = row->pages(context);
    }
    const size_t first = size_t{page} * SECTOR_BYTES;
    if (count == 0 || first >= log.size() || count * SECTOR_BYTES > log.size() - first) return aborted();
    const auto begin = log.begin() + static_cast<std::ptrdiff_t>(first);
    context.data.assign(begin, begin + static_cast<std::ptrdiff_t>(count * SECTOR_BYTES));
    return completed();
}

ata::Registers readLog(SataContext& context) {
    constexpr uint8_t CURRENT_STATUS = 0x24;
    const TaskFile& command = context.command;
    const auto address = static_cast<uint8_t>(command.lba);
    const auto page = static_cast<uint16_t>((command.lba >> 8 & 0xFF) | (command.lba >> 24 & 0xFF00));
    const bool capturesAgain = address == CURRENT_STATUS && page == 0 && (command.feature & 1) != 0;
    if (capturesAgain && context.description.supportsTelemetry) captureCurrentStatus(context);
    return readPages(context, LogWay::GENERAL, address, page);
}

}  // namespace features::simulator::sata
