#include "features/jobs/support/Notice.h"

#include <unistd.h>

#include <cstdlib>
#include <string_view>

#include "ostrel/core/FileDescriptor.h"
#include "ostrel/core/Logging.h"
#include "ostrel/core/TerminalLine.h"
#include "ostrel/interfaces/ostreli/interface/FeatureLibrary.h"

namespace features::jobs {

using namespace ostrel::core;

void Notice::show(const std::string& text) const {
    logMessage(LOGSEVERITY_WARNING, text);
    const char* wish = std::getenv(FEATURE_LIBRARY_PROGRESS_VARIABLE);
    if (wish == nullptr || std::string_view(wish) != FEATURE_LIBRARY_PROGRESS_ON_STDERR) return;
    // Where it cannot be written the log has it, and the answer names it again.
    (void)writeFully(STDERR_FILENO, text + "\n");
}

}  // namespace features::jobs
