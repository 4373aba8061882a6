#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "ostrel/core/AttributeVocabulary.h"
#include "tests/support/TemporaryFolder.h"

namespace ostrel::core {
namespace {

std::vector<Attribute> deviceTable() {
    using namespace attributes::device;
    return {
#define ATTRIBUTE(function, key, type, displayName) function(),
#include "ostrel/core/DeviceAttributes.def"
    };
}

std::vector<Attribute> featureTable() {
    using namespace attributes::feature;
    return {
#define ATTRIBUTE(function, key, type, displayName) function(),
#include "ostrel/core/FeatureAttributes.def"
    };
}

/// One line an attribute: key, display name and type between bars.
std::string tableText(const std::vector<Attribute>& table) {
    std::string text;
    for (const Attribute& row : table) text += row.getName() + '|' + row.getDisplayName() + '|' + row.getType() + '\n';
    return text;
}

TEST(AttributeVocabulary, EqualsTheListsKeptApart) {
    EXPECT_EQ(tableText(deviceTable()), readWholeFile(NIMBREL_TEST_DATA "/DeviceAttributes.expected"));
    EXPECT_EQ(tableText(featureTable()), readWholeFile(NIMBREL_TEST_DATA "/FeatureAttributes.expected"));
}

TEST(AttributeVocabulary, HasAllItsRows) {
    EXPECT_EQ(deviceTable().size(), 212u);
    EXPECT_EQ(featureTable().size(), 385u);
}

TEST(AttributeVocabulary, GivesAttributesWithoutAValue) {
    // What each type reads like while nothing was set: -1 for signed, 0 for unsigned numbers.
    const std::map<std::string, std::string> textOfType = {
        {"string", ""},          {"sint8", "-1"},         {"sint16", "-1"},    {"sint32", "-1"},    {"sint64", "-1"},
        {"uint8", "0"},          {"uint16", "0"},         {"uint32", "0"},     {"uint64", "0"},     {"uint128", "0"},
        {"double", ""},          {"boolean", "False"},    {"bytepointer", ""}, {"list_uint64", ""}, {"hexValue", "0x0"},
        {"vectorOfStrings", ""}, {"vectorOfPayloads", ""}};
    for (const auto& table : {deviceTable(), featureTable()}) {
        for (const Attribute& row : table) {
            EXPECT_EQ(row.getSize(), 0u) << row.getName();
            EXPECT_EQ(row.getDescription(), "") << row.getName();
            EXPECT_EQ(row.getText(), textOfType.at(row.getType())) << row.getName();
        }
    }
}

TEST(AttributeVocabulary, KeepsTheTablesOfOneKeyApart) {
    EXPECT_EQ(attributes::device::capacity().getType(), "string");
    EXPECT_EQ(attributes::feature::capacity().getType(), "uint64");
    EXPECT_EQ(attributes::device::nativeMaxLBA().getDisplayName(), "Native Maximum LBA");
    EXPECT_EQ(attributes::feature::nativeMaxLBA().getDisplayName(), "Native Max LBA");
}

TEST(AttributeVocabulary, KeepsTwoTypesOfOneKeyInOneTable) {
    EXPECT_EQ(attributes::feature::showAll().getName(), "ShowAll");
    EXPECT_EQ(attributes::feature::showAll().getType(), "string");
    EXPECT_EQ(attributes::feature::showAllFlag().getName(), "ShowAll");
    EXPECT_EQ(attributes::feature::showAllFlag().getType(), "boolean");
}

TEST(AttributeVocabulary, GivesAFreshAttributeAtEachCall) {
    Attribute first = attributes::device::index();
    first.setValue(int32_t{7});
    EXPECT_EQ(attributes::device::index().getText(), "-1");
}

}  // namespace
}  // namespace ostrel::core
