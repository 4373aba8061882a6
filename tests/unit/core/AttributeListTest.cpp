#include <gtest/gtest.h>

#include <type_traits>
#include <utility>

#include "ostrel/core/AttributeList.h"

namespace ostrel::core {
namespace {

Attribute named(const std::string& name, const std::string& text) {
    return Attribute(name, "Display", typeString(), text);
}

TEST(AttributeList, IsAPlainHashMap) {
    EXPECT_TRUE((std::is_same_v<AttributeList, std::unordered_map<std::string, Attribute>>));
    EXPECT_EQ(AttributeList().max_load_factor(), 1.0f);
}

TEST(AttributeList, ReplacesTheEntryOfAnExistingKey) {
    AttributeList list;
    list["A"] = named("A", "first");
    list["A"] = named("A", "second");
    EXPECT_EQ(list.size(), 1u);
    EXPECT_EQ(list.at("A").getText(), "second");
}

TEST(AttributeList, FindsIgnoringCase) {
    AttributeList list = {{"EnableLog", named("EnableLog", "x")}};
    const AttributeList& constList = list;
    ASSERT_NE(findIgnoringCase(list, "ENABLElog"), list.end());
    EXPECT_EQ(findIgnoringCase(list, "ENABLElog")->first, "EnableLog");
    EXPECT_EQ(findIgnoringCase(constList, "enablelog")->second.getText(), "x");
    EXPECT_EQ(findIgnoringCase(list, "EnableLo"), list.end());
    EXPECT_EQ(findIgnoringCase(constList, "EnableLogs"), constList.end());
    EXPECT_EQ(findIgnoringCase(list, ""), list.end());
}

TEST(AttributeList, FindsTheExactSpellingFirst) {
    AttributeList list;
    for (const char* name : {"key", "KEY", "Key", "kEy", "keY"}) list[name] = named(name, name);
    for (const char* name : {"key", "KEY", "Key", "kEy", "keY"}) EXPECT_EQ(findIgnoringCase(list, name)->first, name);
}

TEST(AttributeList, ChangesTheFoundEntryUnderItsOwnSpelling) {
    AttributeList list = {{"enablelog", named("enablelog", "false")}};
    findIgnoringCase(list, "EnableLog")->second.setValue("true");
    EXPECT_EQ(list.at("enablelog").getText(), "true");
}

TEST(AttributeList, FindsTheTextOfAnExactName) {
    const AttributeList list = {{"A", named("A", "x")}, {"B", Attribute("B", "", typeString())}};
    EXPECT_EQ(findText(list, "A"), "x");
    EXPECT_EQ(findText(list, "B"), "") << "without a value";
    EXPECT_EQ(findText(list, "a"), std::nullopt);
}

}  // namespace
}  // namespace ostrel::core
