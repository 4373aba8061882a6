#pragma once

#include <string>

namespace ostrel::core {

/// The directory of the running program with "/" at its end; "./" when the system does not report it.
std::string getExecutablePath();

/// Runs `command` in a shell and appends what it prints to `output`. The way out of the command is not looked at.
/// Returns 1; 0, with an error in the debug log, when the shell could not be started. The command is a constant of the
/// program's or built from such: nothing here quotes.
int callCommand(const std::string& command, std::string& output);
/// What the command prints, standard error included.
std::string callCommandWithStderr(const std::string& command);
/// What the command prints, standard error dropped.
std::string callCommandQuiet(const std::string& command);

}  // namespace ostrel::core
