#include "ostrel/interfaces/cli/cliframework/ParseErrorResult.h"

#include "ostrel/interfaces/cli/cliframework/Trace.h"

namespace cli::framework {

ParseErrorResult::ParseErrorResult() : SyntaxErrorResult("Invalid command.") {
    CLI_TRACE();
}

ParseErrorResult::ParseErrorResult(const std::string& textNearError)
    : SyntaxErrorResult(formatString("Invalid command. Error at or around '%s'.", textNearError.c_str())) {
    CLI_TRACE();
}

}  // namespace cli::framework
