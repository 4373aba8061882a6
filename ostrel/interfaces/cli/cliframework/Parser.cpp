#include "ostrel/interfaces/cli/cliframework/Parser.h"

#include <algorithm>
#include <utility>

#include "ostrel/interfaces/cli/cliframework/CommonParts.h"
#include "ostrel/interfaces/cli/cliframework/Constants.h"
#include "ostrel/interfaces/cli/cliframework/DuplicateTokenErrorResult.h"
#include "ostrel/interfaces/cli/cliframework/Framework.h"
#include "ostrel/interfaces/cli/cliframework/NoInputErrorResult.h"
#include "ostrel/interfaces/cli/cliframework/ParseErrorResult.h"
#include "ostrel/interfaces/cli/cliframework/StringHelpers.h"
#include "ostrel/interfaces/cli/cliframework/SyntaxErrorBadValueResult.h"
#include "ostrel/interfaces/cli/cliframework/SyntaxErrorMissingValueResult.h"
#include "ostrel/interfaces/cli/cliframework/Trace.h"

namespace cli::framework {

// clang-format off
// Where each state goes on the type of the next token. Orders that look odd and are meant so:
// - a property right after an option is that option's value;
// - a property takes any word as its value, verbs and options included;
// - an option after a target is an error.
const Parser::State Parser::NEXT_STATE[STATE_ERROR][TOKENTYPE_COMMA + 1] = {
    //                         UNKNOWN               VALUE                 VERB                  OPTION                TARGET                PROPERTY              EQUAL         COMMA
    /* STATE_VERB           */ {STATE_ERROR,          STATE_ERROR,          STATE_ERROR,          STATE_OPTION,         STATE_TARGET,         STATE_PROPERTY,       STATE_ERROR,  STATE_ERROR},
    /* STATE_OPTION         */ {STATE_ERROR,          STATE_OPTION_VALUE,   STATE_ERROR,          STATE_OPTION,         STATE_TARGET,         STATE_OPTION_VALUE,   STATE_ERROR,  STATE_ERROR},
    /* STATE_OPTION_VALUE   */ {STATE_ERROR,          STATE_ERROR,          STATE_ERROR,          STATE_OPTION,         STATE_TARGET,         STATE_PROPERTY,       STATE_ERROR,  STATE_OPTION_COMMA},
    /* STATE_OPTION_COMMA   */ {STATE_ERROR,          STATE_OPTION_VALUE,   STATE_ERROR,          STATE_ERROR,          STATE_ERROR,          STATE_OPTION_VALUE,   STATE_ERROR,  STATE_ERROR},
    /* STATE_TARGET         */ {STATE_ERROR,          STATE_TARGET_VALUE,   STATE_ERROR,          STATE_ERROR,          STATE_TARGET,         STATE_PROPERTY,       STATE_ERROR,  STATE_ERROR},
    /* STATE_TARGET_VALUE   */ {STATE_ERROR,          STATE_ERROR,          STATE_ERROR,          STATE_ERROR,          STATE_TARGET,         STATE_PROPERTY,       STATE_ERROR,  STATE_TARGET_COMMA},
    /* STATE_TARGET_COMMA   */ {STATE_ERROR,          STATE_TARGET_VALUE,   STATE_ERROR,          STATE_ERROR,          STATE_ERROR,          STATE_TARGET_VALUE,   STATE_ERROR,  STATE_ERROR},
    /* STATE_PROPERTY       */ {STATE_ERROR,          STATE_ERROR,          STATE_ERROR,          STATE_ERROR,          STATE_ERROR,          STATE_PROPERTY,       STATE_EQUALS, STATE_ERROR},
    /* STATE_EQUALS         */ {STATE_PROPERTY_VALUE, STATE_PROPERTY_VALUE, STATE_PROPERTY_VALUE, STATE_PROPERTY_VALUE, STATE_PROPERTY_VALUE, STATE_PROPERTY_VALUE, STATE_ERROR,  STATE_ERROR},
    /* STATE_PROPERTY_VALUE */ {STATE_ERROR,          STATE_ERROR,          STATE_ERROR,          STATE_ERROR,          STATE_ERROR,          STATE_PROPERTY,       STATE_ERROR,  STATE_ERROR},
};
// clang-format on

std::unique_ptr<ResultBase> Parser::parse(const std::vector<Token>& tokens, CandidateCommands* commands) {
    CLI_TRACE();
    commands_ = commands;
    return parse(tokens);
}

std::unique_ptr<ResultBase> Parser::parse(const std::vector<Token>& tokens) {
    CLI_TRACE();
    initialize();
    std::unique_ptr<ResultBase> failure = parseCommand(tokens);
    if (failure) rescueOutputOption(tokens);
    return failure;
}

void Parser::initialize() {
    CLI_TRACE();
    verb_.clear();
    options_.clear();
    targets_.clear();
    properties_.clear();
    removedCommands_.clear();
}

std::unique_ptr<ResultBase> Parser::parseCommand(const std::vector<Token>& tokens) {
    CLI_TRACE();
    if (tokens.empty()) {
        auto failure = std::make_unique<NoInputErrorResult>();
        std::vector<CommandSpec> all;
        if (commands_ != nullptr) {
            for (const CandidateCommand& candidate : *commands_) all.push_back(candidate.commandSpec);
        }
        failure->setPotentialCommands(std::move(all));
        return failure;
    }
    if (tokens[0].tokenType != TOKENTYPE_VERB) return std::make_unique<ParseErrorResult>(tokens[0].text);

    verb_ = tokens[0].text;
    filterOnVerb(tokens[0]);
    // "help -help Name=x" means "help Name=x": the help command has no "-help" of its own.
    const bool skipsHelp = tokens.size() >= 3 && tokens[0].text == VERB_HELP && tokens[1].text == OPTION_HELP.name;
    std::unique_ptr<ResultBase> failure = readParts(tokens, skipsHelp ? 2 : 1);
    return failure ? std::move(failure) : filterOptions();
}

std::unique_ptr<ResultBase> Parser::readParts(const std::vector<Token>& tokens, size_t first) {
    CLI_TRACE();
    State state = STATE_VERB;
    for (size_t i = first; i < tokens.size(); ++i) {
        const Token& token = tokens[i];
        const State previous = std::exchange(state, NEXT_STATE[state][token.tokenType]);
        if (state == STATE_ERROR) return errorStep(token);
        if (auto failure = enterState(state, previous, token)) return failure;
    }
    // A comma may end the line, an equals sign may not.
    return state == STATE_EQUALS ? errorStep(tokens.back()) : nullptr;
}

std::unique_ptr<ResultBase> Parser::enterState(State state, State previous, const Token& token) {
    CLI_TRACE();
    switch (state) {
        case STATE_OPTION:
            return enterOption(token);
        case STATE_TARGET:
            return enterTarget(token);
        case STATE_PROPERTY:
            return enterProperty(token);
        case STATE_OPTION_VALUE:
            options_[currentOption_] += (previous == STATE_OPTION_COMMA ? "," : "") + token.text;
            return nullptr;
        case STATE_TARGET_VALUE:
            targets_[currentTarget_] += (previous == STATE_TARGET_COMMA ? "," : "") + token.text;
            return nullptr;
        case STATE_PROPERTY_VALUE:
            properties_[currentProperty_] = token.text;
            return nullptr;
        default:
            return nullptr;
    }
}

std::unique_ptr<ResultBase> Parser::enterOption(const Token& token) {
    CLI_TRACE();
    currentOption_ = token.text;
    // Options do not narrow the candidates here: they come before the targets, which choose the command first.
    if (!options_.emplace(token.text, "").second) return std::make_unique<DuplicateTokenErrorResult>(token);
    return nullptr;
}

std::unique_ptr<ResultBase> Parser::enterTarget(const Token& token) {
    CLI_TRACE();
    currentTarget_ = token.text;
    if (!targets_.emplace(token.text, "").second) return std::make_unique<DuplicateTokenErrorResult>(token);
    return filterOn(token) ? nullptr : invalidCommand(token);
}

std::unique_ptr<ResultBase> Parser::enterProperty(const Token& token) {
    CLI_TRACE();
    currentProperty_ = token.text;
    if (!properties_.emplace(token.text, "").second) {
        // Unlike a doubled option or target, this one comes with suggestions.
        auto failure = std::make_unique<DuplicateTokenErrorResult>(token);
        eraseAllRemainingCommands();
        failure->setPotentialCommands(removedCommands_);
        return failure;
    }
    return filterOn(token) ? nullptr : invalidCommand(token);
}

std::unique_ptr<ResultBase> Parser::filterOptions() {
    CLI_TRACE();
    for (const auto& [name, value] : options_) {
        if (name == OPTION_HELP.name || name == OPTION_OUTPUT.name) continue;
        const Token token{name, TOKENTYPE_OPTION};
        if (!filterOn(token)) return invalidCommand(token);
    }
    return nullptr;
}

void Parser::filterOnVerb(const Token& token) {
    CLI_TRACE();
    if (commands_ == nullptr) return;
    CLI_LOG("Filtering on verb: " << token.text);
    removeCandidates(*commands_, removedCommands_,
                     [&](const CommandSpec& command) { return stringsIEqual(command.verb, token.text); });
}

/// Keeps the commands that know the token and flags it as found in them. False when none is left; removedCommands_ then
/// holds those that knew every word before this one.
bool Parser::filterOn(const Token& token) {
    CLI_TRACE();
    if (commands_ == nullptr) return true;
    removedCommands_.clear();
    CLI_LOG("Filtering on " << tokenTypeToString(token.tokenType) << ": " << token.text);
    removeCandidates(*commands_, removedCommands_, [&](CommandSpec& command) {
        std::vector<CommandPart>* parts = Framework::getCommandPart(token.tokenType, command);
        if (parts == nullptr) {
            CLI_LOG("filterOn only accepts Token Types Target, Property, and Options, but '"
                    << token.text << "' is type: " << tokenTypeToString(token.tokenType));
            return true;
        }
        const auto part = std::find_if(parts->begin(), parts->end(),
                                       [&](const CommandPart& each) { return stringsIEqual(each.name, token.text); });
        if (part == parts->end()) return false;
        part->found = true;
        return true;
    });
    return !commands_->empty();
}

void Parser::eraseAllRemainingCommands() {
    CLI_TRACE();
    if (commands_ == nullptr) return;
    removedCommands_.clear();
    for (auto candidate = commands_->rbegin(); candidate != commands_->rend(); ++candidate) {
        removedCommands_.push_back(std::move(candidate->commandSpec));
    }
    commands_->clear();
}

std::unique_ptr<ResultBase> Parser::invalidCommand(const Token& token) const {
    CLI_TRACE();
    auto failure = std::make_unique<ParseErrorResult>(token.text);
    failure->setPotentialCommands(removedCommands_);
    return failure;
}

/// The line breaks at this token: the commands that fitted so far become the suggestions.
std::unique_ptr<ResultBase> Parser::errorStep(const Token& token) {
    CLI_TRACE();
    eraseAllRemainingCommands();
    return invalidCommand(token);
}

/// Lets a failed line show its error as nvmxml when it asked for that, even where the parse broke before it came to the
/// option. No other format is rescued. Otherwise "-output" is left with an empty value, which selects nothing.
void Parser::rescueOutputOption(const std::vector<Token>& tokens) {
    CLI_TRACE();
    std::string& output = options_[OPTION_OUTPUT.name];
    if (!output.empty()) return;
    for (size_t i = 0; i + 1 < tokens.size(); ++i) {
        const Token& token = tokens[i];
        const bool isOutput = token.tokenType == TOKENTYPE_OPTION &&
                              (token.text == OPTION_OUTPUT.shortName || token.text == OPTION_OUTPUT.name);
        if (isOutput && stringsIEqual(tokens[i + 1].text, OUTPUT_NVMXML)) output = OUTPUT_NVMXML;
    }
}

ParsedCommand Parser::getParsedCommand() const {
    CLI_TRACE();
    return {verb_, options_, targets_, properties_};
}

std::unique_ptr<ResultBase> Parser::checkValues(const CommandSpec& commandSpec) const {
    CLI_TRACE();
    auto failure = checkList(commandSpec.options, options_, TOKENTYPE_OPTION);
    if (!failure) failure = checkList(commandSpec.targets, targets_, TOKENTYPE_TARGET);
    if (!failure) failure = checkList(commandSpec.properties, properties_, TOKENTYPE_PROPERTY);
    return failure;
}

std::unique_ptr<ResultBase> Parser::checkList(const std::vector<CommandPart>& parts, const Values& values,
                                              TokenType tokenType) {
    CLI_TRACE();
    for (const CommandPart& part : parts) {
        const auto given = values.find(part.name);
        if (given == values.end()) continue;
        const std::string& value = given->second;
        if (part.valueRequired && value.empty())
            return std::make_unique<SyntaxErrorMissingValueResult>(tokenType, part.name);
        if (part.noValueAccepted && !value.empty())
            return std::make_unique<SyntaxErrorBadValueResult>(tokenType, part.name, value);
    }
    return nullptr;
}

std::string Parser::getOptionValue(const ParsedCommand& parsed, const std::string& key, bool* found) {
    CLI_TRACE();
    return getValue(parsed.options, key, found);
}

std::string Parser::getTargetValue(const ParsedCommand& parsed, const std::string& key, bool* found) {
    CLI_TRACE();
    return getValue(parsed.targets, key, found);
}

std::string Parser::getPropertyValue(const ParsedCommand& parsed, const std::string& key, bool* found) {
    CLI_TRACE();
    return getValue(parsed.properties, key, found);
}

std::vector<std::string> Parser::getTargetValues(const ParsedCommand& parsed, const std::string& key, bool* found) {
    CLI_TRACE();
    const std::string value = getTargetValue(parsed, key, found);
    return value.empty() ? std::vector<std::string>() : split(value, ',');
}

std::string Parser::getValue(const Values& values, const std::string& key, bool* found) {
    CLI_TRACE();
    const auto entry = values.find(key);
    if (found != nullptr) *found = entry != values.end();
    return entry != values.end() ? entry->second : std::string();
}

}  // namespace cli::framework
