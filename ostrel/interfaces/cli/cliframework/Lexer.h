#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "ostrel/interfaces/cli/cliframework/CandidateCommand.h"
#include "ostrel/interfaces/cli/cliframework/Token.h"

namespace cli::framework {

/// Turns raw arguments into tokens. There is no fixed word list: each word is looked up in all candidate commands, and
/// the token takes the spelling found there ("SHOW -a" becomes "show", "-all"). The lexer keeps a copy of the commands'
/// words and needs the commands no longer.
///
/// The lexer reports no errors. A line it cannot make sense of leaves unknown tokens or ends early (a second verb, a
/// target before the verb), and the parser finds the fault.
/// Quotes mean nothing: "=" and "," inside an argument always cut it.
/// Cost: linear in the line, times the number of words that the commands know.
class Lexer {
public:
    /// Options and targets that lack their "-" get one in the lexer's own copy.
    explicit Lexer(const CandidateCommands& commands);
    Lexer(const Lexer&) = delete;  // its views are of its own text
    Lexer& operator=(const Lexer&) = delete;

    std::vector<Token> tokenize(int argc, const char* const* argv) const;
    std::vector<Token> tokenize(const std::vector<std::string>& arguments) const;

private:
    struct Name {
        std::string_view text;
        std::string_view shortName;  // of an option that has one
    };
    struct Names {
        const Name* first = nullptr;
        const Name* last = nullptr;
        const Name* begin() const { return first; }
        const Name* end() const { return last; }
    };
    /// The words of one command, without what the lexer has no use for.
    struct Vocabulary {
        std::string_view verb;
        Names targets;
        Names options;
        Names properties;
    };

    /// A piece of an argument, as typed.
    struct Word {
        std::string_view text;
        bool isFollowedByEqual = false;
    };

    /// What looking up a word came to; a stop ends the token list.
    enum class Lookup { NOT_FOUND, FOUND, FOUND_THEN_STOP, STOP };

    void makeRoom(const CandidateCommands& commands);
    std::string_view keep(const std::string& word);
    std::string_view keepWithDash(const std::string& word);
    Names keepAll(const std::vector<CommandPart>& parts, std::string_view (Lexer::*keepOne)(const std::string& word));
    static std::vector<Word> cutIntoWords(const std::vector<std::string>& arguments);
    Lookup classify(const Word& word, const std::string& currentVerb, Token& token) const;
    static Lookup lookUp(const Word& word, const Vocabulary& command, const std::string& currentVerb, Token& token);
    static Lookup foundVerb(const Vocabulary& command, const std::string& currentVerb, Token& token);
    static Lookup lookUpTarget(const Word& word, const Vocabulary& command, const std::string& currentVerb,
                               Token& token);
    static Lookup lookUpOption(const Word& word, const Vocabulary& command, Token& token);
    static Lookup lookUpProperty(const Word& word, const Vocabulary& command, Token& token);
    static void markValues(std::vector<Token>& tokens);

    // All words in one string, which never grows: a string for each took a tenth of what "version" takes.
    std::string text_;
    std::vector<Name> names_;
    std::vector<Vocabulary> commands_;
};

}  // namespace cli::framework
