#include <boost/thread/exceptions.hpp>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <fstream>
#include <numeric>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "ostrel/core/AsyncEngine.h"
#include "tests/support/Emulated.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Sanitized.h"
#include "tests/support/VirtualSlots.h"
#include "tests/unit/core/QueuedCommands.h"

namespace ostrel::core {
namespace {

using Numbers = std::vector<uint32_t>;

Numbers sorted(Numbers numbers) {
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

TEST(AsyncEngine, SendsAndCompletesEveryCommandInOrder) {
    Completions completions;
    Numbers sent;
    HookedEngine engine(1, 1, [&](uint32_t slot, AsyncEngineCommand& command, Status&) {
        EXPECT_EQ(slot, 0u);
        sent.push_back(static_cast<uint32_t>(command.getUserData()));
    });
    for (uint32_t i = 0; i < 1000; ++i) engine.add(completions.command(i));
    engine.stop();
    EXPECT_EQ(sent, risingNumbers(1000));
    EXPECT_EQ(completions.numbers(), risingNumbers(1000));
    EXPECT_EQ(engine.started.count(), 1u);
    EXPECT_EQ(engine.stopped.count(), 1u);
}

TEST(AsyncEngine, StartsBeforeTheFirstCommandIsSent) {
    Completions completions;
    HookedEngine engine(2, 1);
    engine.sendHook = [&](uint32_t, AsyncEngineCommand&, Status&) { EXPECT_EQ(engine.started.count(), 1u); };
    EXPECT_EQ(engine.started.count(), 0u) << "not before it is needed";
    engine.add(completions.command(0));
    engine.stop();
}

TEST(AsyncEngine, OutcomeOfTheTransportReachesTheCallback) {
    Completions completions;
    HookedEngine engine(1, 1, [](uint32_t, AsyncEngineCommand& command, Status& result) {
        EXPECT_EQ(&result, &command.getStatus());
        result = Status(CATEGORY_CORE, 25, "NVMe command reported a problem.");
        command.setDuration(0.25);
        command.setPayload(Payload("abc", 3));
    });
    std::optional<CompletionRecord> seen;
    completions.hook = [&](const CompletionRecord& record) { seen = record; };
    engine.add(completions.command(7));
    engine.stop();
    ASSERT_TRUE(seen.has_value());
    EXPECT_EQ(seen->statusCode, 25u) << "a failure still goes through the callback stage";
    EXPECT_EQ(seen->duration, 0.25);
    EXPECT_EQ(seen->payload.getSize(), 3u);
    EXPECT_EQ(seen->callerData1, 7u);
}

TEST(AsyncEngine, WithoutSendersTheSixtyFifthCommandWaits) {
    Completions completions;
    HookedEngine engine(0, 1);
    for (uint32_t i = 0; i < 64; ++i) engine.add(completions.command(i));
    ThreadSignal added;
    std::thread adder([&] {
        engine.add(completions.command(64));
        added.raise();
    });
    EXPECT_TRUE(added.staysBelow(1));

    // A stop wakes no thread here: there is no sender to make room.
    engine.stop();
    EXPECT_TRUE(added.staysBelow(1));
    EXPECT_EQ(completions.completed.count(), 0u);

    // The engine runs again, and the caller who waited all the time gets his turn.
    engine.setSenderThreadCount(1);
    engine.add(completions.command(65));
    EXPECT_TRUE(added.await());
    adder.join();
    engine.stop();
    EXPECT_EQ(sorted(completions.numbers()), risingNumbers(66));
}

TEST(AsyncEngine, StalledCallbackHoldsUpTheSenderAndThenTheCallers) {
    Completions completions;
    ThreadSignal inCallback, goOn;
    completions.hook = [&](const CompletionRecord&) {
        inCallback.raise();
        EXPECT_TRUE(goOn.await());
    };
    HookedEngine engine(1, 1);
    ThreadSignal added;
    engine.add(completions.command(0));
    EXPECT_TRUE(inCallback.await());  // the one that the callback thread has in hand
    std::thread adder([&] {
        for (uint32_t i = 1; i < 200; ++i) {
            engine.add(completions.command(i));
            added.raise();
        }
    });
    // 128 in the callback queue and one with the sender, who waits to put it there; 64 in the send queue.
    EXPECT_TRUE(added.await(129 + 64));
    EXPECT_TRUE(engine.sending.await(1 + 129));
    EXPECT_TRUE(added.staysBelow(129 + 64 + 1));
    EXPECT_EQ(engine.sending.count(), 1u + 129u);
    EXPECT_EQ(completions.completed.count(), 0u);

    goOn.raise();
    adder.join();
    engine.stop();
    EXPECT_EQ(completions.numbers(), risingNumbers(200));
}

TEST(AsyncEngine, WithoutCallbackThreadsCompletionsWaitForTheNextStart) {
    Completions completions;
    HookedEngine engine(1, 0);
    for (uint32_t i = 0; i < 128; ++i) engine.add(completions.command(i));
    engine.stop();
    EXPECT_EQ(engine.sending.count(), 128u);
    EXPECT_EQ(completions.completed.count(), 0u);
    engine.setCallbackThreadCount(1);
    engine.add(completions.command(128));
    engine.stop();
    EXPECT_EQ(completions.numbers(), risingNumbers(129));
}

TEST(AsyncEngine, StopSendsAndCompletesWhatIsQueued) {
    Completions completions;
    ThreadSignal goOn;
    HookedEngine engine(1, 1, [&](uint32_t, AsyncEngineCommand&, Status&) { EXPECT_TRUE(goOn.await()); });
    for (uint32_t i = 0; i < 50; ++i) engine.add(completions.command(i));
    engine.stopHook = [&] { EXPECT_EQ(completions.completed.count(), 50u) << "all completions come before onStop()"; };
    ThreadSignal stopReturned;
    std::thread stopper([&] {
        engine.stop();
        stopReturned.raise();
    });
    EXPECT_TRUE(stopReturned.staysBelow(1));
    goOn.raise();
    stopper.join();
    EXPECT_EQ(completions.numbers(), risingNumbers(50));
}

// The sender looks at the queue once more before it leaves, however long its last command takes.
TEST(AsyncEngine, StopSendsWhatWasQueuedDuringTheLastSend) {
    Completions completions;
    ThreadSignal goOn;
    HookedEngine engine(1, 1, [&](uint32_t, AsyncEngineCommand&, Status&) { EXPECT_TRUE(goOn.await()); });
    engine.add(completions.command(0));
    EXPECT_TRUE(engine.sending.await(1));  // the queue is empty now
    engine.add(completions.command(1));
    std::thread stopper([&] { engine.stop(); });
    goOn.raise();
    stopper.join();
    EXPECT_EQ(completions.numbers(), risingNumbers(2));
}

TEST(AsyncEngine, EveryStopCallsOnStop) {
    Completions completions;
    HookedEngine engine(1, 1);
    engine.stop();
    EXPECT_EQ(engine.stopped.count(), 1u) << "also when it never ran";
    engine.setSenderThreadCount(1);
    EXPECT_EQ(engine.stopped.count(), 2u) << "a setter stops first";
    engine.add(completions.command(0));
    engine.stop();
    engine.stop();
    EXPECT_EQ(engine.stopped.count(), 4u) << "the second joins nothing";
    EXPECT_EQ(engine.started.count(), 1u);
}

TEST(AsyncEngine, StoppedEngineQueuesButDoesNotStartUntilASetter) {
    Completions completions;
    HookedEngine engine(1, 1);
    engine.stop();
    for (uint32_t i = 0; i < 64; ++i) engine.add(completions.command(i));
    EXPECT_EQ(engine.started.count(), 0u);
    EXPECT_EQ(engine.sending.count(), 0u);
    engine.setCallbackThreadCount(1);
    EXPECT_EQ(engine.sending.count(), 0u) << "the setter alone starts nothing either";
    engine.add(completions.command(64));
    engine.stop();
    EXPECT_EQ(completions.numbers(), risingNumbers(65));
}

TEST(AsyncEngine, SettersChangeTheNumberOfThreads) {
    Completions completions;
    HookedEngine engine(1, 1);
    engine.add(completions.command(0));
    engine.setSenderThreadCount(3);
    engine.setCallbackThreadCount(2);
    EXPECT_EQ(engine.getSenderThreadCount(), 3u);
    EXPECT_EQ(engine.getCallbackThreadCount(), 2u);

    // Three commands are with the transport at once, and two in callbacks: each waits for the others.
    ThreadSignal allSend, inCallback;
    engine.sendHook = [&](uint32_t slot, AsyncEngineCommand&, Status&) {
        EXPECT_LT(slot, 3u);
        allSend.raise();
        EXPECT_TRUE(allSend.await(3));
    };
    completions.hook = [&](const CompletionRecord&) {
        inCallback.raise();
        EXPECT_TRUE(inCallback.await(2));
    };
    for (uint32_t i = 1; i < 4; ++i) engine.add(completions.command(i));
    engine.stop();
    EXPECT_EQ(sorted(completions.numbers()), risingNumbers(4));
}

// Of the commands of a burst, the first wakes a thread; that one wakes the next, however long its own command takes.
TEST(AsyncEngine, BurstWakesEveryThread) {
    constexpr uint32_t SENDERS = 8, CALLBACK_THREADS = 4, BURSTS = 20;
    Completions completions;
    HookedEngine engine(SENDERS, CALLBACK_THREADS);
    ThreadSignal inSend, inCallback;
    unsigned burst = 0;
    engine.sendHook = [&](uint32_t, AsyncEngineCommand&, Status&) {
        inSend.raise();
        EXPECT_TRUE(inSend.await((burst + 1) * SENDERS));
    };
    completions.hook = [&](const CompletionRecord& record) {
        if (record.callerData1 >= CALLBACK_THREADS) return;
        inCallback.raise();
        EXPECT_TRUE(inCallback.await((burst + 1) * CALLBACK_THREADS));
    };
    for (; burst < BURSTS; ++burst) {
        for (uint32_t i = 0; i < SENDERS; ++i) engine.add(completions.command(i));
        ASSERT_TRUE(completions.completed.await((burst + 1) * SENDERS));
    }
    engine.stop();
}

TEST(AsyncEngine, AssignmentTakesOverTheNumbersOfThreadsAndStops) {
    Completions completions;
    HookedEngine engine(1, 1), other(3, 2);
    engine.add(completions.command(0));
    static_cast<AsyncEngine&>(engine) = other;
    EXPECT_EQ(engine.getSenderThreadCount(), 3u);
    EXPECT_EQ(engine.getCallbackThreadCount(), 2u);
    EXPECT_EQ(completions.numbers(), risingNumbers(1));
    EXPECT_EQ(engine.stopped.count(), 2u);
    static_cast<AsyncEngine&>(engine) = *static_cast<AsyncEngine*>(&engine);
    EXPECT_EQ(engine.stopped.count(), 2u) << "onto itself it does nothing";
}

TEST(AsyncEngine, CallbackMayAddAndNoLockIsHeldMeanwhile) {
    Completions completions;
    HookedEngine engine(1, 1);
    completions.hook = [&](const CompletionRecord& record) {
        if (record.callerData1 < 100) engine.add(completions.command(record.callerData1 + 1));
    };
    engine.add(completions.command(0));
    EXPECT_TRUE(completions.completed.await(101));
    engine.stop();
    EXPECT_EQ(completions.numbers(), risingNumbers(101));
}

TEST(AsyncEngine, TransportMayAddAndNoLockIsHeldMeanwhile) {
    Completions completions;
    HookedEngine engine(1, 1);
    engine.sendHook = [&](uint32_t, AsyncEngineCommand& command, Status&) {
        const auto number = static_cast<uint32_t>(command.getUserData());
        if (number < 100) engine.add(completions.command(number + 1));
    };
    engine.add(completions.command(0));
    engine.stop();
    EXPECT_EQ(completions.numbers(), risingNumbers(101));
}

// What a stop() from one of the engine's own threads throws there, or an empty text.
std::string errorOfStop(AsyncEngine& engine) {
    try {
        engine.stop();
    } catch (const boost::thread_resource_error& error) {
        const std::string words = error.what();
        // Boost 1.83 adds the error's category, in brackets.
        return std::to_string(error.native_error()) + " " + words.substr(0, words.find(" ["));
    }
    return "";
}

const std::string JOINING_ITSELF = "35 boost thread: trying joining itself: Resource deadlock avoided";

// Shared by the two tests below: after the stop that threw, commands are taken but nothing is started; a stop from
// outside takes the rest away, and a setter brings the engine back.
void expectRecovery(HookedEngine& engine, Completions& completions) {
    EXPECT_EQ(engine.stopped.count(), 0u) << "a stop that threw has not called onStop()";
    engine.add(completions.command(1));
    engine.stop();
    EXPECT_EQ(engine.stopped.count(), 1u);
    engine.setSenderThreadCount(1);
    engine.add(completions.command(2));
    engine.stop();
    EXPECT_EQ(completions.numbers(), risingNumbers(3));
    EXPECT_EQ(engine.started.count(), 2u);
}

TEST(AsyncEngine, StopFromACallbackThrows) {
    Completions completions;
    HookedEngine engine(1, 1);
    std::string error;
    completions.hook = [&](const CompletionRecord& record) {
        if (record.callerData1 == 0) error = errorOfStop(engine);
    };
    engine.add(completions.command(0));
    EXPECT_TRUE(completions.completed.await(1));
    EXPECT_EQ(error, JOINING_ITSELF);
    expectRecovery(engine, completions);
}

TEST(AsyncEngine, StopFromTheTransportThrows) {
    Completions completions;
    HookedEngine engine(1, 1);
    std::string error;
    engine.sendHook = [&](uint32_t, AsyncEngineCommand& command, Status&) {
        if (command.getUserData() == 0) error = errorOfStop(engine);
    };
    engine.add(completions.command(0));
    EXPECT_TRUE(completions.completed.await(1)) << "the callback threads go on";
    EXPECT_EQ(error, JOINING_ITSELF);
    expectRecovery(engine, completions);
}

TEST(AsyncEngine, StopFromTheSecondOfThreeCallbackThreadsCanBeRecovered) {
    Completions completions;
    HookedEngine engine(1, 3);
    // All three have a command in hand, so it is certain that one of them is neither the first nor the last.
    ThreadSignal inCallback;
    std::atomic<unsigned> thrown{0};
    completions.hook = [&](const CompletionRecord&) {
        inCallback.raise();
        EXPECT_TRUE(inCallback.await(3));
        if (errorOfStop(engine) == JOINING_ITSELF) ++thrown;
    };
    for (uint32_t i = 0; i < 3; ++i) engine.add(completions.command(i));
    EXPECT_TRUE(completions.completed.await(3));
    EXPECT_EQ(thrown, 3u);
    completions.hook = nullptr;
    engine.stop();
    EXPECT_EQ(engine.stopped.count(), 1u);
}

TEST(AsyncEngine, StopFromACallbackDuringAnotherStopThrowsAtOnce) {
    static ThreadSignal senderEnded;
    struct AtThreadEnd {
        ~AtThreadEnd() { senderEnded.raise(); }
    };
    Completions completions;
    HookedEngine engine(1, 1,
                        [](uint32_t, AsyncEngineCommand&, Status&) { thread_local const AtThreadEnd atThreadEnd; });
    ThreadSignal inCallback;
    std::string error;
    completions.hook = [&](const CompletionRecord&) {
        inCallback.raise();
        EXPECT_TRUE(senderEnded.await());  // so the other stop is under way, and now waits for this very thread
        error = errorOfStop(engine);
    };
    engine.add(completions.command(0));
    EXPECT_TRUE(inCallback.await());
    engine.stop();
    EXPECT_EQ(error, JOINING_ITSELF);
    EXPECT_EQ(engine.stopped.count(), 1u);
}

TEST(AsyncEngine, StopsFromTwoThreadsWaitForEachOther) {
    Completions completions;
    for (int cycle = 0; cycle < 50; ++cycle) {
        HookedEngine engine(2, 2);
        engine.stopHook = [&] { EXPECT_EQ(completions.completed.count() % 10, 0u); };
        for (uint32_t i = 0; i < 10; ++i) engine.add(completions.command(i));
        std::thread other([&] { engine.stop(); });
        engine.stop();
        other.join();
        EXPECT_EQ(engine.stopped.count(), 2u);
    }
    EXPECT_EQ(completions.completed.count(), 500u);
}

TEST(AsyncEngine, CallerWhoGetsRoomDuringAStopIsServedByIt) {
    Completions completions;
    ThreadSignal goOn, added;
    HookedEngine engine(1, 1, [&](uint32_t, AsyncEngineCommand& command, Status&) {
        bool awaited = true;
        if (command.getUserData() == 0) awaited = goOn.await();
        if (command.getUserData() == 1) awaited = added.await();
        EXPECT_TRUE(awaited);
    });
    engine.stopHook = [&] { EXPECT_EQ(completions.completed.count(), 66u); };
    engine.add(completions.command(0));
    EXPECT_TRUE(engine.sending.await(1));
    for (uint32_t i = 1; i <= 64; ++i) engine.add(completions.command(i));
    std::thread adder([&] {
        engine.add(completions.command(65));
        added.raise();
    });
    EXPECT_TRUE(added.staysBelow(1));
    ThreadSignal stopReturned;
    std::thread stopper([&] {
        engine.stop();
        stopReturned.raise();
    });
    EXPECT_TRUE(stopReturned.staysBelow(1)) << "a stop alone makes no room";
    EXPECT_EQ(added.count(), 0u);
    goOn.raise();
    stopper.join();
    adder.join();
    EXPECT_EQ(sorted(completions.numbers()), risingNumbers(66));
}

TEST(AsyncEngine, OfSeveralFirstCallersOneStartsTheThreads) {
    Completions completions;
    HookedEngine engine(3, 2);
    constexpr unsigned CALLERS = 8;
    for (unsigned cycle = 1; cycle <= 200; ++cycle) {
        std::atomic<unsigned> ready{0};
        std::vector<std::thread> callers;
        for (uint32_t i = 0; i < CALLERS; ++i)
            callers.emplace_back([&, i] {
                // A loop and not a ThreadSignal, which would let them off one after the other.
                for (++ready; ready < CALLERS;) std::this_thread::yield();
                engine.add(completions.command(i));
            });
        for (auto& caller : callers) caller.join();
        engine.setSenderThreadCount(3);
        EXPECT_EQ(engine.started.count(), cycle);
        EXPECT_EQ(completions.completed.count(), cycle * CALLERS);
    }
}

constexpr struct {
    uint32_t senders;
    uint32_t callbacks;
} THREAD_COUNTS[] = {{1, 1}, {1, 4}, {2, 1}, {2, 4}, {8, 1}, {8, 4}};

// A stall now and then, at random but the same at each run; one of these for each thread.
void stallNowAndThen() {
    static std::atomic<unsigned> threads{0};
    thread_local std::minstd_rand random(++threads);
    if (random() % 64 == 0) std::this_thread::sleep_for(std::chrono::microseconds(random() % 200));
}

TEST(AsyncEngine, PassesThousandsOfCommandsWithStallsEverywhere) {
    constexpr uint32_t CALLERS = 3, COMMANDS = 2000;
    for (const auto& counts : THREAD_COUNTS) {
        Completions completions;
        completions.hook = [](const CompletionRecord&) { stallNowAndThen(); };
        HookedEngine engine(counts.senders, counts.callbacks,
                            [](uint32_t, AsyncEngineCommand&, Status&) { stallNowAndThen(); });
        std::vector<std::thread> callers;
        for (uint32_t caller = 0; caller < CALLERS; ++caller)
            callers.emplace_back([&, caller] {
                for (uint32_t i = 0; i < COMMANDS; ++i) {
                    engine.add(completions.command(caller * COMMANDS + i));
                    stallNowAndThen();
                }
            });
        for (auto& caller : callers) caller.join();
        engine.stop();
        EXPECT_EQ(sorted(completions.numbers()), risingNumbers(CALLERS * COMMANDS))
            << counts.senders << " senders, " << counts.callbacks << " callback threads";
    }
}

TEST(AsyncEngine, EachSenderKeepsTheOrder) {
    constexpr uint32_t SENDERS = 8;
    Completions completions;
    std::vector<Numbers> ofSender(SENDERS);
    completions.hook = [&](const CompletionRecord& record) {
        ofSender[static_cast<size_t>(record.duration)].push_back(record.callerData1);
    };
    HookedEngine engine(SENDERS, 1, [](uint32_t slot, AsyncEngineCommand& command, Status&) {
        command.setDuration(slot);
        stallNowAndThen();
    });
    for (uint32_t i = 0; i < 5000; ++i) engine.add(completions.command(i));
    engine.stop();
    Numbers all;
    for (const Numbers& numbers : ofSender) {
        EXPECT_TRUE(std::is_sorted(numbers.begin(), numbers.end()));
        all.insert(all.end(), numbers.begin(), numbers.end());
    }
    EXPECT_EQ(sorted(all), risingNumbers(5000));
}

TEST(AsyncEngine, LosesNothingWhenStoppedAndStartedUnderLoad) {
    constexpr uint32_t CALLERS = 4, COMMANDS = 1000, CYCLES = 50;
    Completions completions;
    HookedEngine engine(1, 1);
    std::vector<std::thread> callers;
    for (uint32_t caller = 0; caller < CALLERS; ++caller)
        callers.emplace_back([&, caller] {
            for (uint32_t i = 0; i < COMMANDS; ++i) engine.add(completions.command(caller * COMMANDS + i));
        });
    // Each cycle adds a command of its own, since the callers may all be waiting for room in a stopped engine.
    for (uint32_t cycle = 0; cycle < CYCLES; ++cycle) {
        engine.stop();
        engine.setSenderThreadCount(1 + cycle % 3);
        engine.add(completions.command(CALLERS * COMMANDS + cycle));
    }
    for (auto& caller : callers) caller.join();
    engine.stop();
    EXPECT_EQ(sorted(completions.numbers()), risingNumbers(CALLERS * COMMANDS + CYCLES));
}

TEST(AsyncEngine, StartsAndStopsAThousandTimes) {
    Completions completions;
    HookedEngine engine(2, 2);
    for (unsigned cycle = 1; cycle <= 1000; ++cycle) {
        engine.add(completions.command(cycle - 1));
        engine.setCallbackThreadCount(2);
        ASSERT_EQ(completions.completed.count(), cycle);
    }
    EXPECT_EQ(engine.started.count(), 1000u);
    EXPECT_EQ(engine.stopped.count(), 1000u);
}

TEST(AsyncEngine, IsBuiltRunAndDestroyedAThousandTimes) {
    Completions completions;
    for (uint32_t cycle = 0; cycle < 1000; ++cycle) {
        HookedEngine engine(1, 1);
        engine.add(completions.command(cycle));
        engine.stop();
    }
    EXPECT_EQ(completions.numbers(), risingNumbers(1000));
}

TEST(AsyncEngine, LogsItsThreads) {
    Completions completions;
    HookedEngine engine(1, 1);
    const LogCapture log(LOGSEVERITY_DEBUG);
    engine.add(completions.command(0));
    EXPECT_TRUE(completions.completed.await(1));  // so both threads have logged their start
    engine.stop();
    std::vector<std::string> lines = log.list();
    const auto isOfNoThread = [](const std::string& line) { return line.find(" thread") == std::string::npos; };
    lines.erase(std::remove_if(lines.begin(), lines.end(), isOfNoThread), lines.end());  // the scope traces
    ASSERT_EQ(lines.size(), 5u);
    std::sort(lines.begin() + 1, lines.begin() + 3);  // the two threads start side by side
    EXPECT_EQ(lines, (std::vector<std::string>{"[info] Sender and callback threads not created. Doing so now.",
                                               "[debug] I am an IO callback thread and I have started: slot 0",
                                               "[info] I am an IO sender thread and I have started: slot 0",
                                               "[debug] Leaving sender thread: slot 0",
                                               "[debug] Leaving callback thread: slot 0"}));
}

// A field of the kernel's report about a thread of this process.
std::string ofThread(pid_t thread, const std::string& key) {
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/status");
    for (std::string line; std::getline(file, line);)
        if (line.compare(0, key.size(), key) == 0) return line.substr(line.find_first_not_of("\t ", key.size()));
    ADD_FAILURE() << "no " << key << " of thread " << thread;
    return "0";
}

// How often the thread has gone to sleep of its own accord, asked when it sleeps.
unsigned long sleepsOf(pid_t thread) {
    while (ofThread(thread, "State:")[0] != 'S') std::this_thread::yield();
    return std::stoul(ofThread(thread, "voluntary_ctxt_switches:"));
}

TEST(AsyncEngine, IdleSenderLooksAgainEveryHalfSecondAndIdleCallbackThreadSleeps) {
    Completions completions;
    std::atomic<pid_t> sender{0}, callback{0};
    HookedEngine engine(1, 1, [&](uint32_t, AsyncEngineCommand&, Status&) { sender = gettid(); });
    completions.hook = [&](const CompletionRecord&) { callback = gettid(); };
    engine.add(completions.command(0));
    EXPECT_TRUE(completions.completed.await(1));
    const auto senderBefore = sleepsOf(sender), callbackBefore = sleepsOf(callback);
    std::this_thread::sleep_for(std::chrono::milliseconds(2600));
    const auto looks = sleepsOf(sender) - senderBefore;
    EXPECT_GE(looks, 3u) << "five half seconds passed; on a busy machine a look may come late";
    EXPECT_LE(looks, 12u) << "no spinning; a look can take two sleeps, since a lock may be waited for too";
    EXPECT_LE(sleepsOf(callback) - callbackBefore, 2u)
        << "its last sleep may have been for a lock, but it does not poll";
    engine.stop();
}

// A command that notes its end, once a test asks for it.
class MortalCommand : public NumberedCommand {
public:
    using NumberedCommand::NumberedCommand;
    MortalCommand(const MortalCommand&) = default;
    ~MortalCommand() override {
        if (deaths != nullptr) deaths->push_back(number);
    }
    std::unique_ptr<Command> clone() const override { return std::make_unique<MortalCommand>(*this); }

    static inline Numbers* deaths = nullptr;
};

TEST(AsyncEngine, FreesWhatIsLeftTheSendQueueLast) {
    Numbers deaths;
    {
        HookedEngine engine(1, 0);
        const auto add = [&](uint32_t number) {
            engine.add(std::make_unique<AsyncEngineCommand>(0, MortalCommand(number), Payload(), 0));
        };
        for (uint32_t i = 0; i < 3; ++i) add(i);
        engine.stop();  // sent, and in the callback queue without a thread to take them
        for (uint32_t i = 3; i < 6; ++i) add(i);
        MortalCommand::deaths = &deaths;
    }
    MortalCommand::deaths = nullptr;
    ASSERT_EQ(deaths.size(), 6u);
    std::sort(deaths.begin(), deaths.begin() + 3);
    std::sort(deaths.begin() + 3, deaths.end());
    EXPECT_EQ(deaths, risingNumbers(6)) << "the callback queue's first";
}

TEST(AsyncEngineDeathTest, EndsTheProcessWhenDestroyedWithItsThreads) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_DEATH(
        {
            Completions completions;
            HookedEngine engine(1, 1);
            engine.add(completions.command(0));
            EXPECT_TRUE(completions.completed.await(1));
        },
        "terminate called");
}

// Runs in a process of its own: exit status 0 when a thread that cannot be created is reported as it should.
void addWithoutMemoryForThreads() {
    Completions completions;
    HookedEngine engine(2, 2);
    const rlimit none = {1, 1};
    if (setrlimit(RLIMIT_AS, &none) != 0) std::_Exit(2);
    bool thrown = false;
    try {
        engine.add(completions.command(0));
    } catch (const boost::thread_resource_error&) {
        thrown = true;
    }
    engine.stop();
    std::_Exit(thrown && engine.started.count() == 1 && engine.stopped.count() == 1 ? 0 : 1);
}

TEST(AsyncEngineDeathTest, ThreadThatCannotBeCreatedThrowsOutOfAdd) {
    if (SANITIZED || isEmulated()) GTEST_SKIP() << "sanitizers and emulators need the address space for themselves";
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(addWithoutMemoryForThreads(), testing::ExitedWithCode(0), "");
}

struct NextSlot : AsyncEngine {
    virtual void next();
};

// The library is built against this order.
TEST(AsyncEngine, VirtualOperationsKeepTheirSlots) {
    EXPECT_EQ(virtualSlot(&AsyncEngine::getName), 2u);  // after the two of the destructor
    EXPECT_EQ(virtualSlot(&AsyncEngine::onStart), 3u);
    EXPECT_EQ(virtualSlot(&AsyncEngine::onStop), 4u);
    EXPECT_EQ(virtualSlot(&AsyncEngine::send), 5u);
    EXPECT_EQ(virtualSlot(&NextSlot::next), 6u);
}

}  // namespace
}  // namespace ostrel::core
