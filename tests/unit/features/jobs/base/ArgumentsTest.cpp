#include <gtest/gtest.h>

#include "features/jobs/base/Arguments.h"
#include "ostrel/core/xml/XmlProperty.h"

namespace features::jobs {
namespace {

using namespace ostrel::core;

xml::XmlObject request(const std::string& value) {
    xml::XmlObject object;
    object.addProperty("Key", value);
    return object;
}

TEST(Arguments, AreFoundByTheirExactName) {
    const xml::XmlObject object = request("some text");
    const Arguments arguments(object);
    EXPECT_TRUE(arguments.has("Key"));
    EXPECT_EQ(arguments.text("Key"), "some text");
    EXPECT_FALSE(arguments.has("key"));
    EXPECT_EQ(arguments.text("key"), "");
}

TEST(Arguments, OfEqualNamesTheLastCounts) {
    xml::XmlObject object = request("0");
    object.addProperty("Other", "1");
    object.addProperty("Key", "3");
    EXPECT_EQ(Arguments(object).text("Key"), "3");
}

TEST(Arguments, PropertiesWithoutNameOrValueDoNoHarm) {
    xml::XmlObject object = request("");
    object.properties.back()->removeAttribute(xml::KEY_NAME);
    object.addProperty("Key", "x");
    object.properties.back()->removeAttribute(xml::KEY_VALUE);
    EXPECT_EQ(Arguments(object).text("Key"), "");
    EXPECT_TRUE(Arguments(object).has("Key"));
}

constexpr struct {
    const char* text;
    bool absent;
    bool flag;
    const char* why;
} FLAGS[] = {
    {"true", false, true, "the word"},
    {"TRUE", false, true, "in any case"},
    {"1", false, true, "the digit"},
    {"false", true, false, "a value goes before the default"},
    {"0", true, false, "so does the digit"},
    {"yes", true, false, "no other word is true"},
    {"", true, true, "an empty value counts as absent"},
    {"", false, false, "whatever the default"},
};

TEST(Arguments, FlagsCaseByCase) {
    for (const auto& c : FLAGS) {
        const xml::XmlObject object = request(c.text);
        EXPECT_EQ(Arguments(object).flag("Key", c.absent), c.flag) << '"' << c.text << "\": " << c.why;
    }
    EXPECT_TRUE(Arguments(xml::XmlObject()).flag("Key", true));
}

constexpr struct {
    const char* text;
    std::optional<bool> value;
} BOOLEANS[] = {{"true", true}, {"False", false}, {"1", true}, {"0", false}, {"", std::nullopt}};

TEST(Arguments, BooleansCaseByCase) {
    for (const auto& c : BOOLEANS) {
        const xml::XmlObject object = request(c.text);
        const auto value = Arguments(object).boolean("Key");
        ASSERT_TRUE(value) << c.text;
        EXPECT_EQ(*value, c.value) << c.text;
    }
    const xml::XmlObject object = request("2");
    EXPECT_EQ(statusOf(Arguments(object).boolean("Key")).toString(),
              "Category: 10\nCode: 36\nMessage: Invalid value given for Key: '2'. It must be true or false.");
}

constexpr struct {
    const char* text;
    Digits digits;
    std::optional<uint64_t> value;
} NUMBERS[] = {
    {"0", Digits::DECIMAL, 0},
    {"255", Digits::DECIMAL, 255},
    {"007", Digits::DECIMAL, 7},
    {"0xfF", Digits::DECIMAL, 255},
    {"0X10", Digits::DECIMAL, 16},
    {"", Digits::DECIMAL, std::nullopt},
    {"10", Digits::DECIMAL_OR_HEX, 10},
    {"c0", Digits::DECIMAL_OR_HEX, 192},
    {"0x10", Digits::DECIMAL_OR_HEX, 16},
    {"10", Digits::HEX, 16},
    {"0xFF", Digits::HEX, 255},
};

TEST(Arguments, NumbersCaseByCase) {
    for (const auto& c : NUMBERS) {
        const xml::XmlObject object = request(c.text);
        const auto value = Arguments(object).number("Key", 255, c.digits);
        ASSERT_TRUE(value) << c.text;
        EXPECT_EQ(*value, c.value) << c.text;
    }
}

constexpr struct {
    const char* text;
    const char* why;
} BAD_NUMBERS[] = {
    {"256", "above the most"},
    {"-1", "a sign"},
    {"+1", "a sign"},
    {"1 0", "a blank"},
    {"0x", "a prefix alone"},
    {"0xG", "a bad digit"},
    {"1.5", "a fraction"},
    {"ff", "hexadecimal digits without a prefix"},
    {"18446744073709551616", "more than 64 bits"},
    {"0x10000000000000000", "more than 64 bits"},
};

TEST(Arguments, ABadNumberIsReported) {
    for (const auto& c : BAD_NUMBERS) {
        const xml::XmlObject object = request(c.text);
        EXPECT_EQ(statusOf(Arguments(object).number("Key", 255)).toString(),
                  std::string("Category: 10\nCode: 36\nMessage: Invalid value given for Key: '") + c.text +
                      "'. It must be a number from 0 to 255.")
            << c.why;
    }
}

TEST(Arguments, TheLargestNumberFits) {
    const xml::XmlObject object = request("18446744073709551615");
    const auto value = Arguments(object).number("Key", UINT64_MAX);
    ASSERT_TRUE(value);
    EXPECT_EQ(*value, UINT64_MAX);
}

TEST(Arguments, HexadecimalLimitsAreReportedInHexadecimal) {
    const xml::XmlObject object = request("100");
    EXPECT_EQ(statusOf(Arguments(object).number("Key", 255, Digits::HEX)).getMessage(),
              "Invalid value given for Key: '100'. It must be a hexadecimal number from 0 to 0xFF.");
}

}  // namespace
}  // namespace features::jobs
