#include "ostrel/interfaces/cli/cliframework/Lexer.h"

#include <utility>

#include "ostrel/interfaces/cli/cliframework/StringHelpers.h"
#include "ostrel/interfaces/cli/cliframework/Trace.h"

namespace cli::framework {

namespace {

constexpr std::string_view EQUAL = "=";
constexpr std::string_view COMMA = ",";

std::string withDash(const std::string& name) {
    CLI_TRACE();
    return !name.empty() && name[0] == '-' ? name : "-" + name;
}

/// Cuts each argument at its first "=" only: "Path=a=b" has the value "a=b".
std::vector<std::string_view> cutAtEqual(const std::vector<std::string>& arguments) {
    CLI_TRACE();
    std::vector<std::string_view> pieces;
    for (const std::string_view argument : arguments) {
        const size_t equal = argument.find(EQUAL);
        pieces.push_back(argument.substr(0, equal));
        if (equal == std::string_view::npos) continue;
        pieces.push_back(EQUAL);
        pieces.push_back(argument.substr(equal + 1));
    }
    return pieces;
}

/// Cuts at every ","; what is empty between and beside the commas vanishes.
std::vector<std::string_view> cutAtCommas(const std::vector<std::string_view>& pieces) {
    CLI_TRACE();
    std::vector<std::string_view> words;
    for (std::string_view rest : pieces) {
        for (size_t comma = rest.find(COMMA); comma != std::string_view::npos; comma = rest.find(COMMA)) {
            if (comma > 0) words.push_back(rest.substr(0, comma));
            words.push_back(COMMA);
            rest.remove_prefix(comma + 1);
        }
        if (!rest.empty()) words.push_back(rest);
    }
    return words;
}

}  // namespace

Lexer::Lexer(const CandidateCommands& commands) {
    CLI_TRACE();
    commands_.reserve(commands.size());
    for (const CandidateCommand& candidate : commands) commands_.push_back(wordsOf(candidate.commandSpec));
}

Lexer::Vocabulary Lexer::wordsOf(const CommandSpec& command) {
    CLI_TRACE();
    Vocabulary words;
    words.verb = command.verb;
    words.targets.reserve(command.targets.size());
    for (const CommandPart& target : command.targets) words.targets.push_back(withDash(target.name));
    words.options.reserve(command.options.size());
    for (const CommandPart& option : command.options) {
        words.options.push_back({withDash(option.name), option.shortName.empty() ? "" : withDash(option.shortName)});
    }
    words.properties.reserve(command.properties.size());
    for (const CommandPart& property : command.properties) words.properties.push_back(property.name);
    return words;
}

std::vector<Token> Lexer::tokenize(int argc, const char* const* argv) const {
    CLI_TRACE();
    if (argc < 1) return {};
    return tokenize(std::vector<std::string>(argv, argv + argc));
}

std::vector<Token> Lexer::tokenize(const std::vector<std::string>& arguments) const {
    CLI_TRACE();
    std::vector<Token> tokens;
    std::string currentVerb;
    for (const Word& word : cutIntoWords(arguments)) {
        Token token;
        const Lookup lookup = classify(word, currentVerb, token);
        if (lookup == Lookup::STOP) return tokens;
        if (token.tokenType == TOKENTYPE_VERB) currentVerb = token.text;
        tokens.push_back(std::move(token));
        if (lookup == Lookup::FOUND_THEN_STOP) return tokens;
    }
    markValues(tokens);
    return tokens;
}

std::vector<Lexer::Word> Lexer::cutIntoWords(const std::vector<std::string>& arguments) {
    CLI_TRACE();
    std::vector<Word> words;
    for (const std::string_view text : cutAtCommas(cutAtEqual(arguments))) {
        if (text == EQUAL && !words.empty()) words.back().isFollowedByEqual = true;
        words.push_back({text});
    }
    return words;
}

Lexer::Lookup Lexer::classify(const Word& word, const std::string& currentVerb, Token& token) const {
    CLI_TRACE();
    token.text = word.text;
    if (word.text == EQUAL) token.tokenType = TOKENTYPE_EQUAL;
    if (word.text == COMMA) token.tokenType = TOKENTYPE_COMMA;
    if (token.tokenType != TOKENTYPE_UNKNOWN) return Lookup::FOUND;

    // The first command in list order decides, and with it the spelling.
    for (const Vocabulary& command : commands_) {
        const Lookup lookup = lookUp(word, command, currentVerb, token);
        if (lookup != Lookup::NOT_FOUND) return lookup;
    }
    return Lookup::NOT_FOUND;
}

Lexer::Lookup Lexer::lookUp(const Word& word, const Vocabulary& command, const std::string& currentVerb, Token& token) {
    CLI_TRACE();
    if (stringsIEqual(word.text, command.verb)) return foundVerb(command, currentVerb, token);
    Lookup lookup = lookUpTarget(word, command, currentVerb, token);
    if (lookup == Lookup::NOT_FOUND) lookup = lookUpOption(word, command, token);
    if (lookup == Lookup::NOT_FOUND && !currentVerb.empty()) lookup = lookUpProperty(word, command, token);
    return lookup;
}

Lexer::Lookup Lexer::foundVerb(const Vocabulary& command, const std::string& currentVerb, Token& token) {
    CLI_TRACE();
    CLI_LOG("Found verb: " << command.verb);
    token = {command.verb, TOKENTYPE_VERB};
    if (currentVerb.empty()) return Lookup::FOUND;
    CLI_LOG("Multiple verbs provided. Unable to process");
    return Lookup::FOUND_THEN_STOP;
}

Lexer::Lookup Lexer::lookUpTarget(const Word& word, const Vocabulary& command, const std::string& currentVerb,
                                  Token& token) {
    CLI_TRACE();
    for (const std::string& target : command.targets) {
        if (!stringsIEqual(word.text, target)) continue;
        if (currentVerb.empty()) {
            CLI_LOG("Verb missing before target. Unable to process target");
            return Lookup::STOP;
        }
        // A target of another verb's command does not count.
        if (command.verb != currentVerb) continue;
        CLI_LOG("Found target: " << target);
        token = {target, TOKENTYPE_TARGET};
        return Lookup::FOUND;
    }
    return Lookup::NOT_FOUND;
}

Lexer::Lookup Lexer::lookUpOption(const Word& word, const Vocabulary& command, Token& token) {
    CLI_TRACE();
    for (const Option& option : command.options) {
        if (!stringsIEqual(word.text, option.name) && !stringsIEqual(word.text, option.shortName)) continue;
        CLI_LOG("Found option: " << option.name);
        token = {option.name, TOKENTYPE_OPTION};
        return Lookup::FOUND;
    }
    return Lookup::NOT_FOUND;
}

Lexer::Lookup Lexer::lookUpProperty(const Word& word, const Vocabulary& command, Token& token) {
    CLI_TRACE();
    if (!word.isFollowedByEqual) return Lookup::NOT_FOUND;
    for (const std::string& property : command.properties) {
        if (!stringsIEqual(word.text, property)) continue;
        CLI_LOG("Found property for set: " << property);
        token = {property, TOKENTYPE_PROPERTY};
        return Lookup::FOUND;
    }
    return Lookup::NOT_FOUND;
}

/// Unknown words after an option, a target or a property are its values, however many; whether it takes them is for
/// the parser to say.
void Lexer::markValues(std::vector<Token>& tokens) {
    CLI_TRACE();
    const Token* owner = nullptr;
    for (Token& token : tokens) {
        if (token.tokenType == TOKENTYPE_OPTION || token.tokenType == TOKENTYPE_TARGET ||
            token.tokenType == TOKENTYPE_PROPERTY) {
            owner = &token;
        } else if (owner != nullptr && token.tokenType == TOKENTYPE_UNKNOWN) {
            token.tokenType = TOKENTYPE_VALUE;
            CLI_LOG("Found " << owner->text << "'s value: " << token.text);
        } else if (owner != nullptr) {
            const TokenType skipped = owner->tokenType == TOKENTYPE_PROPERTY ? TOKENTYPE_EQUAL : TOKENTYPE_COMMA;
            if (token.tokenType != skipped) owner = nullptr;
        }
    }
}

}  // namespace cli::framework
