#include <gtest/gtest.h>

#include <vector>

#include "features/parsers/TelemetryLog.h"
#include "tests/support/Golden.h"
#include "tests/unit/features/nvme/Layout.h"
#include "tests/unit/features/nvme/TreeText.h"

namespace features::parsers {
namespace {

using Bytes = std::vector<uint8_t>;
using ostrel::core::Payload;

Bytes bytesOf(const char* layout) {
    const Payload data = nvme::Layout(layout).data();
    return {data.getData(), data.getData() + data.getSize()};
}

TelemetryLog parse(const Bytes& bytes, const Bytes& strings = {}) {
    // Copies of exactly this length, so that a sanitizer sees a read beyond their ends.
    const Payload data(bytes.data(), bytes.size());
    const Payload names = strings.empty() ? Payload() : Payload(strings.data(), strings.size());
    return parseTelemetryLog(data.getData(), data.getSize(), names);
}

/// Text of the part with this heading.
std::string partText(const TelemetryLog& log, const std::string& heading) {
    for (const auto& part : log.tree.parts) {
        if (part.heading == heading) return treeText(part);
    }
    return "";
}

TEST(TelemetryLog, ShowsStatisticsAndEventsOfAnOcpDriveByName) {
    const TelemetryLog log = parse(bytesOf("telemetry_ocp"), bytesOf("telemetry_strings"));
    EXPECT_TRUE(log.isOne);
    EXPECT_TRUE(log.isOcp);
    EXPECT_EQ(log.damageText(), "");
    expectGolden(std::string(NVME_TEST_DATA) + "/layouts/telemetry_ocp.tree", treeText(log.tree));
}

TEST(TelemetryLog, WithoutTheStringLogTheMakersNamesAreUnknown) {
    const TelemetryLog log = parse(bytesOf("telemetry_ocp"));
    EXPECT_EQ(log.damageText(), "");
    EXPECT_EQ(treeText(log.tree).find("Spare Blocks"), std::string::npos);
    EXPECT_NE(partText(log, "Data Area 1 Statistics").find("Identifier: 0x8001"), std::string::npos);
    EXPECT_NE(partText(log, "Data Area 1 Statistics").find("Name: unknown"), std::string::npos);
}

TEST(TelemetryLog, OfAnotherDriveTheHeaderAloneIsShown) {
    Bytes bytes = bytesOf("telemetry_ocp");
    bytes[2032] = 0;  // GUID of the copy of log page C0h
    const TelemetryLog log = parse(bytes);
    EXPECT_TRUE(log.isOne);
    EXPECT_FALSE(log.isOcp);
    EXPECT_EQ(log.tree.parts.size(), 0U);
    EXPECT_EQ(log.damageText(), "");
}

TEST(TelemetryLog, IsNoneWithoutItsIdentifierAndAWholeHeader) {
    Bytes bytes = bytesOf("telemetry_ocp");
    bytes[0] = 0x09;
    EXPECT_FALSE(parse(bytes).isOne);
    EXPECT_FALSE(parse(Bytes(511, 0x07)).isOne);
    EXPECT_FALSE(parse({}).isOne);
}

constexpr struct {
    size_t offset;
    uint8_t value;
    const char* damage;
    const char* why;
} DAMAGES[] = {
    {2064, 0xFF,
     "statistic 2 of Data Area 1 Statistics at offset 2060 says that it has 1020 bytes of data, and 44 are left.",
     "a length that does not fit"},
    {2127, 0xFF, "event 2 of FIFO 1 at offset 2124 says that it has 1020 bytes of data, and 144 are left.",
     "a length that does not fit"},
    {2165, 0xFF, "event 5 of FIFO 1 at offset 2156 says that it has 261124 bytes of data, and 104 are left.",
     "of a snapshot the statistic has the length"},
    {609, 0x7F, "Data Area 1 Statistics begins after the end of data area 1.", "a start after the end"},
    {697, 0xFF, "FIFO 1 says that it has 65320 dwords, and 240 are there.", "a size beyond the end"},
    {672, 0x03, "FIFO 1 is in data area 3, which has none.", "an area that has no FIFO"},
};

TEST(TelemetryLog, ADamagedRecordIsReportedAndTheRestIsShown) {
    for (const auto& c : DAMAGES) {
        SCOPED_TRACE(c.why);
        Bytes bytes = bytesOf("telemetry_ocp");
        bytes[c.offset] = c.value;
        const TelemetryLog log = parse(bytes);
        EXPECT_EQ(log.damageText(), c.damage);
        EXPECT_NE(partText(log, "FIFO 2").find("FTL rebuild complete"), std::string::npos);
    }
}

TEST(TelemetryLog, WhatComesBeforeADamageIsShown) {
    Bytes bytes = bytesOf("telemetry_ocp");
    bytes[2127] = 0xFF;
    const std::string fifo = partText(parse(bytes), "FIFO 1");
    EXPECT_NE(fifo.find("[Event 1]"), std::string::npos);
    EXPECT_EQ(fifo.find("[Event 2]"), std::string::npos);
}

// Sixteen lists of all of the log would be sixteen times its size.
TEST(TelemetryLog, PartsThatOverlapAreNotDecodedTwice) {
    Bytes bytes = bytesOf("telemetry_ocp");
    for (size_t fifo = 0; fifo < 16; ++fifo) {
        bytes[672 + fifo] = 1;
        std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(688 + fifo * 16), 16, uint8_t{0});
        bytes[688 + fifo * 16 + 8] = 0x80;
        bytes[688 + fifo * 16 + 9] = 0x02;  // 640 dwords: all of data area 1
    }
    const TelemetryLog log = parse(bytes);
    EXPECT_EQ(log.damages.size(), 15U);
    EXPECT_EQ(log.damages.front(), "FIFO 2 overlaps other parts of the log");
    const std::string text = log.damageText();
    EXPECT_EQ(text.substr(text.size() - 26), " 5 more parts are damaged.");
}

TEST(TelemetryLog, CutAnywhereItReadsNothingBeyondItsEnd) {
    const Bytes whole = bytesOf("telemetry_ocp");
    for (size_t size = 0; size < whole.size(); size += size < 2000 ? 97 : 1) {
        const TelemetryLog log = parse({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)});
        EXPECT_EQ(log.isOne, size >= 512) << size;
        if (!log.isOne || size >= 3072) continue;
        EXPECT_NE(log.damageText(), "") << size;
    }
}

}  // namespace
}  // namespace features::parsers
