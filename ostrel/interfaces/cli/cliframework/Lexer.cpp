#include "ostrel/interfaces/cli/cliframework/Lexer.h"

#include <utility>

#include "ostrel/interfaces/cli/cliframework/StringHelpers.h"
#include "ostrel/interfaces/cli/cliframework/Trace.h"

namespace cli::framework {

namespace {

constexpr std::string_view EQUAL = "=";
constexpr std::string_view COMMA = ",";

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
    makeRoom(commands);
    for (const CandidateCommand& candidate : commands) {
        const CommandSpec& command = candidate.commandSpec;
        commands_.push_back({keep(command.verb), keepAll(command.targets, &Lexer::keepWithDash),
                             keepAll(command.options, &Lexer::keepWithDash),
                             keepAll(command.properties, &Lexer::keep)});
    }
}

void Lexer::makeRoom(const CandidateCommands& commands) {
    CLI_TRACE();
    constexpr size_t DASHES = 2;
    size_t length = 0;
    size_t names = 0;
    for (const CandidateCommand& candidate : commands) {
        const CommandSpec& command = candidate.commandSpec;
        length += command.verb.size();
        for (const auto* parts : {&command.targets, &command.options, &command.properties}) {
            names += parts->size();
            for (const CommandPart& part : *parts) length += part.name.size() + part.shortName.size() + DASHES;
        }
    }
    text_.reserve(length);
    names_.reserve(names);
    commands_.reserve(commands.size());
}

std::string_view Lexer::keep(const std::string& word) {
    CLI_TRACE();
    const size_t begin = text_.size();
    text_ += word;
    return std::string_view(text_).substr(begin);
}

std::string_view Lexer::keepWithDash(const std::string& word) {
    CLI_TRACE();
    const size_t begin = text_.size();
    if (word.empty() || word[0] != '-') text_ += '-';
    text_ += word;
    return std::string_view(text_).substr(begin);
}

Lexer::Names Lexer::keepAll(const std::vector<CommandPart>& parts,
                            std::string_view (Lexer::*keepOne)(const std::string& word)) {
    CLI_TRACE();
    const size_t begin = names_.size();
    for (const CommandPart& part : parts) {
        names_.push_back(
            {(this->*keepOne)(part.name), part.shortName.empty() ? std::string_view() : keepWithDash(part.shortName)});
    }
    return {names_.data() + begin, names_.data() + names_.size()};
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
    token = {std::string(command.verb), TOKENTYPE_VERB};
    if (currentVerb.empty()) return Lookup::FOUND;
    CLI_LOG("Multiple verbs provided. Unable to process");
    return Lookup::FOUND_THEN_STOP;
}

Lexer::Lookup Lexer::lookUpTarget(const Word& word, const Vocabulary& command, const std::string& currentVerb,
                                  Token& token) {
    CLI_TRACE();
    for (const Name& target : command.targets) {
        if (!stringsIEqual(word.text, target.text)) continue;
        if (currentVerb.empty()) {
            CLI_LOG("Verb missing before target. Unable to process target");
            return Lookup::STOP;
        }
        // A target of another verb's command does not count.
        if (command.verb != currentVerb) continue;
        CLI_LOG("Found target: " << target.text);
        token = {std::string(target.text), TOKENTYPE_TARGET};
        return Lookup::FOUND;
    }
    return Lookup::NOT_FOUND;
}

Lexer::Lookup Lexer::lookUpOption(const Word& word, const Vocabulary& command, Token& token) {
    CLI_TRACE();
    for (const Name& option : command.options) {
        if (!stringsIEqual(word.text, option.text) && !stringsIEqual(word.text, option.shortName)) continue;
        CLI_LOG("Found option: " << option.text);
        token = {std::string(option.text), TOKENTYPE_OPTION};
        return Lookup::FOUND;
    }
    return Lookup::NOT_FOUND;
}

Lexer::Lookup Lexer::lookUpProperty(const Word& word, const Vocabulary& command, Token& token) {
    CLI_TRACE();
    if (!word.isFollowedByEqual) return Lookup::NOT_FOUND;
    for (const Name& property : command.properties) {
        if (!stringsIEqual(word.text, property.text)) continue;
        CLI_LOG("Found property for set: " << property.text);
        token = {std::string(property.text), TOKENTYPE_PROPERTY};
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
