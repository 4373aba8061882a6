#pragma once

#include <string>

#include "ostrel/interfaces/cli/cliframework/SyntaxErrorResult.h"

namespace cli::framework {

/// The words of the command line make no command.
class ParseErrorResult : public SyntaxErrorResult {
public:
    ParseErrorResult();
    /// The text is the word at which the parse broke.
    explicit ParseErrorResult(const std::string& textNearError);
};

}  // namespace cli::framework
