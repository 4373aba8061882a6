#include "ostrel/interfaces/cli/cliframework/Logger.h"

#include "ostrel/interfaces/cli/cliframework/LogChannelBase.h"

namespace cli::framework {

Logger& Logger::getInstance() {
    static Logger instance;
    return instance;
}

void Logger::log(uint32_t level, const std::string& message) {
    dispatch({level, message, "", 0});
}

void Logger::logTrace(const std::string& message, const std::string& file, uint32_t line) {
    dispatch({LOG_LEVEL_TRACE, message, file, line});
}

void Logger::flush() {
    dispatch({level_, str(), "", 0});
    str("");
    clear();
}

void Logger::dispatch(const LogMessage& message) const {
    if (channel_ == nullptr || message.level > threshold_) return;
    channel_->write(message);
}

}  // namespace cli::framework
