#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "features/simulator/store/DriveStore.h"
#include "simdrive/Outcome.h"

namespace simdrive {

/// A command with its names and options "--name value" (or "--name=value") in any order, ready to run.
struct CommandLine {
    std::string error;                  ///< what is wrong with it; empty: it could be read
    bool makesDrives = false;           ///< the folder of drives may be missing
    std::optional<std::string> folder;  ///< of --folder
    std::function<Outcome(const features::simulator::DriveStore&)> run;

    /// `words`: a command and what follows it.
    static CommandLine parse(const std::vector<std::string>& words);
};

/// The help of all commands.
std::string commandHelp();

}  // namespace simdrive
