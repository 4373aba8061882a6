#pragma once

#include <string>

#include "ostrel/interfaces/cli/cliframework/TokenType.h"

namespace cli::framework {

/// One word of the command line. Verbs, options, targets and properties carry the spelling of the CommandSpec, values
/// and unknown words the spelling of the user.
struct Token {
    std::string text;
    TokenType tokenType = TOKENTYPE_UNKNOWN;
};

}  // namespace cli::framework
