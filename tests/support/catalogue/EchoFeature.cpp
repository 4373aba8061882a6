#include "tests/support/catalogue/EchoFeature.h"

#include <algorithm>
#include <map>
#include <vector>

#include "ostrel/interfaces/cli/cliframework/SimpleResult.h"

namespace test {

namespace {

using namespace cli::framework;
using Values = std::map<std::string, std::string>;

std::string listed(const Values& values) {
    std::string text;
    for (const auto& [name, value] : values) text += " " + name + "(" + value + ")";
    return text;
}

/// What the parsed values and the grammar disagree on; empty when they agree.
std::string disagreement(const std::vector<CommandPart>& parts, const Values& values) {
    for (const auto& entry : values) {
        const bool known =
            std::any_of(parts.begin(), parts.end(), [&](const CommandPart& part) { return part.name == entry.first; });
        if (!known) return "unknown part " + entry.first;
    }
    for (const CommandPart& part : parts) {
        const auto value = values.find(part.name);
        if (value == values.end() && part.required) return "missing part " + part.name;
        if (value == values.end()) continue;
        if (part.valueRequired && value->second.empty()) return "missing value of " + part.name;
        if (part.noValueAccepted && !value->second.empty()) return "unwanted value of " + part.name;
    }
    return "";
}

}  // namespace

std::unique_ptr<ResultBase> EchoFeature::run(const CommandSpec& commandSpec, const ParsedCommand& parsedCommand) {
    return std::make_unique<SimpleResult>(echo(commandSpec, parsedCommand));
}

std::string EchoFeature::echo(const CommandSpec& commandSpec, const ParsedCommand& parsed) {
    const std::string text = commandSpec.name + ": " + parsed.verb + listed(parsed.options) + listed(parsed.targets) +
                             listed(parsed.properties);
    for (const std::string& found :
         {disagreement(commandSpec.options, parsed.options), disagreement(commandSpec.targets, parsed.targets),
          disagreement(commandSpec.properties, parsed.properties)}) {
        if (!found.empty()) violation_ = found + " in " + text;
    }
    return text;
}

}  // namespace test
