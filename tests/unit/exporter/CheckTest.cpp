#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "exporter/Check.h"

namespace exporter {
namespace {

DriveReading drive(const std::string& serial, std::vector<Sample> samples) {
    DriveReading reading{{"/dev/nvme0", serial, "M", "F"}};
    reading.isUp = true;
    reading.samples = std::move(samples);
    return reading;
}

Collection of(std::vector<DriveReading> drives) {
    Collection collection;
    collection.drives = std::move(drives);
    return collection;
}

Thresholds thresholds(const std::string& text) {
    Thresholds result;
    EXPECT_EQ(addThreshold(text, result), "");
    return result;
}

const Sample WARM{"nimbrel_drive_temperature_celsius", {}, 75};
const Sample WORN{"nimbrel_drive_wear_ratio", {}, 0.835};
const Sample FAILING{"nimbrel_drive_healthy", {}, 0};

TEST(Check, IsOkWithThePerformanceDataOfAllDrives) {
    const auto result = check(of({drive("S1", {{"nimbrel_drive_temperature_celsius", {}, 38}}),
                                  drive("S2", {{"nimbrel_drive_media_errors_total", {}, 2}})}),
                              {}, {});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.line, "NIMBREL OK: 2 drives | 'S1 temperature'=38;70;80 'S2 media_errors'=2c;;");
}

TEST(Check, WarnsByTheThresholdsThatHoldWithoutOptions) {
    const auto result = check(of({drive("S1", {WARM, WORN})}), {}, {});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.line,
              "NIMBREL WARNING: S1 (/dev/nvme0) temperature 75, S1 (/dev/nvme0) wear 83.5% | "
              "'S1 temperature'=75;70;80 'S1 wear'=83.5%;80;100");
}

TEST(Check, TakesThresholdsOfOptions) {
    const auto result =
        check(of({drive("S1", {WARM})}), thresholds("temperature=90"), thresholds("temperature=@70:80"));
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.line, "NIMBREL CRITICAL: S1 (/dev/nvme0) temperature 75 | 'S1 temperature'=75;90;@70:80");
}

TEST(Check, OrdersProblemsByGravity) {
    DriveReading dead = drive("S3", {});
    dead.isUp = false;
    dead.errors = {"no answer within 20000 ms"};
    const auto result = check(of({drive("S1", {WARM}), dead, drive("S2", {FAILING})}), {}, {});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.line,
              "NIMBREL CRITICAL: S2 (/dev/nvme0) reports a failure, S3 (/dev/nvme0): no answer within 20000 ms, "
              "S1 (/dev/nvme0) temperature 75 | 'S1 temperature'=75;70;80");
}

TEST(Check, IsUnknownWhereADriveCannotBeRead) {
    DriveReading dead = drive("S3", {});
    dead.isUp = false;
    EXPECT_EQ(check(of({drive("S1", {WARM}), dead}), {}, {}).status, 3);
    Collection incomplete = of({drive("S1", {})});
    incomplete.scanError = "no list";
    EXPECT_EQ(check(incomplete, {}, {}).line, "NIMBREL UNKNOWN: no list");
}

TEST(Check, IsUnknownWithoutDrives) {
    const auto result = check({}, {}, {});
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.line, "NIMBREL UNKNOWN: no drive was found");
}

TEST(Check, KeepsTextOfADriveFromBecomingPerformanceData) {
    const auto result = check(of({drive("S|'=1\n", {WARM})}), {}, {});
    EXPECT_EQ(result.line, "NIMBREL WARNING: S '=1  (/dev/nvme0) temperature 75 | 'S   1  temperature'=75;70;80");
}

TEST(Check, RefusesThresholdsThatAreNone) {
    Thresholds some;
    EXPECT_EQ(addThreshold("heat=1", some), "'heat=1' is not QUANTITY=RANGE; the quantities are in --help.");
    EXPECT_EQ(addThreshold("wear", some), "'wear' is not QUANTITY=RANGE; the quantities are in --help.");
    EXPECT_EQ(addThreshold("wear=", some), "'' is not a range.");
    EXPECT_EQ(addThreshold("wear=1", some), "");
    EXPECT_EQ(addThreshold("wear=2", some), "The threshold of wear is given twice.");
}

}  // namespace
}  // namespace exporter
