#include <gtest/gtest.h>

#include <random>
#include <string>

#include "ostrel/core/Strings.h"
#include "ostrel/core/xml/XmlEscape.h"

using namespace ostrel::core;
using namespace ostrel::core::xml;

namespace {

std::string escaped(const std::string& value) {
    std::string out;
    appendEscaped(out, value);
    return out;
}

// The definition of the format, as slow as it is: five replacements of the whole string, one after the other.
std::string escapedStepByStep(std::string value) {
    replaceAll(value, "<", "&lt;");
    replaceAll(value, ">", "&gt;");
    replaceAll(value, "&", "&amp;");
    replaceAll(value, "\"", "&quot;");
    replaceAll(value, "'", "&apos;");
    return value;
}

const struct {
    std::string value;
    std::string escaped;
} CASES[] = {
    {"", ""},
    {"plain text", "plain text"},
    {"a<b", "a&amp;lt;b"},
    {"a>b", "a&amp;gt;b"},
    {"a&b", "a&amp;b"},
    {"a\"b", "a&quot;b"},
    {"a'b", "a&apos;b"},
    {"&lt;", "&amp;lt;"},  // the same text as for "<": the two cannot be distinguished after the reader
    {"&amp;lt;", "&amp;amp;lt;"},
    {"<<>>", "&amp;lt;&amp;lt;&amp;gt;&amp;gt;"},
    {"<'&\">", "&amp;lt;&apos;&amp;&quot;&amp;gt;"},
    {std::string("\x01\t\r\n\0\x7f", 6), std::string("\x01\t\r\n\0\x7f", 6)},
    {"\x80\xc3\xa9\xff", "\x80\xc3\xa9\xff"},
};

}  // namespace

TEST(XmlEscape, EscapesCaseByCase) {
    for (const auto& c : CASES) {
        EXPECT_EQ(escaped(c.value), c.escaped);
        EXPECT_EQ(escapedSize(c.value), c.escaped.size());
    }
}

TEST(XmlEscape, Appends) {
    std::string out = "<";
    appendEscaped(out, "<");
    EXPECT_EQ(out, "<&amp;lt;");
}

TEST(XmlEscape, EqualsTheFiveReplacementsOnRandomBytes) {
    std::mt19937 random(20240611);
    const std::string frequent = "<>&\"';lgtampquoX";  // so that entities and parts of them come up often
    for (int round = 0; round < 20000; ++round) {
        std::string value(random() % 40, '\0');
        for (char& c : value)
            c = random() % 4 == 0 ? static_cast<char>(random() % 256) : frequent[random() % frequent.size()];
        const std::string expected = escapedStepByStep(value);
        ASSERT_EQ(escaped(value), expected);
        ASSERT_EQ(escapedSize(value), expected.size());
    }
}
