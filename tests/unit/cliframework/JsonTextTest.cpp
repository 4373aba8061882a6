#include <gtest/gtest.h>

#include "ostrel/interfaces/cli/cliframework/JsonText.h"

namespace cli::framework {
namespace {

TEST(JsonText, EscapesControlCharactersQuoteSlashAndBackslash) {
    constexpr struct {
        char character;
        const char* escaped;
    } CASES[] = {
        {'\x00', "\\u0000"}, {'\x01', "\\u0001"}, {'\x02', "\\u0002"}, {'\x03', "\\u0003"}, {'\x04', "\\u0004"},
        {'\x05', "\\u0005"}, {'\x06', "\\u0006"}, {'\x07', "\\u0007"}, {'\x08', "\\b"},     {'\x09', "\\t"},
        {'\x0A', "\\n"},     {'\x0B', "\\u000B"}, {'\x0C', "\\f"},     {'\x0D', "\\r"},     {'\x0E', "\\u000E"},
        {'\x0F', "\\u000F"}, {'\x10', "\\u0010"}, {'\x11', "\\u0011"}, {'\x12', "\\u0012"}, {'\x13', "\\u0013"},
        {'\x14', "\\u0014"}, {'\x15', "\\u0015"}, {'\x16', "\\u0016"}, {'\x17', "\\u0017"}, {'\x18', "\\u0018"},
        {'\x19', "\\u0019"}, {'\x1A', "\\u001A"}, {'\x1B', "\\u001B"}, {'\x1C', "\\u001C"}, {'\x1D', "\\u001D"},
        {'\x1E', "\\u001E"}, {'\x1F', "\\u001F"}, {'"', "\\\""},       {'/', "\\/"},        {'\\', "\\\\"},
    };
    for (const auto& c : CASES) {
        EXPECT_EQ(jsonEscape(std::string("a") + c.character + "b"), std::string("a") + c.escaped + "b")
            << "byte " << static_cast<int>(c.character);
    }
}

TEST(JsonText, PassesAllOtherBytes) {
    for (int byte = 0x20; byte <= 0xFF; ++byte) {
        if (byte == '"' || byte == '/' || byte == '\\') continue;
        const std::string text(1, static_cast<char>(byte));
        EXPECT_EQ(jsonEscape(text), text) << "byte " << byte;
    }
    EXPECT_EQ(jsonEscape(""), "");
    EXPECT_EQ(jsonEscape("21 \xC2\xB0"
                         "C"),
              "21 \xC2\xB0"
              "C")
        << "UTF-8 is no business of the escape";
}

TEST(JsonText, ChoosesTheKindOfAValue) {
    constexpr struct {
        const char* text;
        const char* value;
        const char* why;
    } CASES[] = {
        {"12", "12", "a number"},
        {"0", "0", "zero alone is a number"},
        {"-1.5", "-1.5", "a number"},
        {"-", "-", "bare: nothing after the minus counts as numeric"},
        {".", ".", "bare: one point is enough"},
        {"12.", "12.", "bare"},
        {"0.5", "\"0.5\"", "a leading zero is not numeric"},
        {"007", "\"007\"", "a leading zero is not numeric"},
        {"0123", "\"0123\"", "a leading zero is not numeric"},
        {"0x1F", "\"0x1F\"", "hexadecimal stays a string"},
        {"2.2.18", "\"2.2.18\"", "two points"},
        {"1e5", "\"1e5\"", "no exponents"},
        {"true", "true", "literal"},
        {"TRUE", "true", "literal of any case"},
        {"False", "false", "literal of any case"},
        {"truely", "\"truely\"", "more than the literal"},
        {" true", "\" true\"", "blanks count"},
        {"null", "\"null\"", "no literal here"},
        {"", "\"\"", "empty text is a string"},
        {"a\"b/c", "\"a\\\"b\\/c\"", "escaped"},
    };
    for (const auto& c : CASES) {
        std::string out = "x";
        appendJsonValue(out, c.text);
        EXPECT_EQ(out, std::string("x") + c.value) << c.text << ": " << c.why;
    }
}

}  // namespace
}  // namespace cli::framework
