#include "ostrel/core/ScopeTrace.h"

namespace ostrel::core {

ScopeTrace::ScopeTrace(const char* file, const char* function, unsigned) : file_(file), function_(function) {}
ScopeTrace::~ScopeTrace() {
    (void)file_;
    (void)function_;
}

}  // namespace ostrel::core
