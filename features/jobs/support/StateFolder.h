#pragma once

#include <string>

#include "ostrel/core/Status.h"

namespace features::jobs {

/// What the library keeps from one command to the next.
inline constexpr const char* STATE_FOLDER = "/var/lib/nimbrel";

/// STATE_FOLDER, or another one for tests; that is given before any thread asks for it.
const std::string& stateFolder();
void useStateFolder(const std::string& path);

/// Makes the folder, with mode 0700 whatever the umask is, unless it is there. The one above it must be there. Neither
/// may be one that other users can change, see TrustedFile, whose errors are returned.
ostrel::core::Status makeStateFolder(const std::string& path);

}  // namespace features::jobs
