#pragma once

#include <cstdint>

#include "ostrel/interfaces/cli/cliframework/LogMessage.h"
#include "ostrel/interfaces/cli/cliframework/Logger.h"

namespace cli::framework {

/// Reports a function's entry and exit to the framework log. Made by CLI_TRACE() as a function's first statement; with
/// no channel installed it costs one comparison and builds nothing.
class Trace {
public:
    Trace(const char* file, const char* function, uint32_t line) {
        if (Logger::hasChannel()) enter(file, function, line);
    }
    ~Trace() {
        if (exit_ != nullptr) leave();
    }
    Trace(const Trace&) = delete;
    Trace& operator=(const Trace&) = delete;

private:
    void enter(const char* file, const char* function, uint32_t line);
    void leave();

    // Owned; null while the log is silent. Made on entry: the destructor must not throw, so it has nothing left to
    // allocate. A plain pointer, since even an empty smart one costs each traced call a dozen calls in debug builds.
    const LogMessage* exit_ = nullptr;
};

}  // namespace cli::framework

#define CLI_TRACE() const ::cli::framework::Trace cliFrameworkTrace(__FILE__, __func__, __LINE__)

/// Sends one message of the trace level, written as a chain of stream insertions: CLI_LOG("Found verb: " << verb).
/// The chain is not evaluated while no channel is installed.
#define CLI_LOG(chain)                                                                           \
    do {                                                                                         \
        if (::cli::framework::Logger::hasChannel()) {                                            \
            ::cli::framework::Logger& cliFrameworkLog = ::cli::framework::Logger::getInstance(); \
            cliFrameworkLog.setLevel(::cli::framework::LOG_LEVEL_TRACE);                         \
            cliFrameworkLog << chain; /* NOLINT(bugprone-macro-parentheses): a chain of << */    \
            cliFrameworkLog.flush();                                                             \
        }                                                                                        \
    } while (false)
