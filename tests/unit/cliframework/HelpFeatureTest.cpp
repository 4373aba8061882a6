#include <gtest/gtest.h>

#include "ostrel/interfaces/cli/cliframework/CommonParts.h"
#include "ostrel/interfaces/cli/cliframework/Framework.h"
#include "ostrel/interfaces/cli/cliframework/HelpFeature.h"
#include "ostrel/interfaces/cli/cliframework/HelpResult.h"
#include "ostrel/interfaces/cli/cliframework/ParsedCommand.h"

namespace cli::framework {
namespace {

CommandSpec command(const std::string& name, const std::string& verb) {
    CommandSpec spec(0, name, verb, "About " + name + ".");
    spec.addOption(OPTION_HELP);
    return spec;
}

/// Brings commands in an order of its own, one of them hidden.
class Catalogue : public FeatureBase {
public:
    std::unique_ptr<ResultBase> run(const CommandSpec&, const ParsedCommand&) override { return nullptr; }
    void getPaths(std::vector<CommandSpec>& commands) override {
        commands.push_back(command("firmwareUpdate", "load"));
        commands.push_back(command("SMART", "show"));
        commands.push_back(command("Firmware", "show"));
        commands.push_back(CommandSpec(0, "FirmwareHidden", "show", "Not for help."));
        commands.push_back(command("delete", "delete"));
    }
};

class HelpFeatureTest : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(Framework::getInstance().registerFeature("Catalogue", &catalogue_)); }
    void TearDown() override { Framework::getInstance().removeFeature("Catalogue"); }

    /// The outcome of the command "help" with these properties.
    std::unique_ptr<HelpResult> help(const std::map<std::string, std::string>& properties) {
        return run(HelpFeature(), {"help", {}, {}, properties});
    }
    static std::unique_ptr<HelpResult> run(HelpFeature feature, const ParsedCommand& parsedCommand) {
        auto result = feature.run(command("ignored", "ignored"), parsedCommand);
        auto* helpResult = dynamic_cast<HelpResult*>(result.get());
        EXPECT_NE(helpResult, nullptr);
        (void)result.release();
        helpResult->setShouldWrap(false);
        return std::unique_ptr<HelpResult>(helpResult);
    }

private:
    Catalogue catalogue_;
};

constexpr char LIST_HEAD[] = "Usage:   <verb>[<options>][<targets>][<properties>]\n\nCommands: \n";

std::string page(const std::string& name, const std::string& verb) {
    return "Name: " + name + "\nDescription:\nAbout " + name + ".Synopsis:\n" + verb +
           " [-help|-h] [-output|-o (text|nvmxml|json)]Verb:\n    " + verb +
           "\nOptions:\n[-help|-h] -- Display help for the command.[-output|-o (text|nvmxml|json)] -- Change the "
           "output "
           "format. One of \"text\", \"nvmxml\" or \"json\".Targets:\nProperties:\n\n";
}

TEST_F(HelpFeatureTest, ListsTheCommandsThatHaveHelpByName) {
    const auto result = help({});
    EXPECT_EQ(result->outputText(), std::string(LIST_HEAD) +
                                        "delete:\ndelete [-help|-h] [-output|-o (text|nvmxml|json)]"
                                        "Firmware:\nshow [-help|-h] [-output|-o (text|nvmxml|json)]"
                                        "firmwareUpdate:\nload [-help|-h] [-output|-o (text|nvmxml|json)]"
                                        "SMART:\nshow [-help|-h] [-output|-o (text|nvmxml|json)]");
    EXPECT_FALSE(result->getShowFull());
    EXPECT_EQ(result->getErrorCode(), 0);
}

TEST_F(HelpFeatureTest, FiltersByVerbInAnyCase) {
    const std::string expected = std::string(LIST_HEAD) +
                                 "Firmware:\nshow [-help|-h] [-output|-o (text|nvmxml|json)]"
                                 "SMART:\nshow [-help|-h] [-output|-o (text|nvmxml|json)]";
    EXPECT_EQ(help({{"verb", "show"}})->outputText(), expected);
    EXPECT_EQ(help({{"verb", "SHOW"}})->outputText(), expected);
    EXPECT_FALSE(help({{"verb", "show"}})->getShowFull());
    EXPECT_EQ(help({{"verb", "sho"}})->outputText(), "No commands to display\n") << "a verb is matched whole";
}

TEST_F(HelpFeatureTest, FiltersByAPartOfTheNameInAnyCase) {
    const std::string expected = std::string(LIST_HEAD) +
                                 "Firmware:\nshow [-help|-h] [-output|-o (text|nvmxml|json)]"
                                 "firmwareUpdate:\nload [-help|-h] [-output|-o (text|nvmxml|json)]";
    EXPECT_EQ(help({{"Name", "firm"}})->outputText(), expected);
    EXPECT_EQ(help({{"Name", "IRMwa"}})->outputText(), expected);
}

