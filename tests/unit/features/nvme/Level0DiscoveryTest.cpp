#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "features/nvme/Level0Discovery.h"

namespace features::nvme {
namespace {

using ostrel::core::Payload;
using Bytes = std::vector<uint8_t>;

/// The header with its length, and the descriptors; `more` bytes are after them, as in the buffer of a host.
Payload discovery(const std::vector<Bytes>& descriptors, size_t more = 0) {
    Bytes bytes(48);
    for (const Bytes& each : descriptors) bytes.insert(bytes.end(), each.begin(), each.end());
    bytes[2] = static_cast<uint8_t>((bytes.size() - 4) >> 8);
    bytes[3] = static_cast<uint8_t>(bytes.size() - 4);
    bytes.resize(bytes.size() + more);
    return Payload(bytes.data(), static_cast<uint32_t>(bytes.size()));
}

/// A descriptor of version 1 whose data begins with a byte.
Bytes descriptor(uint16_t code, uint8_t length, uint8_t first = 0) {
    Bytes bytes{static_cast<uint8_t>(code >> 8), static_cast<uint8_t>(code), 0x10, length};
    bytes.resize(4U + length);
    if (length != 0) bytes[4] = first;
    return bytes;
}

TEST(Level0Discovery, NamesTheFeaturesInTheOrderOfTheDrive) {
    const auto decoded = decodeLevel0Discovery(
        discovery({descriptor(0x0001, 12), descriptor(0x0002, 12), descriptor(0x0003, 28), descriptor(0x0100, 16),
                   descriptor(0x0200, 16), descriptor(0x0201, 8), descriptor(0x0202, 12), descriptor(0x0203, 16),
                   descriptor(0x0302, 16), descriptor(0x0303, 16), descriptor(0x0304, 16), descriptor(0x0402, 12),
                   descriptor(0x0499, 0), descriptor(0xC001, 4), descriptor(0, 0)},
                  512));
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->featureText(),
              "TPer, Locking, Geometry Reporting, Enterprise, Opal v1, Single User Mode, Additional DataStore Tables, "
              "Opal v2, Pyrite v1, Pyrite v2, Ruby, Block SID Authentication, 0x0499, Vendor specific 0xC001");
}

TEST(Level0Discovery, OfADriveWithoutFeaturesSaysSo) {
    const auto decoded = decodeLevel0Discovery(discovery({descriptor(0, 0), descriptor(0, 4)}));
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->featureText(), "none");
}

TEST(Level0Discovery, ReadsTheBitsOfLocking) {
    const struct {
        uint8_t flags;
        bool isEnabled, isLocked, isShadowed;
        const char* why;
    } CASES[] = {
        {0x09, false, false, false, "supported, with encryption of the media"},
        {0x0B, true, false, false, "enabled"},
        {0x0F, true, true, false, "and locked"},
        {0x1F, true, true, true, "and the MBR is enabled and not done"},
        {0x3B, true, false, false, "the MBR is done: the owner has unlocked the drive"},
        {0x2B, true, false, false, "done, and not enabled"},
    };
    for (const auto& c : CASES) {
        const auto decoded = decodeLevel0Discovery(discovery({descriptor(0x0002, 12, c.flags)}));
        ASSERT_TRUE(decoded) << c.why;
        EXPECT_EQ(decoded->isLockingEnabled, c.isEnabled) << c.why;
        EXPECT_EQ(decoded->isLocked, c.isLocked) << c.why;
        EXPECT_EQ(decoded->isMbrShadowed, c.isShadowed) << c.why;
    }
    const auto without = decodeLevel0Discovery(discovery({descriptor(0x0001, 12)}));
    ASSERT_TRUE(without);
    EXPECT_FALSE(without->isLockingEnabled || without->isLocked || without->isMbrShadowed);
}

TEST(Level0Discovery, DamagedBytesAreNone) {
    const auto withLength = [](uint8_t length, size_t bytes) {
        Bytes all(bytes);
        all[3] = length;
        return Payload(all.data(), static_cast<uint32_t>(bytes));
    };
    const struct {
        Payload data;
        const char* why;
    } CASES[] = {
        {Payload(), "nothing"},
        {withLength(43, 47), "shorter than the header"},
        {withLength(0, 512), "zeros: the length leaves no room for the header"},
        {withLength(43, 512), "the same, by a byte"},
        {withLength(200, 100), "longer than what came"},
        {withLength(47, 512), "three bytes after the header"},
        {discovery({{0x00, 0x02, 0x10, 12, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}}), "a descriptor that runs over the end"},
        {discovery({descriptor(0x0002, 11)}), "Locking is shorter than its definition"},
        {discovery({descriptor(0x0203, 15)}), "so is Opal"},
    };
    for (const auto& c : CASES) EXPECT_FALSE(decodeLevel0Discovery(c.data)) << c.why;
    const auto plain = decodeLevel0Discovery(withLength(44, 512));
    ASSERT_TRUE(plain) << "a header alone";
    EXPECT_EQ(plain->featureText(), "none");
}

TEST(Level0Discovery, TheListOfProtocolsIsCutToWhatIsThere) {
    const Bytes list{0, 0, 0, 0, 0, 0, 0, 3, 0x00, 0x01, 0xEF, 0x02};
    const Payload data(list.data(), static_cast<uint32_t>(list.size()));
    EXPECT_TRUE(isSecurityProtocolListed(data, 0x01));
    EXPECT_TRUE(isSecurityProtocolListed(data, 0xEF));
    EXPECT_FALSE(isSecurityProtocolListed(data, 0x02)) << "after its end";
    EXPECT_FALSE(isSecurityProtocolListed(Payload(list.data(), 9), 0x01));
    EXPECT_FALSE(isSecurityProtocolListed(Payload(list.data(), 7), 0x00));
}

}  // namespace
}  // namespace features::nvme
