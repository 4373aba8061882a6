#include <gtest/gtest.h>

#include <stdexcept>

#include "ostrel/interfaces/cli/cliframework/StringHelpers.h"

namespace cli::framework {
namespace {

struct NumericCase {
    const char* text;
    bool allowHex;
    bool isNumeric;
    const char* why;
};

constexpr NumericCase NUMERIC_CASES[] = {
    {"", false, false, "an empty text is no number"},
    {"", true, false, "nor with hexadecimals"},
    {"0", false, true, "a zero alone is no leading zero"},
    {"0", true, true, "nor with hexadecimals"},
    {"00", false, false, "a leading zero"},
    {"00", true, false, "too short for a prefix, and a leading zero"},
    {"0x", false, false, "a leading zero"},
    {"0x", true, false, "no digit after the prefix"},
    {"007", false, false, "a leading zero"},
    {"007", true, false, "three characters that start with 0 and have no prefix"},
    {"0.5", false, false, "the zero counts as leading"},
    {"0.5", true, false, "no prefix after the zero"},
    {"0x1F", true, true, "hexadecimal"},
    {"0X1f", true, true, "both cases"},
    {"0x1F", false, false, "hexadecimal is not asked for"},
    {"0xG", true, false, "no hexadecimal digit"},
    {"0x1.", true, false, "no point in a hexadecimal number"},
    {"-0x1", true, false, "no sign in front of the prefix"},
    {"42", false, true, "decimal"},
    {"42", true, true, "decimal beside hexadecimal"},
    {"1.5", false, true, "one point"},
    {"1.2.3", false, false, "two points"},
    {"-1.5", false, true, "one sign"},
    {"--1", false, false, "two signs"},
    {"+1", false, false, "a plus is no sign"},
    {"-", false, true, "a sign alone is kept numeric"},
    {".", false, true, "a point alone is kept numeric"},
    {"1.", false, true, "a point at the end is kept numeric"},
    {"-007", false, true, "after the sign a zero is not looked at"},
    {" 1", false, false, "a blank"},
    {"1e5", false, false, "no exponent"},
    {"\xFF", true, false, "a byte that is no letter"},
};

TEST(StringHelpers, StringIsNumericDecidesCaseByCase) {
    for (const NumericCase& c : NUMERIC_CASES) {
        EXPECT_EQ(stringIsNumeric(c.text, c.allowHex), c.isNumeric) << '"' << c.text << "\": " << c.why;
    }
}

TEST(StringHelpers, StringsIEqualIgnoresTheCaseOfLetters) {
    EXPECT_TRUE(stringsIEqual("ABC", "abc"));
    EXPECT_TRUE(stringsIEqual("", ""));
    EXPECT_TRUE(stringsIEqual("-VelkoSSD", "-velkossd"));
    EXPECT_FALSE(stringsIEqual("abc", "abd"));
    EXPECT_FALSE(stringsIEqual("abc", "abcd")) << "another length";
    EXPECT_FALSE(stringsIEqual("", "a"));
    EXPECT_FALSE(stringsIEqual("[", "{")) << "these differ by the same bit as the letters' cases";
    EXPECT_FALSE(stringsIEqual("\xC3\x84", "\xC3\xA4")) << "only ASCII letters have a case";
}

TEST(StringHelpers, ToLowerFoldsByteByByte) {
    EXPECT_EQ(toLower("Show -VelkoSSD @[`{"), "show -velkossd @[`{");
    EXPECT_EQ(toLower("\xC3\x84\xFF"), "\xC3\x84\xFF");
    EXPECT_EQ(toLower(""), "");
}

TEST(StringHelpers, TrimTakesBlanksAndTabsOnly) {
    EXPECT_EQ(trim("a"), "a");
    EXPECT_EQ(trim(" \t a b\t "), "a b");
    EXPECT_EQ(trim("\na\r"), "\na\r");
}

TEST(StringHelpers, TrimRefusesATextWithoutContent) {
    EXPECT_THROW(trim(""), std::out_of_range);
    EXPECT_THROW(trim(" \t "), std::out_of_range);
}

TEST(StringHelpers, SplitTrimsEachPiece) {
    EXPECT_EQ(split("a", ','), (std::vector<std::string>{"a"}));
    EXPECT_EQ(split(" a , b\t,c", ','), (std::vector<std::string>{"a", "b", "c"}));
    EXPECT_EQ(split("a b", ','), (std::vector<std::string>{"a b"}));
    EXPECT_EQ(split("a;b", ';'), (std::vector<std::string>{"a", "b"}));
}

TEST(StringHelpers, SplitThrowsOnAnEmptyPiece) {
    for (const char* text : {"", ",", "a,", ",a", "a,,b", "a, ,b"}) {
        EXPECT_THROW(split(text, ','), std::out_of_range) << '"' << text << '"';
    }
}

}  // namespace
}  // namespace cli::framework
