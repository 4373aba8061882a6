#pragma once

#include <memory>
#include <string>

#include "ostrel/interfaces/cli/cliframework/ErrorCode.h"
#include "ostrel/interfaces/cli/cliframework/ResultBase.h"

namespace cli::velkossd {

/// What a flow or a step of one hands back. From a step, null says that the flow goes on; anything else ends it.
using FlowResult = std::unique_ptr<framework::ResultBase>;

FlowResult makeError(framework::ErrorCode code, const std::string& message);

}  // namespace cli::velkossd
