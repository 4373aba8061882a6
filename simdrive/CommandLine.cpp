#include "simdrive/CommandLine.h"

#include <CLI/CLI.hpp>

#include <algorithm>

#include "simdrive/CommandTable.h"
#include "simdrive/Options.h"

namespace simdrive {

namespace {

/// The words after the command in CLI11's order, the last one first. A word "--name=" is two: CLI11 would take the word
/// after it for the value.
std::vector<std::string> argumentsOf(const std::vector<std::string>& words) {
    std::vector<std::string> arguments;
    for (auto word = words.rbegin(); word + 1 != words.rend(); ++word) {
        const bool isEmptyValue =
            word->size() > 3 && word->compare(0, 2, "--") == 0 && word->find('=') == word->size() - 1;
        if (isEmptyValue) arguments.emplace_back();
        arguments.push_back(isEmptyValue ? word->substr(0, word->size() - 1) : *word);
    }
    return arguments;
}

/// What is wrong with the words in the eyes of CLI11 and of the options; empty: nothing.
std::string readOptions(CLI::App& command, const std::vector<std::string>& words) {
    // CLI11 would pass over it.
    if (std::find(words.begin(), words.end(), "++") != words.end()) return "There is no option ++.";
    try {
        command.parse(argumentsOf(words));
    } catch (const CLI::ArgumentMismatch&) {
        return words.back() + " needs a value.";  // any text is a value, so that only the last option can lack its own
    } catch (const CLI::ParseError& error) {
        return error.what();
    }
    for (const CLI::Option* option : command.get_options()) {
        if (option->count() > 1) return option->get_name() + " is given twice.";
    }
    return "";
}

/// What is wrong with the names; empty: nothing.
std::string checkNames(const std::vector<std::string>& names, const CommandRow& row) {
    for (const std::string& name : names) {
        if (name.compare(0, 2, "--") == 0) return "There is no option " + name.substr(0, name.find('=')) + ".";
    }
    return names.size() < row.minNames || names.size() > row.maxNames ? row.namesRule : "";
}

}  // namespace

CommandLine CommandLine::parse(const std::vector<std::string>& words) {
    CommandLine line;
    const CommandRow* row = findCommand(words.at(0));
    if (row == nullptr) {
        line.error = "There is no command \"" + words[0] + "\"; nimbrel-simdrive --help lists them.";
        return line;
    }
    CLI::App command;
    command.set_help_flag();
    command.allow_extras();
    const CommandDefinition definition = row->define(command);
    addOption(command, "folder", [&line](const std::string& path) -> std::string {
        line.folder = path;
        return path.empty() ? "--folder needs a path." : "";
    });
    line.error = readOptions(command, words);
    // What CLI11 does not expect: a list of names would split one in brackets at its commas.
    const std::vector<std::string> names = command.remaining();
    if (line.error.empty()) line.error = checkNames(names, *row);
    line.makesDrives = row->makesDrives;
    line.run = [run = definition.run, names](const features::simulator::DriveStore& store) {
        return run(store, names);
    };
    return line;
}

std::string commandHelp() {
    std::string text;
    for (const CommandRow& row : commandRows()) {
        CLI::App command;
        text += row.define(command).help;
    }
    return text;
}

}  // namespace simdrive
