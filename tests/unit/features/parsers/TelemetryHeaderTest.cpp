#include <gtest/gtest.h>

#include <vector>

#include "features/parsers/TelemetryHeader.h"

namespace features::parsers {
namespace {

std::vector<uint8_t> header(uint8_t lid, std::initializer_list<uint8_t> lastBlocks) {
    std::vector<uint8_t> bytes(512);
    bytes[0] = lid;
    std::copy(lastBlocks.begin(), lastBlocks.end(), bytes.begin() + 8);
    bytes[381] = 5;
    bytes[383] = 9;
    return bytes;
}

TEST(TelemetryHeader, EachAreaHoldsThoseBeforeIt) {
    const TelemetryHeader log(header(0x07, {0x01, 0x00, 0x00, 0x01, 0xFF, 0xFF}).data());
    EXPECT_EQ(log.lid, 0x07);
    EXPECT_EQ(log.lengthBytes(1), 1024U);
    EXPECT_EQ(log.lengthBytes(2), 257U * 512);
    EXPECT_EQ(log.lengthBytes(3), 65536U * 512);
    EXPECT_EQ(log.lengthBytes(9), 65536U * 512) << "there are three";
    EXPECT_EQ(log.lengthBytes(0), 512U);
}

TEST(TelemetryHeader, AnEmptyAreaAfterOneThatIsNotEndsWithThat) {
    const TelemetryHeader log(header(0x08, {0x08, 0x00, 0x00, 0x00, 0x00, 0x00}).data());
    EXPECT_EQ(log.lengthBytes(1), 9U * 512);
    EXPECT_EQ(log.lengthBytes(3), 9U * 512);
}

TEST(TelemetryHeader, TheGenerationIsThatOfTheLog) {
    EXPECT_EQ(TelemetryHeader(header(0x07, {}).data()).generation, 5);
    EXPECT_EQ(TelemetryHeader(header(0x08, {}).data()).generation, 9);
}

}  // namespace
}  // namespace features::parsers
