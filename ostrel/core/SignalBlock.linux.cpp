#include "ostrel/core/SignalBlock.h"

#include <pthread.h>

#include <initializer_list>

#include "ostrel/core/ScopeTrace.h"

namespace ostrel::core {

// Neither call can fail: the arguments are right.
SignalBlock::SignalBlock() : previous_() {
    OSTREL_TRACE();
    sigset_t held;
    sigfillset(&held);
    // Blocked, those of a crash would end the process without a core file's reason, or not be seen at all.
    for (const int ofACrash : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGSYS}) sigdelset(&held, ofACrash);
    pthread_sigmask(SIG_BLOCK, &held, &previous_);
}

SignalBlock::~SignalBlock() {
    OSTREL_TRACE();
    pthread_sigmask(SIG_SETMASK, &previous_, nullptr);
}

}  // namespace ostrel::core
