#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>

#include "ostrel/interfaces/cli/cliframework/CommonParts.h"
#include "ostrel/interfaces/cli/cliframework/ErrorCode.h"
#include "ostrel/interfaces/cli/cliframework/Lexer.h"
#include "ostrel/interfaces/cli/cliframework/Parser.h"
#include "ostrel/interfaces/cli/cliframework/SyntaxErrorResult.h"

namespace cli::framework {
namespace {

constexpr char HELP_USAGE[] = "help   [Name = (name)] [verb = (verb)]\n";
constexpr char SHOW_USAGE[] =
    "show [-help|-h] [-display|-d (Property1,...)] [-all|-a] [-output|-o (text|nvmxml|json)] -velkossd [(Index)]\n";
constexpr char SMART_USAGE[] = "show [-help|-h] [-all|-a] [-velkossd (Index)] -smart [Include = (bool)]\n";
constexpr char SET_USAGE[] = "set [-output|-o (text|nvmxml|json)] -system A = (value) [B = (value)]\n";
constexpr char LOAD_USAGE[] = "load [-force|-f] [-source (path)] -velkossd (Index)\n";

CandidateCommands sampleCommands() {
    CommandSpec help(0, "Help", "help", "");
    help.addProperty(PROPERTY_NAME);
    help.addProperty(PROPERTY_VERB);

    CommandSpec show(1, "Show", "show", "");
    show.addOption(OPTION_HELP);
    show.addOption(OPTION_DISPLAY);
    show.addOption(OPTION_ALL);
    show.addOption(OPTION_OUTPUT);
    show.addTarget("-velkossd", true, "Index", false, "");

    CommandSpec smart(2, "Smart", "show", "");
    smart.addOption(OPTION_HELP);
    smart.addOption(OPTION_ALL);
    smart.addTarget("-velkossd", false, "Index", true, "");
    smart.addTarget("-smart", true, "", false, "");
    smart.addProperty("Include", false, "bool", true, "");

    CommandSpec set(3, "Set", "set", "");
    set.addOption(OPTION_OUTPUT);
    set.addTarget("-system", true, "", false, "");
    set.addProperty("A", true, "value", true, "");
    set.addProperty("B", false, "value", true, "");

    CommandSpec load(4, "Load", "load", "");
    load.addOption(OPTION_FORCE);
    load.addOption(OPTION_SOURCE);
    load.addTarget("-velkossd", true, "Index", true, "");

    CandidateCommands commands;
    for (const CommandSpec& spec : {help, show, smart, set, load}) commands.push_back({spec, nullptr});
    return commands;
}

std::string listed(const std::map<std::string, std::string>& values) {
    std::string text;
    for (const auto& [name, value] : values) text += " " + name + "(" + value + ")";
    return text;
}

class ParserTest : public testing::Test {
protected:
    /// "" for success, otherwise what the user would read.
    std::string parse(const std::vector<std::string>& arguments) {
        commands = sampleCommands();
        tokens = Lexer(commands).tokenize(arguments);
        result = parser.parse(tokens, &commands);
        if (!result) return "";
        EXPECT_NE(dynamic_cast<SyntaxErrorResult*>(result.get()), nullptr);
        EXPECT_EQ(result->getErrorCode(), 201);
        return result->outputText();
    }

    /// "show -all() -velkossd(1) | Show Smart": what was read, and the commands that are left.
    std::string state() const {
        const ParsedCommand parsed = parser.getParsedCommand();
        std::string text =
            parsed.verb + listed(parsed.options) + listed(parsed.targets) + listed(parsed.properties) + " |";
        for (const CandidateCommand& command : commands) text += " " + command.commandSpec.name;
        return text;
    }

