#include "ostrel/interfaces/cli/cliframework/SyntaxErrorBadValueResult.h"

#include "ostrel/interfaces/cli/cliframework/Constants.h"
#include "ostrel/interfaces/cli/cliframework/StringHelpers.h"
#include "ostrel/interfaces/cli/cliframework/Trace.h"

namespace cli::framework {

SyntaxErrorBadValueResult::SyntaxErrorBadValueResult(TokenType tokenType, const std::string& tokenText,
                                                     const std::string& badValue)
    : SyntaxErrorResult(formatString(BAD_VALUE_FORMAT, badValue.c_str(), toLower(tokenTypeToString(tokenType)).c_str(),
                                     tokenText.c_str())) {
    CLI_TRACE();
}

}  // namespace cli::framework
