#pragma once

namespace ostrel::core {

/// The threads that sleep at one end of a queue until it has an entry, or room. It says whether a change of the queue
/// is worth a notification, which costs a system call and often an idle processor: not while none sleeps, and not while
/// one that was notified has not run yet. That one looks at the queue when it runs, and notifies the next one if there
/// is more. So no thread sleeps on while there is something for it, and threads that are busy are not disturbed.
///
/// Threads: all calls under the queue's mutex. The notification may follow without it.
class QueueWaiters {
public:
    /// Sleeps: calls wait(), which waits for the condition variable of this end, with or without a time limit. Ends
    /// also with an exception of wait(), which leaves the mutex locked.
    template <typename Wait>
    void sleep(Wait wait) {
        const Sleep sleep(*this);
        wait();
    }

    /// Whether to notify one thread now. The caller does so if true: it is then expected to run.
    bool expectOne() {
        if (asleep_ == 0 || isOneExpected_) return false;
        isOneExpected_ = true;
        return true;
    }

private:
    class Sleep {
    public:
        explicit Sleep(QueueWaiters& waiters) : waiters_(waiters) { ++waiters_.asleep_; }
        // Whichever thread runs first clears the expectation, also one that was not notified, or whose time was up: it
        // looks at the queue as the other one would.
        ~Sleep() {
            --waiters_.asleep_;
            waiters_.isOneExpected_ = false;
        }
        Sleep(const Sleep&) = delete;
        Sleep& operator=(const Sleep&) = delete;

    private:
        QueueWaiters& waiters_;
    };

    unsigned asleep_ = 0;
    bool isOneExpected_ = false;
};

}  // namespace ostrel::core
