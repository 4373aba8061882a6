#include "ostrel/interfaces/cli/cliframework/NoInputErrorResult.h"

#include "ostrel/interfaces/cli/cliframework/Trace.h"

namespace cli::framework {

NoInputErrorResult::NoInputErrorResult() : SyntaxErrorResult("No Input.") {
    CLI_TRACE();
}

}  // namespace cli::framework
