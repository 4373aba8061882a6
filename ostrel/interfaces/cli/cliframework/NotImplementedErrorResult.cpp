#include "ostrel/interfaces/cli/cliframework/NotImplementedErrorResult.h"

#include <utility>

#include "ostrel/interfaces/cli/cliframework/ErrorCode.h"
#include "ostrel/interfaces/cli/cliframework/Trace.h"

namespace cli::framework {

NotImplementedErrorResult::NotImplementedErrorResult(std::uint32_t commandSpecId, std::string featureName)
    : ErrorResult(ERRORCODE_NOT_SUPPORTED,
                  formatString("CommandSpecId %d of Feature %s is not supported in the current context.",
                               static_cast<std::int32_t>(commandSpecId), featureName.c_str()),
                  ""),
      commandSpecId_(commandSpecId),
      featureName_(std::move(featureName)) {
    CLI_TRACE();
}

}  // namespace cli::framework
