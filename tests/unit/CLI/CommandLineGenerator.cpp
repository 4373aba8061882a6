#include "tests/unit/CLI/CommandLineGenerator.h"

#include <cctype>
#include <utility>

namespace test {

using namespace cli::framework;

namespace {

const std::vector<std::string> VALUES = {"0", "1", "PHVX0001", "/dev/nvme0", "0x1F", "true", "a b", "-", "\"x\"", " "};
const std::vector<std::string> KEYWORDS = {"text", "nvmxml", "esx", "json", "NvmXml", "JSON", "csv", "table", ""};

}  // namespace

CommandLineGenerator::CommandLineGenerator(uint64_t seed, CandidateCommands commands)
    : random_(seed), commands_(std::move(commands)) {
    for (const auto& [command, feature] : commands_) {
        verbs_.push_back(command.verb);
        words_.push_back(command.verb);
        for (const auto* parts : {&command.options, &command.targets, &command.properties}) {
            for (const CommandPart& part : *parts) {
                words_.push_back(part.name);
                if (!part.shortName.empty()) words_.push_back(part.shortName);
            }
        }
    }
}

std::vector<std::string> CommandLineGenerator::next() {
    Line line = rightLine();
    for (size_t mistakes = below(5); mistakes > 0; --mistakes) makeAMistake(line);
    return oneIn(1200) ? hugeLine(std::move(line)) : line;
}

CommandLineGenerator::Line CommandLineGenerator::rightLine() {
    const CommandSpec& command = anyOf(commands_).commandSpec;
    Line line = {command.verb};
    addParts(line, command.options, false);
    addParts(line, command.targets, false);
    addParts(line, command.properties, true);
    return line;
}

void CommandLineGenerator::addParts(Line& line, const std::vector<CommandPart>& parts, bool areProperties) {
    for (const CommandPart& part : parts) {
        // "-help" would turn every second run into a help page.
        if (!part.required && !oneIn(part.name == "-help" ? 12 : 3)) continue;
        const bool isShort = !part.shortName.empty() && oneIn(2);
        const std::string value = valueFor(part);
        if (areProperties) {
            line.push_back(part.name + "=" + value);
            continue;
        }
        line.push_back(isShort ? part.shortName : part.name);
        if (!part.value.empty() && (part.valueRequired || oneIn(2))) line.push_back(value);
    }
}

std::string CommandLineGenerator::valueFor(const CommandPart& part) {
    if (part.name == "-output") return anyOf(KEYWORDS);
    std::string value = anyOf(VALUES);
    while (oneIn(4)) value += "," + anyOf(VALUES);
    return value;
}

void CommandLineGenerator::makeAMistake(Line& line) {
    const auto position = [&] { return line.begin() + static_cast<std::ptrdiff_t>(below(line.size() + 1)); };
    if (line.empty()) line.push_back(anyOf(words_));
    std::string& argument = line[below(line.size())];
    switch (below(10)) {
        case 0:
            changeCase(argument);
            break;
        case 1:
            line.erase(line.begin() + (&argument - line.data()));
            break;
        case 2:
            line.insert(position(), std::string(argument));
            break;
        case 3:
            std::swap(argument, line[below(line.size())]);
            break;
        case 4:
            line.insert(position(), oneIn(2) ? "," : "=");
            break;
        case 5:
            argument.insert(below(argument.size() + 1), 1, oneIn(2) ? ',' : '=');
            break;
        case 6:
            argument = anyOf(verbs_);
            break;
        case 7:
            line.insert(position(), std::string());
            break;
        case 8:
            line.insert(position(), bytes(1 + below(8)));
            break;
        default:
            line.insert(position(), anyOf(words_));
            break;
    }
}

void CommandLineGenerator::changeCase(std::string& argument) {
    for (char& byte : argument) {
        if (oneIn(2)) byte = static_cast<char>(std::toupper(static_cast<unsigned char>(byte)));
    }
}

/// Any bytes that an argument can hold, most of them above 0x7F.
std::string CommandLineGenerator::bytes(size_t length) {
    std::string text;
    while (text.size() < length) text += static_cast<char>(oneIn(4) ? 1 + below(127) : 128 + below(128));
    return text;
}

CommandLineGenerator::Line CommandLineGenerator::hugeLine(Line line) {
    constexpr size_t HUGE_ARGUMENT = 100000;
    constexpr size_t HUGE_COUNT = 10000;
    switch (hugeLines_++ % 5) {
        case 0:
            line.push_back(bytes(HUGE_ARGUMENT));
            return line;
        case 1:
            line.emplace_back(HUGE_ARGUMENT, oneIn(2) ? ',' : '=');
            return line;
        case 2:
            for (size_t i = 0; i < HUGE_COUNT; ++i) line.push_back(",1");
            return line;
        case 3:
            for (size_t i = 0; i < HUGE_COUNT; ++i) line.push_back(anyOf(words_));
            return line;
        default:
            for (size_t i = 0; i < HUGE_COUNT; ++i) line.push_back(anyOf(words_) + "=" + anyOf(VALUES));
            return line;
    }
}

}  // namespace test
