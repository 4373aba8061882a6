#include "ostrel/interfaces/cli/cliframework/SyntaxErrorResult.h"

#include <utility>

#include "ostrel/interfaces/cli/cliframework/ErrorCode.h"
#include "ostrel/interfaces/cli/cliframework/TextAppend.h"
#include "ostrel/interfaces/cli/cliframework/Trace.h"

namespace cli::framework {

SyntaxErrorResult::SyntaxErrorResult() : SyntaxErrorResult(std::string()) {
    CLI_TRACE();
}

SyntaxErrorResult::SyntaxErrorResult(std::vector<CommandSpec> potentialCommands) : SyntaxErrorResult(std::string()) {
    CLI_TRACE();
    setPotentialCommands(std::move(potentialCommands));
}

SyntaxErrorResult::SyntaxErrorResult(std::string message) : ErrorResult(ERRORCODE_SYNTAX, std::move(message), "") {
    CLI_TRACE();
}

std::string SyntaxErrorResult::outputText() const {
    CLI_TRACE();
    std::string out = ErrorResult::outputText();
    if (!potentialCommands_.empty()) out += "\nDid you mean: \n";
    for (const CommandSpec& command : potentialCommands_) append(out, {command.asStr(), "\n"});
    return out;
}

void SyntaxErrorResult::setPotentialCommands(std::vector<CommandSpec> potentialCommands) {
    CLI_TRACE();
    potentialCommands_ = std::move(potentialCommands);
}

}  // namespace cli::framework
