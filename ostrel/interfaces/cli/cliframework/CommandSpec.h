#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ostrel/interfaces/cli/cliframework/CommandPart.h"

namespace cli::framework {

/// The grammar of one command: a verb, then options, targets and properties in the order in which help shows them.
///
/// The add functions return the part in its list; the reference holds until the next part is added to that list. A name
/// (compared exactly) that a list already holds is not added again: the first definition wins and is returned
/// unchanged.
class CommandSpec {
public:
    CommandSpec() = default;
    CommandSpec(int32_t id, std::string name, std::string verb, std::string help);

    CommandPart& addOption(const CommandPart& part);
    CommandPart& addOption(CommandPart&& part);
    CommandPart& addOption(const std::string& name, bool required, const std::string& value, bool valueRequired,
                           const std::string& help, const std::string& shortName);
    CommandPart& addTarget(const CommandPart& part);
    CommandPart& addTarget(CommandPart&& part);
    CommandPart& addTarget(const std::string& name, bool required, const std::string& value, bool valueRequired,
                           const std::string& help);
    CommandPart& addProperty(const CommandPart& part);
    CommandPart& addProperty(CommandPart&& part);
    CommandPart& addProperty(const std::string& name, bool required, const std::string& value, bool valueRequired,
                             const std::string& help);
    static CommandPart& addPart(std::vector<CommandPart>& list, const CommandPart& part);
    static CommandPart& addPart(std::vector<CommandPart>& list, CommandPart&& part);

    /// The usage line: verb, options, targets, properties.
    std::string asStr() const;

    /// The usage text of one list: "[-x|-y (value)] -z". A property's value follows " = ".
    static std::string listToString(const std::vector<CommandPart>& list, bool isProperty);

    int32_t id = 0;    ///< What the feature dispatches on; unique within one feature only.
    std::string name;  ///< Display name ("Help"); the user does not type it.
    std::string verb;
    std::vector<CommandPart> options;
    std::vector<CommandPart> targets;
    std::vector<CommandPart> properties;
    std::string help;
};

}  // namespace cli::framework
