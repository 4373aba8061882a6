// Prints what the command line takes as JSON, for the programs that make the manual pages and the completions:
//
//     commands  the grammar of all commands, with "outcome": the targets of `show` that show what became of the
//               command, of NVMe and of SATA drives
//     settings  the settings with their defaults
//     logPages  identifiers and names of the log pages that -nvmelog takes

#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "CLI/ToolInformation.h"
#include "CLI/cli_system/Settings.h"
#include "CLI/velkossd/CommandCatalogue.h"
#include "features/nvme/LogPages.h"
#include "features/nvme/OcpLogPages.h"
#include "features/nvme/VelkoLogPages.h"
#include "ostrel/core/Attribute.h"
#include "ostrel/interfaces/cli/cliframework/CandidateCommand.h"
#include "ostrel/interfaces/cli/cliframework/CommandSpec.h"
#include "ostrel/interfaces/cli/cliframework/Framework.h"
#include "ostrel/interfaces/cli/cliframework/JsonText.h"

namespace {

using cli::framework::CommandPart;
using cli::framework::CommandSpec;
using cli::velkossd::OutcomeTarget;

std::string quoted(const std::string& text) {
    return '"' + cli::framework::jsonEscape(text) + '"';
}

/// The items with commas between them, each on a line of its own.
std::string joined(const std::vector<std::string>& items) {
    std::string text;
    for (const std::string& item : items) text += (text.empty() ? "\n" : ",\n") + item;
    return text;
}

std::string toJson(const CommandPart& part) {
    const auto boolean = [](bool value) { return value ? "true" : "false"; };
    return "{\"name\":" + quoted(part.name) + ",\"shortName\":" + quoted(part.shortName) +
           ",\"required\":" + boolean(part.required) + ",\"value\":" + quoted(part.value) +
           ",\"valueRequired\":" + boolean(part.valueRequired) + ",\"help\":" + quoted(part.help) + "}";
}

std::string toJson(const std::vector<CommandPart>& parts) {
    std::vector<std::string> items;
    items.reserve(parts.size());
    for (const CommandPart& part : parts) items.push_back(toJson(part));
    return "[" + joined(items) + "]";
}

std::string toJson(const OutcomeTarget& outcome) {
    return "[" + quoted(std::string(outcome.ofNvme)) + "," + quoted(std::string(outcome.ofSata)) + "]";
}

std::string toJson(const CommandSpec& command, const OutcomeTarget& outcome) {
    return "{\"name\":" + quoted(command.name) + ",\"verb\":" + quoted(command.verb) +
           ",\"help\":" + quoted(command.help) + ",\"outcome\":" + toJson(outcome) +
           ",\n\"options\":" + toJson(command.options) + ",\n\"targets\":" + toJson(command.targets) +
           ",\n\"properties\":" + toJson(command.properties) + "}";
}

/// By the names of the commands: an id is unique within one feature only.
std::map<std::string, OutcomeTarget> outcomes() {
    std::vector<CommandSpec> commands;
    cli::velkossd::appendCommandSpecs(commands);
    std::map<std::string, OutcomeTarget> found;
    for (const CommandSpec& command : commands)
        found.emplace(command.name, cli::velkossd::findCommand(command.id)->action.outcome);
    return found;
}

std::string commands() {
    cli::framework::CandidateCommands candidates;
    cli::framework::Framework::getInstance().buildCommands(candidates);
    const auto outcome = outcomes();
    std::vector<std::string> items;
    for (const auto& candidate : candidates) {
        const auto found = outcome.find(candidate.commandSpec.name);
        items.push_back(toJson(candidate.commandSpec, found == outcome.end() ? OutcomeTarget() : found->second));
    }
    return joined(items);
}

std::string settings() {
    std::vector<std::string> items;
    for (const auto& [name, setting] : cli::system::defaultSettings())
        items.push_back("{\"name\":" + quoted(name) + ",\"default\":" + quoted(setting.getText()) + "}");
    return joined(items);
}

std::string logPages() {
    std::vector<std::string> items;
    const auto add = [&](unsigned lid, const std::string& name, const std::string& shortName) {
        items.push_back("{\"lid\":" + std::to_string(lid) + ",\"name\":" + quoted(name) +
                        ",\"shortName\":" + quoted(shortName) + "}");
    };
    for (const auto* row = features::nvme::logPagesBegin(); row != features::nvme::logPagesEnd(); ++row)
        add(row->lid, row->name, row->shortName);
    for (const auto* row = features::nvme::ocpLogPagesBegin(); row != features::nvme::ocpLogPagesEnd(); ++row)
        add(row->page.lid, row->page.name, row->page.shortName);
    for (const auto* row = features::nvme::velkoLogPagesBegin(); row != features::nvme::velkoLogPagesEnd(); ++row)
        add(row->lid, row->name, row->shortName);
    return joined(items);
}

}  // namespace

int main() {
    std::printf("{\"version\":%s,\n\"commands\":[%s],\n\"settings\":[%s],\n\"logPages\":[%s]}\n",
                quoted(cli::version::TOOL_VERSION).c_str(), commands().c_str(), settings().c_str(), logPages().c_str());
    return std::fflush(stdout) == 0 ? 0 : 1;
}
