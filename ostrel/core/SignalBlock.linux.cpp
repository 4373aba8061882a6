#include "ostrel/core/SignalBlock.h"

#include <pthread.h>

#include <initializer_list>

#include "ostrel/core/ScopeTrace.h"

namespace ostrel::core {

namespace {

/// Pending ones of these act as well, but they do not end the process.
bool isHarmless(int number) {
    OSTREL_TRACE();
    for (const int harmless : {SIGCHLD, SIGCONT, SIGURG, SIGWINCH, SIGTSTP, SIGTTIN, SIGTTOU}) {
        if (number == harmless) return true;
    }
    struct sigaction action{};
    return sigaction(number, nullptr, &action) != 0 || action.sa_handler == SIG_IGN;
}

}  // namespace

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

bool SignalBlock::isEndPending() const {
    OSTREL_TRACE();
    sigset_t pending;
    if (sigpending(&pending) != 0) return false;
    for (int number = 1; number <= SIGRTMAX; ++number) {
        if (sigismember(&pending, number) == 1 && sigismember(&previous_, number) == 0 && !isHarmless(number))
            return true;
    }
    return false;
}

}  // namespace ostrel::core
