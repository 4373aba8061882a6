#pragma once

namespace cli {

/// What comes before the first command: loads the feature library, checks the configuration file (and ends the process
/// if it is bad), and opens the debug log if the configuration asks for it. Other failures show where they matter: that
/// of the library in the commands that need one.
void runStartUpRoutine();

/// What comes after the result is out: unloads the feature library, while the debug log still takes what goes wrong.
void runShutDownRoutine();

}  // namespace cli
