#include "ostrel/interfaces/cli/cliframework/CommandSpec.h"

#include <algorithm>
#include <utility>

#include "ostrel/interfaces/cli/cliframework/StringHelpers.h"
#include "ostrel/interfaces/cli/cliframework/Trace.h"

namespace cli::framework {

namespace {

/// None where the list does not have it.
CommandPart* findPart(std::vector<CommandPart>& list, const std::string& name) {
    CLI_TRACE();
    const auto known =
        std::find_if(list.begin(), list.end(), [&](const CommandPart& part) { return part.name == name; });
    return known == list.end() ? nullptr : &*known;
}

std::string partToString(const CommandPart& part, bool isProperty) {
    CLI_TRACE();
    std::string text = part.name;
    if (!part.shortName.empty()) text += "|" + part.shortName;
    if (!part.value.empty()) {
        const std::string value = "(" + part.value + ")";
        text += isProperty ? " = " : " ";
        text += part.valueRequired ? value : "[" + value + "]";
    }
    return part.required ? text : "[" + text + "]";
}

}  // namespace

CommandSpec::CommandSpec(int32_t id, std::string name, std::string verb, std::string help)
    : id(id), name(std::move(name)), verb(std::move(verb)), help(std::move(help)) {
    CLI_TRACE();
}

CommandPart& CommandSpec::addOption(const CommandPart& part) {
    CLI_TRACE();
    return addPart(options, part);
}

CommandPart& CommandSpec::addOption(CommandPart&& part) {
    CLI_TRACE();
    return addPart(options, std::move(part));
}

CommandPart& CommandSpec::addOption(const std::string& name, bool required, const std::string& value,
                                    bool valueRequired, const std::string& help, const std::string& shortName) {
    CLI_TRACE();
    return addOption(CommandPart{name, required, value, valueRequired, help, shortName});
}

CommandPart& CommandSpec::addTarget(const CommandPart& part) {
    CLI_TRACE();
    return addPart(targets, part);
}

CommandPart& CommandSpec::addTarget(CommandPart&& part) {
    CLI_TRACE();
    return addPart(targets, std::move(part));
}

CommandPart& CommandSpec::addTarget(const std::string& name, bool required, const std::string& value,
                                    bool valueRequired, const std::string& help) {
    CLI_TRACE();
    return addTarget(CommandPart{name, required, value, valueRequired, help});
}

CommandPart& CommandSpec::addProperty(const CommandPart& part) {
    CLI_TRACE();
    return addPart(properties, part);
}

CommandPart& CommandSpec::addProperty(CommandPart&& part) {
    CLI_TRACE();
    return addPart(properties, std::move(part));
}

CommandPart& CommandSpec::addProperty(const std::string& name, bool required, const std::string& value,
                                      bool valueRequired, const std::string& help) {
    CLI_TRACE();
    return addProperty(CommandPart{name, required, value, valueRequired, help});
}

CommandPart& CommandSpec::addPart(std::vector<CommandPart>& list, const CommandPart& part) {
    CLI_TRACE();
    CommandPart* known = findPart(list, part.name);
    return known != nullptr ? *known : list.emplace_back(part);
}

CommandPart& CommandSpec::addPart(std::vector<CommandPart>& list, CommandPart&& part) {
    CLI_TRACE();
    CommandPart* known = findPart(list, part.name);
    return known != nullptr ? *known : list.emplace_back(std::move(part));
}

std::string CommandSpec::asStr() const {
    CLI_TRACE();
    const std::string text = verb + " " + listToString(options, false) + " " + listToString(targets, false) + " " +
                             listToString(properties, true);
    const bool blank = text.find_first_not_of(" \t") == std::string::npos;
    return blank ? std::string() : trim(text);
}

std::string CommandSpec::listToString(const std::vector<CommandPart>& list, bool isProperty) {
    CLI_TRACE();
    std::string text;
    for (const CommandPart& part : list) {
        if (!text.empty()) text += " ";
        text += partToString(part, isProperty);
    }
    return text;
}

}  // namespace cli::framework
