#include "ostrel/core/SignalWatch.h"

#include <unistd.h>

#include <atomic>

#include "ostrel/core/FileDescriptor.h"
#include "ostrel/core/ScopeTrace.h"
#include "ostrel/core/SignalBlock.h"
#include "ostrel/core/TerminalLine.h"

namespace ostrel::core {
namespace {

constexpr struct {
    int number;
    const char* name;
} WATCHED[] = {{SIGINT, "SIGINT"}, {SIGTERM, "SIGTERM"}, {SIGHUP, "SIGHUP"}};

/// Between the two threads alone: ends the wait of the one, and the process on the other. Never sent from outside. Not
/// the last one: under QEMU's user emulation the last ones are the emulator's.
int endSignal() {
    return SIGRTMIN;
}

/// The signal that came; set before the end signal is sent.
std::atomic<int> cameSignal{0};
static_assert(std::atomic<int>::is_always_lock_free, "read by a signal handler");

/// Whether a line of progress may be on the terminal, now and until the process ends: it is taken away before the
/// words and at the end. Set before the end signal is sent.
std::atomic<bool> mayHaveLine{false};
static_assert(std::atomic<bool>::is_always_lock_free, "read by a signal handler");

/// Runs on the thread that made the watch, and does not return.
void endProcess(int) {
    const int number = cameSignal;
    if (mayHaveLine) (void)writeFully(STDERR_FILENO, CLEAR_TERMINAL_LINE);
    sigset_t own;
    sigemptyset(&own);
    sigaddset(&own, number);
    (void)std::signal(number, SIG_DFL);
    pthread_sigmask(SIG_UNBLOCK, &own, nullptr);
    (void)raise(number);
    // The first process of a container is not ended by a default action.
    constexpr int ENDED_BY_SIGNAL = 128;
    _exit(ENDED_BY_SIGNAL + number);
}

/// The signals whose default action would end this process now.
sigset_t endingSignals() {
    OSTREL_TRACE();
    sigset_t blocked;
    sigset_t ending;
    sigemptyset(&ending);
    pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
    for (const auto& row : WATCHED) {
        struct sigaction action{};
        const bool isDefault = sigaction(row.number, nullptr, &action) == 0 && action.sa_handler == SIG_DFL;
        if (isDefault && sigismember(&blocked, row.number) == 0) sigaddset(&ending, row.number);
    }
    return ending;
}

std::string nameOf(int number) {
    for (const auto& row : WATCHED)
        if (row.number == number) return row.name;
    return "";
}

}  // namespace

SignalWatch::SignalWatch(const std::string& words)
    : words_(words), watched_(endingSignals()), previousMask_(), previousEnd_(), owner_(pthread_self()), thread_() {
    OSTREL_TRACE();
    pthread_sigmask(SIG_BLOCK, &watched_, &previousMask_);
    struct sigaction end{};
    end.sa_handler = endProcess;
    sigfillset(&end.sa_mask);
    sigaction(endSignal(), &end, &previousEnd_);
    hasThread_ = start();
    if (hasThread_) return;
    // The work is worth more than the line.
    sigaction(endSignal(), &previousEnd_, nullptr);
    pthread_sigmask(SIG_SETMASK, &previousMask_, nullptr);
}

SignalWatch::~SignalWatch() {
    OSTREL_TRACE();
    if (!hasThread_) return;
    pthread_kill(thread_, endSignal());
    pthread_join(thread_, nullptr);
    sigaction(endSignal(), &previousEnd_, nullptr);
    // What came too late for a line acts now.
    pthread_sigmask(SIG_SETMASK, &previousMask_, nullptr);
}

bool SignalWatch::start() {
    OSTREL_TRACE();
    const SignalBlock inherited;  // the thread takes signals by its wait alone
    return pthread_create(&thread_, nullptr, &SignalWatch::run, this) == 0;
}

void* SignalWatch::run(void* watch) {
    static_cast<const SignalWatch*>(watch)->wait();
    return nullptr;
}

void SignalWatch::wait() const {
    sigset_t awaited = watched_;
    sigaddset(&awaited, endSignal());
    int number = 0;
    if (sigwait(&awaited, &number) != 0 || number == endSignal()) return;
    mayHaveLine = hasTerminalLine(STDERR_FILENO);
    const std::string line = nameOf(number) + ": " + words_ + "\n";
    // The process ends in any case.
    (void)writeFully(STDERR_FILENO, mayHaveLine ? std::string(CLEAR_TERMINAL_LINE) + line : line);
    cameSignal = number;
    pthread_kill(owner_, endSignal());
}

}  // namespace ostrel::core
