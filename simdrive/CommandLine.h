#pragma once

#include <map>
#include <string>
#include <vector>

namespace simdrive {

/// The words after a command: names, and options "--name value" (or "--name=value") in any order.
struct CommandLine {
    std::vector<std::string> names;
    std::map<std::string, std::string> options;  ///< without the dashes
    std::string error;                           ///< empty: it could be read

    /// `known`: the options that the command takes; one that ends in '!' has no value.
    static CommandLine parse(const std::vector<std::string>& words, const std::vector<std::string>& known);

    bool has(const std::string& option) const { return options.count(option) != 0; }
    std::string option(const std::string& name, const std::string& otherwise) const {
        const auto found = options.find(name);
        return found == options.end() ? otherwise : found->second;
    }
};

}  // namespace simdrive
