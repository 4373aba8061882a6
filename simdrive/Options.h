#pragma once

#include <functional>
#include <optional>
#include <string>

namespace CLI {
class App;
}

/// How a command says which options it has. They are "--name value" or "--name=value", each at most once.
namespace simdrive {

/// Takes the value of an option. Returns what is wrong with it, a sentence; empty: nothing.
using TakeValue = std::function<std::string(const std::string& value)>;

/// An option with a value, which may be any text.
void addOption(CLI::App& command, const std::string& name, const TakeValue& take);
/// `value` is kept by the caller until the command line is read.
void addOption(CLI::App& command, const std::string& name, std::optional<std::string>& value);
/// An option without a value; as above for `isGiven`.
void addSwitch(CLI::App& command, const std::string& name, bool& isGiven);

}  // namespace simdrive
