#include <gtest/gtest.h>

#include "ostrel/interfaces/cli/cliframework/CommonParts.h"
#include "ostrel/interfaces/cli/cliframework/Framework.h"
#include "ostrel/interfaces/cli/cliframework/HelpResult.h"
#include "tests/unit/cliframework/ExpectForms.h"

namespace cli::framework {
namespace {

template <std::size_t WIDTH>
std::size_t width() {
    return WIDTH;
}

class HelpResultTest : public testing::Test {
protected:
    void SetUp() override { Framework::getInstance().exeName = "./nimbrel"; }
    void TearDown() override { Framework::getInstance().exeName.clear(); }
};

/// One part of each kind; a double quote in every text of the property.
CommandSpec showCommand() {
    CommandSpec command(0, "Show", "show", "Show \"it\".\nSecond <line>.");
    command.addOption(OPTION_ALL);
    command.addTarget("-velkossd", true, "Index", false, "");
    command.addProperty("Na\"me", false, "n\"1", true, "One of \"a\" or \"b\".");
    return command;
}

CommandSpec plainCommand() {
    return {1, "Plain", "reset", "No parts."};
}

/// The text of a page whose description wraps at the width.
template <std::size_t WIDTH>
std::string wrapped(const std::string& description) {
    HelpResult result(width<WIDTH>);
    result.push_back(CommandSpec(0, "N", "v", description));
    const std::string page = result.outputText();
    const std::string head = "Name: N\nDescription:\n";
    const std::string tail = "Synopsis:\n    v\nVerb:\n    v\nOptions:\nTargets:\nProperties:\n\n";
    EXPECT_EQ(page.substr(0, head.size()), head);
    EXPECT_EQ(page.substr(page.size() - tail.size()), tail);
    return page.substr(head.size(), page.size() - head.size() - tail.size());
}

TEST_F(HelpResultTest, StartsEmptyAndShort) {
    HelpResult result;
    EXPECT_EQ(result.getErrorCode(), 0);
    EXPECT_EQ(result.getCount(), 0u);
    EXPECT_FALSE(result.getShowFull());
    result.setShowFull(true);
    EXPECT_TRUE(result.getShowFull());
}

TEST_F(HelpResultTest, RendersNoCommands) {
    HelpResult result(width<80>);
    expectForms(result, {
                            "No commands to display\n",
                            "<Help></Help>\n",
                            "",
                            "No commands to display\n",
                            "{\n}\n",
                            "",
                        });
}

TEST_F(HelpResultTest, RendersOneCommandAsAPage) {
    HelpResult result(width<80>);
    result.push_back(showCommand());
    const std::string text =
        "Name: Show\n"
        "Description:\n"
        "    Show \"it\".\n"
        "    Second <line>.\n"
        "Synopsis:\n"
        "    show [-all|-a] -velkossd [(Index)] [Na\"me = (n\"1)]\n"
        "Verb:\n"
        "    show\n"
        "Options:\n"
        "    [-all|-a] -- Display all possible attributes.\n"
        "Targets:\n"
        "    -velkossd [(Index)]\n"
        "Properties:\n"
        "    [Na\"me = (n\"1)] -- One of \"a\" or \"b\".\n"
        "\n";
    expectForms(result, {
                            text,
                            "<Help>\n"
                            "\t<Command Name=\"Show\">\n"
                            "\t\t<Description>Show \"it\".\nSecond <line>.</Description>\n"
                            "\t\t<Verb>show</Verb>\n"
                            "\t\t<Options>\n"
                            "\t\t\t<Option Name=\"-all\" Description=\"Display all possible attributes.\" "
                            "Required=\"False\" Value=\"\" ValueRequired=\"False\"/>\n"
                            "\t\t</Options>\n"
                            "\t\t<Targets>\n"
                            "\t\t\t<Target Name=\"-velkossd\" Description=\"\" Required=\"True\" Value=\"Index\" "
                            "ValueRequired=\"False\"/>\n"
                            "\t\t</Targets>\n"
                            "\t\t<Properties>\n"
                            "\t\t\t<Property Name=\"Na\"me\" Description=\"One of \"a\" or \"b\".\" "
                            "Required=\"False\" Value=\"n\"1\" ValueRequired=\"True\"/>\n"
                            "\t\t</Properties>\n"
                            "\t</Command>\n"
                            "</Help>\n",
                            "",
                            text,
                            "{\n"
                            "\t\"Show\": {\n"
                            "\t\t\"Description\":\"Show \"it\".\nSecond <line>.\",\n"
                            "\t\t\"Verb\":\"show\",\n"
                            "\t\t\"Options\": {\n"
                            "\t\t\t\"-all\": {\n"
                            "\t\t\t\"Description\":\"Display all possible attributes.\",\n"
                            "\t\t\t\"Required\":false,\n"
                            "\t\t\t\"Value\":\"\",\n"
                            "\t\t\t\"ValueRequired\":false\n"
                            "\t\t\t}\n"
                            "\t\t},\n"
                            "\t\t\"Targets\": {\n"
                            "\t\t\t\"-velkossd\": {\n"
                            "\t\t\t\"Description\":\"\",\n"
                            "\t\t\t\"Required\":true,\n"
                            "\t\t\t\"Value\":\"Index\",\n"
                            "\t\t\t\"ValueRequired\":false\n"
                            "\t\t\t}\n"
                            "\t\t},\n"
                            "\t\t\"Properties\": {\n"
                            "\t\t\t\"Na'me\": {\n"
                            "\t\t\t\"Description\":\"One of 'a' or 'b'.\",\n"
                            "\t\t\t\"Required\":false,\n"
                            "\t\t\t\"Value\":\"n'1\",\n"
                            "\t\t\t\"ValueRequired\":true\n"
                            "\t\t\t}\n"
                            "\t\t}\n"
                            "\t}\n"
                            "}\n",
                            "Show,\n"
                            "Description,Show \"it\".\nSecond <line>.,\n"
                            "Verb,show,\n"
                            "Options,\n"
                            "-all,\n"
                            "Description,Display all possible attributes.,\n"
                            "Required,False,\n"
                            "Value,,\n"
                            "ValueRequired,False,\n"
                            ",\n"
                            "Targets,\n"
                            "-velkossd,\n"
                            "Description,,\n"
                            "Required,True,\n"
                            "Value,Index,\n"
                            "ValueRequired,False,\n"
                            ",\n"
                            "Properties,\n"
                            "Na\"me,\n"
                            "Description,One of \"a\" or \"b\".,\n"
                            "Required,False,\n"
                            "Value,n\"1,\n"
                            "ValueRequired,True,\n"
                            ",\n",
                        });
}

TEST_F(HelpResultTest, RendersSeveralCommandsAsAList) {
    HelpResult result(width<80>);
    result.push_back(plainCommand());
    CommandSpec second(2, "Two", "show", "");
    second.addOption(OPTION_WAIT);
    second.addOption(OPTION_FORCE);
    result.push_back(second);
    const std::string text =
        "Usage:  ./nimbrel <verb>[<options>][<targets>][<properties>]\n"
        "\n"
        "Commands: \n"
        "Plain:\n"
        "    reset\n"
        "Two:\n"
        "    show [-wait|-w] [-force|-f]\n";
    expectForms(result,
                {
                    text,
                    "<Help>\n"
                    "\t<Command Name=\"Plain\">\n"
                    "\t\t<Description>No parts.</Description>\n"
                    "\t\t<Verb>reset</Verb>\n"
                    "\t\t<Options></Options>\n"
                    "\t\t<Targets></Targets>\n"
                    "\t\t<Properties></Properties>\n"
                    "\t</Command>\n"
                    "\t<Command Name=\"Two\">\n"
                    "\t\t<Description></Description>\n"
                    "\t\t<Verb>show</Verb>\n"
                    "\t\t<Options>\n"
                    "\t\t\t<Option Name=\"-wait\" Description=\"Wait for the command to finish before "
                    "returning.\" Required=\"False\" Value=\"\" ValueRequired=\"False\"/>\n"
                    "\t\t\t<Option Name=\"-force\" Description=\"Force the operation\" Required=\"False\" "
                    "Value=\"\" ValueRequired=\"False\"/>\n"
                    "\t\t</Options>\n"
                    "\t\t<Targets></Targets>\n"
                    "\t\t<Properties></Properties>\n"
                    "\t</Command>\n"
                    "</Help>\n",
                    "",
                    text,
                    "{\n"
                    "\t\"Plain\": {\n"
                    "\t\t\"Description\":\"No parts.\",\n"
                    "\t\t\"Verb\":\"reset\",\n"
                    "\t\t\"Options\": {\n"
                    "\t\t},\n"
                    "\t\t\"Targets\": {\n"
                    "\t\t},\n"
                    "\t\t\"Properties\": {\n"
                    "\t\t}\n"
                    "\t},\n"
                    "\t\"Two\": {\n"
                    "\t\t\"Description\":\"\",\n"
                    "\t\t\"Verb\":\"show\",\n"
                    "\t\t\"Options\": {\n"
                    "\t\t\t\"-wait\": {\n"
                    "\t\t\t\"Description\":\"Wait for the command to finish before returning.\",\n"
                    "\t\t\t\"Required\":false,\n"
                    "\t\t\t\"Value\":\"\",\n"
                    "\t\t\t\"ValueRequired\":false\n"
                    "\t\t\t},\n"
                    "\t\t\t\"-force\": {\n"
                    "\t\t\t\"Description\":\"Force the operation\",\n"
                    "\t\t\t\"Required\":false,\n"
                    "\t\t\t\"Value\":\"\",\n"
                    "\t\t\t\"ValueRequired\":false\n"
                    "\t\t\t}\n"
                    "\t\t},\n"
                    "\t\t\"Targets\": {\n"
                    "\t\t},\n"
                    "\t\t\"Properties\": {\n"
                    "\t\t}\n"
                    "\t}\n"
                    "}\n",
                    "Plain,\nDescription,No parts.,\nVerb,reset,\nOptions,\n,\nTargets,\n,\nProperties,\n,\n"
                    "Two,\nDescription,,\nVerb,show,\nOptions,\n"
                    "-wait,\nDescription,Wait for the command to finish before returning.,\nRequired,False,\n"
                    "Value,,\nValueRequired,False,\n"
                    "-force,\nDescription,Force the operation,\nRequired,False,\nValue,,\nValueRequired,False,\n"
                    ",\nTargets,\n,\nProperties,\n,\n",
                });
}

TEST_F(HelpResultTest, LetsThePiecesOfAPageRunTogetherWithoutATerminal) {
    HelpResult result(width<0>);
    result.push_back(showCommand());
    EXPECT_EQ(result.outputText(),
              "Name: Show\n"
              "Description:\n"
              "Show \"it\".\nSecond <line>.Synopsis:\n"
              "show [-all|-a] -velkossd [(Index)] [Na\"me = (n\"1)]Verb:\n"
              "    show\n"
              "Options:\n"
              "[-all|-a] -- Display all possible attributes.Targets:\n"
              "-velkossd [(Index)]Properties:\n"
              "[Na\"me = (n\"1)] -- One of \"a\" or \"b\".\n");
}

TEST_F(HelpResultTest, LetsAUsageLineRunIntoTheNextNameWithoutATerminal) {
    HelpResult result(width<0>);
    result.push_back(plainCommand());
    result.push_back(plainCommand());
    EXPECT_EQ(result.outputText(),
              "Usage:  ./nimbrel <verb>[<options>][<targets>][<properties>]\n\nCommands: \nPlain:\nresetPlain:\nreset");
}

TEST_F(HelpResultTest, DoesNotWrapOnRequest) {
    HelpResult list(width<10>);
    list.setShouldWrap(false);
    list.push_back(plainCommand());
    EXPECT_EQ(
        list.outputText(),
        "Name: Plain\nDescription:\nNo parts.Synopsis:\nresetVerb:\n    reset\nOptions:\nTargets:\nProperties:\n\n");
    list.push_back(plainCommand());
    EXPECT_EQ(list.outputText(),
              "Usage:  ./nimbrel <verb>[<options>][<targets>][<properties>]\n\nCommands: \nPlain:\nresetPlain:\nreset");
}

TEST_F(HelpResultTest, ChoosesTheFormByTheNumberOfCommandsAndNotByShowFull) {
    HelpResult result(width<0>);
    result.push_back(plainCommand());
    const std::string page = result.outputText();
    result.setShowFull(true);
    EXPECT_EQ(result.outputText(), page);
}

TEST_F(HelpResultTest, WrapsBetweenWords) {
    constexpr auto at5 = wrapped<5>;
    EXPECT_EQ(at5(""), "");
    EXPECT_EQ(at5("abcde"), "    abcde\n") << "a line may fill the width";
    EXPECT_EQ(at5("ab cd"), "    ab cd\n");
    EXPECT_EQ(at5("ab cd ef"), "    ab\n    cd ef\n") << "the last blank within the width, not the one just after it";
    EXPECT_EQ(at5("a b c d e"), "    a b\n    c d e\n");
    EXPECT_EQ(at5("abcde "), "    abcde\n") << "the blank at the break is skipped";
    EXPECT_EQ(at5("ab  cdefg"), "    ab \n    cdefg\n") << "one blank of two is skipped";
    EXPECT_EQ(at5("a\tb\rc"), "    a\tb\rc\n") << "a tab or a carriage return is a character like any other";
}

TEST_F(HelpResultTest, BreaksAtLineFeeds) {
    constexpr auto at5 = wrapped<5>;
    EXPECT_EQ(at5("a\nb"), "    a\n    b\n");
    EXPECT_EQ(at5("a\n\nb"), "    a\n    \n    b\n");
    EXPECT_EQ(at5("a\n"), "    a\n");
    EXPECT_EQ(at5("\na"), "    \n    a\n");
    EXPECT_EQ(at5("abcde\nf"), "    abcde\n    f\n") << "a line feed right after a full line";
    EXPECT_EQ(at5("ab cde\nf"), "    ab\n    cde\n    f\n") << "a line feed beyond the width";
}

TEST_F(HelpResultTest, LosesOneCharacterWhereAWordIsCut) {
    constexpr auto at5 = wrapped<5>;
    EXPECT_EQ(at5("abcdefghij"), "    abcde\n    ghij\n");
    EXPECT_EQ(at5("abcdef"), "    abcde\n");
    EXPECT_EQ(at5("abcdefghijklm"), "    abcde\n    ghijk\n    m\n");
    EXPECT_EQ(at5(" abcdefgh"), "     abcd\n    fgh\n") << "a blank in front is no place to break";
    EXPECT_EQ(wrapped<1>("abc"), "    a\n    c\n");
}

TEST_F(HelpResultTest, WrapsTheTextOfEachPart) {
    HelpResult result(width<20>);
    CommandSpec command(0, "N", "v", "d");
    command.addProperty("A", false, "", false, "twelve chars here");
    command.addProperty("B", true, "", false, "");
    result.push_back(command);
    EXPECT_EQ(result.outputText(),
              "Name: N\nDescription:\n    d\nSynopsis:\n    v   [A] B\nVerb:\n    v\nOptions:\nTargets:\nProperties:\n"
              "    [A] -- twelve chars\n"
              "    here\n"
              "    B\n\n");
}

TEST_F(HelpResultTest, WrapsAPropertyAt80CharactersBesidesTheIndent) {
    HelpResult result(width<80>);
    CommandSpec command(0, "N", "v", "d");
    command.addProperty("A", true, "", false, std::string(74, 'x') + " end");         // a blank as the 80th character
    command.addProperty("B", true, "", false, "b " + std::string(73, 'x') + " end");  // as the 81st: too late
    command.addProperty("C", true, "", false, std::string(85, 'x'));                  // too long for any line
    result.push_back(command);
    EXPECT_EQ(result.outputText(),
              "Name: N\nDescription:\n    d\nSynopsis:\n    v   A B C\nVerb:\n    v\nOptions:\nTargets:\nProperties:\n"
              "    A -- xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx\n"
              "    end\n"
              "    B -- b\n"
              "    xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx end\n"
              "    C --\n"
              "    xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx\n"
              "    xxxx\n\n");
}

std::size_t nextWidth = 0;
std::size_t changingWidth() {
    return nextWidth;
}

TEST_F(HelpResultTest, AsksForTheWidthAtEachRendering) {
    HelpResult result(changingWidth);
    result.push_back(CommandSpec(0, "N", "v", "abc"));
    nextWidth = 0;
    EXPECT_EQ(result.outputText(),
              "Name: N\nDescription:\nabcSynopsis:\nvVerb:\n    v\nOptions:\nTargets:\nProperties:\n\n");
    nextWidth = 2;
    EXPECT_EQ(result.outputText(),
              "Name: N\nDescription:\n    ab\nSynopsis:\n    v\nVerb:\n    v\nOptions:\nTargets:\nProperties:\n\n");
}

}  // namespace
}  // namespace cli::framework
