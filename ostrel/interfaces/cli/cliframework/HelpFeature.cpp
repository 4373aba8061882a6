#include "ostrel/interfaces/cli/cliframework/HelpFeature.h"

#include <algorithm>
#include <cctype>
#include <utility>

#include "ostrel/interfaces/cli/cliframework/CandidateCommand.h"
#include "ostrel/interfaces/cli/cliframework/CommonParts.h"
#include "ostrel/interfaces/cli/cliframework/Constants.h"
#include "ostrel/interfaces/cli/cliframework/Framework.h"
#include "ostrel/interfaces/cli/cliframework/HelpResult.h"
#include "ostrel/interfaces/cli/cliframework/ParsedCommand.h"
#include "ostrel/interfaces/cli/cliframework/StringHelpers.h"
#include "ostrel/interfaces/cli/cliframework/Trace.h"

namespace cli::framework {
namespace {

HelpFeature registeredFeature;
[[maybe_unused]] const bool isRegistered = Framework::getInstance().registerFeature("HelpFeature", &registeredFeature);

std::string propertyOrEmpty(const ParsedCommand& parsedCommand, const std::string& name) {
    CLI_TRACE();
    const auto property = parsedCommand.properties.find(name);
    return property == parsedCommand.properties.end() ? std::string() : property->second;
}

bool isBeforeByName(const CandidateCommand& left, const CandidateCommand& right) {
    CLI_TRACE();
    return toLower(left.commandSpec.name) < toLower(right.commandSpec.name);
}

}  // namespace

HelpFeature::HelpFeature() : name_("Help") {
    CLI_TRACE();
}

HelpFeature::HelpFeature(CommandSpec commandSpec) : commandSpec_(std::move(commandSpec)) {
    CLI_TRACE();
}

std::unique_ptr<ResultBase> HelpFeature::run(const CommandSpec&, const ParsedCommand& parsedCommand) {
    CLI_TRACE();
    auto result = std::make_unique<HelpResult>();
    if (parsedCommand.verb != VERB_HELP) {
        result->push_back(commandSpec_);
        result->setShowFull(true);
        return result;
    }

    const std::string verbFilter = propertyOrEmpty(parsedCommand, PROPERTY_VERB.name);
    const std::string nameFilter = toLower(propertyOrEmpty(parsedCommand, PROPERTY_NAME.name));
    CandidateCommands commands;
    Framework::getInstance().buildCommands(commands);
    std::sort(commands.begin(), commands.end(), isBeforeByName);
    for (const auto& [command, feature] : commands) {
        if (!verbFilter.empty() && !stringsIEqual(command.verb, verbFilter)) continue;
        if (!nameFilter.empty() && !matchCommandName(nameFilter, command.name)) continue;
        if (!isShown(command)) continue;
        if (toLower(command.name) == nameFilter) {
            // Another command's longer name may hold this one: who wrote it out means this one alone.
            result = std::make_unique<HelpResult>();
            result->push_back(command);
            return result;
        }
        result->push_back(command);
    }
    if (result->getCount() == 1) result->setShowFull(true);
    return result;
}

void HelpFeature::getPaths(std::vector<CommandSpec>& commands) {
    CLI_TRACE();
    // Without a "-help" option, so that the help does not list itself.
    CommandSpec help(0, "Help", VERB_HELP,
                     "Retrieve a list of supported commands. Filter the results by providing a specific verb or "
                     "command name. By default, if the filter is specific enough to indicate a single command, "
                     "detailed help will be displayed for that command.");
    help.addProperty(PROPERTY_NAME);
    help.addProperty(PROPERTY_VERB);
    commands.push_back(std::move(help));
}

bool HelpFeature::isShown(const CommandSpec& command) {
    CLI_TRACE();
    return std::any_of(command.options.begin(), command.options.end(),
                       [](const CommandPart& option) { return option.name == OPTION_HELP.name; });
}

bool HelpFeature::matchCommandName(const std::string& filter, const std::string& name) {
    CLI_TRACE();
    return toLower(name).find(toLower(filter)) != std::string::npos;
}

}  // namespace cli::framework
