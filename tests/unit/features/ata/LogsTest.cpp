#include <gtest/gtest.h>

#include "features/ata/DeviceStatistics.h"
#include "features/ata/PageList.h"
#include "tests/support/fakedrive/DriveBytes.h"
#include "tests/unit/features/nvme/TreeText.h"

namespace features::ata {
namespace {

using fakedrive::DriveBytes;

/// Supported and valid.
constexpr uint64_t VALID = 0xC000000000000000;

DriveBytes statisticsPage(uint8_t page) {
    return DriveBytes(512).le64(0, 1).byte(2, page);
}

TEST(AtaStatistics, CountWhenTheirFlagsSaySo) {
    using namespace statistics;
    const auto general = statisticsPage(1)
                             .le64(0x08, VALID | 77)
                             .le64(0x10, VALID | 0xFFFFFFFF)
                             .le64(0x18, VALID | 0xFFFFFFFFFFFF)
                             .le64(0x20, 0x8000000000000005)   // supported, and not valid
                             .le64(0x28, 0x4000000000000005);  // valid, and not supported
    EXPECT_EQ(statistic(general.payload(), POWER_ON_RESETS), 77);
    EXPECT_EQ(statistic(general.payload(), POWER_ON_HOURS), 0xFFFFFFFF);
    EXPECT_EQ(statistic(general.payload(), SECTORS_WRITTEN), 0xFFFFFFFFFFFF);
    EXPECT_EQ(statistic(general.payload(), WRITE_COMMANDS), std::nullopt);
    EXPECT_EQ(statistic(general.payload(), SECTORS_READ), std::nullopt);
    EXPECT_EQ(statistic(general.payload(), READ_COMMANDS), std::nullopt);
    EXPECT_EQ(statistic(general.payload(), PERCENTAGE_USED), std::nullopt) << "of another page";
    EXPECT_EQ(statistic(DriveBytes(8).payload(), POWER_ON_RESETS), std::nullopt);

    const auto temperatures = statisticsPage(5).le64(0x08, VALID | 38).le64(0x28, VALID | 0xF6);
    EXPECT_EQ(statistic(temperatures.payload(), TEMPERATURE), 38);
    EXPECT_EQ(statistic(temperatures.payload(), LOWEST_TEMPERATURE), -10);
    EXPECT_EQ(statistic(statisticsPage(7).le64(8, VALID | 0x1FF).payload(), PERCENTAGE_USED), 255) << "one byte";
}

TEST(AtaStatistics, AreShownByName) {
    EXPECT_EQ(nvme::treeText(decodeStatistics(statisticsPage(5)
                                                  .le64(0x08, VALID | 38)
                                                  .le64(0x20, 0x8000000000000000)
                                                  .le64(0x28, VALID | 0xF6)
                                                  .payload())),
              "[Temperature Statistics]\nCurrent Temperature: 38 C\nHighest Temperature: not reported\n"
              "Lowest Temperature: -10 C\n");
    EXPECT_EQ(
        nvme::treeText(decodeStatistics(statisticsPage(7).le64(8, 0xE800000000000003).payload())),
        "[Solid State Device Statistics]\nPercentage Used Endurance Indicator: 3 % (normalized) (condition met)\n");
    EXPECT_EQ(nvme::treeText(decodeStatistics(statisticsPage(0x99).payload())), "[Device Statistics]\n");
}

TEST(AtaPageList, HasThePagesThatItCounts) {
    const auto list = DriveBytes(512).byte(8, 3).put(9, {0x00, 0x01, 0x05, 0x07});
    EXPECT_TRUE(isPageListed(list.payload(), 5));
    EXPECT_FALSE(isPageListed(list.payload(), 7)) << "beyond the count";
    EXPECT_TRUE(isPageListed(DriveBytes(512).byte(8, 0xFF).byte(9 + 254, 7).payload(), 7)) << "the longest list";
    EXPECT_FALSE(isPageListed(DriveBytes(9).byte(8, 1).payload(), 0));
}

constexpr size_t TEST_BYTES = 24;
constexpr size_t EXTENDED_BYTES = 26;

}  // namespace
}  // namespace features::ata