TEST_F(HelpFeatureTest, ShowsTheOnlyMatchInFull) {
    const auto result = help({{"Name", "smar"}});
    EXPECT_EQ(result->outputText(), page("SMART", "show"));
    EXPECT_TRUE(result->getShowFull());
}

TEST_F(HelpFeatureTest, ShowsTheExactNameAloneThoughOthersContainIt) {
    for (const char* name : {"Firmware", "FIRMWARE", "firmware"}) {
        const auto result = help({{"Name", name}});
        EXPECT_EQ(result->outputText(), page("Firmware", "show")) << name;
        EXPECT_FALSE(result->getShowFull()) << "left at its default in this case";
    }
}

TEST_F(HelpFeatureTest, ThrowsEarlierMatchesAwayForTheExactName) {
    Framework::getInstance().removeFeature("Catalogue");
    struct TwoNames : Catalogue {
        void getPaths(std::vector<CommandSpec>& commands) override {
            commands.push_back(command("update", "load"));
            commands.push_back(command("Firmware update", "show"));
        }
    } twoNames;
    ASSERT_TRUE(Framework::getInstance().registerFeature("Catalogue", &twoNames));
    EXPECT_EQ(help({{"Name", "Update"}})->outputText(), page("update", "load"));
}

TEST_F(HelpFeatureTest, NeedsBothFiltersToMatch) {
    EXPECT_EQ(help({{"verb", "show"}, {"Name", "firm"}})->outputText(), page("Firmware", "show"));
    EXPECT_EQ(help({{"verb", "delete"}, {"Name", "firm"}})->outputText(), "No commands to display\n");
    EXPECT_EQ(help({{"verb", "load"}, {"Name", "firmware"}})->outputText(), page("firmwareUpdate", "load"));
}

TEST_F(HelpFeatureTest, HidesCommandsWithoutAHelpOption) {
    const auto result = help({{"Name", "FirmwareHidden"}});
    EXPECT_EQ(result->outputText(), "No commands to display\n");
    EXPECT_EQ(result->outputXml(), "<Help></Help>\n");
    EXPECT_EQ(help({{"verb", "help"}})->outputText(), "No commands to display\n") << "help does not list itself";
}

TEST_F(HelpFeatureTest, ReadsItsFiltersByTheirExactNames) {
    EXPECT_EQ(help({{"name", "SMART"}, {"Verb", "show"}})->getCount(), 4u);
}

TEST_F(HelpFeatureTest, DescribesItsCommandForAnyOtherVerb) {
    CommandSpec spec = command("One", "show");
    spec.addOption(OPTION_OUTPUT);
    for (const char* verb : {"show", "version", "HELP", ""}) {
        const auto result = run(HelpFeature(spec), {verb, {{"-help", ""}}, {}, {{"Name", "SMART"}}});
        EXPECT_EQ(result->outputText(), page("One", "show")) << verb;
        EXPECT_TRUE(result->getShowFull());
    }
}

TEST_F(HelpFeatureTest, BringsOneCommandWithoutAHelpOption) {
    std::vector<CommandSpec> commands;
    HelpFeature().getPaths(commands);
    ASSERT_EQ(commands.size(), 1u);
    const CommandSpec& spec = commands.front();
    EXPECT_EQ(spec.id, 0);
    EXPECT_EQ(spec.name, "Help");
    EXPECT_EQ(spec.verb, "help");
    EXPECT_EQ(spec.help,
              "Retrieve a list of supported commands. Filter the results by providing a specific verb or command name. "
              "By default, if the filter is specific enough to indicate a single command, detailed help will be "
              "displayed for that command.");
    EXPECT_EQ(spec.asStr(), "help   [Name = (name)] [verb = (verb)]");
    EXPECT_EQ(CommandSpec::listToString(spec.properties, true), "[Name = (name)] [verb = (verb)]");
    EXPECT_TRUE(spec.options.empty());
    EXPECT_TRUE(spec.targets.empty());
}

TEST_F(HelpFeatureTest, AppendsItsCommand) {
    std::vector<CommandSpec> commands = {command("Before", "show")};
    HelpFeature().getPaths(commands);
    ASSERT_EQ(commands.size(), 2u);
    EXPECT_EQ(commands[0].name, "Before");
}

TEST_F(HelpFeatureTest, IsRegisteredFromTheStart) {
    HelpFeature other;
    EXPECT_FALSE(Framework::getInstance().registerFeature("HelpFeature", &other)) << "the key is taken";
}

TEST_F(HelpFeatureTest, MatchesNamesAnywhereInAnyCase) {
    EXPECT_TRUE(HelpFeature::matchCommandName("firm", "LoadFIRMware"));
    EXPECT_TRUE(HelpFeature::matchCommandName("FIRM", "firm"));
    EXPECT_TRUE(HelpFeature::matchCommandName("", "firm"));
    EXPECT_FALSE(HelpFeature::matchCommandName("firmware", "firm"));
    EXPECT_FALSE(HelpFeature::matchCommandName("f rm", "firm"));
}

}  // namespace
}  // namespace cli::framework