    Parser parser;
    CandidateCommands commands;
    std::vector<Token> tokens;
    std::unique_ptr<ResultBase> result;
};

std::string invalidAt(const std::string& text, const std::string& suggestions = "") {
    return "Syntax Error: Invalid command. Error at or around '" + text + "'." +
           (suggestions.empty() ? "" : "\nDid you mean: \n" + suggestions);
}

struct GoodLine {
    std::vector<std::string> arguments;
    const char* state;
    const char* why;
};

TEST_F(ParserTest, ReadsGoodLines) {
    const GoodLine lines[] = {
        {{"show"}, "show | Show Smart", "a verb alone is no error; the framework chooses"},
        {{"Show", "-VELKOSSD"}, "show -velkossd() | Show Smart", "a target without a value"},
        {{"show", "-a", "-velkossd", "1"}, "show -all() -velkossd(1) | Show Smart", "options come before targets"},
        {{"show", "-d", "x,y", "-velkossd"}, "show -display(x,y) -velkossd() | Show", "an option picks its commands"},
        {{"show", "-d", "x", "-a"}, "show -all() -display(x) | Show", "an option after an option's value"},
        {{"show", "-velkossd", "1,2,3"}, "show -velkossd(1,2,3) | Show Smart", "values are joined with commas"},
        {{"show", "-velkossd", "1,"}, "show -velkossd(1) | Show Smart", "a comma at the end adds nothing"},
        {{"show", "-d", "x,"}, "show -display(x) | Show", "nor after an option's value"},
        {{"show", "-velkossd", "-smart"}, "show -smart() -velkossd() | Smart", "a target after a target"},
        {{"show", "-velkossd", "1", "-smart"}, "show -smart() -velkossd(1) | Smart", "and after its value"},
        {{"show", "-a", "x", "Include=1"}, "show -all(x) Include(1) | Smart", "a property after an option's value"},
        {{"show", "-smart", "Include=1"}, "show -smart() Include(1) | Smart", "a property after a target"},
        {{"show", "-velkossd", "0", "Include=1"}, "show -velkossd(0) Include(1) | Smart", "and after its value"},
        {{"show", "Include=1"}, "show Include(1) | Smart", "a property after the verb"},
        {{"set", "-system", "a=1", "b=2"}, "set -system() A(1) B(2) | Set", "two properties"},
        {{"set", "A=a=b"}, "set A(a=b) | Set", "a value with an equals sign"},
        {{"set", "-system", "A=show"}, "set -system() A(show) | Set", "a verb as a property's value"},
        {{"set", "A=-O"}, "set A(-output) | Set", "an option, by its canonical text"},
        {{"set", "A=-SYSTEM"}, "set A(-system) | Set", "a target, too"},
        {{"help", "verb=show", "Name=x"}, "help verb(show) | Help", "the lexer stopped at the second verb"},
        {{"help", "-help", "Name=x"}, "help Name(x) | Help", "the -help is skipped"},
        {{"help", "-H", "Name=x"}, "help Name(x) | Help", "under its short name too"},
        {{"help", "-help"}, "help -help() | Help", "with two tokens nothing is skipped"},
        {{"show", "-help", "-velkossd"}, "show -help() -velkossd() | Show Smart", "nor with another verb"},
        {{"set", "-o", "JSON"}, "set -output(JSON) | Set", "the output option removes no command"},
        {{"show", "-o", "json", "-smart"}, "show -output(json) -smart() | Smart", "not even one that lacks it"},
        {{"load", "-help", "-velkossd", "1"}, "load -help() -velkossd(1) | Load", "nor does the help option"},
        {{"load", "-velkossd", "-smart"}, "load -velkossd(-smart) | Load", "a target of another verb is a value"},
    };
    for (const GoodLine& line : lines) {
        EXPECT_EQ(parse(line.arguments), "") << line.why;
        EXPECT_EQ(state(), line.state) << line.why;
    }
}

struct BrokenLine {
    std::vector<std::string> arguments;
    std::string at;
    std::string suggestions;
    const char* why;
};

TEST_F(ParserTest, NamesTheWordAtWhichALineBreaks) {
    const std::string shows = std::string(SMART_USAGE) + SHOW_USAGE;
    const BrokenLine lines[] = {
        {{"foo", "show"}, "foo", "", "no verb: no suggestions"},
        {{"-all", "x", "-velkossd"}, "-all", "", "an option is no verb"},
        {{"="}, "=", "", "nor is a sign"},
        // After the verb.
        {{"show", "x"}, "x", shows, "an unknown word"},
        {{"show", "show"}, "show", shows, "a second verb"},
        {{"show", ","}, ",", shows, "a comma"},
        {{"show", "="}, "=", shows, "an equals sign"},
        {{"help", "-help", "x"}, "x", HELP_USAGE, "after the skipped -help"},
        {{"nosuch"}, "nosuch", "", "an unknown verb"},
        // After an option.
        {{"show", "-a", "show"}, "show", shows, "a second verb"},
        {{"show", "-a", "="}, "=", shows, "an equals sign"},
        {{"show", "-a", ","}, ",", shows, "a comma"},
        {{"show", "-a", "Include=x"}, "=", shows, "the property was taken as the option's value"},
        // After an option's value.
        {{"show", "-d", "x", "y"}, "y", shows, "two values without a comma"},
        {{"show", "-d", "x", "="}, "=", shows, "an equals sign"},
        {{"show", "-d", "x", "show"}, "x", shows, "with a second verb nothing is a value"},
        {{"show", "-d", "x,-a"}, "-all", shows, "an option after a comma"},
        {{"show", "-d", "x,-velkossd"}, "-velkossd", shows, "a target after a comma"},
        {{"show", "-d", "x,,y"}, ",", shows, "a comma after a comma"},
        {{"show", "-d", "x,", "="}, "=", shows, "an equals sign after a comma"},
        {{"show", "-d", "x,Include=y"}, "=", shows, "after a comma a property is a value"},
        // After a target.
        {{"show", "-velkossd", "-a"}, "-all", shows, "an option after a target"},
        {{"show", "-velkossd", "="}, "=", shows, "an equals sign"},
        {{"show", "-velkossd", ","}, ",", shows, "a comma"},
        {{"show", "-velkossd", "show"}, "show", shows, "a second verb"},
        // After a target's value.
        {{"show", "-velkossd", "1", "-a"}, "-all", shows, "an option after a target's value"},
        {{"show", "-velkossd", "1", "2"}, "2", shows, "two values without a comma"},
        {{"show", "-velkossd", "1", "="}, "=", shows, "an equals sign"},
        {{"show", "-velkossd", "0", "show"}, "0", shows, "with a second verb nothing is a value"},
        {{"show", "-velkossd", "1,,2"}, ",", shows, "a comma after a comma"},
        {{"show", "-velkossd", "1,-smart"}, "-smart", shows, "a target after a comma"},
        {{"show", "-velkossd", "1,-a"}, "-all", shows, "an option after a comma"},
        {{"show", "-velkossd", "1,Include=x"}, "=", shows, "after a comma a property is a value"},
        {{"set", "-system", "X=1"}, "=", SET_USAGE, "an unknown property is a value of the target"},
        // Properties.
        {{"set", "A="}, "=", SET_USAGE, "no value"},
        {{"set", "A=="}, "=", SET_USAGE, "an equals sign for a value"},
        {{"set", "A=,"}, ",", SET_USAGE, "a comma for a value"},
        {{"set", "A=b,c"}, ",", SET_USAGE, "a property's value holds no comma"},
        {{"set", "A=1", "2"}, "2", SET_USAGE, "two values"},
        {{"set", "A=1", "=2"}, "=", SET_USAGE, "an equals sign after the value"},
        {{"set", "A=1", "-system"}, "-system", SET_USAGE, "a target after a property"},
        {{"set", "A=1", "-o", "json"}, "-output", SET_USAGE, "an option after a property"},
        // Words that no command left knows.
        {{"show", "-velkossd", "1", "-smart", "A=1"}, "A", SMART_USAGE, "a property of another command"},
        {{"show", "A=1"}, "A", shows, "of another verb"},
        {{"show", "-f"}, "-force", shows, "an option of another verb, found in the end"},
        {{"show", "-d", "x", "-smart"}, "-display", SMART_USAGE, "an option of another command"},
        {{"load", "-f", "-a", "-velkossd", "1"}, "-all", LOAD_USAGE, "options are tried in the order of their names"},
    };
    for (const BrokenLine& line : lines)
        EXPECT_EQ(parse(line.arguments), invalidAt(line.at, line.suggestions)) << line.why;
}

TEST_F(ParserTest, NoTokensAreNoInputAndSuggestAllCommands) {
    const std::string expected = std::string("Syntax Error: No Input.\nDid you mean: \n") + HELP_USAGE + SHOW_USAGE +
                                 SMART_USAGE + SET_USAGE + LOAD_USAGE;
    EXPECT_EQ(parse({}), expected);
    EXPECT_EQ(parse({"", ""}), expected) << "empty arguments are none";
    EXPECT_EQ(parse({"-velkossd", "show"}), expected) << "the lexer gave up";
}

TEST_F(ParserTest, ALineThatStartsWithoutAVerbLeavesTheCommandsAlone) {
    parse({"foo", "show"});
    EXPECT_EQ(state(), " -output() | Help Show Smart Set Load");
}

TEST_F(ParserTest, ABrokenLineLeavesNoCommand) {
    parse({"show", "-velkossd", "1", "2"});
    EXPECT_EQ(state(), "show -output() -velkossd(1) |");
}

TEST_F(ParserTest, DoubledOptionsAndTargetsComeWithoutSuggestions) {
    EXPECT_EQ(parse({"show", "-a", "-all"}),
              "Syntax Error: Duplicate token found. The Option '-all' was found more than once.");
    EXPECT_EQ(state(), "show -all() -output() | Show Smart") << "and leave the commands alone";
    EXPECT_EQ(parse({"show", "-velkossd", "1", "-VELKOSSD", "2"}),
              "Syntax Error: Duplicate token found. The Target '-velkossd' was found more than once.");
    EXPECT_EQ(state(), "show -output() -velkossd(1) | Show Smart");
}

TEST_F(ParserTest, ADoubledPropertyComesWithSuggestions) {
    EXPECT_EQ(parse({"set", "-system", "A=1", "a=2"}),
              std::string("Syntax Error: Duplicate token found. The Property 'A' was found more than once.\n"
                          "Did you mean: \n") +
                  SET_USAGE);
    EXPECT_EQ(state(), "set -output() -system() A(1) |");
}

TEST_F(ParserTest, ABrokenLineKeepsOrRescuesItsOutputOption) {
    struct {
        std::vector<std::string> arguments;
        const char* output;
        const char* why;
    } const lines[] = {
        {{"show", "x"}, "", "no option: the key is there with an empty value"},
        {{"show", "-o", "json", "-nosuch"}, "json", "read before the line broke"},
        {{"show", "-o", "nvmxml", "-nosuch"}, "nvmxml", "the same as above"},
        {{"show", "-velkossd", "-o", "NvmXml"}, "nvmxml", "rescued from after the break, in lower case"},
        {{"show", "-velkossd", "-o", "json"}, "", "no other format is rescued"},
        {{"foo", "-o", "nvmxml"}, "nvmxml", "rescued though there is no verb"},
        {{"show", "-velkossd", "-o"}, "", "nothing after the option"},
        {{"show", "-velkossd", "-o", "json", "-o", "nvmxml"}, "nvmxml", "any of several"},
        {{"show", "-o", "json", "-velkossd", "-o", "nvmxml"}, "json", "what was read stays"},
        {{"show", "-velkossd", "nvmxml", "-a"}, "", "the word alone asks for nothing"},
    };
    for (const auto& line : lines) {
        EXPECT_NE(parse(line.arguments), "") << line.why;
        EXPECT_EQ(parser.getParsedCommand().options.at("-output"), line.output) << line.why;
    }
}

TEST_F(ParserTest, RescuesTheOutputOptionUnderItsShortNameToo) {
    commands = sampleCommands();
    EXPECT_NE(parser.parse({{"-o", TOKENTYPE_OPTION}, {"nvmxml", TOKENTYPE_VALUE}}, &commands), nullptr);
    EXPECT_EQ(parser.getParsedCommand().options.at("-output"), "nvmxml");
    EXPECT_NE(parser.parse({{"-o", TOKENTYPE_UNKNOWN}, {"nvmxml", TOKENTYPE_VALUE}}), nullptr);
    EXPECT_EQ(parser.getParsedCommand().options.at("-output"), "") << "a word that is no option";
}

TEST_F(ParserTest, AGoodLineGetsNoOutputOption) {
    EXPECT_EQ(parse({"show", "-velkossd"}), "");
    EXPECT_EQ(parser.getParsedCommand().options.count("-output"), 0u);
}

TEST_F(ParserTest, FlagsThePartsThatWereFound) {
    EXPECT_EQ(parse({"show", "-a", "-velkossd", "1", "Include=x"}), "");
    ASSERT_EQ(commands.size(), 1u);
    const CommandSpec& smart = commands[0].commandSpec;
    EXPECT_TRUE(smart.options[1].found) << "-all";
    EXPECT_TRUE(smart.targets[0].found) << "-velkossd";
    EXPECT_TRUE(smart.properties[0].found) << "Include";
    EXPECT_FALSE(smart.options[0].found) << "-help";
    EXPECT_FALSE(smart.targets[1].found) << "-smart";

    EXPECT_EQ(parse({"show", "-help", "-velkossd"}), "");
    EXPECT_FALSE(commands[0].commandSpec.options[0].found) << "-help is never tried on the commands";
}

TEST_F(ParserTest, ForgetsTheLastLine) {
    parse({"show", "-a", "-velkossd", "1", "Include=x"});
    EXPECT_EQ(parse({"set", "-system"}), "");
    EXPECT_EQ(state(), "set -system() | Set");
    parser.initialize();
    EXPECT_EQ(state(), " | Set");
}

TEST_F(ParserTest, WorksWithoutCommands) {
    const std::vector<Token> good = {{"show", TOKENTYPE_VERB}, {"-t", TOKENTYPE_TARGET}, {"-o", TOKENTYPE_OPTION}};
    EXPECT_EQ(parser.parse({good[0], good[1]}, nullptr), nullptr);
    EXPECT_EQ(parser.parse({good[0], good[2], good[1]}, nullptr), nullptr);
    const auto broken = parser.parse(good, nullptr);
    ASSERT_NE(broken, nullptr);
    EXPECT_EQ(broken->outputText(), "Syntax Error: Invalid command. Error at or around '-o'.");
    const auto empty = parser.parse({}, nullptr);
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(empty->outputText(), "Syntax Error: No Input.");
}

TEST_F(ParserTest, ReadsALineOfAnyLength) {
    std::vector<std::string> arguments = {"show", "-velkossd", "0"};
    std::string values = "0";
    for (int i = 1; i < 100000; ++i) {
        arguments.push_back(",1");
        values += ",1";
    }
    EXPECT_EQ(parse(arguments), "");
    EXPECT_EQ(parser.getParsedCommand().targets.at("-velkossd"), values);
}

TEST_F(ParserTest, ChecksValuesAgainstTheGrammar) {
    struct {
        bool valueRequired;
        bool noValueAccepted;
        const char* value;
        const char* message;
    } const rows[] = {
        {true, false, "", "Syntax Error: A value is required for the target '-velkossd'."},
        {true, true, "", "Syntax Error: A value is required for the target '-velkossd'."},
        {true, true, "x", "Syntax Error: 'x' is not a valid setting for the target '-velkossd'."},
        {true, false, "x", ""},
        {false, true, "x", "Syntax Error: 'x' is not a valid setting for the target '-velkossd'."},
        {false, true, "", ""},
        {false, false, "", ""},
        {false, false, "x", ""},
    };
    for (const auto& row : rows) {
        ASSERT_EQ(parse({"show", "-velkossd", row.value}), "");
        CommandSpec spec;
        spec.addTarget("-velkossd", true, "", row.valueRequired, "").noValueAccepted = row.noValueAccepted;
        const auto failure = parser.checkValues(spec);
        EXPECT_EQ(failure ? failure->outputText() : "", row.message) << row.valueRequired << row.noValueAccepted;
    }
}

TEST_F(ParserTest, ChecksOptionsThenTargetsThenPropertiesInTheirOrder) {
    ASSERT_EQ(parse({"show", "-a", "-o", "-velkossd", "Include=x"}), "");
    const auto complaint = [&](const CommandSpec& spec) {
        const auto failure = parser.checkValues(spec);
        return failure ? failure->outputText() : "";
    };
    CommandSpec spec;
    spec.addOption(CommandPart{"-nowhere", true, "", true});
    EXPECT_EQ(complaint(spec), "") << "a part that was not given is not checked here";
    spec.addProperty("Include", false, "", false, "").noValueAccepted = true;
    EXPECT_EQ(complaint(spec), "Syntax Error: 'x' is not a valid setting for the property 'Include'.");
    spec.addTarget("-velkossd", false, "", true, "");
    EXPECT_EQ(complaint(spec), "Syntax Error: A value is required for the target '-velkossd'.");
    spec.addOption("-output", false, "", true, "", "");
    spec.addOption("-all", false, "", true, "", "");
    EXPECT_EQ(complaint(spec), "Syntax Error: A value is required for the option '-output'.");
}

TEST(ParserLookups, ReadOneValueByItsExactName) {
    ParsedCommand parsed;
    parsed.options = {{"-all", ""}, {"-display", "x"}};
    parsed.targets = {{"-velkossd", " a ,b"}, {"-smart", ""}};
    parsed.properties = {{"Name", "n"}};

    bool found = false;
    EXPECT_EQ(Parser::getOptionValue(parsed, "-display", &found), "x");
    EXPECT_TRUE(found);
    found = false;
    EXPECT_EQ(Parser::getOptionValue(parsed, "-all", &found), "");
    EXPECT_TRUE(found) << "there, with an empty value";
    EXPECT_EQ(Parser::getOptionValue(parsed, "-ALL", &found), "");
    EXPECT_FALSE(found) << "names are compared exactly";
    EXPECT_EQ(Parser::getOptionValue(parsed, "-display"), "x") << "the flag may be left out";

    EXPECT_EQ(Parser::getTargetValue(parsed, "-velkossd", &found), " a ,b");
    EXPECT_TRUE(found);
    EXPECT_EQ(Parser::getTargetValue(parsed, "-nowhere", &found), "");
    EXPECT_FALSE(found);

    EXPECT_EQ(Parser::getPropertyValue(parsed, "Name", &found), "n");
    EXPECT_TRUE(found);
    EXPECT_EQ(Parser::getPropertyValue(parsed, "Path", &found), "");
    EXPECT_FALSE(found);
}

TEST(ParserLookups, CutATargetsValueIntoTrimmedPieces) {
    ParsedCommand parsed;
    parsed.targets = {{"-velkossd", " a ,b c"}, {"-smart", ""}, {"-blank", " "}};
    bool found = false;
    EXPECT_EQ(Parser::getTargetValues(parsed, "-velkossd", &found), (std::vector<std::string>{"a", "b c"}));
    EXPECT_TRUE(found);
    EXPECT_EQ(Parser::getTargetValues(parsed, "-smart", &found), std::vector<std::string>());
    EXPECT_TRUE(found);
    EXPECT_EQ(Parser::getTargetValues(parsed, "-nowhere", &found), std::vector<std::string>());
    EXPECT_FALSE(found);
    EXPECT_THROW(Parser::getTargetValues(parsed, "-blank"), std::out_of_range);
}

}  // namespace
}  // namespace cli::framework
