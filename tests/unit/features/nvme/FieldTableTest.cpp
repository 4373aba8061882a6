#include <gtest/gtest.h>

#include "features/nvme/FieldTable.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "tests/unit/features/nvme/TreeText.h"

namespace features::nvme {
namespace {

constexpr uint8_t BYTES[16] = {0x81, 0x02, 0x00, 0xFF, 0x01, 0x00, 0x00, 0x00,
                               0x36, 0x01, 0x41, 0x20, 0x00, 0x00, 0x05, 0x45};
constexpr Word WORDS[] = {{1, "one"}, {2, "two"}, {}};

constexpr struct {
    FieldRow row;
    const char* value;
} FORMATS[] = {
    {{"F", "", 0, 1, Format::DECIMAL}, "129"},
    {{"F", "", 0, 2, Format::DECIMAL}, "641"},
    {{"F", "", 0, 3, Format::DECIMAL}, "641"},
    {{"F", "", 3, 5, Format::DECIMAL}, "511"},
    {{"F", "", 0, 8, Format::DECIMAL}, "8573158017"},
    {{"F", "", 3, 1, Format::DECIMAL_0BASED}, "256"},
    {{"F", "", 4, 1, Format::POWER_OF_2}, "2"},
    {{"F", "", 3, 1, Format::POWER_OF_2}, "reserved (0xFF)"},
    {{"F", "", 0, 1, Format::HEX}, "0x81"},
    {{"F", "", 0, 4, Format::HEX}, "0xFF000281"},
    {{"F", "", 5, 3, Format::HEX}, "0x000000"},
    {{"F", "", 8, 2, Format::CELSIUS}, "37"},
    {{"F", "", 4, 2, Format::CELSIUS}, "-272"},
    {{"F", "", 5, 2, Format::CELSIUS}, "not reported"},
    {{"F", "", 10, 4, Format::TEXT}, "A"},
    {{"F", "", 12, 2, Format::TEXT}, "not reported"},
    {{"F", "", 0, 4, Format::BYTES}, "810200FF"},
    {{"F", "", 5, 3, Format::BYTES}, "not reported"},
    {{"F", "", 0, 16, Format::COUNTER}, "91742693203433975579553995595072930433"},
    {{"F", "", 0, 16, Format::UUID}, "810200ff-0100-0000-3601-412000000545"},
    {{"F", "", 0, 4, Format::VERSION}, "65280.2.129"},
    {{"F", "", 14, 2, Format::STATUS}, "0x282 End-to-end Guard Check Error"},
    {{"F", "", 4, 2, Format::STATUS}, "0x000 Successful Completion"},
    {flag("F", "", 0, 0), "True"},
    {flag("F", "", 0, 1), "False"},
    {flag("F", "", 0, 31), "True"},
    {flag("F", "", 0, 23), "False"},
    {bitsRow("F", "", 0, 11, 7), "5"},
    {bitsRow("F", "", 0, 31, 0), "4278190721"},
    {bitsRow("F", "", 0, 31, 28, Format::HEX), "0x0F"},
    {bitsRow("F", "", 0, 9, 8, Format::DECIMAL_0BASED), "3"},
    {word("F", "", 0, 9, 8, WORDS), "two"},
    {word("F", "", 0, 7, 0, WORDS), "reserved (0x81)"},
    {inWords(WORDS, {"F", "", 4, 1, Format::DECIMAL}), "one"},
    {inWords(WORDS, {"F", "", 3, 1, Format::DECIMAL}), "255"},
    {unless0({"F", "", 2, 1, Format::DECIMAL}), "not reported"},
    {unless0({"F", "", 3, 1, Format::DECIMAL}), "255"},
    {unless0({"F", "", 2, 1, Format::DECIMAL_0BASED}), "not reported"},
    {onlyIf(0, 0, {"F", "", 3, 1, Format::DECIMAL}), "255"},
    {onlyIf(0, 1, {"F", "", 3, 1, Format::DECIMAL}), "not reported"},
    {onlyIf(1, 1, {"F", "", 3, 1, Format::DECIMAL}), "255"},
};
TEST(FieldTable, ShowsEachFormat) {
    for (const auto& c : FORMATS) {
        FieldTree tree;
        addFields(tree, FieldRows(&c.row, 1), BYTES, sizeof BYTES);
        ASSERT_EQ(tree.fields.size(), 1U);
        EXPECT_EQ(tree.fields[0].value, c.value) << "row " << &c - FORMATS;
    }
}

TEST(FieldTable, ShowsTheGreatest0BasedNumberExactly) {
    constexpr FieldRow ROWS[] = {{"F", "", 0, 8, Format::DECIMAL_0BASED}};
    constexpr uint8_t ONES[] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    FieldTree tree;
    addFields(tree, ROWS, ONES, sizeof ONES);
    EXPECT_EQ(tree.fields.at(0).value, "18446744073709551616");
}

TEST(FieldTable, ShowsTheUnitAfterTheNumber) {
    constexpr FieldRow ROWS[] = {
        {"A", "Temperature (C)", 8, 2, Format::CELSIUS},
        {"B", "Temperature (C)", 5, 2, Format::CELSIUS},
        {"C", "Written (units of 512000 bytes)", 0, 1, Format::DECIMAL},
        unless0({"D", "Time (minutes)", 2, 1, Format::DECIMAL}),
        onlyIf(0, 1, {"E", "Size (bytes)", 3, 1, Format::DECIMAL}),
        {"F", "", 0, 1, Format::DECIMAL},
    };
    FieldTree tree;
    addFields(tree, ROWS, BYTES, sizeof BYTES);
    EXPECT_EQ(treeText(tree),
              "[]\n"
              "A - Temperature: 37 C\n"
              "B - Temperature: not reported\n"
              "C - Written: 129 units of 512000 bytes\n"
              "D - Time: not reported\n"
              "E - Size: not reported\n"
              "F: 129\n");
}

TEST(FieldTable, LeavesOutWhatLiesAfterTheEnd) {
    constexpr FieldRow ROWS[] = {
        {"A", "first", 0, 1, Format::DECIMAL},
        {"B", "", 1, 2, Format::DECIMAL},
        onlyIf(3, 0, {"C", "", 1, 1, Format::DECIMAL}),
        flag("D", "", 0, 16),
        flag("E", "", 0, 15),
    };
    FieldTree tree;
    addFields(tree, ROWS, BYTES, 2);
    EXPECT_EQ(treeText(tree), "[]\nA - first: 129\nC: not reported\nE: False\n");
    FieldTree nothing;
    addFields(nothing, ROWS, nullptr, 0);
    EXPECT_TRUE(nothing.fields.empty());
}

TEST(FieldTable, TakesTheNameOfTheVocabulary) {
    constexpr FieldRow ROWS[] = {
        keyed(ostrel::core::attributes::feature::tempThreshold, {"T", "Threshold", 0, 1, Format::DECIMAL})};
    FieldTree tree;
    addFields(tree, ROWS, BYTES, sizeof BYTES);
    EXPECT_EQ(treeText(tree), "[]\nTempThreshold - Threshold: 129\n");
    EXPECT_EQ(fieldName(ROWS[0]), "TempThreshold");
}

}  // namespace
}  // namespace features::nvme
