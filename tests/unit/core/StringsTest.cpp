#include <gtest/gtest.h>

#include <cctype>
#include <cstdint>
#include <limits>
#include <locale>
#include <string>

#include "ostrel/core/Strings.h"
#include "tests/support/LogCapture.h"

namespace ostrel::core {
namespace {

using namespace std::string_literals;

const std::string NOT_HEX_LINE = "[error] ERROR!!! String is not a valid hexadecimal number\n";

std::string bytesOf(const Payload& payload) {
    return payload.getSize() == 0 ? "" : std::string(payload.getData(), payload.getData() + payload.getSize());
}

// What a text is.

const struct {
    std::string text;
    bool isInteger;
    bool isHex;
    const char* why;
} NUMBER_CASES[] = {
    {"", false, true, "the empty text counts as hexadecimal alone"},
    {"0", true, true, "one digit"},
    {"0123456789", true, true, "all decimal digits"},
    {"99999999999999999999999999", true, true, "no width is looked at"},
    {"+1", false, false, "a sign"},
    {"-1", false, false, "a sign"},
    {" 1", false, false, "a blank before"},
    {"1 ", false, false, "a blank at the end"},
    {"1.5", false, false, "a fraction"},
    {"\xB2", false, false, "a superscript two of Latin-1 is no digit"},
    {"1\0"s, false, false, "a zero byte is no digit"},
    {"ff", false, true, "small letters"},
    {"ABCDEF", false, true, "capital letters"},
    {"abcdefg", false, false, "g is no digit"},
    {"12G", false, false, "a bad digit at the end"},
    {"G12", false, false, "a bad digit at the start"},
    {"0x", false, true, "a bare prefix"},
    {"0X", false, true, "a bare prefix"},
    {"0x1", false, true, "a prefix and a digit"},
    {"0xZ", false, true, "the character after the prefix is not looked at; callers depend on it"},
    {"0xZ1", false, true, "nor is it when more follows"},
    {"0XZ1", false, true, "nor after a capital X"},
    {"0x 1", false, true, "nor when it is a blank"},
    {"0x-1", false, true, "nor when it is a sign"},
    {"0x1Z", false, false, "a bad digit further on"},
    {"0xx1", false, true, "nor when it is another x"},
    {"x1", false, false, "half a prefix"},
    {"00x1", false, false, "a prefix not at the start"},
};

TEST(Strings, IsIntegerAndIsHexDecideCaseByCase) {
    for (const auto& c : NUMBER_CASES) {
        EXPECT_EQ(isInteger(c.text), c.isInteger) << '"' << c.text << "\": " << c.why;
        EXPECT_EQ(isHex(c.text), c.isHex) << '"' << c.text << "\": " << c.why;
    }
}

TEST(Strings, IsHexAcceptsExactlyTheHexadecimalDigits) {
    for (int c = 0; c < 256; ++c)
        EXPECT_EQ(isHex(std::string(1, static_cast<char>(c))), isxdigit(c) != 0) << "character " << c;
}

TEST(Strings, IsBooleanAndToBooleanDecideCaseByCase) {
    constexpr struct {
        const char* text;
        bool isBoolean;
        bool value;
    } cases[] = {
        {"0", true, false},       {"1", true, false},     {"true", true, true},   {"TRUE", true, true},
        {"tRuE", true, true},     {"false", true, false}, {"False", true, false}, {"", false, false},
        {"01", false, false},     {"2", false, false},    {"yes", false, false},  {"true ", false, false},
        {" false", false, false}, {"tru", false, false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(isBoolean(c.text), c.isBoolean) << '"' << c.text << '"';
        EXPECT_EQ(toBoolean(c.text), c.value) << '"' << c.text << "\" (\"1\" is false here)";
    }
}

// Text to number and back.

TEST(Strings, ToNumberReadsDecimalThenHexadecimalThenAsAStream) {
    LogCapture log;
    const struct {
        std::string text;
        uint32_t number;
        const char* why;
    } cases[] = {
        {"10", 10, "digits alone are decimal"},
        {"0010", 10, "leading zeros are not octal"},
        {"ff", 255, "hexadecimal without a prefix"},
        {"0xff", 255, "hexadecimal with a prefix"},
        {"0XFF", 255, "hexadecimal with a capital prefix"},
        {"0x10", 16, "the prefix makes it hexadecimal"},
        {"1e5", 0x1E5, "no exponent"},
        {"12abc", 0x12ABC, "letters make it hexadecimal"},
        {"", 0, "nothing"},
        {"0x", 0, "no digits"},
        {"0xZ", 0, "passes as hexadecimal, but no digit"},
        {"0xZ1", 0, "passes as hexadecimal, but begins with no digit"},
        {"0x-1", 0, "passes as hexadecimal, but begins with no digit"},
        {"xyz", 0, "no number"},
        {"zone", 0, "no number"},
        {" 12", 12, "a stream skips blanks"},
        {"12 ", 12, "a stream stops at the blank"},
        {"+12", 12, "a stream knows signs"},
        {"12.7", 12, "a stream stops at the point"},
        {"12xyz", 12, "a stream stops at the letter"},
        {"   ", 0, "blanks alone"},
        {"4294967295", 4294967295u, "the largest"},
        {"FFFFFFFF", 4294967295u, "the largest"},
        {"4294967296", 4294967295u, "one too many becomes the largest"},
        {"0x100000000", 4294967295u, "one too many becomes the largest"},
        {"99999999999999999999999", 4294967295u, "far too many"},
        {"-1", 4294967295u, "wraps"},
        {"-5", 4294967291u, "wraps"},
        {"1\0002"s, 1, "a stream stops at a zero byte"},
    };
    for (const auto& c : cases) EXPECT_EQ(toNumber<uint32_t>(c.text), c.number) << '"' << c.text << "\": " << c.why;
    EXPECT_EQ(log.lines(), "");
}

TEST(Strings, ToNumberReadsSignedNumbers) {
    EXPECT_EQ(toNumber<int32_t>("-5"), -5);
    EXPECT_EQ(toNumber<int32_t>("2147483647"), 2147483647);
    EXPECT_EQ(toNumber<int32_t>("2147483648"), 2147483647);
    EXPECT_EQ(toNumber<int32_t>("-2147483648"), std::numeric_limits<int32_t>::min());
    EXPECT_EQ(toNumber<int32_t>("-2147483649"), std::numeric_limits<int32_t>::min());
    EXPECT_EQ(toNumber<int32_t>("0xFFFFFFFF"), -1) << "all bits of the width count";
    EXPECT_EQ(toNumber<int64_t>("-9223372036854775808"), std::numeric_limits<int64_t>::min());
    EXPECT_EQ(toNumber<int64_t>("0xFFFFFFFF"), 4294967295);
    EXPECT_EQ(toNumber<int64_t>("0xFFFFFFFFFFFFFFFE"), -2);
}

TEST(Strings, ToNumberReads64Bits) {
    EXPECT_EQ(toNumber<uint64_t>("18446744073709551615"), 18446744073709551615u);
    EXPECT_EQ(toNumber<uint64_t>("18446744073709551616"), 18446744073709551615u);
    EXPECT_EQ(toNumber<uint64_t>("0xffffffffffffffff"), 18446744073709551615u);
    EXPECT_EQ(toNumber<uint64_t>("-1"), 18446744073709551615u);
}

TEST(Strings, HexToIntReadsBase16InBothWidths) {
    LogCapture log;
    constexpr struct {
        const char* text;
        uint32_t number32;
        uint64_t number64;
    } cases[] = {
        {"", 0, 0},
        {"10", 16, 16},
        {"fF", 255, 255},
        {"0x1a", 26, 26},
        {"0X1A", 26, 26},
        {"0x", 0, 0},
        {"0xZ", 0, 0},
        {"0xZ1", 0, 0},
        {"ffffffff", 4294967295u, 4294967295u},
        {"1ffffffff", 4294967295u, 8589934591u},
        {"10000000000000000", 4294967295u, 18446744073709551615u},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(hexToInt(c.text), c.number32) << '"' << c.text << '"';
        EXPECT_EQ(hexToInt64(c.text), c.number64) << '"' << c.text << '"';
    }
    EXPECT_EQ(log.lines(), "");
}

TEST(Strings, HexToIntOfOtherTextIsMinusOneAndLogs) {
    LogCapture log;
    EXPECT_EQ(hexToInt("xyz"), static_cast<uint32_t>(-1));
    EXPECT_EQ(hexToInt64("xyz"), static_cast<uint64_t>(-1));
    EXPECT_EQ(hexToInt("0x1Z"), static_cast<uint32_t>(-1));
    EXPECT_EQ(log.lines(), NOT_HEX_LINE + NOT_HEX_LINE + NOT_HEX_LINE);
}

TEST(Strings, NumbersAreReadTheSameInEveryLocale) {
    struct Grouping : std::numpunct<char> {
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\3"; }
        char do_decimal_point() const override { return ','; }
    };
    const std::locale old = std::locale::global(std::locale(std::locale::classic(), new Grouping));
    const auto number = toNumber<uint32_t>("1.234.567");
    const std::string size = sizeToText(1234567890123456789, true);
    const std::string text = numberToText(uint32_t{1234567});
    std::locale::global(old);
    EXPECT_EQ(number, 1u);
    EXPECT_EQ(size, "1234.57 PB");
    EXPECT_EQ(text, "1234567");
}

TEST(Strings, NumbersAndFlagsBecomeText) {
    EXPECT_EQ(boolToText(true), "True");
    EXPECT_EQ(boolToText(false), "False");
    EXPECT_EQ(numberToText(int8_t{-128}), "-128");
    EXPECT_EQ(numberToText(uint8_t{65}), "65") << "no character";
    EXPECT_EQ(numberToText(int16_t{-32768}), "-32768");
    EXPECT_EQ(numberToText(uint16_t{65535}), "65535");
    EXPECT_EQ(numberToText(std::numeric_limits<int32_t>::min()), "-2147483648");
    EXPECT_EQ(numberToText(uint32_t{4294967295}), "4294967295");
    EXPECT_EQ(numberToText(std::numeric_limits<int64_t>::min()), "-9223372036854775808");
    EXPECT_EQ(numberToText(std::numeric_limits<uint64_t>::max()), "18446744073709551615");
}

// Bytes as text.

TEST(Strings, BytesToHexWritesTwoCapitalDigitsAByte) {
    EXPECT_EQ(bytesToHex("\x00\x01\x1A\x7F\x80\xFF", 6), "00011A7F80FF");
    EXPECT_EQ(bytesToHex("", 0), "");
    EXPECT_EQ(bytesToHex(nullptr, 0), "");
}

TEST(Strings, HexToBytesReadsPairs) {
    LogCapture log;
    const struct {
        std::string text;
        std::string removeText;
        std::string bytes;
        const char* why;
    } cases[] = {
        {"", "", "", "nothing"},
        {"00011a7F80fF", "", "\x00\x01\x1A\x7F\x80\xFF"s, "both cases"},
        {"F", "", "", "the odd first digit is skipped"},
        {"F0a", "", "\x0A", "the odd first digit is skipped"},
        {"Z0a", "", "\x0A", "skipped whatever it is"},
        {"01 02 03", " ", "\x01\x02\x03", "blanks taken out"},
        {"0x010x02", "0x", "\x01\x02", "every prefix taken out"},
        {"00xx12", "0x", "\x00\x12"s, "taken out once: the prefix that then meets stays, as a pair"},
        {"0102", "03", "\x01\x02", "nothing to take out"},
        {"ABAB", "AB", "", "everything taken out"},
        {"0x12", "", "\x00\x12"s, "a prefix left in is a pair of its own, of value 0"},
        {"0X12", "", "\x00\x12"s, "also a capital one"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(bytesOf(hexToBytes(c.text, c.removeText)), c.bytes) << '"' << c.text << "\": " << c.why;
    }
    EXPECT_EQ(log.lines(), "");
}

TEST(Strings, HexToBytesLogsEachBadPairAndReadsItAsAllOnes) {
    LogCapture log;
    EXPECT_EQ(bytesOf(hexToBytes("01zz 21x34-5", "")), "\x01\xFF\xFF\xFF\x34\xFF"s);
    EXPECT_EQ(log.lines(), NOT_HEX_LINE + NOT_HEX_LINE + NOT_HEX_LINE + NOT_HEX_LINE);
}

TEST(Strings, HexToBytesReadsEveryPairAsHexToIntDoes) {
    for (int high = 0; high < 256; ++high)
        for (int low = 0; low < 256; ++low) {
            const std::string pair = {static_cast<char>(high), static_cast<char>(low)};
            ASSERT_EQ(hexToBytes(pair, "").at(0), static_cast<uint8_t>(hexToInt(pair))) << high << ' ' << low;
        }
}

TEST(Strings, HexDumpWritesALineForSoManyBytes) {
    const Payload payload("\x00\x01\x1A\x7F\xFF", 5);
    EXPECT_EQ(hexDump(payload, 2), "00 01\n1A 7F\nFF");
    EXPECT_EQ(hexDump(payload, 5), "00 01 1A 7F FF");
    EXPECT_EQ(hexDump(payload, 16), "00 01 1A 7F FF");
    EXPECT_EQ(hexDump(payload, 1), "00\n01\n1A\n7F\nFF");
    EXPECT_EQ(hexDump(payload, 0), "00 01 1A 7F FF");
    EXPECT_EQ(hexDump(Payload(), 16), "");
}

TEST(Strings, BytesToHexValueShortensLongZerosAlone) {
    const struct {
        std::string bytes;
        bool reversed;
        const char* text;
    } cases[] = {
        {"", false, "0x"},
        {"\x00"s, false, "0x00"},
        {std::string(8, '\0'), false, "0x0000000000000000"},
        {std::string(9, '\0'), false, "0x0"},
        {std::string(16, '\0'), true, "0x0"},
        {"\x00\x1A\xFF"s, false, "0x001AFF"},
        {"\x00\x1A\xFF"s, true, "0xFF1A00"},
        {std::string(8, '\0') + "\x01", false, "0x000000000000000001"},
        {std::string(8, '\0') + "\x01", true, "0x010000000000000000"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(bytesToHexValue(c.bytes.data(), c.bytes.size(), c.reversed), c.text) << c.bytes.size() << " bytes";
}

TEST(Strings, SizeToTextChoosesTheUnit) {
    constexpr struct {
        uint64_t bytes;
        const char* decimal;
        const char* binary;
    } cases[] = {
        {0, "0.00 MB", "0.00 MB"},
        {4999, "0.00 MB", "0.00 MB"},
        {1000000, "1.00 MB", "0.95 MB"},
        {1048576, "1.05 MB", "1.00 MB"},
        {999990000, "999.99 MB", "953.66 MB"},
        {999999999, "1.00 GB", "953.67 MB"},
        {1000000000, "1.00 GB", "953.67 MB"},
        {1073741823, "1.07 GB", "1.00 GB"},
        {1073741824, "1.07 GB", "1.00 GB"},
        {512110190592, "512.11 GB", "476.94 GB"},
        {3840755982336, "3.84 TB", "3.49 TB"},
        {1000000000000000, "1.00 PB", "909.49 TB"},
        {18446744073709551615u, "18446.74 PB", "16384.00 PB"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(sizeToText(c.bytes, true), c.decimal) << c.bytes;
        EXPECT_EQ(sizeToText(c.bytes, false), c.binary) << c.bytes;
    }
}

// Strings.

TEST(Strings, CaseIsThatOfAscii) {
    EXPECT_EQ(toLower("AZaz09@[`{\xC4"), "azaz09@[`{\xC4");
    EXPECT_EQ(toUpper("AZaz09@[`{\xE4"), "AZAZ09@[`{\xE4");
}

TEST(Strings, ContainsFindsThePart) {
    std::string text = "Path /Dev/nvme0";
    std::string part = "/dev/";
    EXPECT_FALSE(contains(text, part, false));
    EXPECT_EQ(text, "Path /Dev/nvme0");
    EXPECT_TRUE(contains(text, part, true));
    EXPECT_EQ(text, "path /dev/nvme0") << "both arguments are lower-cased in place";

    std::string capitals = "NVME";
    EXPECT_TRUE(contains(text, capitals, true));
    EXPECT_EQ(capitals, "nvme");

    std::string nothing;
    EXPECT_TRUE(contains(text, nothing, false));
    EXPECT_FALSE(contains(nothing, text, false));
    EXPECT_TRUE(contains(nothing, nothing, true));
}

TEST(Strings, EqualsComparesWholeTexts) {
    EXPECT_TRUE(equals("", "", true));
    EXPECT_TRUE(equals("Serial", "sERIAL", true));
    EXPECT_FALSE(equals("Serial", "sERIAL", false));
    EXPECT_TRUE(equals("Serial", "Serial", false));
    EXPECT_FALSE(equals("Serial", "Serials", true));
    EXPECT_FALSE(equals("Serials", "Serial", true));
    EXPECT_FALSE(equals("a\0b"s, "a\0c"s, true)) << "a zero byte ends nothing";
    EXPECT_FALSE(equals("\xC4", "\xE4", true)) << "letters beyond ASCII have no case here";
    EXPECT_FALSE(equals("[", "{", true)) << "not every pair that differs in one bit is a letter";
}

TEST(Strings, ReplaceAllGoesOnAfterTheInsertedText) {
    const struct {
        const char* text;
        const char* from;
        const char* to;
        const char* result;
    } cases[] = {
        {"aaa", "a", "aa", "aaaaaa"}, {"aaa", "aa", "b", "ba"},       {"abc", "b", "", "ac"},
        {"abc", "d", "x", "abc"},     {"abc", "", "x", "abc"},        {"", "a", "b", ""},
        {"abab", "ab", "ab", "abab"}, {"xax", "x", "<x>", "<x>a<x>"}, {"aab", "ab", "b", "ab"},
    };
    for (const auto& c : cases) {
        std::string text = c.text;
        replaceAll(text, c.from, c.to);
        EXPECT_EQ(text, c.result) << c.text << ", " << c.from << " by " << c.to;
    }
}

TEST(Strings, ReplaceAllTakesPiecesOfTheTextItself) {
    std::string text = "ab-ab";
    replaceAll(text, std::string_view(text).substr(0, 2), std::string_view(text).substr(2, 1));
    EXPECT_EQ(text, "---");
}

TEST(Strings, SplitKeepsEmptyFields) {
    using Fields = std::vector<std::string>;
    EXPECT_EQ(split("a,b", ','), (Fields{"a", "b"}));
    EXPECT_EQ(split("", ','), (Fields{""}));
    EXPECT_EQ(split(",", ','), (Fields{"", ""}));
    EXPECT_EQ(split(",a,,b,", ','), (Fields{"", "a", "", "b", ""}));
    EXPECT_EQ(split(" a , b ", ','), (Fields{" a ", " b "})) << "nothing is trimmed";
    EXPECT_EQ(split("a~b", ','), (Fields{"a~b"}));
}

TEST(Strings, SplitWordsTakesAllBlanksForOne) {
    using List = std::vector<std::string>;
    EXPECT_EQ(splitWords(""), List());
    EXPECT_EQ(splitWords(" \t\n\v\f\r"), List());
    EXPECT_EQ(splitWords("a"), List({"a"}));
    EXPECT_EQ(splitWords("  one\t two\v\f\r\nthree "), List({"one", "two", "three"}));
    EXPECT_EQ(splitWords("a,b \xA0\0c"s), List({"a,b", "\xA0\0c"s})) << "blanks are those of ASCII";
}

TEST(Strings, SplitLinesTakesTheEndOfTheTextForALineEnd) {
    using List = std::vector<std::string>;
    EXPECT_EQ(splitLines(""), List());
    EXPECT_EQ(splitLines("\n"), List({""}));
    EXPECT_EQ(splitLines("a"), List({"a"}));
    EXPECT_EQ(splitLines("a\n"), List({"a"}));
    EXPECT_EQ(splitLines("\na\r\n\nb"), List({"", "a\r", "", "b"}));
}

TEST(Strings, JoinPutsTheDelimiterBetween) {
    EXPECT_EQ(join({}, "~"), "");
    EXPECT_EQ(join({"a"}, "~"), "a");
    EXPECT_EQ(join({"a", "", "b"}, "~"), "a~~b");
    EXPECT_EQ(join({"a", "b"}, ", "), "a, b");
    EXPECT_EQ(join({"a", "b"}, ""), "ab");
}

TEST(Strings, SanitizeValueKeepsPrintableAsciiAndTrimsBlanks) {
    EXPECT_EQ(sanitizeValue("  a\tb  "), "ab");
    EXPECT_EQ(sanitizeValue(""), "");
    EXPECT_EQ(sanitizeValue("    "), "");
    EXPECT_EQ(sanitizeValue("\t\n\x7F\xC3\xA4"), "");
    EXPECT_EQ(sanitizeValue("a  b"), "a  b") << "blanks inside stay";
    EXPECT_EQ(sanitizeValue("\t a \n"), "a") << "trimmed after the others are gone";
    EXPECT_EQ(sanitizeValue("~\x1F!\0\x80\xFF"s), "~!");
    EXPECT_EQ(sanitizeValue("<a b=\"c\">&'"), "<a b=\"c\">&'");
}

}  // namespace
}  // namespace ostrel::core
