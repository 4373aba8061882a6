#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "features/simulator/store/DriveStore.h"
#include "simdrive/Outcome.h"

namespace CLI {
class App;
}

namespace simdrive {

struct CommandDefinition {
    std::string help;  ///< lines of the program's help, an empty one at the end
    std::function<Outcome(const features::simulator::DriveStore& store, const std::vector<std::string>& names)> run;
};

/// A command of nimbrel-simdrive.
struct CommandRow {
    const char* name;
    size_t minNames;  ///< of drives, or what else is no option
    size_t maxNames;
    const char* namesRule;  ///< what to say of fewer or more
    bool makesDrives;       ///< the folder of drives may be missing
    /// Adds the command's options. Their values are in what `run` is bound to.
    CommandDefinition (*define)(CLI::App& command);
};

/// All commands, in the order of the help.
std::vector<CommandRow> commandRows();
/// nullptr: there is none with that name.
const CommandRow* findCommand(const std::string& name);

}  // namespace simdrive
