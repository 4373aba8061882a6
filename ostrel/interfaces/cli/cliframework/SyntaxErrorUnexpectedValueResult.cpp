#include "ostrel/interfaces/cli/cliframework/SyntaxErrorUnexpectedValueResult.h"

#include "ostrel/interfaces/cli/cliframework/Trace.h"

namespace cli::framework {

// The kind of part keeps its capital letter here, unlike in the messages on missing and bad values.
SyntaxErrorUnexpectedValueResult::SyntaxErrorUnexpectedValueResult(TokenType tokenType, const std::string& tokenText)
    : SyntaxErrorResult(
          formatString("%s '%s' does not accept a value.", tokenTypeToString(tokenType).c_str(), tokenText.c_str())) {
    CLI_TRACE();
}

}  // namespace cli::framework
