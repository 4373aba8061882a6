#include "CLI/velkossd/FlowResult.h"

#include "ostrel/interfaces/cli/cliframework/ErrorResult.h"

namespace cli::velkossd {

FlowResult makeError(framework::ErrorCode code, const std::string& message) {
    return std::make_unique<framework::ErrorResult>(code, message, "");
}

}  // namespace cli::velkossd
