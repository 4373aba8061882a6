#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "features/simulator/context/CommandContext.h"

namespace features::simulator {

/// Bytes that a log page keeps from one command to the next: a capture, what a reader of a log is shown. They lie in a
/// file of their own, log-NAME-0 or log-NAME-1 in the drive's folder, so that the state stays small. The state says
/// which of the two it is; a new snapshot goes into the other one and counts when the state is saved: one for each
/// command.
///
/// Errors: no value, or false. A snapshot that is missing or damaged cannot be read.
class Snapshot {
public:
    Snapshot(CommandContext& context, const char* name) : context_(context), name_(name) {}

    bool exists() const { return context_.state.extensions.count(name_) != 0; }
    std::optional<std::vector<uint8_t>> read() const;
    bool write(const std::vector<uint8_t>& bytes);
    void remove();

private:
    std::string fileName(uint8_t slot) const { return LOG_PREFIX + name_ + "-" + std::to_string(slot); }

    CommandContext& context_;
    std::string name_;
};

}  // namespace features::simulator
