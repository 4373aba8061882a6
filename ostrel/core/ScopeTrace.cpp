#include "ostrel/core/ScopeTrace.h"

namespace ostrel::core {

void ScopeTrace::logEntering(unsigned line) const noexcept {
    logMessage(LOGSEVERITY_DEBUG, baseFileName(file_), "(", line, ") ", baseFunctionName(function_), ": Entering");
}

void ScopeTrace::logExiting() const noexcept {
    logMessage(LOGSEVERITY_DEBUG, baseFileName(file_), " ", baseFunctionName(function_), ": Exiting");
}

}  // namespace ostrel::core
