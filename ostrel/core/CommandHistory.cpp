#include "ostrel/core/CommandHistory.h"

#include <utility>

#include "ostrel/core/ScopeTrace.h"

namespace ostrel::core {

using Lock = std::lock_guard<std::mutex>;

CommandHistory::CommandHistory(const CommandHistory& other) {
    OSTREL_TRACE();
    const Lock lock(other.mutex_);
    maxSize_ = other.maxSize_;
    results_ = other.results_;
}

std::uint32_t CommandHistory::getSize() const {
    OSTREL_TRACE();
    const Lock lock(mutex_);
    return static_cast<std::uint32_t>(results_.size());
}

std::uint32_t CommandHistory::getMaxSize() const {
    OSTREL_TRACE();
    const Lock lock(mutex_);
    return maxSize_;
}

// Here and below, what is dropped is destroyed after the lock is released: its classes are others', and so is what
// their destructors do.
void CommandHistory::setMaxSize(std::uint32_t size) {
    OSTREL_TRACE();
    Results surplus;
    const Lock lock(mutex_);
    maxSize_ = size;
    surplus = takeSurplus();
}

std::unique_ptr<CommandResult> CommandHistory::at(std::uint32_t index) const {
    OSTREL_TRACE();
    const Lock lock(mutex_);
    return index < results_.size() ? std::make_unique<CommandResult>(results_[index]) : nullptr;
}

std::vector<CommandResult> CommandHistory::getResults() const {
    OSTREL_TRACE();
    const Lock lock(mutex_);
    return {results_.begin(), results_.end()};
}

void CommandHistory::add(const CommandResult& result) {
    OSTREL_TRACE();
    if (getMaxSize() == 0) return;  // spares the copy; takeSurplus() decides
    CommandResult copy(result);
    Results surplus;
    const Lock lock(mutex_);
    results_.push_back(std::move(copy));
    surplus = takeSurplus();
}

void CommandHistory::clear() {
    OSTREL_TRACE();
    Results surplus;
    const Lock lock(mutex_);
    surplus.swap(results_);
}

// The oldest entries beyond the limit. Under the lock.
CommandHistory::Results CommandHistory::takeSurplus() {
    OSTREL_TRACE();
    Results surplus;
    for (; results_.size() > maxSize_; results_.pop_front()) surplus.push_back(std::move(results_.front()));
    return surplus;
}

}  // namespace ostrel::core
