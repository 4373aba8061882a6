#include <gtest/gtest.h>

#include "CLI/cli_system/Settings.h"
#include "CLI/cli_system/SystemFeature.h"
#include "ostrel/interfaces/cli/cliframework/ErrorResult.h"
#include "ostrel/interfaces/cli/cliframework/Framework.h"
#include "tests/support/TemporaryFolder.h"

namespace cli::system {

using namespace framework;

namespace {

// The outcome of a command: "code text".
std::string run(SystemFeature& feature, std::int32_t id, const ParsedCommand& command) {
    const auto result = feature.run(CommandSpec(id, "", "", ""), command);
    return std::to_string(result->getErrorCode()) + " " + result->output();
}

std::string show(SystemFeature& feature, const std::string& displayList) {
    return run(feature, 2, {"show", {{"-display", displayList}}, {{"-system", ""}}, {}});
}

std::string set(std::int32_t id, const std::string& key, const std::string& value) {
    SystemFeature feature;
    return run(feature, id, {"set", {}, {{"-system", ""}}, {{key, value}}});
}

void put(ostrel::core::AttributeList& settings, const std::string& key, const std::string& value) {
    settings.insert_or_assign(key, ostrel::core::Attribute(key, "", "string", value));
}

TEST(SystemFeature, DeclaresItsCommands) {
    std::vector<CommandSpec> commands;
    SystemFeature().getPaths(commands);
    std::vector<std::string> lines;
    for (const CommandSpec& command : commands) {
        std::string line = std::to_string(command.id) + "|" + command.name + "|" + command.help + "|" + command.asStr();
        for (const auto* parts : {&command.targets, &command.properties})
            for (const CommandPart& part : *parts) line += "|" + part.help;
        lines.push_back(line);
    }
    EXPECT_EQ(lines,
              (std::vector<std::string>{
                  // NOLINTNEXTLINE(bugprone-suspicious-missing-comma): a line of output takes several here
                  "0|EnableLog|Enable/Disable Velko Nimbrel Tool debug log.|set [-help|-h] -system EnableLog = "
                  "('true'|'false')|System target is required.|true = enable Velko Nimbrel Tool logging. false = "
                  "disable Velko Nimbrel Tool logging.",
                  "1|LogFile|Set the path and filename of the Velko Nimbrel Tool log file.|set [-help|-h] -system "
                  "LogFile = (file name)|System target is required.|Valid directory path and file name",
                  "2|System|Show Velko Nimbrel Tool's configuration settings.|show [-help|-h] [-display|-d "
                  "(Property1,...)] -system|System target is required.",
                  "4|AdditionalFWModDir|Add an additional firmware module directory.|set  -system AdditionalFWModDir = "
                  "(directory path)|System target is required.|Valid path to directory containing firmware module(s).",
                  "5|VelkoSSDFeaturesPath|Set the path to the Velko SSD Features library.|set  -system "
                  "VelkoSSDFeaturesPath = (library path)|System target is required.|Valid path to Velko SSD Features "
                  "library.",
              }));
}

TEST(SystemFeature, IsRegistered) {
    EXPECT_FALSE(Framework::getInstance().registerFeature("System", &SystemFeature::getInstance()));
}

TEST(SystemFeature, ShowsLogSettingsByDefault) {
    SystemFeature feature;
    EXPECT_EQ(run(feature, 2, {"show", {}, {{"-system", ""}}, {}}),
              "0 - Velko Nimbrel Tool Configuration File -\n"
              "EnableLog: false\n"
              "LogFile: /var/log/VelkoSSDOSTREL.log\n"
              "\n");
}

TEST(SystemFeature, ShowsWhatIsAskedForInItsOwnOrder) {
    SystemFeature feature;
    EXPECT_EQ(show(feature, "VelkoSSDFeaturesPath,logfile,ENABLELOG,EnableLSIAdapter,AdditionalFWModDir"),
              "0 - Velko Nimbrel Tool Configuration File -\n"
              "EnableLog: false\n"
              "EnableLSIAdapter: false\n"
              "LogFile: /var/log/VelkoSSDOSTREL.log\n"
              "AdditionalFWModDir: \n"
              "VelkoSSDFeaturesPath: \n"
              "\n");
    EXPECT_EQ(show(feature, "EnableLSIAdapter"),
              "0 - Velko Nimbrel Tool Configuration File -\n"
              "EnableLSIAdapter: false\n"
              "\n");
}

TEST(SystemFeature, SaysWhatDoesNotExist) {
    SystemFeature feature;
    EXPECT_EQ(show(feature, "Foo"),
              "0 - Velko Nimbrel Tool Configuration File -\n"
              "Foo: Property does not exist.\n"
              "\n");
    EXPECT_EQ(show(feature, "Foo,LogFile,, EnableLog,foo,Bar"),
              "0 - Velko Nimbrel Tool Configuration File -\n"
              "LogFile: /var/log/VelkoSSDOSTREL.log\n"
              "Foo: Property does not exist.\n"
              ": Property does not exist.\n"
              " EnableLog: Property does not exist.\n"
              "Bar: Property does not exist.\n"
              "\n")
        << "nothing is trimmed, and a name is reported once";
}

TEST(SystemFeature, ShowsFurtherSettingsAndTheFilesSpelling) {
    SystemFeature feature;
    ostrel::core::AttributeList settings;
    put(settings, "Further", "more");
    put(settings, "logFILE", "/tmp/log");
    put(settings, "ENABLElog", "true");
    settings.insert_or_assign("Empty", ostrel::core::Attribute("Empty", "", "string"));
    feature.setSettings(settings);
    EXPECT_EQ(show(feature, "enablelog,logfile"),
              "0 - Velko Nimbrel Tool Configuration File -\n"
              "ENABLElog: true\n"
              "logFILE: /tmp/log\n"
              "\n");
    EXPECT_EQ(show(feature, "further"), "0 - Velko Nimbrel Tool Configuration File -\nFurther: more\n\n");
    EXPECT_EQ(show(feature, "empty"), "0 - Velko Nimbrel Tool Configuration File -\nEmpty: \n\n");
}

TEST(SystemFeature, RefusesBadValues) {
    TemporaryFolder folder;
    writeWholeFile(folder / "file", "");
    const struct {
        std::int32_t id;
        const char* key;
        std::string value;
        std::string outcome;
    } CASES[] = {
        {0, "EnableLog", "maybe",
         "6 Error: Invalid value for EnableLog property. Supported values are 'true' and 'false'."},
        {0, "EnableLog", "", "6 Error: Invalid value for EnableLog property. Supported values are 'true' and 'false'."},
        {3, "EnableLSIAdapter", "1",
         "6 Error: Invalid value for EnableLSIAdapter property. Supported values are 'true' and 'false'."},
        {4, "AdditionalFWModDir", folder / "absent",
         "8 Error: Invalid directory given for AdditionalFWModDir property. Directory must exist."},
        {4, "AdditionalFWModDir", folder / "file",
         "8 Error: Invalid directory given for AdditionalFWModDir property. Directory must exist."},
        {4, "AdditionalFWModDir", "",
         "8 Error: Invalid directory given for AdditionalFWModDir property. Directory must exist."},
        {5, "VelkoSSDFeaturesPath", folder / "absent",
         "8 Error: Invalid path given for VelkoSSDFeaturesPath property. File must exist."},
        {5, "VelkoSSDFeaturesPath", folder / "",
         "8 Error: Invalid path given for VelkoSSDFeaturesPath property. File must exist."},
        {5, "VelkoSSDFeaturesPath", "",
         "8 Error: Invalid path given for VelkoSSDFeaturesPath property. File must exist."},
        {1, "LogFile", folder / "", "9 Error: Invalid file name - " + folder / ""},
        {1, "LogFile", ".", "9 Error: Invalid file name - ."},
        {1, "LogFile", "..", "9 Error: Invalid file name - .."},
        {1, "LogFile", "", "9 Error: Invalid file name - "},
    };
    for (const auto& c : CASES) EXPECT_EQ(set(c.id, c.key, c.value), c.outcome) << c.key << "=" << c.value;
}

TEST(SystemFeature, NeedsTheProperty) {
    EXPECT_EQ(set(0, "enablelog", "true"), "7 Error: Could not find property for: EnableLog");
    EXPECT_EQ(set(1, "Other", "x"), "7 Error: Could not find property for: LogFile");
    EXPECT_EQ(set(3, "Other", "x"), "7 Error: Could not find property for: EnableLSIAdapter");
    EXPECT_EQ(set(4, "Other", "x"), "7 Error: Could not find property for: AdditionalFWModDir");
    EXPECT_EQ(set(5, "Other", "x"), "7 Error: Could not find property for: VelkoSSDFeaturesPath");
}

TEST(SystemFeature, DoesNotKnowOtherCommands) {
    SystemFeature feature;
    EXPECT_EQ(run(feature, 6, {}),
              "3 Error: CommandSpecId 6 of Feature System is not supported in the current context.");
    EXPECT_EQ(run(feature, -1, {}),
              "3 Error: CommandSpecId -1 of Feature System is not supported in the current context.");
}

}  // namespace

}  // namespace cli::system
