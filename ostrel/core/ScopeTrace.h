#pragma once

#include "ostrel/core/Logging.h"

namespace ostrel::core {

/// Writes "Entering" and "Exiting" lines of one function to the debug log. Made by OSTREL_TRACE() as a function's
/// first statement; costs one comparison at each end while the log is off. The names are kept, not copied.
class ScopeTrace {
public:
    ScopeTrace(const char* file, const char* function, unsigned line) : file_(file), function_(function) {
        if (isLoggingEnabled()) logEntering(line);
    }
    ~ScopeTrace() {
        if (isLoggingEnabled()) logExiting();
    }
    ScopeTrace(const ScopeTrace&) = delete;
    ScopeTrace& operator=(const ScopeTrace&) = delete;

private:
    void logEntering(unsigned line) const noexcept;
    void logExiting() const noexcept;

    const char* file_;
    const char* function_;
};

}  // namespace ostrel::core

#define OSTREL_TRACE() const ::ostrel::core::ScopeTrace ostrelScopeTrace(__FILE__, __func__, __LINE__)
