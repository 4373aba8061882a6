#include <gtest/gtest.h>

#include "simdrive/CommandLine.h"

namespace simdrive {
namespace {

using Words = std::vector<std::string>;
using Options = std::map<std::string, std::string>;

const Words KNOWN = {"size", "json!"};

TEST(CommandLine, TakesNamesAndOptionsInAnyOrder) {
    const CommandLine line = CommandLine::parse({"a", "--size", "--7", "b", "--json"}, KNOWN);
    EXPECT_EQ(line.error, "");
    EXPECT_EQ(line.names, (Words{"a", "b"}));
    EXPECT_EQ(line.options, (Options{{"json", ""}, {"size", "--7"}}));
    EXPECT_TRUE(line.has("json"));
    EXPECT_EQ(line.option("size", "1"), "--7");
    EXPECT_EQ(line.option("model", "1"), "1");
}

TEST(CommandLine, TakesAValueAfterASign) {
    EXPECT_EQ(CommandLine::parse({"--size=a=b"}, KNOWN).options, (Options{{"size", "a=b"}}));
    EXPECT_EQ(CommandLine::parse({"--size="}, KNOWN).options, (Options{{"size", ""}}));
}

TEST(CommandLine, SaysWhatIsWrong) {
    const struct {
        Words words;
        const char* error;
    } CASES[] = {
        {{"--speed", "1"}, "There is no option --speed."},
        {{"--json!"}, "There is no option --json!."},
        {{"--size"}, "--size needs a value."},
        {{"--json=1"}, "--json takes no value."},
        {{"--size", "1", "--size=2"}, "--size is given twice."},
    };
    for (const auto& c : CASES) EXPECT_EQ(CommandLine::parse(c.words, KNOWN).error, c.error);
}

}  // namespace
}  // namespace simdrive
