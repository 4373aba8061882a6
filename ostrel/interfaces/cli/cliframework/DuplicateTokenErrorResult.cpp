#include "ostrel/interfaces/cli/cliframework/DuplicateTokenErrorResult.h"

#include "ostrel/interfaces/cli/cliframework/Trace.h"

namespace cli::framework {

// The kind of token keeps its capital letter here, as in the message on an unexpected value.
DuplicateTokenErrorResult::DuplicateTokenErrorResult(const Token& token)
    : SyntaxErrorResult(formatString("Duplicate token found. The %s '%s' was found more than once.",
                                     tokenTypeToString(token.tokenType).c_str(), token.text.c_str())) {
    CLI_TRACE();
}

}  // namespace cli::framework
