#pragma once

#include <map>
#include <string>

namespace cli::framework {

/// What a feature gets to run. Keys are the spellings of the CommandSpec (options and targets with their "-"), so exact
/// lookups are safe; a part without a value maps to an empty string, several values are one string joined with ",".
struct ParsedCommand {
    std::string verb;
    std::map<std::string, std::string> options;
    std::map<std::string, std::string> targets;
    std::map<std::string, std::string> properties;
};

}  // namespace cli::framework
