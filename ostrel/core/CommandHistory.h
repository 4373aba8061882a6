#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <vector>

#include "ostrel/core/CommandResult.h"

namespace ostrel::core {

/// The last commands that were sent to a device, oldest first. Keeps none until it is given a size.
///
/// Ownership: keeps copies and hands out copies, so an entry stays valid whatever happens to the history.
/// Threads:   any number of writers and readers: completions of queued commands arrive on threads of their own.
class CommandHistory {
public:
    CommandHistory() = default;
    CommandHistory(const CommandHistory& other);
    CommandHistory& operator=(const CommandHistory&) = delete;

    std::uint32_t getSize() const;
    std::uint32_t getMaxSize() const;
    /// Drops the oldest entries until the rest fits. With 0 the history stays empty.
    void setMaxSize(std::uint32_t size);

    /// The entry at `index`, 0 being the oldest; null after the last.
    std::unique_ptr<CommandResult> at(std::uint32_t index) const;
    /// All entries of one moment.
    std::vector<CommandResult> getResults() const;

    /// Adds a copy at the end, for which the oldest entry may have to go.
    void add(const CommandResult& result);
    void clear();

private:
    using Results = std::deque<CommandResult>;

    Results takeSurplus();

    std::uint32_t maxSize_ = 0;
    Results results_;
    mutable std::mutex mutex_;
};

}  // namespace ostrel::core
