#pragma once

#include <string>

namespace cli::framework {
struct ParsedCommand;
}

namespace cli::velkossd {

struct CommandRow;

/// What a user reads who ends the tool while the library carries out this command: that the drive goes on, and which
/// command shows what came of it. For a command that only reads: that the tool ends, and when. See
/// ostrel::core::SignalWatch, which puts the signal's name before it.
std::string interruptionWords(const CommandRow& row, const framework::ParsedCommand& command);

}  // namespace cli::velkossd
