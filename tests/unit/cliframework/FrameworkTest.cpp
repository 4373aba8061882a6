#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <stdexcept>

#include "ostrel/interfaces/cli/cliframework/Framework.h"
#include "ostrel/interfaces/cli/cliframework/HelpFeature.h"
#include "ostrel/interfaces/cli/cliframework/ResultBase.h"
#include "tests/support/catalogue/CatalogueFeature.h"
#include "tests/unit/cliframework/RecordedLog.h"

namespace cli::framework {
namespace {

// As the suggestions show them.
constexpr char DRIVE[] =
    "show [-help|-h] [-display|-d (Property1,...)] [-all|-a] [-output|-o (text|nvmxml|json)] -velkossd [(Index)]\n";
constexpr char ENDURANCE[] = "show [-help|-h] [-output|-o (text|nvmxml|json)] -velkossd (Index) -enduranceanalyzer\n";
constexpr char SMART[] =
    "show [-help|-h] [-display|-d (Property1,...)] [-all|-a] [-output|-o (text|nvmxml|json)] [-velkossd [(Index)]] "
    "-smart [Include = (true|false)]\n";
constexpr char THRESHOLD[] =
    "set [-help|-h] [-output|-o (text|nvmxml|json)] -velkossd (Index) AggregationThreshold = (value)\n";
constexpr char TIME[] = "set [-help|-h] [-output|-o (text|nvmxml|json)] -velkossd (Index) AggregationTime = (value)\n";
constexpr char NLOG[] = "dump [-help|-h] -destination (path) [-output|-o (text|nvmxml|json)] -velkossd (Index) -nlog\n";
constexpr char INVALID[] = "Syntax Error: Invalid command.";
constexpr char CONFLICT[] =
    "Error: The command list had more than one after filtering. This means that there might be more than one "
    "CommandSpec with the same required syntax.";

/// Runs lines against the catalogue alone, and leaves the registry as it was.
class FrameworkTest : public testing::Test {
protected:
    void SetUp() override {
        framework.clearFeatureList();
        EXPECT_TRUE(framework.registerFeature("HelpFeature", &help));
        EXPECT_TRUE(framework.registerFeature("VelkoSSD", &catalogue));
    }
    void TearDown() override {
        framework.clearFeatureList();
        EXPECT_EQ(catalogue.violation(), "");
    }

    /// "0: output", with the error code in front.
    std::string execute(const std::vector<std::string>& arguments) {
        const auto result = framework.execute(arguments);
        return result ? std::to_string(result->getErrorCode()) + ": " + result->output() : "null";
    }

