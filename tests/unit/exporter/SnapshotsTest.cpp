#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "exporter/Snapshots.h"

namespace exporter {
namespace {

constexpr std::time_t DAY = 86400;
constexpr std::time_t NOON = 20000 * DAY + DAY / 2;

DriveReading reading(double celsius) {
    DriveReading reading{{"/dev/nvme0", "S1", "A \"model\"", "F1"}};
    reading.isUp = true;
    reading.samples = {{"nimbrel_drive_temperature_celsius", {}, celsius},
                       {"nimbrel_drive_temperature_sensor_celsius", {{"sensor", "1"}}, 40},
                       {"nimbrel_drive_busy_seconds_total", {}, 60}};
    return reading;
}

constexpr char FIRST[] =
    "{\"device\":\"/dev/nvme0\",\"firmware\":\"F1\",\"metrics\":{\"nimbrel_drive_temperature_celsius\":38.0},"
    "\"model\":\"A \\\"model\\\"\",\"serial\":\"S1\",\"time\":1728043200,\"version\":1}\n";

TEST(Snapshots, HaveTheMetricsThatAreKept) {
    EXPECT_EQ(withSnapshot("", reading(38), NOON), FIRST);
}

TEST(Snapshots, AddNoSecondLineOnADay) {
    EXPECT_EQ(withSnapshot(FIRST, reading(50), NOON + DAY / 2 - 1), FIRST);
    const std::string two = withSnapshot(FIRST, reading(50), NOON + DAY / 2);
    EXPECT_EQ(two.rfind(FIRST, 0), 0U);
    EXPECT_NE(two.find("\"nimbrel_drive_temperature_celsius\":50.0"), std::string::npos);
}

TEST(Snapshots, DropTheOldestOf401Days) {
    std::string lines;
    for (int day = 0; day <= 400; ++day) lines = withSnapshot(lines, reading(day), NOON + day * DAY);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 400);
    EXPECT_EQ(lines.find("\"nimbrel_drive_temperature_celsius\":0.0"), std::string::npos);
    EXPECT_EQ(lines.rfind("{\"device\":\"/dev/nvme0\",\"firmware\":\"F1\","
                          "\"metrics\":{\"nimbrel_drive_temperature_celsius\":1.0}",
                          0),
              0U);
}

TEST(Snapshots, GoOnAfterALineThatIsNoSnapshot) {
    for (const char* damaged : {"{\"time\":", "[]\n", "{}\n", "\n", "{\"time\":\"x\"}\n"}) {
        const std::string lines = withSnapshot(damaged, reading(38), NOON);
        ASSERT_GE(lines.size(), sizeof FIRST - 1) << damaged;
        EXPECT_EQ(lines.substr(lines.size() - (sizeof FIRST - 1)), FIRST) << damaged;
    }
}

TEST(Snapshots, ReplaceBytesThatAreNoText) {
    DriveReading strange = reading(38);
    strange.drive.serial = "S\xFF";
    EXPECT_NE(withSnapshot("", strange, NOON).find("\"serial\":\"S\xEF\xBF\xBD\""), std::string::npos);
}

}  // namespace
}  // namespace exporter
