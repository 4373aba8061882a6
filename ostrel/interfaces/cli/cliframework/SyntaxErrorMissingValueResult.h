#pragma once

#include <string>

#include "ostrel/interfaces/cli/cliframework/SyntaxErrorResult.h"
#include "ostrel/interfaces/cli/cliframework/TokenType.h"

namespace cli::framework {

/// A part of the command that needs a value has none.
class SyntaxErrorMissingValueResult : public SyntaxErrorResult {
public:
    SyntaxErrorMissingValueResult(TokenType tokenType, const std::string& tokenText);
};

}  // namespace cli::framework
