#pragma once

#include <memory>
#include <vector>

#include "ostrel/interfaces/cli/cliframework/CommandSpec.h"
#include "ostrel/interfaces/cli/cliframework/ParsedCommand.h"
#include "ostrel/interfaces/cli/cliframework/Prompt.h"

namespace cli::framework {

class ResultBase;

/// A feature brings a list of commands and can run them. Features are long-lived objects, built statically and
/// registered with the Framework, which does not own them.
///
/// The order of the virtual operations is fixed; new ones go last.
class FeatureBase {
public:
    virtual ~FeatureBase();

    /// Does the command. A null result is a success with nothing to print.
    virtual std::unique_ptr<ResultBase> run(const CommandSpec& commandSpec, const ParsedCommand& parsedCommand) = 0;

    /// The checks on the options that every command may have. Null when they are in order, otherwise a syntax error.
    virtual std::unique_ptr<ResultBase> validate(const ParsedCommand& parsedCommand);

    /// Appends the grammar of the feature's commands.
    virtual void getPaths(std::vector<CommandSpec>& commands) = 0;

protected:
    /// Asks on the standard error stream and reads the answer from standard input; blocks until there is one. Null when
    /// the user agreed, otherwise (end of input included) the result to end the command with, which is no failure.
    std::unique_ptr<ResultBase> promptUser(const Prompt& prompt);
};

}  // namespace cli::framework
