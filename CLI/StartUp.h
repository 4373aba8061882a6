#pragma once

namespace cli {

/// What every run does before its command: brings up the feature library and, where the configuration asks for it, the
/// debug log. Reports nothing: a library that cannot be loaded is told by the commands that need it.
void runStartUpRoutine();

}  // namespace cli
