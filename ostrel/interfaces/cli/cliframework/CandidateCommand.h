#pragma once

#include <functional>
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

/// Moves every command that keep refuses to the end of removed. The walk goes from the last command to the first, so
/// removed grows in reverse order; the commands that stay keep theirs.
void removeCandidates(CandidateCommands& commands, std::vector<CommandSpec>& removed,
                      const std::function<bool(CommandSpec&)>& keep);

}  // namespace cli::framework
