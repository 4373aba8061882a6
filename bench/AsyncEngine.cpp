// Commands per second through an AsyncEngine whose device answers at once, beside the plainest thing of the kind: a
// queue of std::function with one mutex and one worker. So the figures are what the pipeline itself costs. Rounds of
// all measurements take turns in one process; each line shows the median.
//
//     bench_async_engine [commands per measurement; 200000 when it is missing]

#include "ostrel/core/AsyncEngine.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "ostrel/core/xml/XmlObject.h"

namespace {

using namespace ostrel::core;

constexpr int ROUNDS = 7;

class EmptyCommand : public QueueableCommand {
public:
    EmptyCommand() : QueueableCommand("Bench", "Empty") {}
    std::unique_ptr<Command> clone() const override { return std::make_unique<EmptyCommand>(*this); }
    void toString(std::ostream&) const override {}
    std::unique_ptr<xml::XmlObject> toXml() const override { return std::make_unique<xml::XmlObject>(); }
};

class InstantEngine : public AsyncEngine {
public:
    InstantEngine(std::uint32_t senders, std::uint32_t callbacks) : AsyncEngine(senders, callbacks) {}
    std::string getName() const override { return "Instant"; }
    void onStart() override {}
    void onStop() override {}
    void send(std::uint32_t, AsyncEngineCommand&, Status&) override {}
};

std::atomic<unsigned> completed{0};

void complete(const CompletionRecord&) {
    ++completed;
}

double now() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

double engineRate(std::uint32_t senders, std::uint32_t callbacks, unsigned commands) {
    EmptyCommand command;
    command.getCompletion().callback = complete;
    InstantEngine engine(senders, callbacks);
    completed = 0;
    const double begin = now();
    for (unsigned i = 0; i < commands; ++i) engine.add(std::make_unique<AsyncEngineCommand>(0, command, Payload(), i));
    engine.stop();
    const double seconds = now() - begin;
    if (completed != commands) std::abort();
    return commands / seconds;
}

double plainQueueRate(unsigned commands) {
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<std::function<void()>> queue;
    bool ended = false;
    completed = 0;
    const double begin = now();
    std::thread worker([&] {
        for (;;) {
            std::unique_lock<std::mutex> lock(mutex);
            changed.wait(lock, [&] { return ended || !queue.empty(); });
            if (queue.empty()) return;
            const auto function = std::move(queue.front());
            queue.pop_front();
            lock.unlock();
            function();
        }
    });
    const auto add = [&](std::function<void()> function) {
        {
            const std::lock_guard<std::mutex> lock(mutex);
            queue.push_back(std::move(function));
        }
        changed.notify_one();
    };
    const EmptyCommand command;
    for (unsigned i = 0; i < commands; ++i) add([copy = std::make_shared<EmptyCommand>(command)] { ++completed; });
    {
        const std::lock_guard<std::mutex> lock(mutex);
        ended = true;
    }
    changed.notify_one();
    worker.join();
    const double seconds = now() - begin;
    if (completed != commands) std::abort();
    return commands / seconds;
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

}  // namespace

int main(int argc, char** argv) {
    const auto commands = static_cast<unsigned>(argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 200000);
    const struct {
        const char* name;
        std::function<double()> rate;
    } measurements[] = {
        {"queue of std::function, 1 worker", [=] { return plainQueueRate(commands); }},
        {"engine, 1 sender, 1 callback thread", [=] { return engineRate(1, 1, commands); }},
        {"engine, 2 senders, 1 callback thread", [=] { return engineRate(2, 1, commands); }},
        {"engine, 8 senders, 4 callback threads", [=] { return engineRate(8, 4, commands); }},
    };
    std::vector<std::vector<double>> rates(std::size(measurements));
    for (int round = 0; round < ROUNDS; ++round)
        for (std::size_t i = 0; i < rates.size(); ++i) rates[i].push_back(measurements[i].rate());
    for (std::size_t i = 0; i < rates.size(); ++i)
        std::printf("%-40s %10.0f commands/s   %5.2f times the queue\n", measurements[i].name, median(rates[i]),
                    median(rates[i]) / median(rates[0]));
}
