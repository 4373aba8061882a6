#include <gtest/gtest.h>

#include "features/ata/SmartAttributes.h"
#include "tests/support/fakedrive/DriveBytes.h"
#include "tests/unit/features/nvme/TreeText.h"

namespace features::ata {
namespace {

using fakedrive::DriveBytes;
using ostrel::core::Payload;

constexpr size_t FIRST = 2;
constexpr size_t SIZE = 12;

TEST(AtaSmartAttributes, AreReadWithTheirThresholds) {
    // Identifier, flags, value, worst, six bytes of the raw value.
    const DriveBytes data = DriveBytes(512)
                                .put(FIRST, {0x05, 0x33, 0x00, 100, 99, 0x2A, 0x00, 0x00, 0x00, 0x00, 0x01})
                                .put(FIRST + 2 * SIZE, {0xE9, 0x32, 0x00, 97, 97, 0x10, 0x27});
    const DriveBytes thresholds = DriveBytes(512).put(FIRST, {0xE9, 0x00}).put(FIRST + SIZE, {0x05, 0x0A});
    const auto attributes = smartAttributesOf(data.payload(), thresholds.payload());
    ASSERT_EQ(attributes.size(), 2U) << "an entry with identifier 0 is unused";
    EXPECT_EQ(attributes[0].name(), "Reallocated Sector Count");
    EXPECT_TRUE(attributes[0].isPrefailure());
    EXPECT_EQ(attributes[0].data.value, 100);
    EXPECT_EQ(attributes[0].data.worst, 99);
    EXPECT_EQ(attributes[0].threshold, 10);
    EXPECT_EQ(attributes[0].rawText(), "1099511627818") << "48 bits";
    EXPECT_EQ(attributes[1].name(), "Vendor specific 233");
    EXPECT_FALSE(attributes[1].isPrefailure());
    EXPECT_EQ(attributes[1].rawText(), "10000");
    EXPECT_EQ(findAttribute(attributes, 233), &attributes[1]);
    EXPECT_EQ(findAttribute(attributes, 194), nullptr);

    EXPECT_FALSE(smartAttributesOf(data.payload(), Payload())[0].threshold) << "a drive without thresholds";
    EXPECT_TRUE(smartAttributesOf(DriveBytes(511).payload(), Payload()).empty());
}

SmartAttribute attribute(uint8_t id, uint8_t flags, uint8_t value, uint8_t worst, std::optional<uint8_t> threshold) {
    SmartAttribute made{};
    made.data.id = id;
    made.data.flags = flags;
    made.data.value = value;
    made.data.worst = worst;
    made.threshold = threshold;
    return made;
}

TEST(AtaSmartAttributes, FailByPrefailureAndThreshold) {
    const struct {
        SmartAttribute attribute;
        AttributeState state;
        const char* why;
    } CASES[] = {
        {attribute(5, 1, 11, 11, 10), AttributeState::GOOD, "above the threshold"},
        {attribute(5, 1, 10, 10, 10), AttributeState::FAILING_NOW, "at the threshold"},
        {attribute(5, 1, 11, 10, 10), AttributeState::FAILED_IN_THE_PAST, "the worst value was"},
        {attribute(5, 0, 1, 1, 10), AttributeState::GOOD, "old age is no failure"},
        {attribute(5, 1, 1, 1, 0), AttributeState::GOOD, "threshold 0 never fails"},
        {attribute(5, 1, 1, 1, std::nullopt), AttributeState::GOOD, "without a threshold"},
        {attribute(5, 1, 0, 0, 10), AttributeState::GOOD, "0 is no normalized value"},
        {attribute(5, 1, 254, 255, 255), AttributeState::GOOD, "254 and 255 are none"},
    };
    for (const auto& row : CASES) EXPECT_EQ(row.attribute.state(), row.state) << row.why;
}

TEST(AtaSmartAttributes, ReadTheRawValueByItsMeaning) {
    SmartAttribute made = attribute(194, 0, 64, 50, 0);
    made.data.raw = 0x002D00140024;  // 36 now, 20 and 45 in its life
    EXPECT_EQ(made.rawText(), "36 C");
    made.data.raw = 0x00FB;
    EXPECT_EQ(made.rawText(), "-5 C");
    for (const uint64_t none : {0x00U, 0xFFU}) {
        made.data.raw = none;
        EXPECT_EQ(made.rawText(), "not reported") << none;
    }
    made.data.id = 9;
    made.data.raw = 0x0102000003E8;  // the upper parts are minutes and milliseconds of some drives
    EXPECT_EQ(made.rawText(), "1000");
    made.data.id = 188;
    EXPECT_EQ(made.rawText(), "1108101563368");
}

TEST(AtaSmartAttributes, AreFollowedByTestsAndTimes) {
    DriveBytes data(512);
    data.le16(0, 1).put(362, {0x82, 0xF3}).le16(364, 120).put(367, {0x7B, 0x03, 0x00, 0x01, 0x00, 2, 0xFF, 3});
    data.le16(375, 300);
    unsigned sum = 0;
    for (const uint8_t byte : data.bytes()) sum += byte;
    data.byte(511, static_cast<uint8_t>(0x100 - sum % 0x100));
    EXPECT_EQ(nvme::treeText(decodeSmartData(data.payload())),
              "[SMART Data]\n"
              "Revision - Revision of the data structure: 1\n"
              "Offline State - State of the offline data collection: completed without error\n"
              "Offline Automatic - Automatic offline data collection enabled: True\n"
              "Self-test Result - Result of the newest self-test: In progress\n"
              "Self-test Remaining - Tenths of the self-test that remain: 3\n"
              "Offline Time - Time of the offline data collection: 120 seconds\n"
              "Offline Immediate - EXECUTE OFF-LINE IMMEDIATE supported: True\n"
              "Offline Abort - A command of the host aborts the collection: False\n"
              "Offline Read Scan - Off-line read scanning supported: True\n"
              "Self-test - Short and extended self-test supported: True\n"
              "Conveyance - Conveyance self-test supported: True\n"
              "Selective - Selective self-test supported: True\n"
              "Saves Before Power Save - Saves attributes before power saving: True\n"
              "Autosave - Attribute autosave supported: True\n"
              "Error Log - Error logging supported: True\n"
              "Short Time - Polling time of the short self-test: 2 minutes\n"
              "Extended Time - Polling time of the extended self-test: 255 minutes\n"
              "Conveyance Time - Polling time of the conveyance self-test: 3 minutes\n"
              "Extended Time 16-bit - Polling time of the extended self-test: 300 minutes\n"
              "Checksum: good\n");
    EXPECT_NE(nvme::treeText(decodeSmartData(data.byte(500, 1).payload())).find("Checksum: wrong"), std::string::npos);
}

TEST(AtaSmartAttributes, SelfTestsHaveNames) {
    EXPECT_EQ(selfTestName(0x02), "Extended");
    EXPECT_EQ(selfTestName(0x83), "Conveyance, captive");
    EXPECT_EQ(selfTestName(0x55), "reserved (0x55)");
    EXPECT_EQ(selfTestResultText(0x70), "Failed, read element");
    EXPECT_EQ(selfTestResultText(0xF9), "In progress");
    EXPECT_EQ(selfTestResultText(0x90), "reserved (0x9)");
}

}  // namespace
}  // namespace features::ata
