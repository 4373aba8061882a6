#pragma once

namespace ostrel::core {

/// Writes "Entering" and "Exiting" lines of one function to the debug log. Made by OSTREL_TRACE() as a function's
/// first statement; costs one comparison while the log is off.
class ScopeTrace {
public:
    ScopeTrace(const char* file, const char* function, unsigned line);
    ~ScopeTrace();
    ScopeTrace(const ScopeTrace&) = delete;
    ScopeTrace& operator=(const ScopeTrace&) = delete;

private:
    const char* file_;
    const char* function_;
};

}  // namespace ostrel::core

#define OSTREL_TRACE() const ::ostrel::core::ScopeTrace ostrelScopeTrace(__FILE__, __func__, __LINE__)
