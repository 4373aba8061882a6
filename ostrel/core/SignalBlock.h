#pragma once

#include <csignal>

namespace ostrel::core {

/// Holds back the signals that end a process while a section runs that must not be cut: between a file's link and its
/// rename, or between a command that changes a drive and the host's look at the change. They are pending meanwhile and
/// act when the block ends. SIGKILL and a crash's own signals are not held back.
///
/// Threads: the calling thread alone. Signals to the process reach any thread that does not block them; while a
///          SignalWatch runs no thread of a request takes the signals of a user, and its end of the process waits for
///          the blocks of the thread that made the watch.
class SignalBlock {
public:
    SignalBlock();
    ~SignalBlock();
    SignalBlock(const SignalBlock&) = delete;
    SignalBlock& operator=(const SignalBlock&) = delete;

    /// Whether a signal is pending that ends the process once the block does: a long section may stop early.
    bool isEndPending() const;

private:
    sigset_t previous_;
};

}  // namespace ostrel::core
