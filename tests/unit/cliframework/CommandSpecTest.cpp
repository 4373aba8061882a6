#include <gtest/gtest.h>

#include "ostrel/interfaces/cli/cliframework/CommandSpec.h"
#include "ostrel/interfaces/cli/cliframework/CommonParts.h"
#include "ostrel/interfaces/cli/cliframework/Constants.h"

namespace cli::framework {
namespace {

TEST(CommandSpec, StartsEmpty) {
    const CommandSpec spec;
    EXPECT_EQ(spec.id, 0);
    EXPECT_EQ(spec.name + spec.verb + spec.help, "");
    EXPECT_TRUE(spec.options.empty() && spec.targets.empty() && spec.properties.empty());
    EXPECT_EQ(spec.asStr(), "");
}

TEST(CommandSpec, TakesIdNameVerbAndHelp) {
    const CommandSpec spec(72, "Help", "help", "Retrieve a list.");
    EXPECT_EQ(spec.id, 72);
    EXPECT_EQ(spec.name, "Help");
    EXPECT_EQ(spec.verb, "help");
    EXPECT_EQ(spec.help, "Retrieve a list.");
}

TEST(CommandSpec, BuildsPartsFromTheirFields) {
    CommandSpec spec;
    const CommandPart option = spec.addOption("-a", true, "v", true, "h", "-s");
    EXPECT_EQ(option.name, "-a");
    EXPECT_TRUE(option.required);
    EXPECT_EQ(option.value, "v");
    EXPECT_TRUE(option.valueRequired);
    EXPECT_EQ(option.help, "h");
    EXPECT_EQ(option.shortName, "-s");
    EXPECT_FALSE(option.noValueAccepted || option.found);

    const CommandPart target = spec.addTarget("-t", false, "", false, "target");
    EXPECT_EQ(target.name + target.shortName + target.help, "-ttarget");
    const CommandPart property = spec.addProperty("P", false, "", false, "property");
    EXPECT_EQ(property.name + property.shortName + property.help, "Pproperty");

    ASSERT_EQ(spec.options.size(), 1u);
    ASSERT_EQ(spec.targets.size(), 1u);
    ASSERT_EQ(spec.properties.size(), 1u);
}

TEST(CommandSpec, KeepsTheFirstDefinitionOfAName) {
    CommandSpec spec;
    spec.addTarget("-t", false, "", false, "first");
    spec.addTarget("-T", false, "", false, "names are compared exactly");
    CommandPart& again = spec.addTarget("-t", true, "value", true, "second");
    ASSERT_EQ(spec.targets.size(), 2u);
    EXPECT_EQ(&again, &spec.targets[0]) << "the part that was there is returned";
    EXPECT_EQ(spec.targets[0].help, "first");
    EXPECT_FALSE(spec.targets[0].required);

    CommandPart& fresh = spec.addTarget(CommandPart{"-u"});
    EXPECT_EQ(&fresh, &spec.targets[2]);
}

struct UsageCase {
    CommandPart part;
    const char* asOption;
    const char* asProperty;
};

TEST(CommandSpec, ShowsEachKindOfPart) {
    const UsageCase cases[] = {
        {{"-x", true, "", false, "", ""}, "-x", "-x"},
        {{"-x", true, "", true, "", ""}, "-x", "-x"},
        {{"-x", true, "v", false, "", ""}, "-x [(v)]", "-x = [(v)]"},
        {{"-x", true, "v", true, "", ""}, "-x (v)", "-x = (v)"},
        {{"-x", true, "v", true, "", "-y"}, "-x|-y (v)", "-x|-y = (v)"},
        {{"-x", false, "", false, "", "-y"}, "[-x|-y]", "[-x|-y]"},
        {{"-x", false, "v", false, "", ""}, "[-x [(v)]]", "[-x = [(v)]]"},
        {{"Name", false, "v", true, "", ""}, "[Name (v)]", "[Name = (v)]"},
        {{"Name", true, "v", true, "", ""}, "Name (v)", "Name = (v)"},
    };
    for (const UsageCase& c : cases) {
        EXPECT_EQ(CommandSpec::listToString({c.part}, false), c.asOption);
        EXPECT_EQ(CommandSpec::listToString({c.part}, true), c.asProperty);
    }
}

TEST(CommandSpec, JoinsAListWithOneBlank) {
    EXPECT_EQ(CommandSpec::listToString({}, false), "");
    EXPECT_EQ(CommandSpec::listToString({OPTION_ALL, OPTION_SOURCE_REQUIRED}, false), "[-all|-a] -source (path)");
}

TEST(CommandSpec, UsageLineKeepsABlankForEachEmptyList) {
    CommandSpec spec(0, "Help", "help", "");
    EXPECT_EQ(spec.asStr(), "help");
    spec.addProperty(PROPERTY_NAME);
    spec.addProperty(PROPERTY_VERB);
    EXPECT_EQ(spec.asStr(), "help   [Name = (name)] [verb = (verb)]");
    spec.addTarget("-velkossd", true, "Index", false, "");
    EXPECT_EQ(spec.asStr(), "help  -velkossd [(Index)] [Name = (name)] [verb = (verb)]");
    spec.addOption(OPTION_HELP);
    EXPECT_EQ(spec.asStr(), "help [-help|-h] -velkossd [(Index)] [Name = (name)] [verb = (verb)]");
}

struct PartRow {
    const CommandPart& part;
    const char* name;
    const char* shortName;
    bool required;
    const char* value;
    bool valueRequired;
    bool noValueAccepted;
    const char* help;
};

TEST(CommonParts, AreTheSharedTable) {
    // clang-format off
    const PartRow rows[] = {
        {OPTION_ALL,      "-all",      "-a", false, "",              false, true,  "Display all possible attributes."},
        {OPTION_DISPLAY,  "-display",  "-d", false, "Property1,...", true,  false, "Specify which attributes are displayed."},
        {OPTION_WAIT,     "-wait",     "-w", false, "",              false, true,  "Wait for the command to finish before returning."},
        {OPTION_FORCE,    "-force",    "-f", false, "",              false, true,  "Force the operation"},
        {OPTION_SILENT,   "-silent",   "-s", false, "",              false, true,  "Silent operation"},
        {OPTION_EXAMINE,  "-examine",  "-x", false, "",              false, true,  "Examine the source file"},
        {OPTION_SOURCE,   "-source",   "",   false, "path",          true,  false, "Path to the source file."},
        {OPTION_SOURCE_REQUIRED,      "-source",      "", true,  "path", true, false, "Path to the source file."},
        {OPTION_DESTINATION,          "-destination", "", false, "path", true, false, "Path to the destination file."},
        {OPTION_DESTINATION_REQUIRED, "-destination", "", true,  "path", true, false, "Path to the destination file."},
        {OPTION_OUTPUT,   "-output",   "-o", false, "text|nvmxml|json", true, false, "Change the output format. One of \"text\", \"nvmxml\" or \"json\"."},
        {OPTION_HELP,     "-help",     "-h", false, "",              false, false, "Display help for the command."},
        {PROPERTY_VERB,   "verb",      "",   false, "verb",          true,  false, "Commands with verb to show help on."},
        {PROPERTY_NAME,   "Name",      "",   false, "name",          true,  false, "Commands to show help on."},
    };
    // clang-format on
    for (const PartRow& row : rows) {
        EXPECT_EQ(row.part.name, row.name);
        EXPECT_EQ(row.part.shortName, row.shortName) << row.name;
        EXPECT_EQ(row.part.required, row.required) << row.name;
        EXPECT_EQ(row.part.value, row.value) << row.name;
        EXPECT_EQ(row.part.valueRequired, row.valueRequired) << row.name;
        EXPECT_EQ(row.part.noValueAccepted, row.noValueAccepted) << row.name;
        EXPECT_EQ(row.part.help, row.help) << row.name;
        EXPECT_FALSE(row.part.found) << row.name;
    }
}

TEST(Constants, AreTheSharedWords) {
    const std::string verbs[] = {VERB_SHOW, VERB_START,  VERB_CREATE, VERB_DUMP,    VERB_SET,
                                 VERB_LOAD, VERB_DELETE, VERB_HELP,   VERB_VERSION, VERB_RESET};
    const std::string expectedVerbs[] = {"show", "start",  "create", "dump",    "set",
                                         "load", "delete", "help",   "version", "reset"};
    for (size_t i = 0; i < std::size(verbs); ++i) EXPECT_EQ(verbs[i], expectedVerbs[i]);

    EXPECT_STREQ(OUTPUT_TEXT, "text");
    EXPECT_STREQ(OUTPUT_NVMXML, "nvmxml");
    EXPECT_STREQ(OUTPUT_ESX, "esx");
    EXPECT_STREQ(OUTPUT_JSON, "json");
    EXPECT_STREQ(OUTPUT_CSV, "csv");
    EXPECT_STREQ(SUCCESS_TEXT, "Success");
    EXPECT_STREQ(NO_RESULTS_TEXT, "No results");
    EXPECT_STREQ(FIELD_RESULT, "Result");
    EXPECT_STREQ(FIELD_ERROR, "Error");
    EXPECT_STREQ(FIELD_ERROR_DESCRIPTION, "Error_Description");
    EXPECT_STREQ(FIELD_TYPE, "Type");
    EXPECT_STREQ(VALUE_REQUIRED_FORMAT, "A value is required for the %s '%s'.");
    EXPECT_STREQ(BAD_VALUE_FORMAT, "'%s' is not a valid setting for the %s '%s'.");
}

}  // namespace
}  // namespace cli::framework
