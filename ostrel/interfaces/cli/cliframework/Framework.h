#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ostrel/interfaces/cli/cliframework/CandidateCommand.h"
#include "ostrel/interfaces/cli/cliframework/Token.h"

namespace cli::framework {

class Parser;
class ResultBase;

/// The engine: knows every registered feature, and runs one command from raw arguments to a result.
///
/// Usable from static initialisation on, since features register themselves from static objects. Features are not
/// owned and stay alive until the process ends or they are removed.
/// Threads: main thread only.
class Framework {
public:
    static Framework& getInstance();
    ~Framework();
    Framework(const Framework&) = delete;
    Framework& operator=(const Framework&) = delete;

    /// False, and nothing changed, when the key is taken.
    bool registerFeature(const std::string& key, FeatureBase* feature);
    void removeFeature(const std::string& key);
    void clearFeatureList();

    /// Appends the commands of all features, each with the shared "-output" option.
    void buildCommands(CandidateCommands& commands) const;

    /// Runs one command line, given without the program's name. The result is null when a command succeeded with
    /// nothing to print. What a feature throws leaves through here.
    std::unique_ptr<ResultBase> execute(const std::vector<std::string>& arguments);
    std::unique_ptr<ResultBase> execute(int argc, const char* const* argv);

    /// Classifies the arguments against the commands; options are returned under their long names.
    std::vector<Token> tokenize(int argc, const char* const* argv, const CandidateCommands& commands) const;

    /// The list that holds the parts of a type; null for a type that is no option, target or property.
    static std::vector<CommandPart>* getCommandPart(TokenType tokenType, CommandSpec& commandSpec);

    /// Removes the commands that lack a required part of this type on the command line.
    void filterIncompleteCommands(TokenType tokenType, CandidateCommands& commands);

    // For the log.
    static std::string tokenArrayToString(int argc, const char* const* argv);
    static std::string tokenArrayToString(const std::vector<Token>& tokens);

    std::string exeName;  ///< argv[0], set by main.

private:
    /// The features that are known come first, in the order that the lists of candidates depend on; others follow in
    /// the order of their keys.
    struct RegistryOrder {
        bool operator()(const std::string& left, const std::string& right) const;
    };

    Framework() = default;

    std::unique_ptr<ResultBase> executeLine(int argc, const char* const* argv, Parser& parser);
    void removeIncompleteCommands(CandidateCommands& commands);
    void removeIncompleteForHelp(CandidateCommands& commands);
    std::unique_ptr<ResultBase> runOnlyCommand(const CandidateCommands& commands, const Parser& parser) const;

    std::map<std::string, FeatureBase*, RegistryOrder> features_;
    std::vector<CommandSpec> removedCommands_;  ///< What filterIncompleteCommands() removed during this run.
};

}  // namespace cli::framework
