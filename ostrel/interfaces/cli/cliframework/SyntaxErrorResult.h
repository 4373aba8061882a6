#pragma once

#include <string>
#include <vector>

#include "ostrel/interfaces/cli/cliframework/CommandSpec.h"
#include "ostrel/interfaces/cli/cliframework/ErrorResult.h"

namespace cli::framework {

/// A command line that is wrong, always with exit status 201. The text form and the esx form, which is made of it, go
/// on with the potential commands, copies of what the user may have meant; the other forms show the error alone.
class SyntaxErrorResult : public ErrorResult {
public:
    SyntaxErrorResult();
    explicit SyntaxErrorResult(std::vector<CommandSpec> potentialCommands);
    explicit SyntaxErrorResult(std::string message);

    std::string outputText() const override;

    std::vector<CommandSpec> getPotentialCommands() const { return potentialCommands_; }
    void setPotentialCommands(std::vector<CommandSpec> potentialCommands);

private:
    std::vector<CommandSpec> potentialCommands_;
};

}  // namespace cli::framework
