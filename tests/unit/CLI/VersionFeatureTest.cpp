#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "CLI/ToolInformation.h"
#include "CLI/VersionFeature.h"
#include "ostrel/interfaces/cli/cliframework/Framework.h"
#include "ostrel/interfaces/cli/cliframework/ParsedCommand.h"
#include "ostrel/interfaces/cli/cliframework/ResultBase.h"

namespace cli::version {

using namespace framework;

namespace {

std::string golden(const std::string& name) {
    const std::ifstream file(std::string(GOLDEN_FOLDER) + "/" + name);
    EXPECT_TRUE(file.is_open()) << name;
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

/// The outcome of the command "version" with these options.
std::unique_ptr<ResultBase> version(const std::map<std::string, std::string>& options, std::int32_t id = 0) {
    return VersionFeature().run(CommandSpec(id, "Version", "version", ""), {"version", options, {}, {}});
}

std::string render(const std::unique_ptr<ResultBase>& result, OutputType type) {
    result->setOutputType(type);
    return result->output();
}

TEST(VersionFeature, SaysWhatTheToolIs) {
    const auto result = version({});
    EXPECT_EQ(result->getErrorCode(), 0);
    EXPECT_EQ(render(result, OUTPUTTYPE_TEXT),
              "- Version Information -\n"
              "Name: Velko(R) Nimbrel Tool\n"
              "Version: 2.2.18\n"
              "Description: Interact and configure Velko SSDs.\n"
              "\n");
    EXPECT_EQ(render(result, OUTPUTTYPE_XML),
              "<RootList>\n"
              "<Version_Information>\n"
              "\t<Name>Velko(R) Nimbrel Tool</Name>\n"
              "\t<Version>2.2.18</Version>\n"
              "\t<Description>Interact and configure Velko SSDs.</Description>\n"
              "</Version_Information>\n"
              "</RootList>\n");
    EXPECT_EQ(render(result, OUTPUTTYPE_ESX_XML),
              "<?xml version=\"1.0\"?><output xmlns=\"http://www.vmware.com/Products/ESX/5.0/esxcli/\">"
              "<list type=\"structure\">"
              "<structure typeName=\"KeyValue\"><field name=\"Attribute Name\"><string>Name</string></field>"
              "<field name=\"Value\"><string>Velko(R) Nimbrel Tool</string></field></structure>"
              "<structure typeName=\"KeyValue\"><field name=\"Attribute Name\"><string>Version</string></field>"
              "<field name=\"Value\"><string>2.2.18</string></field></structure>"
              "<structure typeName=\"KeyValue\"><field name=\"Attribute Name\"><string>Description</string></field>"
              "<field name=\"Value\"><string>Interact and configure Velko SSDs.</string></field></structure>"
              "</list></output>");
    EXPECT_EQ(render(result, OUTPUTTYPE_JSON),
              "{\n"
              "\t\"Version Information\":\n"
              "\t{\n"
              "\t\t\"Name\":\"Velko(R) Nimbrel Tool\",\n"
              "\t\t\"Version\":\"2.2.18\",\n"
              "\t\t\"Description\":\"Interact and configure Velko SSDs.\"\n"
              "\t}\n"
              "}\n");
    EXPECT_EQ(render(result, OUTPUTTYPE_CSV),
              "Version Information,\n"
              "Name,Velko(R) Nimbrel Tool,Version,2.2.18,Description,Interact and configure Velko SSDs.,,\n");
}

TEST(VersionFeature, ShowsTheLicenseAfterTheRestWithAll) {
    const std::string expected = golden("version-all.txt");
    EXPECT_EQ(render(version({{"-all", ""}}), OUTPUTTYPE_TEXT), expected);
    EXPECT_EQ(render(version({{"-all", ""}, {"-output", "text"}}), OUTPUTTYPE_TEXT), expected);
    EXPECT_EQ(render(version({{"-all", ""}, {"-display", "foo"}}), OUTPUTTYPE_TEXT), expected)
        << "-all decides first; the validation refuses the two together before it comes to this";
}

TEST(VersionFeature, ShowsTheLicenseAloneWhenAskedForInAnyCase) {
    const std::string expected = golden("version-license.txt");
    for (const char* value : {"license", "LICENSE", "License"}) {
        const auto result = version({{"-display", value}});
        EXPECT_EQ(result->getErrorCode(), 0) << value;
        EXPECT_EQ(render(result, OUTPUTTYPE_TEXT), expected) << value;
    }
}

TEST(VersionFeature, RefusesToDisplayAnythingButTheLicense) {
    for (const char* value : {"foo", "", "license,version", "licens", "Version", " license"}) {
        const auto result = version({{"-display", value}});
        EXPECT_EQ(result->getErrorCode(), 8) << value;
        EXPECT_EQ(render(result, OUTPUTTYPE_TEXT),
                  "Error: Invalid license parameter, use -d license to view the license.")
            << value;
    }
}

TEST(VersionFeature, RefusesAnyOtherCommand) {
    for (const std::int32_t id : {1, -1}) {
        const auto result = version({}, id);
        EXPECT_EQ(result->getErrorCode(), 3);
        EXPECT_EQ(render(result, OUTPUTTYPE_TEXT), "Error: CommandSpecId " + std::to_string(id) +
                                                       " of Feature Version is not supported in the current context.");
    }
}

TEST(VersionFeature, BringsOneCommand) {
    std::vector<CommandSpec> commands = {CommandSpec(5, "Before", "show", "")};
    VersionFeature().getPaths(commands);
    ASSERT_EQ(commands.size(), 2u) << "appended";
    const CommandSpec& spec = commands[1];
    EXPECT_EQ(spec.id, 0);
    EXPECT_EQ(spec.name, "Version");
    EXPECT_EQ(spec.verb, "version");
    EXPECT_EQ(spec.help,
              "Show tool version information. Use '-all' or '-display license' to display the tool's End-User License "
              "agreement.");
    EXPECT_EQ(spec.asStr(), "version [-all|-a] [-display|-d (Property1,...)] [-help|-h]");
    EXPECT_TRUE(spec.targets.empty());
    EXPECT_TRUE(spec.properties.empty());
}

TEST(VersionFeature, IsRegisteredFromTheStart) {
    VersionFeature other;
    EXPECT_FALSE(Framework::getInstance().registerFeature("Version", &other)) << "the key is taken";
}

TEST(VersionFeature, RunsFromACommandLine) {
    constexpr struct {
        const char* option;
        const char* value;
        std::int32_t code;
        const char* text;
    } CASES[] = {
        {"-display", "foo", 8, "Error: Invalid license parameter, use -d license to view the license."},
        {"-d", "foo", 8, "Error: Invalid license parameter, use -d license to view the license."},
        {"-display", "license", 0, nullptr},
        {"-D", "LICENSE", 0, nullptr},
    };
    for (const auto& c : CASES) {
        const auto result = Framework::getInstance().execute({"version", c.option, c.value});
        ASSERT_NE(result, nullptr);
        EXPECT_EQ(result->getErrorCode(), c.code);
        EXPECT_EQ(result->output(), c.text ? c.text : golden("version-license.txt"));
    }
    EXPECT_EQ(Framework::getInstance().execute({"version", "-all", "-display", "license"})->output(),
              "Syntax Error: Options 'all' and 'display' cannot be used together.");
    EXPECT_EQ(Framework::getInstance().execute({"version", "-a"})->output(), golden("version-all.txt"));
}

TEST(ToolInformation, HasTheVersionOfTheProject) {
    EXPECT_STREQ(TOOL_VERSION, PROJECT_VERSION);
}

}  // namespace
}  // namespace cli::version
