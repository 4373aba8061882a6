#pragma once

#include "ostrel/interfaces/cli/cliframework/SyntaxErrorResult.h"
#include "ostrel/interfaces/cli/cliframework/Token.h"

namespace cli::framework {

/// An option, target or property is on the command line twice.
class DuplicateTokenErrorResult : public SyntaxErrorResult {
public:
    explicit DuplicateTokenErrorResult(const Token& token);
};

}  // namespace cli::framework
