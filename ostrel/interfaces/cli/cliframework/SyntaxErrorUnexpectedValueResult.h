#pragma once

#include <string>

#include "ostrel/interfaces/cli/cliframework/SyntaxErrorResult.h"
#include "ostrel/interfaces/cli/cliframework/TokenType.h"

namespace cli::framework {

/// A part of the command that takes no value has one.
class SyntaxErrorUnexpectedValueResult : public SyntaxErrorResult {
public:
    SyntaxErrorUnexpectedValueResult(TokenType tokenType, const std::string& tokenText);
};

}  // namespace cli::framework
