#include "ostrel/interfaces/cli/cliframework/HelpResult.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

#include "ostrel/core/TerminalSize.h"
#include "ostrel/interfaces/cli/cliframework/Framework.h"
#include "ostrel/interfaces/cli/cliframework/ResultConstants.h"
#include "ostrel/interfaces/cli/cliframework/StringHelpers.h"
#include "ostrel/interfaces/cli/cliframework/TextAppend.h"
#include "ostrel/interfaces/cli/cliframework/Trace.h"

namespace cli::framework {
namespace {

constexpr std::size_t INDENT = 4;

using Parts = std::vector<CommandPart>;

/// The lists of a command in the order in which every form shows them.
constexpr struct {
    const char* tag;
    const char* itemTag;
    Parts CommandSpec::* parts;
    bool isProperty;
} LISTS[] = {
    {HELP_OPTIONS, HELP_OPTION, &CommandSpec::options, false},
    {HELP_TARGETS, HELP_TARGET, &CommandSpec::targets, false},
    {HELP_PROPERTIES, HELP_PROPERTY, &CommandSpec::properties, true},
};

std::size_t terminalWidth() {
    CLI_TRACE();
    ostrel::core::TerminalSize size;
    return ostrel::core::getTerminalSize(size) == 0 ? size.columns : 0;
}

/// The part of the text that goes on the next line: up to a line feed, or as many whole words as the width takes. A
/// word that is longer than the width is cut hard.
std::string_view nextLine(std::string_view text, std::size_t width) {
    CLI_TRACE();
    // One character beyond the width is as far as anything matters; looking on would make wrapping quadratic.
    const std::string_view reach = text.substr(0, width + 1);
    const std::string_view line = reach.substr(0, reach.find('\n'));
    if (line.size() <= width) return line;
    const std::size_t blank = line.substr(0, width).rfind(' ');
    return line.substr(0, blank == std::string_view::npos || blank == 0 ? width : blank);
}

const char* trueOrFalse(bool value) {
    CLI_TRACE();
    return value ? HELP_TRUE : HELP_FALSE;
}

std::string jsonBoolean(bool value) {
    CLI_TRACE();
    return toLower(trueOrFalse(value));
}

/// All the escaping that help does.
std::string quotesToApostrophes(std::string text) {
    CLI_TRACE();
    std::replace(text.begin(), text.end(), '"', '\'');
    return text;
}

void appendXmlList(std::string& out, const char* listTag, const char* itemTag, const Parts& list) {
    CLI_TRACE();
    append(out, {"\t\t<", listTag, list.empty() ? ">" : ">\n"});
    for (const CommandPart& part : list) {
        append(out, {"\t\t\t<", itemTag});
        append(out, {" ", HELP_NAME, "=\"", part.name, "\""});
        append(out, {" ", HELP_DESCRIPTION, "=\"", part.help, "\""});
        append(out, {" ", HELP_REQUIRED, "=\"", trueOrFalse(part.required), "\""});
        append(out, {" ", HELP_VALUE, "=\"", part.value, "\""});
        append(out, {" ", HELP_VALUE_REQUIRED, "=\"", trueOrFalse(part.valueRequired), "\"/>\n"});
    }
    append(out, {list.empty() ? "" : "\t\t", "</", listTag, ">\n"});
}

/// Leaves the list's object open: what closes it depends on whether another list follows.
void appendJsonList(std::string& out, const char* listTag, const Parts& list) {
    CLI_TRACE();
    append(out, {"\t\t\"", listTag, "\": {\n"});
    for (const CommandPart& part : list) {
        append(out, {"\t\t\t\"", quotesToApostrophes(part.name), "\": {\n"});
        append(out, {"\t\t\t\"", HELP_DESCRIPTION, "\":\"", quotesToApostrophes(part.help), "\",\n"});
        append(out, {"\t\t\t\"", HELP_REQUIRED, "\":", jsonBoolean(part.required), ",\n"});
        append(out, {"\t\t\t\"", HELP_VALUE, "\":\"", quotesToApostrophes(part.value), "\",\n"});
        append(out, {"\t\t\t\"", HELP_VALUE_REQUIRED, "\":", jsonBoolean(part.valueRequired), "\n"});
        append(out, {"\t\t\t}", &part == &list.back() ? "\n" : ",\n"});
    }
}

void appendCsvList(std::string& out, const char* listTag, const Parts& list) {
    CLI_TRACE();
    append(out, {listTag, ",\n"});
    for (const CommandPart& part : list) {
        append(out, {part.name, ",\n"});
        append(out, {HELP_DESCRIPTION, ",", part.help, ",\n"});
        append(out, {HELP_REQUIRED, ",", trueOrFalse(part.required), ",\n"});
        append(out, {HELP_VALUE, ",", part.value, ",\n"});
        append(out, {HELP_VALUE_REQUIRED, ",", trueOrFalse(part.valueRequired), ",\n"});
    }
}

}  // namespace

HelpResult::HelpResult() : HelpResult(terminalWidth) {
    CLI_TRACE();
}

HelpResult::HelpResult(WidthSource widthSource) : widthSource_(widthSource) {
    CLI_TRACE();
}

std::string HelpResult::outputText() const {
    CLI_TRACE();
    if (commands_.empty()) return concat({HELP_NO_COMMANDS, "\n"});
    const std::size_t width = widthSource_();
    return commands_.size() == 1 ? commandPageText(commands_.front(), width) : commandListText(width);
}

std::string HelpResult::outputXml() const {
    CLI_TRACE();
    std::string out = concat({"<", HELP_HELP, commands_.empty() ? ">" : ">\n"});
    for (const CommandSpec& command : commands_) {
        append(out, {"\t<", HELP_COMMAND, " ", HELP_NAME, "=\"", command.name, "\">\n"});
        append(out, {"\t\t<", HELP_DESCRIPTION, ">", command.help, "</", HELP_DESCRIPTION, ">\n"});
        append(out, {"\t\t<", HELP_VERB, ">", command.verb, "</", HELP_VERB, ">\n"});
        for (const auto& list : LISTS) appendXmlList(out, list.tag, list.itemTag, command.*list.parts);
        append(out, {"\t</", HELP_COMMAND, ">\n"});
    }
    append(out, {"</", HELP_HELP, ">\n"});
    return out;
}

std::string HelpResult::outputEsxXml() const {
    CLI_TRACE();
    return "";
}

std::string HelpResult::outputJson() const {
    CLI_TRACE();
    std::string out = "{\n";
    for (const CommandSpec& command : commands_) {
        append(out, {"\t\"", command.name, "\": {\n"});
        append(out, {"\t\t\"", HELP_DESCRIPTION, "\":\"", command.help, "\",\n"});
        append(out, {"\t\t\"", HELP_VERB, "\":\"", command.verb, "\",\n"});
        for (const auto& list : LISTS) {
            appendJsonList(out, list.tag, command.*list.parts);
            out += &list == std::end(LISTS) - 1 ? "\t\t}\n" : "\t\t},\n";
        }
        append(out, {"\t}", &command == &commands_.back() ? "\n" : ",\n"});
    }
    out += "}\n";
    return out;
}

std::string HelpResult::outputCSV() const {
    CLI_TRACE();
    std::string out;
    for (const CommandSpec& command : commands_) {
        append(out, {command.name, ",\n"});
        append(out, {HELP_DESCRIPTION, ",", command.help, ",\n"});
        append(out, {HELP_VERB, ",", command.verb, ",\n"});
        for (const auto& list : LISTS) {
            appendCsvList(out, list.tag, command.*list.parts);
            out += ",\n";
        }
    }
    return out;
}

void HelpResult::push_back(CommandSpec command) {
    CLI_TRACE();
    commands_.push_back(std::move(command));
}

void HelpResult::setShowFull(bool showFull) {
    CLI_TRACE();
    showFull_ = showFull;
}

void HelpResult::setShouldWrap(bool shouldWrap) {
    CLI_TRACE();
    shouldWrap_ = shouldWrap;
}

std::string HelpResult::wrap(const std::string& text, std::size_t indent, std::size_t width) const {
    CLI_TRACE();
    if (!shouldWrap_ || width == 0) return text;
    std::string out;
    const std::string_view whole = text;
    for (std::size_t position = 0; position < whole.size();) {
        const std::string_view line = nextLine(whole.substr(position), width);
        out.append(indent, ' ').append(line) += '\n';
        // Skips the blank or line feed at the break. After a hard cut it drops a letter of the word; that stays so.
        position += line.size() + 1;
    }
    return out;
}

std::string HelpResult::listToString(const Parts& list, bool isProperty, std::size_t indent, std::size_t width) const {
    CLI_TRACE();
    std::string out;
    for (const CommandPart& part : list) {
        std::string text = CommandSpec::listToString({part}, isProperty);
        if (!part.help.empty()) append(text, {" -- ", part.help});
        out += wrap(text, indent, width);
    }
    return out;
}

std::string HelpResult::commandListText(std::size_t width) const {
    CLI_TRACE();
    std::string out = concat({HELP_USAGE, ":  ", Framework::getInstance().exeName, " ", HELP_USAGE_LINE, "\n\n"});
    append(out, {HELP_COMMANDS, ": \n"});
    for (const CommandSpec& command : commands_)
        append(out, {command.name, ":\n", wrap(command.asStr(), INDENT, width)});
    return out;
}

std::string HelpResult::commandPageText(const CommandSpec& command, std::size_t width) const {
    CLI_TRACE();
    std::string out = concat({HELP_NAME, ": ", command.name, "\n"});
    append(out, {HELP_DESCRIPTION, ":\n", wrap(command.help, INDENT, width)});
    append(out, {HELP_SYNOPSIS, ":\n", wrap(command.asStr(), INDENT, width)});
    append(out, {HELP_VERB, ":\n    ", command.verb, "\n"});
    for (const auto& list : LISTS)
        append(out, {list.tag, ":\n", listToString(command.*list.parts, list.isProperty, INDENT, width)});
    out += '\n';
    return out;
}

}  // namespace cli::framework
