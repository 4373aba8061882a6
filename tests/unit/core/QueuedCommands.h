#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <ostream>
#include <vector>

#include "ostrel/core/AsyncEngine.h"
#include "ostrel/core/xml/XmlObject.h"
#include "tests/support/ThreadSignal.h"

/// What engine tests push through an engine: commands that only have a number.

class NumberedCommand : public ostrel::core::QueueableCommand {
public:
    explicit NumberedCommand(std::uint32_t number) : QueueableCommand("Test", "Numbered"), number(number) {}
    std::unique_ptr<Command> clone() const override { return std::make_unique<NumberedCommand>(*this); }
    void toString(std::ostream& out) const override { out << "Numbered " << number; }
    std::unique_ptr<ostrel::core::xml::XmlObject> toXml() const override {
        return std::make_unique<ostrel::core::xml::XmlObject>();
    }

    std::uint32_t number;
};

/// Collects completions; its address is the userContext of the commands.
class Completions {
public:
    std::unique_ptr<ostrel::core::AsyncEngineCommand> command(std::uint32_t number) {
        NumberedCommand command(number);
        command.getCompletion().userContext = reinterpret_cast<std::uintptr_t>(this);
        command.getCompletion().callback = &Completions::note;
        command.getCompletion().callerData1 = number;
        return std::make_unique<ostrel::core::AsyncEngineCommand>(0, command, ostrel::core::Payload(), number);
    }

    std::vector<std::uint32_t> numbers() {
        const std::lock_guard<std::mutex> lock(mutex_);
        return numbers_;
    }

    std::function<void(const ostrel::core::CompletionRecord&)> hook;  ///< runs on the callback thread, first
    ThreadSignal completed;

private:
    static void note(const ostrel::core::CompletionRecord& record) {
        auto& completions = *reinterpret_cast<Completions*>(record.userContext);
        if (completions.hook) completions.hook(record);
        {
            const std::lock_guard<std::mutex> lock(completions.mutex_);
            completions.numbers_.push_back(record.callerData1);
        }
        completions.completed.raise();
    }

    std::mutex mutex_;
    std::vector<std::uint32_t> numbers_;
};

/// An engine whose device is a hook. The owner stops it before it dies, as the destructor does here.
class HookedEngine : public ostrel::core::AsyncEngine {
public:
    using Hook = std::function<void(std::uint32_t slot, ostrel::core::AsyncEngineCommand&, ostrel::core::Status&)>;

    HookedEngine(std::uint32_t senders, std::uint32_t callbacks, Hook sendHook = {})
        : AsyncEngine(senders, callbacks), sendHook(std::move(sendHook)) {}

    std::string getName() const override { return "Hooked"; }
    void onStart() override { started.raise(); }
    void onStop() override {
        if (stopHook) stopHook();
        stopped.raise();
    }
    void send(std::uint32_t slot, ostrel::core::AsyncEngineCommand& command, ostrel::core::Status& result) override {
        sending.raise();
        if (sendHook) sendHook(slot, command, result);
    }

    Hook sendHook;
    std::function<void()> stopHook;
    ThreadSignal started, stopped, sending;
};

/// Numbers in rising order from `first`.
inline std::vector<std::uint32_t> risingNumbers(std::uint32_t count, std::uint32_t first = 0) {
    std::vector<std::uint32_t> numbers(count);
    for (std::uint32_t i = 0; i < count; ++i) numbers[i] = first + i;
    return numbers;
}