    Framework& framework = Framework::getInstance();
    HelpFeature help;
    test::CatalogueFeature catalogue;
};

std::string didYouMean(const std::string& error, const std::string& suggestions) {
    return "201: " + error + "\nDid you mean: \n" + suggestions;
}

/// Brings one command named after the feature.
class NamedFeature : public FeatureBase {
public:
    explicit NamedFeature(std::string name) : name_(std::move(name)) {}
    std::unique_ptr<ResultBase> run(const CommandSpec&, const ParsedCommand&) override { return nullptr; }
    void getPaths(std::vector<CommandSpec>& commands) override { commands.emplace_back(0, name_, "show", ""); }

private:
    std::string name_;
};

TEST_F(FrameworkTest, KeepsTheKnownFeaturesInTheirFixedOrderAndOthersAfterThem) {
    framework.clearFeatureList();
    std::vector<std::unique_ptr<NamedFeature>> features;
    for (const char* key : {"b", "Version", "System", "VelkoSSD", "HelpFeature", "A", "Zz"}) {
        features.push_back(std::make_unique<NamedFeature>(key));
        EXPECT_TRUE(framework.registerFeature(key, features.back().get()));
    }
    CandidateCommands commands;
    framework.buildCommands(commands);
    ASSERT_EQ(commands.size(), 7u);
    const char* const order[] = {"HelpFeature", "VelkoSSD", "System", "Version", "A", "Zz", "b"};
    for (size_t i = 0; i < 7; ++i) EXPECT_EQ(commands[i].commandSpec.name, order[i]);
    EXPECT_EQ(commands[0].feature, features[4].get());
    framework.clearFeatureList();
}

TEST_F(FrameworkTest, KeepsTheFirstFeatureOfAKey) {
    NamedFeature first("first");
    NamedFeature second("second");
    framework.clearFeatureList();
    EXPECT_TRUE(framework.registerFeature("key", &first));
    EXPECT_FALSE(framework.registerFeature("key", &second));
    EXPECT_TRUE(framework.registerFeature("KEY", &second)) << "keys are compared exactly";
    framework.removeFeature("KEY");
    framework.removeFeature("nosuch");
    CandidateCommands commands;
    framework.buildCommands(commands);
    ASSERT_EQ(commands.size(), 1u);
    EXPECT_EQ(commands[0].feature, &first);
    framework.clearFeatureList();
    commands.clear();
    framework.buildCommands(commands);
    EXPECT_TRUE(commands.empty());
}

TEST_F(FrameworkTest, EveryCommandTakesTheOutputOption) {
    CandidateCommands commands(1);
    framework.buildCommands(commands);
    ASSERT_EQ(commands.size(), 22u) << "appended to what was there";
    for (size_t i = 1; i < commands.size(); ++i) {
        ASSERT_FALSE(commands[i].commandSpec.options.empty());
        EXPECT_EQ(commands[i].commandSpec.options.back().name, "-output");
    }
}

TEST_F(FrameworkTest, RunsTheOneCommandThatFits) {
    struct {
        std::vector<std::string> arguments;
        const char* result;
        const char* why;
    } const lines[] = {
        {{"set", "-velkossd", "0", "AggregationTime=5"},
         "0: Time: set -velkossd(0) AggregationTime(5)",
         "a required property distinguishes two commands"},
        {{"SET", "-VelkoSSD", "ABC", "aggregationthreshold=A=b"},
         "0: Threshold: set -velkossd(ABC) AggregationThreshold(A=b)",
         "names are spelled as in the command, values as by the user"},
        {{"show", "-velkossd", "0,1", "-enduranceanalyzer"},
         "0: Endurance: show -enduranceanalyzer() -velkossd(0,1)",
         "a required target distinguishes two commands"},
        {{"show", "-d", "x,y", "-velkossd"},
         "0: \nEcho : Drive: show -display(x,y) -velkossd()\n",
         "a command whose options pick it"},
        {{"show", "-smart"}, "0: SMART: show -smart()", "an optional target may be missing"},
        {{"load", "-f", "-source", "/a b", "-velkossd", "1", "FirmwareSlot=2"},
         "0: FirmwareUpdate: load -force() -source(/a b) -velkossd(1) FirmwareSlot(2)",
         "options, a target, an optional property"},
        {{"dump", "-destination", "x", "-velkossd", "1", "-nlog"},
         "0: Nlog: dump -destination(x) -nlog() -velkossd(1)",
         "a required option"},
        {{"attach", "-velkossd", "1", "-namespace", "2"},
         "0: Hidden: attach -namespace(2) -velkossd(1)",
         "a command without help runs like any other"},
        {{"delete", "-velkossd", "1"}, "3: Error: Delete: delete -velkossd(1)", "the error code is the result's"},
        {{"stop", "-velkossd"}, "null", "a feature may return nothing"},
        {{"stop", "-velkossd", "-values", " a ,b"}, "0: a|b", "single values"},
    };
    for (const auto& line : lines) EXPECT_EQ(execute(line.arguments), line.result) << line.why;
}

TEST_F(FrameworkTest, ReturnsSyntaxErrorsOfTheParser) {
    EXPECT_EQ(execute({"foo"}), "201: Syntax Error: Invalid command. Error at or around 'foo'.");
    EXPECT_EQ(execute({"show", "-velkossd", "-help"}),
              didYouMean("Syntax Error: Invalid command. Error at or around '-help'.",
                         std::string(SMART) + ENDURANCE + DRIVE));
    EXPECT_EQ(
        execute({"set", "-velkossd", "1", "AggregationTime=1", "AGGREGATIONTIME=2"}),
        didYouMean("Syntax Error: Duplicate token found. The Property 'AggregationTime' was found more than once.",
                   TIME));
}

TEST_F(FrameworkTest, SuggestsTheCommandsThatLackARequiredPart) {
    EXPECT_EQ(execute({"set", "-velkossd", "1"}), didYouMean(INVALID, std::string(TIME) + THRESHOLD))
        << "a missing property";
    EXPECT_EQ(execute({"dump", "-velkossd", "1", "-nlog"}), didYouMean(INVALID, NLOG)) << "a missing option";
    EXPECT_EQ(execute({"attach"}), std::string("201: ") + INVALID) << "commands without -help stay unknown";
    EXPECT_EQ(execute({"show"}), didYouMean(INVALID, std::string(SMART) + DRIVE + ENDURANCE))
        << "a missing target; the commands are sorted before they are removed from the end";
}

/// Commands that differ in their options only, all lacking the target that they need.
class SortedFeature : public FeatureBase {
public:
    std::unique_ptr<ResultBase> run(const CommandSpec&, const ParsedCommand&) override { return nullptr; }
    void getPaths(std::vector<CommandSpec>& commands) override {
        const std::vector<std::vector<const char*>> optionLists = {
            {"-helper", "-help"}, {"-help", "-output", "-extra"}, {"-help"}, {"-help", "-ZZ"}, {"-Zeta", "-help"}};
        for (const auto& options : optionLists) {
            CommandSpec spec(0, "", "go", "");
            for (const char* option : options) spec.addOption(CommandPart{option, true});
            spec.addTarget(CommandPart{"-t", true});
            commands.push_back(spec);
        }
    }
};

TEST_F(FrameworkTest, SortsCommandsByTheirOptionsBeforeItRemovesThemFromTheEnd) {
    SortedFeature sorted;
    framework.registerFeature("Sorted", &sorted);
    EXPECT_EQ(execute({"go"}), didYouMean(INVALID,
                                          "go -helper -help [-output|-o (text|nvmxml|json)] -t\n"
                                          "go -help -output -extra -t\n"
                                          "go -help [-output|-o (text|nvmxml|json)] -t\n"
                                          "go -help -ZZ [-output|-o (text|nvmxml|json)] -t\n"
                                          "go -Zeta -help [-output|-o (text|nvmxml|json)] -t\n"))
        << "first -zeta, the greatest; of two beginnings the shorter; of two equal lists the shorter";
}

TEST_F(FrameworkTest, CallsCommandsThatCannotBeDistinguishedADefect) {
    EXPECT_EQ(execute({"reset", "-velkossd", "1"}), std::string("1: ") + CONFLICT);
    EXPECT_EQ(execute({"reset", "-o", "json", "-velkossd", "1"}),
              "1: {\n\t\"Error_Type\":1,\n\t\"Error_Description\":\"" + std::string(CONFLICT) + "\"\n}\n");
}

TEST_F(FrameworkTest, ValidatesBeforeItChecksValuesBeforeItRuns) {
    EXPECT_EQ(execute({"show", "-a", "-d", "x", "-velkossd"}),
              "201: Syntax Error: Options 'all' and 'display' cannot be used together.");
    EXPECT_EQ(execute({"show", "-d", "-velkossd"}), "201: Syntax Error: A value is required for the option 'display'.")
        << "worded by the validation: no dash";
    EXPECT_EQ(execute({"show", "-o", "csv", "-velkossd"}),
              "201: Error_Type,201,\nError_Description,Syntax Error: Option 'output' expects 'text', 'nvmxml' or "
              "'json'.,\n");
    EXPECT_EQ(execute({"load", "-source", "-velkossd", "1"}),
              "201: Syntax Error: A value is required for the option '-source'.");
    EXPECT_EQ(execute({"load", "-force", "x", "-velkossd", "1"}),
              "201: Syntax Error: 'x' is not a valid setting for the option '-force'.");
    EXPECT_EQ(execute({"delete", "-velkossd"}), "201: Syntax Error: A value is required for the target '-velkossd'.");
    EXPECT_EQ(execute({"show", "-smart", "7"}),
              "201: Syntax Error: '7' is not a valid setting for the target '-smart'.");
}

TEST_F(FrameworkTest, AppliesTheOutputOptionToEveryResult) {
    EXPECT_EQ(execute({"show", "-o", "NVMXML", "-smart"}),
              "0: <Result>SMART: show -output(NVMXML) -smart()</Result>\n");
    EXPECT_EQ(execute({"delete", "-o", "nvmxml", "-velkossd", "1"}),
              "3: <Error Type=\"3\">Error: Delete: delete -output(nvmxml) -velkossd(1)</Error>\n");
    EXPECT_EQ(execute({"set", "-o", "nvmxml", "-velkossd", "1"}),
              "201: <Error Type=\"201\">Syntax Error: Invalid command.</Error>\n");
    EXPECT_EQ(execute({"show", "-o", "nvmxml", "-nosuch"}),
              "201: <Error Type=\"201\">Syntax Error: Invalid command. Error at or around '-nosuch'.</Error>\n");
    EXPECT_EQ(
        execute({"show", "-o", "json", "-nosuch"}),
        "201: {\n\t\"Error_Type\":201,\n\t\"Error_Description\":\"Syntax Error: Invalid command. Error at or around "
        "'-nosuch'.\"\n}\n")
        << "the parser had read the format before it failed";
    EXPECT_EQ(execute({"stop", "-o", "json", "-velkossd"}), "null");
}

TEST_F(FrameworkTest, HelpOnACommand) {
    const std::string smartPage = execute({"help", "Name=smart"});
    EXPECT_EQ(smartPage.substr(0, 15), "0: Name: SMART\n");
    EXPECT_EQ(execute({"show", "-help", "-smart"}), smartPage);
    EXPECT_EQ(execute({"show", "-H", "-smart"}), smartPage);
    EXPECT_EQ(execute({"help", "-help", "Name=smart"}), smartPage);

    const std::string nlogPage = execute({"help", "Name=nlog"});
    EXPECT_EQ(execute({"dump", "-help"}), nlogPage) << "one command left: nothing required is asked for";
    EXPECT_EQ(execute({"create", "-help", "-namespace"}), execute({"help", "Name=CreateNamespace"}))
        << "not even a required property";

    EXPECT_EQ(execute({"show", "-help", "-velkossd"}), execute({"help", "Name=drive"}))
        << "of several commands those go that lack a required target";
    EXPECT_EQ(execute({"show", "-help"}), didYouMean(INVALID, std::string(SMART) + ENDURANCE + DRIVE))
        << "all of them, without targets";
    EXPECT_EQ(execute({"set", "-help", "-velkossd", "1"}), std::string("1: ") + CONFLICT)
        << "required properties do not count for help";
    EXPECT_EQ(execute({"delete", "-help", "-velkossd"}),
              "201: Syntax Error: A value is required for the target '-velkossd'.")
        << "values are checked as for any run";
    EXPECT_EQ(execute({"show", "-help", "x", "-smart"}), "201: Syntax Error: Option 'help' does not accept a value.");
    EXPECT_EQ(execute({"attach", "-help", "-velkossd", "1", "-namespace", "2"}).substr(0, 16), "0: Name: Hidden\n")
        << "-help is an option as soon as any command knows it, and is not tried on the commands";
}

TEST_F(FrameworkTest, HelpThatNoCommandKnowsIsAnUnknownWord) {
    framework.removeFeature("VelkoSSD");
    EXPECT_EQ(execute({"help", "-help"}),
              didYouMean("Syntax Error: Invalid command. Error at or around '-help'.",
                         "help [-output|-o (text|nvmxml|json)]  [Name = (name)] [verb = (verb)]\n"));
    EXPECT_EQ(execute({"help", "-help", "Name=x"}), "0: No commands to display\n") << "it is still skipped";
}

TEST_F(FrameworkTest, ABareInvocationIsTheListOfCommands) {
    EXPECT_EQ(execute({}), execute({"help"}));
    EXPECT_EQ(execute({}).substr(0, 9), "0: Usage:");
    const char* const argv[] = {"show"};
    EXPECT_EQ(framework.execute(0, argv)->output(), framework.execute({"help"})->output());
    EXPECT_EQ(framework.execute(-1, nullptr)->output(), framework.execute({"help"})->output());
}

TEST_F(FrameworkTest, EmptyArgumentsAreNoInput) {
    const auto result = framework.execute({""});
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->getErrorCode(), 201);
    const std::string beginning =
        "Syntax Error: No Input.\nDid you mean: \nhelp [-output|-o (text|nvmxml|json)]  [Name";
    EXPECT_EQ(result->output().substr(0, beginning.size()), beginning);
}

TEST_F(FrameworkTest, LetsExceptionsOfAFeatureThrough) {
    EXPECT_THROW((void)framework.execute({"stop", "-velkossd", "-crash"}), std::runtime_error);
    EXPECT_THROW((void)framework.execute({"stop", "-velkossd", "-exhaust"}), std::bad_alloc);
    EXPECT_THROW((void)framework.execute({"stop", "-velkossd", "-values", " "}), std::out_of_range);
    EXPECT_EQ(execute({"show", "-smart"}), "0: SMART: show -smart()") << "and is none the worse for it";
}

TEST_F(FrameworkTest, ForgetsTheSuggestionsOfTheRunBefore) {
    EXPECT_EQ(execute({"dump", "-velkossd", "1", "-nlog"}), didYouMean(INVALID, NLOG));
    EXPECT_EQ(execute({"set", "-velkossd", "1"}), didYouMean(INVALID, std::string(TIME) + THRESHOLD));
}

std::string written(const std::vector<Token>& tokens) {
    std::string text;
    for (const Token& token : tokens) text += "[" + token.text + "]";
    return text;
}

TEST_F(FrameworkTest, TokenizeGivesTheLongNamesOfTheSharedOptions) {
    struct {
        const char* word;
        const char* text;
    } const aliases[] = {
        {"-a", "-all"},     {"-d", "-display"}, {"-w", "-wait"},        {"-f", "-force"},
        {"-help", "-help"}, {"-h", "-help"},    {"-output", "-output"}, {"-o", "-output"},
        {"-x", "-examine"}, {"-s", "-s"},       {"-all", "-all"},       {"-q", "-q"},
    };
    for (const auto& alias : aliases) {
        CommandSpec spec(0, "", "show", "");
        spec.addOption(alias.word, false, "", false, "", "");
        const char* const argv[] = {"show", alias.word, "-A"};
        EXPECT_EQ(written(framework.tokenize(2, argv, {{spec, nullptr}})), std::string("[show][") + alias.text + "]");
    }
    CommandSpec target(0, "", "show", "");
    target.addTarget("-a", false, "", false, "");
    const char* const argv[] = {"show", "-a", "-d"};
    EXPECT_EQ(written(framework.tokenize(3, argv, {{target, nullptr}})), "[show][-a][-d]") << "options only";
}

TEST_F(FrameworkTest, FindsTheListOfAPartsType) {
    CommandSpec spec;
    EXPECT_EQ(Framework::getCommandPart(TOKENTYPE_TARGET, spec), &spec.targets);
    EXPECT_EQ(Framework::getCommandPart(TOKENTYPE_PROPERTY, spec), &spec.properties);
    EXPECT_EQ(Framework::getCommandPart(TOKENTYPE_OPTION, spec), &spec.options);
    for (const TokenType type :
         {TOKENTYPE_UNKNOWN, TOKENTYPE_VALUE, TOKENTYPE_VERB, TOKENTYPE_EQUAL, TOKENTYPE_COMMA}) {
        EXPECT_EQ(Framework::getCommandPart(type, spec), nullptr);
    }
}

TEST_F(FrameworkTest, FiltersIncompleteCommandsByOneTypeOfPart) {
    CommandSpec complete(0, "complete", "", "");
    complete.addTarget("-t", true, "", false, "").found = true;
    complete.addProperty("P", true, "", false, "");
    CommandSpec lacking(1, "lacking", "", "");
    lacking.addTarget("-t", true, "", false, "").found = true;
    lacking.addTarget("-u", true, "", false, "");
    CommandSpec content(2, "content", "", "");
    content.addTarget("-v", false, "", false, "");

    CandidateCommands commands = {{lacking, nullptr}, {complete, nullptr}, {lacking, nullptr}, {content, nullptr}};
    framework.filterIncompleteCommands(TOKENTYPE_VERB, commands);
    EXPECT_EQ(commands.size(), 4u) << "no list of parts for this type";
    framework.filterIncompleteCommands(TOKENTYPE_TARGET, commands);
    ASSERT_EQ(commands.size(), 2u);
    EXPECT_EQ(commands[0].commandSpec.name, "complete");
    EXPECT_EQ(commands[1].commandSpec.name, "content");
}

/// A few commands, so that everything the log says of a run can be read.
class LoggedFeature : public FeatureBase {
public:
    std::unique_ptr<ResultBase> run(const CommandSpec&, const ParsedCommand&) override { return nullptr; }
    void getPaths(std::vector<CommandSpec>& commands) override {
        for (const char* verb : {"show", "set", "reset", "reset"}) {
            CommandSpec spec(0, "", verb, "");
            spec.addOption(CommandPart{"-help"});
            spec.addTarget(CommandPart{"-t", true});
            if (spec.verb == "set") spec.addProperty(CommandPart{"P", true});
            commands.push_back(spec);
        }
    }
};

class FrameworkLogTest : public testing::Test {
protected:
    FrameworkLogTest() {
        framework.clearFeatureList();
        framework.registerFeature("Logged", &logged);
    }
    ~FrameworkLogTest() override { framework.clearFeatureList(); }

