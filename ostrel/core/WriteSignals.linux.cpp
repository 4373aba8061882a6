#include "ostrel/core/WriteSignals.h"

#include <csignal>

#include "ostrel/core/ScopeTrace.h"

namespace ostrel::core {

// Neither call can fail: both signals can be ignored.
void ignoreWriteSignals() {
    OSTREL_TRACE();
    (void)std::signal(SIGXFSZ, SIG_IGN);
    (void)std::signal(SIGPIPE, SIG_IGN);
}

}  // namespace ostrel::core
