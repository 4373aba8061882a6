#include <CLI/CLI.hpp>
#include <gtest/gtest.h>

#include "simdrive/CommandLine.h"
#include "simdrive/CommandTable.h"

namespace simdrive {
namespace {

using Words = std::vector<std::string>;

TEST(CommandLine, TakesNamesAndOptionsInAnyOrder) {
    for (const Words& words : {Words{"remove", "--folder", "x", "a", "b"}, Words{"remove", "a", "--folder", "x", "b"},
                               Words{"remove", "a", "b", "--folder=x"}}) {
        const CommandLine line = CommandLine::parse(words);
        EXPECT_EQ(line.error, "");
        EXPECT_EQ(line.folder, "x");
    }
    EXPECT_EQ(CommandLine::parse({"list"}).folder, std::nullopt);
}

TEST(CommandLine, TakesAnyTextForAValue) {
    for (const char* value : {"a=b", "--7", "-7", "--json", "--", "{}", "[a,b]", "a,b", "%%", "\"a\"", " ", "list"}) {
        EXPECT_EQ(CommandLine::parse({"list", "--folder", value}).folder, value);
        EXPECT_EQ(CommandLine::parse({"list", std::string("--folder=") + value, "--json"}).folder, value);
    }
    EXPECT_EQ(CommandLine::parse({"fault", "a", "--smart=", "--gone", "", "--json"}).error, "") << "an empty one, too";
}

TEST(CommandLine, ANameMayBeThatOfACommandOrBeginWithADash) {
    for (const char* name : {"list", "remove", "-x", "-1", "-"})
        EXPECT_EQ(CommandLine::parse({"snapshot", name}).error, "") << name;
}

TEST(CommandLine, KnowsWhichCommandMakesTheFolder) {
    for (const CommandRow& row : commandRows()) {
        Words words{row.name};
        words.insert(words.end(), row.minNames, "a");
        const CommandLine line = CommandLine::parse(words);
        EXPECT_EQ(line.error, "") << row.name;
        // A host whose drive is captured need not have simulated ones.
        const bool mayLackFolder = words[0] == "create" || words[0] == "capture";
        EXPECT_EQ(line.makesDrives, mayLackFolder) << row.name;
    }
}

const struct {
    Words words;
    const char* error;
} WRONG[] = {
    {{"make"}, "There is no command \"make\"; nimbrel-simdrive --help lists them."},
    {{""}, "There is no command \"\"; nimbrel-simdrive --help lists them."},
    {{"--json", "list"}, "There is no command \"--json\"; nimbrel-simdrive --help lists them."},
    {{"Create"}, "There is no command \"Create\"; nimbrel-simdrive --help lists them."},
    {{"create", "--speed", "1"}, "There is no option --speed."},
    {{"create", "--speed=1"}, "There is no option --speed."},
    {{"create", "--speed="}, "There is no option --speed."},
    {{"create", "--Size", "1M"}, "There is no option --Size."},
    {{"create", "--siz", "1M"}, "There is no option --siz."},
    {{"create", "--json!"}, "There is no option --json!."},
    {{"remove", "a", "--json"}, "There is no option --json."},
    {{"remove", "a", "--"}, "There is no option --."},
    {{"remove", "--", "--json"}, "There is no option --."},
    {{"remove", "a", "--="}, "There is no option --."},
    {{"remove", "a", "++"}, "There is no option ++."},
    {{"remove", "a", "++", "b"}, "There is no option ++."},
    {{"create", "--size"}, "--size needs a value."},
    {{"create", "a", "--json", "--serial"}, "--serial needs a value."},
    {{"list", "--folder"}, "--folder needs a value."},
    {{"list", "--folder="}, "--folder needs a path."},
    {{"create", "--folder=", "a"}, "--folder needs a path."},
    {{"create", "--folder", "", "a"}, "--folder needs a path."},
    {{"create", "--json=1"}, "--json takes no value."},
    {{"create", "--json=false"}, "--json takes no value."},
    {{"create", "--size", "1M", "--size=2M"}, "--size is given twice."},
    {{"create", "--json", "--json"}, "--json is given twice."},
    {{"fault", "a", "--gone", "yes", "--gone", "no"}, "--gone is given twice."},
    {{"list", "a"}, "list takes no name."},
    {{"create", "a", "b"}, "One name is enough: --count numbers the drives."},
    {{"remove"}, "remove needs the name of a drive."},
    {{"reset", "a", "b"}, "reset needs the name of one drive."},
};

TEST(CommandLine, SaysWhatIsWrong) {
    for (const auto& c : WRONG)
        EXPECT_EQ(CommandLine::parse(c.words).error, c.error) << ::testing::PrintToString(c.words);
}

TEST(CommandLine, HelpNamesEachOption) {
    for (const CommandRow& row : commandRows()) {
        CLI::App command;
        command.set_help_flag();
        const std::string help = row.define(command).help;
        EXPECT_EQ(help.rfind(std::string("  nimbrel-simdrive ") + row.name, 0), 0u) << help;
        for (const CLI::Option* option : command.get_options())
            EXPECT_NE(help.find(option->get_name() + (option->get_items_expected_max() == 0 ? "]" : " ")), help.npos)
                << row.name << ' ' << option->get_name();
    }
}

}  // namespace
}  // namespace simdrive
