#include "ostrel/interfaces/cli/cliframework/SyntaxErrorMissingValueResult.h"

#include "ostrel/interfaces/cli/cliframework/Constants.h"
#include "ostrel/interfaces/cli/cliframework/StringHelpers.h"
#include "ostrel/interfaces/cli/cliframework/Trace.h"

namespace cli::framework {

SyntaxErrorMissingValueResult::SyntaxErrorMissingValueResult(TokenType tokenType, const std::string& tokenText)
    : SyntaxErrorResult(
          formatString(VALUE_REQUIRED_FORMAT, toLower(tokenTypeToString(tokenType)).c_str(), tokenText.c_str())) {
    CLI_TRACE();
}

}  // namespace cli::framework
