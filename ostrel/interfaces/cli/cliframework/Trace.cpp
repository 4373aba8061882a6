#include "ostrel/interfaces/cli/cliframework/Trace.h"

#include <memory>
#include <string>
#include <string_view>

namespace cli::framework {

namespace {

/// "/build/cliframework/ResultBase.cpp" as "cliframework/ResultBase".
std::string shortSourcePath(std::string_view path) {
    path = path.substr(0, path.rfind('.'));
    const size_t name = path.rfind('/');
    if (name == std::string_view::npos || name == 0) return std::string(path);
    const size_t folder = path.rfind('/', name - 1);
    return std::string(folder == std::string_view::npos ? path : path.substr(folder + 1));
}

}  // namespace

void Trace::enter(const char* file, const char* function, uint32_t line) {
    const std::string name(function);
    Logger::getInstance().logTrace("Entering " + name, shortSourcePath(file), line);
    exit_ = std::make_unique<LogMessage>(LogMessage{LOG_LEVEL_TRACE, "Exiting " + name, "", 0}).release();
}

void Trace::leave() {
    const std::unique_ptr<const LogMessage> message(exit_);
    Logger::getInstance().dispatch(*message);
}

}  // namespace cli::framework
