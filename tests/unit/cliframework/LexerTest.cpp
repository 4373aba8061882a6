#include <gtest/gtest.h>

#include "ostrel/interfaces/cli/cliframework/CommonParts.h"
#include "ostrel/interfaces/cli/cliframework/Lexer.h"
#include "tests/unit/cliframework/RecordedLog.h"

namespace cli::framework {
namespace {

CandidateCommands sampleCommands() {
    CommandSpec help(0, "Help", "help", "");
    help.addProperty(PROPERTY_NAME);
    help.addProperty(PROPERTY_VERB);

    CommandSpec show(0, "VelkoSSD", "show", "");
    show.addOption(OPTION_HELP);
    show.addOption(OPTION_DISPLAY);
    show.addOption(OPTION_ALL);
    show.addOption(OPTION_OUTPUT);
    show.addTarget("-velkossd", true, "Index", false, "");

    CommandSpec set(1, "AggregationTime", "set", "");
    set.addOption(OPTION_FORCE);
    set.addTarget("-velkossd", true, "Index", true, "");
    set.addTarget("-SYSTEM", true, "", false, "");
    set.addProperty("AggregationTime", true, "value", true, "");

    CommandSpec dump(2, "Nlog", "dump", "");
    dump.addOption(OPTION_DESTINATION);
    dump.addTarget("-nlog", true, "", false, "");

    CandidateCommands commands;
    for (const CommandSpec& spec : {help, show, set, dump}) commands.push_back({spec, nullptr});
    return commands;
}

/// "Verb:show Target:-velkossd"
std::string written(const std::vector<Token>& tokens) {
    static const char* const TYPES[] = {"Unknown", "Value", "Verb", "Option", "Target", "Property", "Equal", "Comma"};
    std::string text;
    for (const Token& token : tokens) {
        if (!text.empty()) text += " ";
        text += std::string(TYPES[token.tokenType]) + ":" + token.text;
    }
    return text;
}

std::string lexed(const std::vector<std::string>& arguments) {
    return written(Lexer(sampleCommands()).tokenize(arguments));
}

struct LexerCase {
    std::vector<std::string> arguments;
    const char* tokens;
    const char* why;
};

void expectTokens(const std::vector<LexerCase>& cases) {
    for (const LexerCase& c : cases) EXPECT_EQ(lexed(c.arguments), c.tokens) << c.why;
}

TEST(Lexer, WritesTheSpellingOfTheCommands) {
    expectTokens({
        {{"SHOW", "-VelkoSSD"}, "Verb:show Target:-velkossd", "verb and target in another case"},
        {{"set", "-system"}, "Verb:set Target:-SYSTEM", "the spelling is the command's, whatever it is"},
        {{"set", "aggregationTIME=5"}, "Verb:set Property:AggregationTime Equal:= Value:5", "a property"},
        {{"show", "-a"}, "Verb:show Option:-all", "a short name"},
        {{"show", "-A"}, "Verb:show Option:-all", "a short name in another case"},
        {{"show", "-Display", "Foo"}, "Verb:show Option:-display Value:Foo", "a value keeps the user's case"},
        {{"show", "-o", "json"}, "Verb:show Option:-output Value:json", "an option's value"},
    });
}

TEST(Lexer, CutsAtTheFirstEqualsSignOfAnArgument) {
    expectTokens({
        {{"set", "AggregationTime=a=b"}, "Verb:set Property:AggregationTime Equal:= Value:a=b", "only the first"},
        {{"set", "AggregationTime="}, "Verb:set Property:AggregationTime Equal:=", "nothing after it"},
        {{"set", "=x"}, "Verb:set Equal:= Unknown:x", "nothing before it"},
        {{"set", "=="}, "Verb:set Equal:= Equal:=", "the rest is an equals sign again"},
        {{"set", "AggregationTime", "=", "5"}, "Verb:set Property:AggregationTime Equal:= Value:5", "an argument each"},
        {{"set", "AggregationTime", "=5"}, "Verb:set Property:AggregationTime Equal:= Value:5", "two arguments"},
        {{"="}, "Equal:=", "alone"},
    });
}

TEST(Lexer, CutsAtEveryCommaAndDropsWhatIsEmpty) {
    expectTokens({
        {{"show", "-velkossd", "a,b"}, "Verb:show Target:-velkossd Value:a Comma:, Value:b", "two values"},
        {{"show", "-velkossd", ",,"}, "Verb:show Target:-velkossd Comma:, Comma:,", "commas alone"},
        {{"show", "-velkossd", "a,"}, "Verb:show Target:-velkossd Value:a Comma:,", "a comma at the end"},
        {{"show", "-velkossd", "a", ",", "b"},
         "Verb:show Target:-velkossd Value:a Comma:, Value:b",
         "an argument each"},
        {{"show", "", "-velkossd", ""}, "Verb:show Target:-velkossd", "empty arguments vanish"},
        {{"show,-velkossd"}, "Verb:show Comma:, Target:-velkossd", "any word can be cut"},
        {{"set", "AggregationTime=b,c"},
         "Verb:set Property:AggregationTime Equal:= Value:b Comma:, Unknown:c",
         "a property's value ends at a comma"},
        {{"set", "a,b=c,d"}, "Verb:set Unknown:a Comma:, Unknown:b Equal:= Unknown:c Comma:, Unknown:d", "both"},
    });
}

TEST(Lexer, KnowsNoQuotes) {
    expectTokens({
        {{"show", "-velkossd", "\"a,b\""},
         "Verb:show Target:-velkossd Value:\"a Comma:, Value:b\"",
         "a comma in quotes"},
        {{"show", "-velkossd", "a b"}, "Verb:show Target:-velkossd Value:a b", "a blank inside an argument stays"},
    });
}

TEST(Lexer, AVerbIsAVerbAnywhereAndTheSecondOneEndsTheLine) {
    expectTokens({
        {{"set", "-system", "LogFile=show", "x"},
         "Verb:set Target:-SYSTEM Unknown:LogFile Equal:= Verb:show",
         "the second verb is kept, the rest is not, and no value is marked"},
        {{"show", "-velkossd", "0", "SHOW", "-a"}, "Verb:show Target:-velkossd Unknown:0 Verb:show", "the same verb"},
        {{"help", "verb=show", "Name=x"}, "Verb:help Property:verb Equal:= Verb:show", "Name=x is never seen"},
    });
}

TEST(Lexer, ATargetBeforeTheVerbEndsTheLine) {
    expectTokens({
        {{"-velkossd", "show"}, "", "nothing before it"},
        {{"-all", "x", "-velkossd", "show"}, "Option:-all Unknown:x", "what came before it is kept, unmarked"},
        {{"x", "-nlog"}, "Unknown:x", "a target of any verb"},
    });
}

TEST(Lexer, ATargetCountsForItsOwnVerbOnly) {
    expectTokens({
        {{"show", "-nlog"}, "Verb:show Unknown:-nlog", "a target of dump"},
        {{"dump", "-nlog"}, "Verb:dump Target:-nlog", "with its verb"},
        {{"dump", "-velkossd"}, "Verb:dump Unknown:-velkossd", "a target of show and set"},
    });
}

TEST(Lexer, AnOptionIsTiedToNoVerb) {
    expectTokens({
        {{"show", "-force"}, "Verb:show Option:-force", "an option of set"},
        {{"-f"}, "Option:-force", "before any verb"},
        {{"dump", "-a", "x"}, "Verb:dump Option:-all Value:x", "an option of show"},
        {{"show", "-nosuch"}, "Verb:show Unknown:-nosuch", "no command's option"},
    });
}

TEST(Lexer, APropertyNeedsAVerbBeforeAndAnEqualsSignAfter) {
    expectTokens({
        {{"set", "AggregationTime"}, "Verb:set Unknown:AggregationTime", "nothing after it"},
        {{"set", "AggregationTime", ",", "="}, "Verb:set Unknown:AggregationTime Comma:, Equal:=", "not directly"},
        {{"set", "-system", "AggregationTime"}, "Verb:set Target:-SYSTEM Value:AggregationTime", "a target's value"},
        {{"AggregationTime=5"}, "Unknown:AggregationTime Equal:= Unknown:5", "no verb"},
        {{"AggregationTime=5", "set"}, "Unknown:AggregationTime Equal:= Unknown:5 Verb:set", "the verb comes too late"},
        {{"show", "AggregationTime=5"},
         "Verb:show Property:AggregationTime Equal:= Value:5",
         "a property of another verb is one; the parser removes the command"},
    });
}

TEST(Lexer, MarksUnknownWordsAfterAPartAsValues) {
    expectTokens({
        {{"show", "x", "-a", "1", "2", ",", "3"},
         "Verb:show Unknown:x Option:-all Value:1 Value:2 Comma:, Value:3",
         "all after an option, across commas"},
        {{"show", "-velkossd", "1", "=", "2"},
         "Verb:show Target:-velkossd Value:1 Equal:= Unknown:2",
         "an equals sign ends the values of a target"},
        {{"set", "AggregationTime=1", "2", "=3"},
         "Verb:set Property:AggregationTime Equal:= Value:1 Value:2 Equal:= Value:3",
         "but not those of a property"},
        {{"set", "AggregationTime=1,2"},
         "Verb:set Property:AggregationTime Equal:= Value:1 Comma:, Unknown:2",
         "for a property it is the comma"},
        {{"show", "-all", "-velkossd", "1"}, "Verb:show Option:-all Target:-velkossd Value:1", "the nearest owner"},
    });
}

TEST(Lexer, TheFirstCommandInTheListDecidesTheSpelling) {
    CommandSpec first(0, "", "show", "");
    first.addOption("-Depth", false, "", false, "", "-q");
    CommandSpec second(1, "", "SHOW", "");
    second.addOption("-depth", false, "", false, "", "");
    second.addTarget("-q", false, "", false, "");
    const Lexer lexer({{first, nullptr}, {second, nullptr}});
    EXPECT_EQ(written(lexer.tokenize({"Show", "-DEPTH", "-Q"})), "Verb:show Option:-Depth Option:-Depth");
}

TEST(Lexer, WithinACommandTheTargetsComeBeforeTheOptionsAndTheseBeforeTheProperties) {
    CommandSpec spec(0, "", "show", "");
    spec.addProperty("-x", false, "", false, "");
    spec.addProperty("-y", false, "", false, "");
    spec.addOption("-X", false, "", false, "", "");
    spec.addOption("-Y", false, "", false, "", "");
    spec.addTarget("-y", false, "", false, "");
    const Lexer lexer({{spec, nullptr}});
    EXPECT_EQ(written(lexer.tokenize({"show", "-x="})), "Verb:show Option:-X Equal:=");
    EXPECT_EQ(written(lexer.tokenize({"show", "-Y="})), "Verb:show Target:-y Equal:=");
}

TEST(Lexer, AVerbMustBeSpelledAlikeForATargetToCount) {
    CommandSpec first(0, "", "show", "");
    CommandSpec second(1, "", "Show", "");
    second.addTarget("-t", false, "", false, "");
    const Lexer lexer({{first, nullptr}, {second, nullptr}});
    EXPECT_EQ(written(lexer.tokenize({"show", "-t"})), "Verb:show Unknown:-t");
}

TEST(Lexer, PutsTheMissingDashInFrontOfOptionsAndTargets) {
    CommandSpec spec(0, "", "show", "");
    spec.addOption("deep", false, "", false, "", "d");
    spec.addOption("-flat", false, "", false, "", "");
    spec.addTarget("drive", false, "", false, "");
    spec.addProperty("Name", false, "", false, "");
    const Lexer lexer({{spec, nullptr}});
    EXPECT_EQ(
        written(lexer.tokenize({"show", "-d", "-DEEP", "-flat", "-drive", "-Name=", "name="})),
        "Verb:show Option:-deep Option:-deep Option:-flat Target:-drive Value:-Name Equal:= Property:Name Equal:=");
    EXPECT_EQ(written(lexer.tokenize({"show", "deep"})), "Verb:show Unknown:deep");
    EXPECT_EQ(written(lexer.tokenize({"show", "-"})), "Verb:show Unknown:-") << "a missing short name stays missing";
}

TEST(Lexer, TakesArgumentArrays) {
    const char* const argv[] = {"show", "-a", "left out"};
    const Lexer lexer(sampleCommands());
    EXPECT_EQ(written(lexer.tokenize(2, argv)), "Verb:show Option:-all");
    EXPECT_EQ(written(lexer.tokenize(0, argv)), "");
    EXPECT_EQ(written(lexer.tokenize(-1, nullptr)), "");
    EXPECT_EQ(lexed({}), "");
}

TEST(Lexer, ComparesBytesAbove7FAsTheyAre) {
    expectTokens(
        {{{"show", "-velkossd", "\xC3\x84\xFF"}, "Verb:show Target:-velkossd Value:\xC3\x84\xFF", "as typed"}});
}

std::string logOf(const std::vector<std::string>& arguments) {
    const RecordedLog log;
    (void)lexed(arguments);
    return log.lines;
}

TEST(Lexer, LogsWhatItFound) {
    EXPECT_EQ(logOf({"SET", "-f", "-velkossd", "Ab", "aggregationtime=5", "x"}),
              "Found verb: set\n"
              "Found option: -force\n"
              "Found target: -velkossd\n"
              "Found property for set: AggregationTime\n"
              "Found -velkossd's value: Ab\n"
              "Found AggregationTime's value: 5\n"
              "Found AggregationTime's value: x\n");
    EXPECT_EQ(logOf({"show", "help"}),
              "Found verb: show\n"
              "Found verb: help\n"
              "Multiple verbs provided. Unable to process\n");
    EXPECT_EQ(logOf({"-nlog", "help"}), "Verb missing before target. Unable to process target\n");
}

}  // namespace
}  // namespace cli::framework
