#include <gtest/gtest.h>

#include <string>

#include "features/nvme/VelkoLogPages.h"
#include "tests/unit/features/nvme/Layout.h"

namespace features::nvme {
namespace {

using ostrel::core::Payload;

constexpr struct {
    uint8_t lid;
    const char* name;
    uint32_t bytes;
} PAGES[] = {
    {0xD0, "VELKO Extended SMART", 512},
    {0xD1, "VELKO Read Latency Statistics", 1024},
    {0xD2, "VELKO Write Latency Statistics", 1024},
    {0xD3, "VELKO Nlog", 64},
    {0xD4, "VELKO Bridge Nlog", 64},
    {0xD5, "VELKO Event Log", 64},
    {0xD6, "VELKO Assert Log", 64},
    {0xD7, "VELKO System Snapshot", 64},
    {0xD8, "VELKO Force Flush Status", 64},
    {0xD9, "VELKO Background Activity", 64},
};

TEST(VelkoLogPages, AreFoundByNumberAndByName) {
    const LogPageRow* row = velkoLogPagesBegin();
    for (const auto& c : PAGES) {
        ASSERT_NE(row, velkoLogPagesEnd());
        EXPECT_EQ(row->lid, c.lid);
        EXPECT_EQ(row->name, std::string(c.name));
        EXPECT_EQ(row->lengthBytes, c.bytes);
        EXPECT_EQ(findVelkoLogPage(c.lid), row);
        EXPECT_EQ(findVelkoLogPage(std::string(c.name)), row);
        EXPECT_EQ(findLogPage(c.lid), nullptr) << "the maker's on the maker's drives alone";
        EXPECT_EQ(findLogPage(std::string(c.name)), nullptr);
        ++row;
    }
    EXPECT_EQ(row, velkoLogPagesEnd());
    EXPECT_EQ(findVelkoLogPage("velko-nlog")->lid, 0xD3);
    EXPECT_EQ(findVelkoLogPage(0xCF), nullptr);
    EXPECT_EQ(findVelkoLogPage(0xDA), nullptr);
    EXPECT_EQ(findVelkoLogPage("Nlog")->lid, 0xD3) << "short";
    EXPECT_EQ(findVelkoLogPage("log"), nullptr);
}

TEST(VelkoLogPages, OnlyTheBridgeNeedsASecondPort) {
    uint8_t identify[4096] = {};
    const ControllerCapabilities onePort(identify);
    identify[76] = 0x01;
    const ControllerCapabilities twoPorts(identify);
    for (const LogPageRow* row = velkoLogPagesBegin(); row != velkoLogPagesEnd(); ++row) {
        EXPECT_EQ(row->isSupportedBy(onePort), row->lid != 0xD4);
        EXPECT_TRUE(row->isSupportedBy(twoPorts));
    }
}

TEST(VelkoLogPages, TheHeaderOfABinaryLogReportsItsLength) {
    const Layout layout("log_velko_d3_nlog");
    const VelkoLogHeader header = velkoLogHeader(layout.data().getData());
    EXPECT_EQ(header.signature, "NLOG");
    EXPECT_EQ(header.bytes, 2116U);
    EXPECT_EQ(header.generation, 42U);
}

TEST(VelkoLogPages, ABinaryLogIsAsLongAsItsHeaderSaysInWholeDwords) {
    uint8_t header[64] = {'N', 'L', 'O', 'G'};
    EXPECT_EQ(findVelkoLogPage(0xD3)->longLength(header), 64U) << "never less than the header";
    header[8] = 0x47;
    EXPECT_EQ(findVelkoLogPage(0xD7)->longLength(header), 68U);
    header[15] = 0x01;
    EXPECT_EQ(findVelkoLogPage(0xD4)->longLength(header), 256U * 1024 * 1024) << "never more than a log may have";
    EXPECT_EQ(findVelkoLogPage(0xD0)->longLength, nullptr);
}

TEST(VelkoLogPages, ALatencyPageReportsWhetherItCounts) {
    EXPECT_TRUE(isVelkoLatencyTracked(Layout("log_velko_d1_reads").data()));
    EXPECT_FALSE(isVelkoLatencyTracked(Layout("log_velko_d2_writes").data()));
    EXPECT_FALSE(isVelkoLatencyTracked(Layout("log_velko_d1_reads").firstBytes(3)));
}

TEST(VelkoLogPages, ShowActivitiesInWords) {
    EXPECT_EQ(backgroundActivityText(0), "none");
    EXPECT_EQ(backgroundActivityText(0x02), "wear leveling");
    EXPECT_EQ(backgroundActivityText(0x3F),
              "garbage collection and wear leveling and media scan and data refresh and force flush and erase after a "
              "quick format");
    EXPECT_EQ(backgroundActivityText(0x8000000000000040), "reserved (0x40) and reserved (0x8000000000000000)");
    EXPECT_EQ(forceFlushStateText(0), "never run");
    EXPECT_EQ(forceFlushStateText(1), "in progress");
    EXPECT_EQ(forceFlushStateText(2), "completed");
    EXPECT_EQ(forceFlushStateText(3), "stopped");
    EXPECT_EQ(forceFlushStateText(4), "failed");
    EXPECT_EQ(forceFlushStateText(5), "reserved (0x5)");
}

}  // namespace
}  // namespace features::nvme
