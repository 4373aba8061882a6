#include "ostrel/core/AsyncEngine.h"

#include <boost/thread/thread.hpp>

#include <exception>
#include <utility>

#include "ostrel/core/Logging.h"
#include "ostrel/core/ScopeTrace.h"

namespace ostrel::core {

namespace {

using Lock = boost::unique_lock<boost::mutex>;
using OwnedCommand = std::unique_ptr<AsyncEngineCommand>;

// How long an idle sender sleeps, by the monotonic clock, before it looks again by itself: so it notices the end
// without a notification.
const boost::posix_time::milliseconds SENDER_WAIT(500);

// The engine that the present thread works for, if any. By this model a shared library's thread-local data, that of the
// C++ library in it too, is in the block that each thread has from its start. By the usual one the first use would ask
// for memory, and the C library ends the process where there is none.
[[gnu::tls_model("initial-exec")]] thread_local const AsyncEngine* engineOfThisThread = nullptr;

// Lowers a flag that waiting threads look at. Under their mutex, so that none of them can be caught between its look
// at the flag and its sleep, where it would miss the wake-up that follows.
void lowerFlag(std::atomic<bool>& flag, boost::mutex& mutex, boost::condition_variable& wakeUp) {
    OSTREL_TRACE();
    {
        const Lock lock(mutex);
        flag = false;
    }
    wakeUp.notify_all();
}

// Those that a stop from one of the threads had joined before it threw are still in the list.
void joinAll(std::vector<std::unique_ptr<boost::thread>>& threads) {
    OSTREL_TRACE();
    for (const auto& thread : threads)
        if (thread->joinable()) thread->join();
    threads.clear();
}

}  // namespace

AsyncEngine::AsyncEngine(std::uint32_t senderThreadCount, std::uint32_t callbackThreadCount)
    : senderThreadCount_(senderThreadCount), callbackThreadCount_(callbackThreadCount) {
    OSTREL_TRACE();
}

AsyncEngine::~AsyncEngine() {
    OSTREL_TRACE();
    // Threads that still run would go on in an object that is no more: better a loud end than a quiet one.
    if (!senderThreads_.empty() || !callbackThreads_.empty()) std::terminate();
}

AsyncEngine& AsyncEngine::operator=(const AsyncEngine& other) {
    OSTREL_TRACE();
    if (this == &other) return *this;
    setSenderThreadCount(other.senderThreadCount_);
    setCallbackThreadCount(other.callbackThreadCount_);
    return *this;
}

void AsyncEngine::add(std::unique_ptr<AsyncEngineCommand> command) {
    OSTREL_TRACE();
    if (!sendersRunning_ && !stopped_) start();
    put(sendStage(), std::move(command));
}

void AsyncEngine::start() {
    OSTREL_TRACE();
    const Lock lifecycle = lockLifecycle();
    if (sendersRunning_ || stopped_) return;  // another first add() was quicker, or a stop()
    logMessage(LOGSEVERITY_INFO, "Sender and callback threads not created. Doing so now.");
    sendersRunning_ = true;
    callbacksRunning_ = true;
    onStart();
    createThreads(senderThreads_, senderThreadCount_, &AsyncEngine::ioSender);
    createThreads(callbackThreads_, callbackThreadCount_, &AsyncEngine::ioCallback);
}

void AsyncEngine::createThreads(Threads& threads, std::uint32_t count, void (AsyncEngine::*loop)(std::uint32_t)) {
    OSTREL_TRACE();
    threads.reserve(count);  // a thread that runs must not be lost for want of memory
    for (std::uint32_t slot = 0; slot < count; ++slot)
        threads.push_back(std::make_unique<boost::thread>(loop, this, slot));
}

void AsyncEngine::stop() {
    OSTREL_TRACE();
    const Lock lifecycle = lockLifecycle();
    stopThreads();
}

void AsyncEngine::setSenderThreadCount(std::uint32_t count) {
    OSTREL_TRACE();
    restartWith(senderThreadCount_, count);
}

void AsyncEngine::setCallbackThreadCount(std::uint32_t count) {
    OSTREL_TRACE();
    restartWith(callbackThreadCount_, count);
}

void AsyncEngine::restartWith(std::uint32_t& setting, std::uint32_t count) {
    OSTREL_TRACE();
    const Lock lifecycle = lockLifecycle();
    stopThreads();
    stopped_ = false;
    setting = count;
}

// A thread of this engine must not wait here: the holder of the lock may be waiting for that very thread.
boost::unique_lock<boost::mutex> AsyncEngine::lockLifecycle() {
    OSTREL_TRACE();
    if (engineOfThisThread != this) return Lock(lifecycleMutex_);
    Lock lock(lifecycleMutex_, boost::try_to_lock);
    if (!lock.owns_lock())
        throw boost::thread_resource_error(static_cast<int>(boost::system::errc::resource_deadlock_would_occur),
                                           "boost thread: trying joining itself");
    return lock;
}

// The senders end first, so the callback threads still see the last completions before their own flag falls.
void AsyncEngine::stopThreads() {
    OSTREL_TRACE();
    stopped_ = true;
    lowerFlag(sendersRunning_, sendQueueMutex_, commandQueued_);
    joinAll(senderThreads_);
    lowerFlag(callbacksRunning_, callbackQueueMutex_, commandCompleted_);
    joinAll(callbackThreads_);
    onStop();
}

AsyncEngine::Stage AsyncEngine::sendStage() {
    OSTREL_TRACE();
    return {sendQueue_,      SEND_QUEUE_LIMIT, sendQueueMutex_,     commandQueued_,
            sendQueueSpace_, waitingSenders_,  waitingCallersOfAdd_};
}

AsyncEngine::Stage AsyncEngine::callbackStage() {
    OSTREL_TRACE();
    return {callbackQueue_,      CALLBACK_QUEUE_LIMIT,    callbackQueueMutex_,   commandCompleted_,
            callbackQueueSpace_, waitingCallbackThreads_, sendersWithCompletion_};
}

void AsyncEngine::put(const Stage& stage, OwnedCommand command) {
    OSTREL_TRACE();
    bool notifiesTaker = false, notifiesPutter = false;
    {
        Lock lock(stage.mutex);
        while (stage.queue.size() == stage.limit) stage.putters.sleep([&] { stage.space.wait(lock); });
        stage.queue.push_back(std::move(command));
        notifiesTaker = stage.takers.expectOne();
        notifiesPutter = stage.queue.size() < stage.limit && stage.putters.expectOne();
    }
    if (notifiesTaker) stage.gained.notify_one();
    if (notifiesPutter) stage.space.notify_one();
}

template <typename Wait>
std::unique_ptr<AsyncEngineCommand> AsyncEngine::take(const Stage& stage, const std::atomic<bool>& running, Wait wait) {
    OSTREL_TRACE();
    OwnedCommand command;
    bool notifiesTaker = false, notifiesPutter = false;
    {
        Lock lock(stage.mutex);
        while (stage.queue.empty() && running) stage.takers.sleep([&] { wait(lock); });
        if (stage.queue.empty()) return nullptr;
        command = std::move(stage.queue.front());
        stage.queue.pop_front();
        notifiesTaker = !stage.queue.empty() && stage.takers.expectOne();
        notifiesPutter = stage.putters.expectOne();
    }
    if (notifiesPutter) stage.space.notify_one();
    if (notifiesTaker) stage.gained.notify_one();
    return command;
}

void AsyncEngine::ioSender(std::uint32_t slot) {
    OSTREL_TRACE();
    engineOfThisThread = this;
    logMessage(LOGSEVERITY_INFO, "I am an IO sender thread and I have started: slot ", slot);
    const auto wait = [this](Lock& lock) { commandQueued_.timed_wait(lock, SENDER_WAIT); };
    while (OwnedCommand command = take(sendStage(), sendersRunning_, wait)) {
        send(slot, *command, command->getStatus());
        put(callbackStage(), std::move(command));
    }
    commandQueued_.notify_all();
    logMessage(LOGSEVERITY_DEBUG, "Leaving sender thread: slot ", slot);
}

void AsyncEngine::ioCallback(std::uint32_t slot) {
    OSTREL_TRACE();
    engineOfThisThread = this;
    logMessage(LOGSEVERITY_DEBUG, "I am an IO callback thread and I have started: slot ", slot);
    const auto wait = [this](Lock& lock) { commandCompleted_.wait(lock); };
    while (const OwnedCommand command = take(callbackStage(), callbacksRunning_, wait)) command->complete();
    commandCompleted_.notify_all();
    logMessage(LOGSEVERITY_DEBUG, "Leaving callback thread: slot ", slot);
}

}  // namespace ostrel::core
