#include <gtest/gtest.h>

#include "features/nvme/Identify.h"
#include "tests/unit/features/nvme/TreeText.h"

namespace features::nvme {
namespace {

using ostrel::core::Payload;

TEST(NamespaceList, EndsAtTheFirstZero) {
    const uint8_t bytes[] = {1, 0, 0, 0, 5, 0, 0, 0, 0xFE, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0, 9, 0, 0, 0};
    EXPECT_EQ(decodeNamespaceList(Payload(bytes, sizeof bytes)), (std::vector<uint32_t>{1, 5, 0xFFFFFFFE}));
    EXPECT_EQ(decodeNamespaceList(Payload(bytes, 11)), (std::vector<uint32_t>{1, 5})) << "the third is cut off";
    EXPECT_EQ(decodeNamespaceList(Payload(bytes + 12, 8)), (std::vector<uint32_t>{}));
    EXPECT_EQ(decodeNamespaceList(Payload()), (std::vector<uint32_t>{}));
}

TEST(NamespaceList, MayFillTheStructure) {
    const std::vector<uint8_t> bytes(IDENTIFY_BYTES, 1);
    EXPECT_EQ(decodeNamespaceList(Payload(bytes.data(), bytes.size())), std::vector<uint32_t>(1024, 0x01010101));
}

TEST(ControllerList, HasItsCountInFront) {
    const uint8_t bytes[] = {2, 0, 0, 0, 5, 1, 7, 0};
    EXPECT_EQ(decodeControllerList(Payload(bytes, sizeof bytes)), (std::vector<uint16_t>{0, 0x0105}))
        << "0 is a controller as good as any, and what lies after the count is none";
    const uint8_t tooMany[] = {0xFF, 0xFF, 3, 0, 5, 0};
    EXPECT_EQ(decodeControllerList(Payload(tooMany, sizeof tooMany)), (std::vector<uint16_t>{3, 5}));
    EXPECT_EQ(decodeControllerList(Payload(tooMany, 5)), (std::vector<uint16_t>{3}));
    EXPECT_EQ(decodeControllerList(Payload(tooMany, 2)), (std::vector<uint16_t>{}));
    EXPECT_EQ(decodeControllerList(Payload(tooMany, 1)), (std::vector<uint16_t>{}));
    EXPECT_EQ(decodeControllerList(Payload()), (std::vector<uint16_t>{}));
}

TEST(IdentifyController, HasAtMost32PowerStates) {
    std::vector<uint8_t> bytes(IDENTIFY_BYTES);
    bytes[263] = 0xFF;  // 256 power states, where the structure has room for 32 of the standard
    EXPECT_EQ(decodeIdentifyController(Payload(bytes.data(), bytes.size())).parts.size(), 32U);
}

TEST(IdentifyNamespace, HasAtMost64Formats) {
    std::vector<uint8_t> bytes(IDENTIFY_BYTES);
    bytes[25] = 0xFF;
    bytes[26] = 0x61;              // format 49 of more than 16
    bytes[128 + 49 * 4 + 2] = 12;  // 4096
    const FieldTree tree = decodeIdentifyNamespace(Payload(bytes.data(), bytes.size()), 1, UINT16_MAX);
    ASSERT_EQ(tree.parts.size(), 64U);
    EXPECT_EQ(treeText(tree.parts[49]),
              "[LBA Format 49]\nLBADS - LBA Data Size: 4096 bytes\nMS - Metadata Size: 0 bytes\n"
              "RP - Relative Performance: best\nIn Use: True\n");
    EXPECT_EQ(tree.parts[1].fields.back().value, "False");
}

TEST(UuidList, PlacesCountFromOne) {
    std::vector<uint8_t> bytes(IDENTIFY_BYTES);
    const auto put = [&](size_t entry, uint8_t association, const std::vector<uint8_t>& uuid) {
        bytes[entry * 32] = association;
        std::copy(uuid.begin(), uuid.end(), bytes.begin() + static_cast<std::ptrdiff_t>(entry * 32 + 16));
    };
    const auto indexes = [&] {
        const Payload list(bytes.data(), bytes.size());
        return std::pair<unsigned, unsigned>(ocpUuidIndex(list), makerUuidIndex(list));
    };
    const std::vector<uint8_t> ocp{0xC1, 0x94, 0xD5, 0x5B, 0xE0, 0x94, 0x47, 0x94,
                                   0xA2, 0x1D, 0x29, 0x99, 0x8F, 0x56, 0xBE, 0x6F};
    using Indexes = std::pair<unsigned, unsigned>;
    EXPECT_EQ(indexes(), Indexes(0, 0)) << "an empty list";
    put(1, 2, {9});
    put(2, 0, ocp);
    EXPECT_EQ(indexes(), Indexes(2, 0)) << "a UUID of the subsystem vendor is not the maker's";
    put(3, 1, {7});
    put(4, 1, {8});
    EXPECT_EQ(indexes(), Indexes(2, 3)) << "the first of two";
    put(1, 0, std::vector<uint8_t>(16));
    EXPECT_EQ(indexes(), Indexes(0, 0)) << "a UUID of zeros ends the list";
}

}  // namespace
}  // namespace features::nvme
