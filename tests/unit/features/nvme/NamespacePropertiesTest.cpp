#include <gtest/gtest.h>

#include "features/nvme/NamespaceProperties.h"
#include "tests/unit/features/nvme/Layout.h"

namespace features::nvme {
namespace {

TEST(NamespaceProperties, ReadsItsFields) {
    const Layout layout("identify_namespace");
    const NamespaceProperties n(layout.data().getData());
    EXPECT_EQ(n.sizeBlocks, 2097152U);
    EXPECT_EQ(n.capacityBlocks, 2097151U);
    EXPECT_EQ(n.utilizationBlocks, 578437695752307201U);
    EXPECT_EQ(n.flbas, 0x12);
    EXPECT_EQ(n.dpc, 0x1F);
    EXPECT_EQ(n.dps, 0x0A);
    EXPECT_EQ(n.mc, 0x03);
    EXPECT_EQ(n.nmic, 0x01);
    EXPECT_EQ(n.numberOfFormats, 4);
    EXPECT_EQ(n.formatIndex(), 2);
    EXPECT_EQ(n.format().dataBytes(), 4096U);
    EXPECT_EQ(n.format().metadataBytes, 64);
    EXPECT_EQ(n.format().relativePerformance, 2);
    EXPECT_TRUE(n.metadataExtended());
    EXPECT_EQ(n.protectionType(), 2);
    EXPECT_TRUE(n.protectionFirst());
    EXPECT_TRUE(n.isShared());
    EXPECT_EQ(n.formats[1].dataBytes(), 512U);
    EXPECT_EQ(n.formats[1].metadataBytes, 8);
    EXPECT_EQ(n.formats[3].dataBytes(), 0U) << "not available";
}

constexpr struct {
    uint8_t shift;
    uint32_t bytes;
} BLOCKS[] = {{0, 0}, {8, 0}, {9, 512}, {12, 4096}, {31, 0x80000000}, {32, 0}, {255, 0}};
TEST(NamespaceProperties, ABlockHasAtLeast512Bytes) {
    for (const auto& c : BLOCKS)
        EXPECT_EQ((NamespaceProperties::LbaFormat{0, c.shift, 0}.dataBytes()), c.bytes) << int{c.shift};
}

constexpr struct {
    uint8_t flbas;
    uint8_t nlbaf;  // counts from 0
    uint8_t index;
    const char* why;
} INDEXES[] = {
    {0x00, 0, 0, "the first"},
    {0x1F, 15, 15, "the metadata bit does not count"},
    {0x6F, 15, 15, "with 16 formats there are no upper bits"},
    {0x61, 16, 49, "with 17 there are"},
    {0x20, 63, 16, "bit 5 is the lower of them"},
    {0xFF, 255, 63, "the greatest there is"},
};
TEST(NamespaceProperties, TheFormatInUseHasUpperBitsAbove16Formats) {
    for (const auto& c : INDEXES) {
        std::vector<uint8_t> bytes(4096);
        bytes[25] = c.nlbaf;
        bytes[26] = c.flbas;
        const NamespaceProperties properties(bytes.data());
        EXPECT_EQ(properties.formatIndex(), c.index) << c.why;
        EXPECT_EQ(properties.format().dataBytes(), 0U) << "within the table whatever the drive says: " << c.why;
    }
}

}  // namespace
}  // namespace features::nvme
