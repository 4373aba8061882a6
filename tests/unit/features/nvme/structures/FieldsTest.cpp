#include <gtest/gtest.h>

#include <vector>

#include "features/nvme/Bytes.h"
#include "features/nvme/structures/Fields.h"
#include "features/nvme/structures/SmartHealthLog.h"

namespace features::nvme {
namespace {

using Data = std::vector<uint8_t>;

struct Sample {
    uint8_t one;
    Le16 two;
    Le24 three;
    Le32 four;
    Le48 six;
    Le64 eight;
    Le128 sixteen;
    ByteArray<2> text;
};
static_assert(sizeof(Sample) == 42 && alignof(Sample) == 1);

const Data SAMPLE = {0x01,                                                                    // one
                     0x02, 0x81,                                                              // two
                     0x03, 0x04, 0x85,                                                        // three
                     0x05, 0x06, 0x07, 0x88,                                                  // four
                     0x09, 0x0A, 0x0B, 0x0C, 0x0D, 0x8E,                                      // six
                     0x0F, 0x10, 0x11, 0x12, 0x13, 0x14, 0x15, 0x96,                          // eight
                     0x17, 0x18, 0x19, 0x1A, 0x1B, 0x1C, 0x1D, 0x9E, 1, 0, 0, 0, 0, 0, 0, 0,  // sixteen
                     'O',  'K'};

TEST(Fields, AreReadWithTheirLowestByteFirst) {
    const auto sample = structureAt<Sample>(SAMPLE.data());
    EXPECT_EQ(sample.one, 0x01);
    EXPECT_EQ(sample.two, 0x8102);
    EXPECT_EQ(sample.three, 0x850403U);
    EXPECT_EQ(sample.four, 0x88070605U);
    EXPECT_EQ(sample.six, 0x8E0D0C0B0A09U);
    EXPECT_EQ(sample.eight, 0x961514131211100FU);
    EXPECT_EQ(sample.sixteen.low, 0x9E1D1C1B1A191817U);
    EXPECT_EQ(sample.sixteen.high, 1U);
    EXPECT_EQ(sample.text, (ByteArray<2>{'O', 'K'}));
}

TEST(Fields, AreWrittenWithTheirLowestByteFirst) {
    Sample sample{};
    EXPECT_EQ(bytesOf(sample), Data(42));
    sample.one = 0x01;
    sample.two = 0x8102;
    sample.three = 0x850403;
    sample.four = 0x88070605;
    sample.six = 0x8E0D0C0B0A09;
    sample.eight = 0x961514131211100F;
    sample.sixteen = 0x9E1D1C1B1A191817;
    sample.sixteen.high = 1;
    sample.text = {'O', 'K'};
    EXPECT_EQ(bytesOf(sample), SAMPLE);
}

TEST(Fields, ANumberOf64BitsClearsTheRestOf128) {
    Le128 number = {~uint64_t{0}, ~uint64_t{0}};
    EXPECT_EQ(decimal128(number), "340282366920938463463374607431768211455");
    number = 7;
    EXPECT_EQ(decimal128(number), "7");
}

TEST(Fields, OfARowAreOffsetAndWidthOfAMember) {
    constexpr uint16_t spare[] = {FIELD(SmartHealthLog, availableSpare)};
    constexpr uint16_t sensor[] = {FIELD(SmartHealthLog, temperatureSensor[7])};
    EXPECT_EQ(spare[0], 3);
    EXPECT_EQ(spare[1], 1);
    EXPECT_EQ(sensor[0], 214);
    EXPECT_EQ(sensor[1], 2);
}

}  // namespace
}  // namespace features::nvme