    std::string logOf(const std::vector<std::string>& arguments) {
        const RecordedLog log;
        (void)framework.execute(arguments);
        return log.lines;
    }

    Framework& framework = Framework::getInstance();
    LoggedFeature logged;
};

TEST_F(FrameworkLogTest, ReportsHowACommandWasChosenAndRun) {
    EXPECT_EQ(logOf({"show", "-t", "a"}),
              "Executing: show -t a\n"
              "Commands to consider: 4\n"
              "Found verb: show\n"
              "Found target: -t\n"
              "Found -t's value: a\n"
              "Tokenized input is: Verb(show) Target(-t) Value(a)\n"
              "Filtering on verb: show\n"
              "Removing: reset [-help] [-output|-o (text|nvmxml|json)] -t\n"
              "Removing: reset [-help] [-output|-o (text|nvmxml|json)] -t\n"
              "Removing: set [-help] [-output|-o (text|nvmxml|json)] -t P\n"
              "Filtering on Target: -t\n"
              "Commands left after Parser filtered: 1\n"
              "Commands left after checking required targets: 1\n"
              "Commands left after checking required properties: 1\n"
              "Commands left after checking required options: 1\n"
              "Executing: show [-help] [-output|-o (text|nvmxml|json)] -t\n");
}

std::string fromLine(const std::string& text, const std::string& beginning) {
    const size_t begin = text.find(beginning);
    return begin == std::string::npos ? text : text.substr(begin);
}

TEST_F(FrameworkLogTest, ReportsWhyNoCommandWasLeft) {
    EXPECT_EQ(fromLine(logOf({"set", "-t"}), "Filtering on Target"),
              "Filtering on Target: -t\n"
              "Commands left after Parser filtered: 1\n"
              "Commands left after checking required targets: 1\n"
              "Property 'P' required, but not found?\n"
              "Removing: set [-help] [-output|-o (text|nvmxml|json)] -t P\n"
              "Commands left after checking required properties: 0\n"
              "Commands left after checking required options: 0\n");
    EXPECT_EQ(fromLine(logOf({"set", "-t", "=", "x"}), "Filtering on Target"),
              "Filtering on Target: -t\n"
              "Commands left after Parser filtered: 0\n");
}

TEST_F(FrameworkLogTest, NamesTheCommandsThatCannotBeDistinguished) {
    EXPECT_EQ(fromLine(logOf({"reset", "-t"}), "The conflicting"),
              "The conflicting commands are: \"reset [-help] [-output|-o (text|nvmxml|json)] -t\" "
              "\"reset [-help] [-output|-o (text|nvmxml|json)] -t\" \n");
}

TEST_F(FrameworkLogTest, ReportsThatHelpSkipsTheChecks) {
    EXPECT_EQ(fromLine(logOf({"show", "-help"}), "Commands left"),
              "Commands left after Parser filtered: 1\n"
              "Command filtering check skipped due to help option: \n"
              "Executing: show [-help] [-output|-o (text|nvmxml|json)] -t\n");
}

TEST_F(FrameworkTest, RemembersItsName) {
    framework.exeName = "/usr/bin/nimbrel";
    EXPECT_EQ(Framework::getInstance().exeName, "/usr/bin/nimbrel");
    framework.exeName.clear();
}

}  // namespace
}  // namespace cli::framework
