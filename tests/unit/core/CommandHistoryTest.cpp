#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "ostrel/core/Command.h"
#include "ostrel/core/CommandHistory.h"
#include "tests/unit/core/DeviceParts.h"

namespace ostrel::core {
namespace {

CommandResult resultNumbered(uint32_t number) {
    CommandResult result;
    result.command = std::make_unique<PlainCommand>("Test", std::to_string(number));
    result.commandPath = std::make_unique<EchoPath>("Path");
    result.status = Status(10, number, "");
    return result;
}

std::vector<uint32_t> numbersIn(const CommandHistory& history) {
    std::vector<uint32_t> numbers;
    for (uint32_t i = 0; i < history.getSize(); ++i) numbers.push_back(history.at(i)->status.getCode());
    return numbers;
}

CommandHistory historyOf(uint32_t maxSize, uint32_t count) {
    CommandHistory history;
    history.setMaxSize(maxSize);
    for (uint32_t i = 0; i < count; ++i) history.add(resultNumbered(i));
    return history;
}

using Numbers = std::vector<uint32_t>;

TEST(CommandHistory, KeepsNothingUntilItHasASize) {
    const CommandHistory history = historyOf(0, 3);
    EXPECT_EQ(CommandHistory().getMaxSize(), 0u);
    EXPECT_EQ(history.getSize(), 0u);
    EXPECT_EQ(history.at(0), nullptr);
}

TEST(CommandHistory, KeepsTheLastOnesOldestFirst) {
    EXPECT_EQ(numbersIn(historyOf(3, 2)), (Numbers{0, 1}));
    EXPECT_EQ(numbersIn(historyOf(3, 3)), (Numbers{0, 1, 2}));
    EXPECT_EQ(numbersIn(historyOf(3, 7)), (Numbers{4, 5, 6}));
    EXPECT_EQ(historyOf(3, 7).getMaxSize(), 3u);
}

TEST(CommandHistory, SmallerSizeDropsTheOldest) {
    CommandHistory history = historyOf(5, 5);
    history.setMaxSize(2);
    EXPECT_EQ(numbersIn(history), (Numbers{3, 4}));
    history.setMaxSize(5);
    EXPECT_EQ(numbersIn(history), (Numbers{3, 4}));
}

TEST(CommandHistory, SizeZeroEmptiesItForGood) {
    CommandHistory history = historyOf(5, 5);
    history.setMaxSize(0);
    EXPECT_EQ(history.getSize(), 0u);
    history.add(resultNumbered(9));
    EXPECT_EQ(history.getSize(), 0u);
}

TEST(CommandHistory, ClearKeepsTheSize) {
    CommandHistory history = historyOf(2, 2);
    history.clear();
    EXPECT_EQ(history.getSize(), 0u);
    EXPECT_EQ(history.getMaxSize(), 2u);
    history.add(resultNumbered(9));
    EXPECT_EQ(numbersIn(history), (Numbers{9}));
}

TEST(CommandHistory, HandsOutAndKeepsCopies) {
    CommandHistory history = historyOf(2, 1);
    const auto entry = history.at(0);
    history.clear();
    EXPECT_EQ(entry->command->getName(), "0") << "valid although the history has dropped it";
    EXPECT_EQ(history.at(0), nullptr);
    EXPECT_EQ(history.at(0xFFFFFFFF), nullptr);
}

TEST(CommandHistory, CopyHasTheSameEntriesAndSize) {
    const CommandHistory history = historyOf(3, 4);
    CommandHistory copy(history);
    EXPECT_EQ(numbersIn(copy), (Numbers{1, 2, 3}));
    EXPECT_EQ(copy.getMaxSize(), 3u);
    copy.add(resultNumbered(9));
    EXPECT_EQ(numbersIn(copy), (Numbers{2, 3, 9}));
    EXPECT_EQ(numbersIn(history), (Numbers{1, 2, 3}));
}

TEST(CommandHistory, ResultsAreThoseOfOneMoment) {
    const auto results = historyOf(3, 4).getResults();
    ASSERT_EQ(results.size(), 3u);
    EXPECT_EQ(results.front().status.getCode(), 1u);
    EXPECT_EQ(results.back().status.getCode(), 3u);
}

// For the thread sanitizer: everything at once.
TEST(CommandHistory, TakesWritersAndReadersParallelFor) {
    constexpr uint32_t WRITERS = 4, READERS = 3, COMMANDS = 1000, LIMIT = 16;
    CommandHistory history;
    history.setMaxSize(LIMIT);
    std::atomic<uint32_t> writing{WRITERS};
    std::vector<std::thread> threads;
    for (uint32_t writer = 0; writer < WRITERS; ++writer)
        threads.emplace_back([&] {
            for (uint32_t i = 0; i < COMMANDS; ++i) history.add(resultNumbered(i));
            --writing;
        });
    for (uint32_t reader = 0; reader < READERS; ++reader)
        threads.emplace_back([&] {
            while (writing > 0) {
                EXPECT_LE(history.getSize(), LIMIT);
                EXPECT_LE(history.getResults().size(), LIMIT);
                const auto entry = history.at(LIMIT / 2);
                if (entry == nullptr) continue;
                EXPECT_EQ(entry->command->getName(), std::to_string(entry->status.getCode()));
            }
        });
    threads.emplace_back([&] {
        while (writing > 0) {
            history.setMaxSize(LIMIT / 2);
            history.clear();
            history.setMaxSize(LIMIT);
            EXPECT_EQ(CommandHistory(history).getMaxSize(), LIMIT);
        }
    });
    for (auto& thread : threads) thread.join();
    history.add(resultNumbered(COMMANDS));
    EXPECT_EQ(history.at(history.getSize() - 1)->status.getCode(), COMMANDS);
}

}  // namespace
}  // namespace ostrel::core
