#include "CLI/VersionFeature.h"

#include <cstdint>
#include <string>
#include <utility>

#include "CLI/License.h"
#include "CLI/ToolInformation.h"
#include "ostrel/interfaces/cli/cliframework/CommonParts.h"
#include "ostrel/interfaces/cli/cliframework/Constants.h"
#include "ostrel/interfaces/cli/cliframework/ErrorCode.h"
#include "ostrel/interfaces/cli/cliframework/ErrorResult.h"
#include "ostrel/interfaces/cli/cliframework/Framework.h"
#include "ostrel/interfaces/cli/cliframework/NotImplementedErrorResult.h"
#include "ostrel/interfaces/cli/cliframework/ObjectListResult.h"
#include "ostrel/interfaces/cli/cliframework/StringHelpers.h"
#include "ostrel/interfaces/cli/cliframework/TextAppend.h"

namespace cli::version {

using namespace framework;

namespace {

constexpr std::int32_t COMMAND_VERSION = 0;
constexpr char FEATURE_NAME[] = "Version";

VersionFeature registeredFeature;
[[maybe_unused]] const bool isRegistered = Framework::getInstance().registerFeature(FEATURE_NAME, &registeredFeature);

std::string fullAgreement() {
    return concat({COPYRIGHT_TEXT, "\n", TOOL_DISPLAY_NAME, " ", TOOL_VERSION, "\n\n", AGREEMENT_TEXT});
}

}  // namespace

std::unique_ptr<ResultBase> VersionFeature::run(const CommandSpec& commandSpec, const ParsedCommand& parsedCommand) {
    if (commandSpec.id == COMMAND_VERSION) return showVersion(parsedCommand);
    return std::make_unique<NotImplementedErrorResult>(static_cast<std::uint32_t>(commandSpec.id), FEATURE_NAME);
}

void VersionFeature::getPaths(std::vector<CommandSpec>& commands) {
    CommandSpec version(COMMAND_VERSION, "Version", VERB_VERSION,
                        "Show tool version information. Use '-all' or '-display license' to display the tool's "
                        "End-User License agreement.");
    version.addOption(OPTION_ALL);
    version.addOption(OPTION_DISPLAY);
    version.addOption(OPTION_HELP);
    commands.push_back(std::move(version));
}

std::unique_ptr<ResultBase> VersionFeature::showVersion(const ParsedCommand& parsedCommand) const {
    PropertyListResult properties;
    properties.insert("Name", TOOL_DISPLAY_NAME);
    properties.insert("Version", TOOL_VERSION);
    properties.insert("Description", TOOL_DESCRIPTION);

    const auto display = parsedCommand.options.find(OPTION_DISPLAY.name);
    if (parsedCommand.options.count(OPTION_ALL.name) != 0) {
        properties.insert("License", fullAgreement());
    } else if (display != parsedCommand.options.end()) {
        if (toLower(display->second) != "license") {
            return std::make_unique<ErrorResult>(ERRORCODE_INVALID_VALUE,
                                                 "Invalid license parameter, use -d license to view the license.", "");
        }
        properties = PropertyListResult();
        properties.insert("License", fullAgreement());
    }

    auto result = std::make_unique<ObjectListResult>();
    result->insert("Version Information", properties);
    return result;
}

}  // namespace cli::version
