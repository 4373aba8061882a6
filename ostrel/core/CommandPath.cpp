#include "ostrel/core/CommandPath.h"

#include <utility>

#include "ostrel/core/AsyncEngine.h"
#include "ostrel/core/Connection.h"
#include "ostrel/core/EngineOperations.h"
#include "ostrel/core/ScopeTrace.h"
#include "ostrel/core/StatusCatalogue.h"

namespace ostrel::core {

std::atomic<const EngineOperations*> engineOperations{nullptr};

CommandPath::CommandPath(std::string name, std::uint64_t timeoutNanoseconds)
    : name_(std::move(name)), timeout_(timeoutNanoseconds) {
    OSTREL_TRACE();
}

CommandPath::CommandPath(const CommandPath& other)
    : connection_(other.connection_), name_(other.name_), timeout_(other.timeout_) {
    OSTREL_TRACE();
}

CommandPath::~CommandPath() {
    OSTREL_TRACE();
    stopEngine();
}

std::string CommandPath::getName() const {
    OSTREL_TRACE();
    return name_;
}

void CommandPath::setTimeoutSeconds(std::uint64_t seconds) {
    OSTREL_TRACE();
    timeout_ = seconds * NANOSECONDS_PER_SECOND;
}

void CommandPath::setTimeoutNanoseconds(std::uint64_t nanoseconds) {
    OSTREL_TRACE();
    timeout_ = nanoseconds;
}

Status CommandPath::closeConnection() {
    OSTREL_TRACE();
    return connection_ == nullptr ? statuses::noConnectionToClose() : connection_->close();
}

Status CommandPath::reset() {
    OSTREL_TRACE();
    return closeConnection();
}

CommandPath& CommandPath::operator=(const CommandPath& other) {
    OSTREL_TRACE();
    if (this == &other) return *this;
    name_ = other.name_;
    timeout_ = other.timeout_;
    connection_ = other.connection_;
    if (asyncEngine_ != nullptr && other.asyncEngine_ != nullptr)
        engineOperations.load()->assign(*asyncEngine_, *other.asyncEngine_);
    return *this;
}

std::uint64_t CommandPath::getTimeoutSeconds() const {
    OSTREL_TRACE();
    const std::uint64_t wholeSeconds = timeout_ / NANOSECONDS_PER_SECOND;
    return timeout_ % NANOSECONDS_PER_SECOND == 0 ? wholeSeconds : wholeSeconds + 1;
}

void CommandPath::stopEngine() {
    OSTREL_TRACE();
    if (asyncEngine_ != nullptr) engineOperations.load()->stop(*asyncEngine_);
    asyncEngine_ = nullptr;
}

}  // namespace ostrel::core
