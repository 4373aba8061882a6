#pragma once

#include <vector>

#include "ostrel/interfaces/cli/cliframework/CommandSpec.h"

namespace cli::framework {

class FeatureBase;

/// A command that may still be the one the user meant, with the feature that brings it (not owned).
struct CandidateCommand {
    CommandSpec commandSpec;
    FeatureBase* feature = nullptr;
};

using CandidateCommands = std::vector<CandidateCommand>;

}  // namespace cli::framework
