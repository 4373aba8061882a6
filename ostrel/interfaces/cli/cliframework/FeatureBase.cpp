#include "ostrel/interfaces/cli/cliframework/FeatureBase.h"

#include "ostrel/interfaces/cli/cliframework/ResultBase.h"

namespace cli::framework {

FeatureBase::~FeatureBase() = default;

}  // namespace cli::framework
