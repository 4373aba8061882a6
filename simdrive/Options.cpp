#include "simdrive/Options.h"

#include <CLI/CLI.hpp>

namespace simdrive {

namespace {

void add(CLI::App& command, const std::string& option, int valueCount, const TakeValue& take) {
    const CLI::callback_t callback = [take](const CLI::results_t& values) {
        const std::string error = take(values.front());
        if (!error.empty()) throw CLI::ValidationError(error);
        return true;
    };
    // All values are taken here, for CommandLine to refuse a second one in its own words.
    command.add_option(option, callback)->expected(valueCount)->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

}  // namespace

void addOption(CLI::App& command, const std::string& name, const TakeValue& take) {
    add(command, "--" + name, 1, take);
}

void addOption(CLI::App& command, const std::string& name, std::optional<std::string>& value) {
    addOption(command, name, [&value](const std::string& text) {
        value = text;
        return std::string();
    });
}

void addSwitch(CLI::App& command, const std::string& name, bool& isGiven) {
    const std::string option = "--" + name;
    add(command, option, 0, [option, &isGiven](const std::string& value) {
        isGiven = true;
        return value == "true" ? std::string() : option + " takes no value.";  // CLI11's value of a switch
    });
}

}  // namespace simdrive
