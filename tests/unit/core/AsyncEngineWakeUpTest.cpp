// A thread of the engine that stop() catches between its look at the flag and its sleep. That window is some
// instructions wide; it is held open here by a pthread_mutex_lock() of this program's own, which every caller in it
// gets.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <thread>

#include "ostrel/core/AsyncEngine.h"
#include "tests/support/ThreadSignal.h"
#include "tests/unit/core/QueuedCommands.h"

namespace {

/// Locks that this thread takes until it is held up; 0: it is not.
thread_local unsigned locksToWindow = 0;
ThreadSignal inWindow;

// Long enough for a stop() to lower the flag and to wake no thread.
void holdWindowOpen() {
    inWindow.raise();
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
}

}  // namespace

extern "C" int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
    using Lock = int (*)(pthread_mutex_t*);
    static const Lock systemLock = reinterpret_cast<Lock>(dlsym(RTLD_NEXT, "pthread_mutex_lock"));
    if (locksToWindow > 0 && --locksToWindow == 0) holdWindowOpen();
    return systemLock(mutex);
}

namespace ostrel::core {
namespace {

/// Its end is the last that a callback thread does before it looks for the next command: it locks the queue, looks at
/// the flag, and locks what the condition variable keeps inside.
class LastCommand : public NumberedCommand {
public:
    using NumberedCommand::NumberedCommand;
    LastCommand(const LastCommand&) = default;
    ~LastCommand() override {
        if (isSent) locksToWindow = 2;
    }
    std::unique_ptr<Command> clone() const override { return std::make_unique<LastCommand>(*this); }

    static inline std::atomic<bool> isSent{false};
};

// In a process of its own, which the alarm ends when the wake-up is lost: then stop() waits for good.
void stopAThreadThatIsAboutToSleep() {
    alarm(20);
    HookedEngine engine(1, 1);
    auto command = std::make_unique<AsyncEngineCommand>(0, LastCommand(0), Payload(), 0);
    LastCommand::isSent = true;
    engine.add(std::move(command));
    if (!inWindow.await()) std::_Exit(1);
    engine.stop();
    std::_Exit(0);
}

TEST(AsyncEngineDeathTest, StopWakesAThreadThatIsAboutToSleep) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(stopAThreadThatIsAboutToSleep(), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace ostrel::core
