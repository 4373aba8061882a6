#pragma once

#include "ostrel/interfaces/cli/cliframework/SyntaxErrorResult.h"

namespace cli::framework {

/// There is no command line to parse.
class NoInputErrorResult : public SyntaxErrorResult {
public:
    NoInputErrorResult();
};

}  // namespace cli::framework
