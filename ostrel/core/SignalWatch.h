#pragma once

#include <pthread.h>

#include <csignal>
#include <string>

namespace ostrel::core {

/// While it lives, SIGINT, SIGTERM and SIGHUP are answered at once: a thread of its own waits for them, writes one line
/// to the error stream, "SIGINT: " and the words, in the place of a line of progress (TerminalLine.h) that is
/// there, and then has the process ended by the signal's default action. The line comes also where the process itself
/// cannot end yet: a thread inside the driver's passthrough is not killed before the drive has answered.
///
/// A signal that is ignored (as nohup(1) does with SIGHUP), handled or blocked when the watch begins stays so. The end
/// comes on the thread that made the watch, so that a SignalBlock of that thread delays it.
///
/// Errors:  where no thread can be made the signals act as ever, without the line.
/// Threads: made and destroyed by one thread; one watch at a time in a process. Threads that the thread starts
///          meanwhile inherit the blocked signals.
class SignalWatch {
public:
    explicit SignalWatch(const std::string& words);
    ~SignalWatch();
    SignalWatch(const SignalWatch&) = delete;
    SignalWatch& operator=(const SignalWatch&) = delete;

private:
    bool start();
    static void* run(void* watch);
    void wait() const;

    std::string words_;
    sigset_t watched_;
    sigset_t previousMask_;
    struct sigaction previousEnd_;
    pthread_t owner_;
    // A std::thread frees memory when its function returns, and the C library gives a thread that does a heap of its
    // own first: five system calls in each command.
    pthread_t thread_;
    bool hasThread_ = false;
};

}  // namespace ostrel::core
