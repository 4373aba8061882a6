#include "ostrel/interfaces/cli/cliframework/CandidateCommand.h"

#include <algorithm>
#include <utility>

#include "ostrel/interfaces/cli/cliframework/Trace.h"

namespace cli::framework {

void removeCandidates(CandidateCommands& commands, std::vector<CommandSpec>& removed,
                      const std::function<bool(CommandSpec&)>& keep) {
    CLI_TRACE();
    CandidateCommands kept;
    kept.reserve(commands.size());
    removed.reserve(removed.size() + commands.size());
    for (auto command = commands.rbegin(); command != commands.rend(); ++command) {
        if (keep(command->commandSpec)) {
            kept.push_back(std::move(*command));
        } else {
            CLI_LOG("Removing: " << command->commandSpec.asStr());
            removed.push_back(std::move(command->commandSpec));
        }
    }
    std::reverse(kept.begin(), kept.end());
    commands = std::move(kept);
}

}  // namespace cli::framework
