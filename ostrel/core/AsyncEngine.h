#pragma once

#include <boost/thread/condition_variable.hpp>
#include <boost/thread/mutex.hpp>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "ostrel/core/AsyncEngineCommand.h"
#include "ostrel/core/QueueWaiters.h"

namespace boost {
class thread;
}

namespace ostrel::core {

/// Sends commands to a device without keeping the caller: a pipeline of two stages.
///
///     add() -> send queue (64) -> sender threads: send() -> callback queue (128) -> callback threads: complete()
///
/// The two bounds are the back-pressure: callers wait in add() while the device is slower than they are, and senders
/// wait while completions back up. The threads start with the first add(). Commands of one sender thread reach the
/// callback queue in the order in which they were added; with several senders no order is promised, and with several
/// callback threads callbacks run side by side.
///
/// Deriving
///   - The transport is send(); onStart() and onStop() frame it. The order of the virtual operations is binary
///     interface, new ones go last.
///   - The threads call into the derived class, so it must be whole as long as they run: the owner of the engine calls
///     stop() before the destruction begins (a CommandPath does so for its own engine), when no add() is under way any
///     more. An engine destroyed with its threads ends the process.
///   - send(), onStart(), onStop() and the commands' callbacks must not throw: an exception that leaves a thread ends
///     the process.
///
/// Ownership: the engine owns a command from add() until its callback has returned. Commands that are never completed
///            are freed with the engine.
/// Errors:    what the transport could not do is reported in the command's own status; the command is still
///            completed. A thread that cannot be created throws boost::thread_resource_error out of add(), which frees
///            the command; the engine then counts as running with the threads that it has, until stop().
/// Threads:   add() from any thread, also from send() and from callbacks (as long as there is room: a sender or
///            callback thread that waits for itself waits for good). stop() and the setters from any thread but the
///            engine's own, and not from onStart() or onStop(). No lock of the queues is ever held over a call of
///            send(), onStart(), onStop() or a callback.
class AsyncEngine {
public:
    static constexpr std::size_t SEND_QUEUE_LIMIT = 64;
    static constexpr std::size_t CALLBACK_QUEUE_LIMIT = 128;

    virtual ~AsyncEngine();
    /// A name for the log lines of the derived class; not called by the engine.
    virtual std::string getName() const = 0;
    /// Called once before the threads are created, on the thread of the first add().
    virtual void onStart() = 0;
    /// Called once after all threads have ended, by every stop(), also by that of an engine that never ran.
    virtual void onStop() = 0;
    /// Sends one command to the device and waits for its end. `slot` is the number of the sender thread that calls,
    /// from 0; several may call at once. `result` is the command's own status: success until it is written.
    virtual void send(std::uint32_t slot, AsyncEngineCommand& command, Status& result) = 0;

    AsyncEngine(const AsyncEngine&) = delete;
    /// Takes over the numbers of threads of `other`, through the setters. Queues and threads are not shared.
    AsyncEngine& operator=(const AsyncEngine& other);

    /// Queues a command, which is not null; waits while the send queue holds 64.
    ///
    /// The first add() starts the threads; of several first ones, one does. After stop() an add() still queues
    /// but starts nothing, and waits for good once the queue is full, until a setter and a further add() have started
    /// the engine again.
    void add(std::unique_ptr<AsyncEngineCommand> command);

    /// Ends all threads and returns when they have ended. Nothing that was queued before is dropped: the senders empty
    /// the send queue before they leave, the callback threads the callback queue. (With no sender or no callback
    /// thread, nothing moves on after that point, and stop() waits for good for senders that more than 128
    /// completions hold up.)
    ///
    /// Callers that wait in add() meanwhile are not notified. Each entry that a sender takes makes room for one of
    /// them; its command is sent and completed by this stop() if it is in the queue before the last sender finds it
    /// empty. A command that comes later stays in the queue, and a caller who got no room goes on waiting (with no
    /// sender threads: all of them), both until the engine is started again or, for the commands, destroyed.
    ///
    /// Several stop() at once wait for each other. Called on one of the engine's own threads (from send() or from a
    /// callback) it throws boost::thread_resource_error, native error 35, "boost thread: trying joining itself"; the
    /// exception must be caught there, or it ends the process. Before that, a callback thread waits for all senders,
    /// for good if they are held up by the callback queue that it should empty. After the exception the engine accepts
    /// commands but is ending: no thread is started any more, those that run end as their flag says (called
    /// from send(): the senders alone, the callback threads go on), onStop() was not called. A stop() or a setter
    /// from another thread takes the rest away and calls onStop(). If another thread is starting or stopping the
    /// engine at that moment, the exception comes at once and changes nothing.
    void stop();

    /// Each stops the engine and sets the number of threads of one kind; the next add() starts it again.
    void setSenderThreadCount(std::uint32_t count);
    void setCallbackThreadCount(std::uint32_t count);
    std::uint32_t getSenderThreadCount() const { return senderThreadCount_; }
    std::uint32_t getCallbackThreadCount() const { return callbackThreadCount_; }

protected:
    AsyncEngine(std::uint32_t senderThreadCount, std::uint32_t callbackThreadCount);

private:
    using CommandQueue = std::deque<std::unique_ptr<AsyncEngineCommand>>;
    using Threads = std::vector<std::unique_ptr<boost::thread>>;

    /// A queue with what guards it and who waits for it.
    struct Stage {
        CommandQueue& queue;
        std::size_t limit;
        boost::mutex& mutex;
        boost::condition_variable& gained;  ///< an entry
        boost::condition_variable& space;
        QueueWaiters& takers;
        QueueWaiters& putters;
    };

    void start();
    void createThreads(Threads& threads, std::uint32_t count, void (AsyncEngine::*loop)(std::uint32_t slot));
    boost::unique_lock<boost::mutex> lockLifecycle();
    void stopThreads();
    void restartWith(std::uint32_t& setting, std::uint32_t count);
    Stage sendStage();
    Stage callbackStage();
    /// Appends; waits while the queue is full.
    static void put(const Stage& stage, std::unique_ptr<AsyncEngineCommand> command);
    /// Takes from the front; while there is nothing, calls wait(lock). Null when there is nothing and the stage is to
    /// end: a thread leaves only after a look at the queue that found it empty, however long its last command took.
    template <typename Wait>
    static std::unique_ptr<AsyncEngineCommand> take(const Stage& stage, const std::atomic<bool>& running, Wait wait);
    void ioSender(std::uint32_t slot);
    void ioCallback(std::uint32_t slot);

    std::uint32_t senderThreadCount_;
    std::uint32_t callbackThreadCount_;
    std::atomic<bool> sendersRunning_{false};
    std::atomic<bool> callbacksRunning_{false};
    Threads senderThreads_;
    Threads callbackThreads_;
    // The entries of the send queue are freed last: it is declared before the other.
    CommandQueue sendQueue_;
    CommandQueue callbackQueue_;
    boost::mutex sendQueueMutex_;
    boost::condition_variable commandQueued_;
    boost::condition_variable sendQueueSpace_;
    boost::mutex callbackQueueMutex_;
    boost::condition_variable callbackQueueSpace_;
    boost::condition_variable commandCompleted_;
    std::atomic<bool> stopped_{false};
    // Starting and stopping exclude each other: held over the whole of either, and never asked for by the threads.
    boost::mutex lifecycleMutex_;
    QueueWaiters waitingCallersOfAdd_;
    QueueWaiters waitingSenders_;
    QueueWaiters sendersWithCompletion_;  // who wait for room in the callback queue
    QueueWaiters waitingCallbackThreads_;
};

}  // namespace ostrel::core
