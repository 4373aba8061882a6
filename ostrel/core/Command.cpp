#include "ostrel/core/Command.h"

#include <utility>

#include "ostrel/core/ScopeTrace.h"

namespace ostrel::core {

Command::Command(std::string commandSet, std::string name)
    : name_(std::move(name)), commandSet_(std::move(commandSet)) {
    OSTREL_TRACE();
}

Command::~Command() = default;

Command& Command::operator=(const Command& other) = default;

}  // namespace ostrel::core
