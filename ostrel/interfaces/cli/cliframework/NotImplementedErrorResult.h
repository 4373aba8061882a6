#pragma once

#include <cstdint>
#include <string>

#include "ostrel/interfaces/cli/cliframework/ErrorResult.h"

namespace cli::framework {

/// A feature was asked for a command that it does not have: the catalogue and the feature's dispatch disagree.
class NotImplementedErrorResult : public ErrorResult {
public:
    NotImplementedErrorResult(std::uint32_t commandSpecId, std::string featureName);

    std::uint32_t getCommandSpecId() const { return commandSpecId_; }
    std::string getFeatureName() const { return featureName_; }

private:
    std::uint32_t commandSpecId_;
    std::string featureName_;
};

}  // namespace cli::framework
