#pragma once

#include <string>

namespace cli::framework {

/// One option, target or property in the grammar of a command.
struct CommandPart {
    std::string name{};          ///< As the user writes it; options and targets start with "-", properties do not.
    bool required = false;       ///< The command cannot run without this part.
    std::string value{};         ///< Represents the value in a usage line; empty: usage shows no value.
    bool valueRequired = false;  ///< The part must be given a value.
    std::string help{};
    std::string shortName{};       ///< Short form of an option ("-a"); empty for targets and properties.
    bool noValueAccepted = false;  ///< The part must not be given a value.
    bool found = false;            ///< Working state, not grammar: the parser saw this part on the command line.
};

}  // namespace cli::framework
