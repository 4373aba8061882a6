#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ostrel/interfaces/cli/cliframework/CandidateCommand.h"
#include "ostrel/interfaces/cli/cliframework/ParsedCommand.h"
#include "ostrel/interfaces/cli/cliframework/Token.h"

namespace cli::framework {

class ResultBase;

/// Walks the tokens of one command line (verb, options, targets, properties, in this order) and narrows the list of
/// candidate commands as it goes. What the last narrowing removed is what the user is offered under "Did you mean:".
///
/// Ownership: the candidate list is the caller's and is narrowed in place; it outlives the parse. The parser also sets
///            the found flags in it.
/// Errors:    every failure is a returned syntax error; null is success.
class Parser {
public:
    std::unique_ptr<ResultBase> parse(const std::vector<Token>& tokens, CandidateCommands* commands);
    std::unique_ptr<ResultBase> parse(const std::vector<Token>& tokens);

    /// Forgets the last parse; the candidate list stays.
    void initialize();

    ParsedCommand getParsedCommand() const;

    /// Checks the values of the last parse against what the parts of the command accept.
    std::unique_ptr<ResultBase> checkValues(const CommandSpec& commandSpec) const;

    // Lookups by exact name: an absent part gives an empty string, and false in found where a flag is passed.
    static std::string getOptionValue(const ParsedCommand& parsed, const std::string& key, bool* found = nullptr);
    static std::string getTargetValue(const ParsedCommand& parsed, const std::string& key, bool* found = nullptr);
    static std::string getPropertyValue(const ParsedCommand& parsed, const std::string& key, bool* found = nullptr);
    /// The single values of a target. Throws std::out_of_range when one of them is made of blanks only.
    static std::vector<std::string> getTargetValues(const ParsedCommand& parsed, const std::string& key,
                                                    bool* found = nullptr);

private:
    using Values = std::map<std::string, std::string>;

    /// What the token just read means. A loop steps from state to state, so the length of a line is not limited.
    enum State {
        STATE_VERB,
        STATE_OPTION,
        STATE_OPTION_VALUE,
        STATE_OPTION_COMMA,
        STATE_TARGET,
        STATE_TARGET_VALUE,
        STATE_TARGET_COMMA,
        STATE_PROPERTY,
        STATE_EQUALS,
        STATE_PROPERTY_VALUE,
        STATE_ERROR,
    };
    static const State NEXT_STATE[STATE_ERROR][TOKENTYPE_COMMA + 1];

    std::unique_ptr<ResultBase> parseCommand(const std::vector<Token>& tokens);
    std::unique_ptr<ResultBase> readParts(const std::vector<Token>& tokens, size_t first);
    std::unique_ptr<ResultBase> enterState(State state, State previous, const Token& token);
    std::unique_ptr<ResultBase> enterOption(const Token& token);
    std::unique_ptr<ResultBase> enterTarget(const Token& token);
    std::unique_ptr<ResultBase> enterProperty(const Token& token);
    std::unique_ptr<ResultBase> filterOptions();

    void filterOnVerb(const Token& token);
    bool filterOn(const Token& token);
    void eraseAllRemainingCommands();
    std::unique_ptr<ResultBase> invalidCommand(const Token& token) const;
    std::unique_ptr<ResultBase> errorStep(const Token& token);
    void rescueOutputOption(const std::vector<Token>& tokens);

    static std::string getValue(const Values& values, const std::string& key, bool* found);
    static std::unique_ptr<ResultBase> checkList(const std::vector<CommandPart>& parts, const Values& values,
                                                 TokenType tokenType);

    CandidateCommands* commands_ = nullptr;
    std::string verb_;
    Values options_;
    Values targets_;
    Values properties_;
    std::string currentProperty_;
    std::string currentOption_;
    std::string currentTarget_;
    std::vector<CommandSpec> removedCommands_;
};

}  // namespace cli::framework
