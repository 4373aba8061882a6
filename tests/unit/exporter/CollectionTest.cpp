#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "exporter/Collector.h"

namespace exporter {
namespace {

constexpr char ONE_OF_TWO[] =
    R"({"drives":[{"drive":{"device":"/dev/nvme0","firmware":"F1","model":"M1","serial":"S1"},"duration":0.25,)"
    R"("errors":["no SMART log"],"samples":[["busy",[["sensor","1"]],60.0]],"stuck":false,"success":1728043200,)"
    R"("up":true},{"drive":{"device":"/dev/nvme1","firmware":"","model":"","serial":"S2"},"duration":0.0,)"
    R"("errors":[],"samples":[],"stuck":true,"up":false}],"duration":0.5,"error":"nvme2 cannot be looked at",)"
    R"("time":1728043201})";

TEST(Collection, IsTheSameAfterItsWayAsText) {
    const Collection collection = collectionFromJson(ONE_OF_TWO);
    ASSERT_EQ(collection.drives.size(), 2U);
    EXPECT_EQ(collection.scanError, "nvme2 cannot be looked at");
    EXPECT_EQ(collection.time, 1728043201);
    EXPECT_EQ(collection.durationSeconds, 0.5);
    const DriveReading& first = collection.drives[0];
    EXPECT_EQ(first.drive.serial, "S1");
    EXPECT_TRUE(first.isUp);
    EXPECT_FALSE(first.isStuck);
    EXPECT_EQ(first.lastSuccess, 1728043200);
    EXPECT_EQ(first.errors, std::vector<std::string>{"no SMART log"});
    ASSERT_EQ(first.samples.size(), 1U);
    EXPECT_EQ(first.samples[0].value, 60);
    const DriveReading& second = collection.drives[1];
    EXPECT_FALSE(second.isUp);
    EXPECT_TRUE(second.isStuck);
    EXPECT_EQ(second.lastSuccess, std::nullopt);
    EXPECT_EQ(toJson(collection), ONE_OF_TWO);
}

TEST(Collection, IsNoneOfATextThatLacksAPart) {
    for (const char* part : {"drives", "error", "time", "duration"}) {
        auto json = nlohmann::json::parse(ONE_OF_TWO);
        json.erase(part);
        EXPECT_THROW(collectionFromJson(json.dump()), nlohmann::json::exception) << part;
    }
    auto json = nlohmann::json::parse(ONE_OF_TWO);
    json["drives"][1].erase("stuck");
    EXPECT_THROW(collectionFromJson(json.dump()), nlohmann::json::exception);
    json = nlohmann::json::parse(ONE_OF_TWO);
    json["drives"][0]["drive"].erase("serial");
    EXPECT_THROW(collectionFromJson(json.dump()), nlohmann::json::exception);
    EXPECT_THROW(collectionFromJson(""), nlohmann::json::exception);
}

TEST(DriveName, IsShownByWhatIsKnownOfIt) {
    EXPECT_EQ((DriveName{"/dev/nvme0", "S1", "M1", "F1"}.text()), "S1 (/dev/nvme0)");
    EXPECT_EQ((DriveName{"", "S1", "M1", "F1"}.text()), "S1");
    EXPECT_EQ((DriveName{"/dev/nvme0", "", "M1", "F1"}.text()), "/dev/nvme0");
    EXPECT_EQ(toJson(drivesFromJson(R"([{"device":"d","firmware":"f","model":"m","serial":"s"}])")),
              R"([{"device":"d","firmware":"f","model":"m","serial":"s"}])");
}

}  // namespace
}  // namespace exporter
