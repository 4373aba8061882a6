#pragma once

#include <string>

#include "ostrel/interfaces/cli/cliframework/SyntaxErrorResult.h"
#include "ostrel/interfaces/cli/cliframework/TokenType.h"

namespace cli::framework {

/// A part of the command has a value that it does not take.
class SyntaxErrorBadValueResult : public SyntaxErrorResult {
public:
    SyntaxErrorBadValueResult(TokenType tokenType, const std::string& tokenText, const std::string& badValue);
};

}  // namespace cli::framework
