#pragma once

#include <regex>
#include <string>

#include "ostrel/core/Logging.h"

/// Turns the debug log on, into memory alone, for the lines of `level` and above, until the end of the scope.
class LogCapture {
public:
    explicit LogCapture(ostrel::core::LogSeverity level = ostrel::core::LOGSEVERITY_INFO) {
        ostrel::core::setLogLevel(level);
        ostrel::core::clearMemoryStream();
        ostrel::core::attachMemoryStream();
        ostrel::core::enableLogging();
    }
    ~LogCapture() {
        ostrel::core::disableLogging();
        ostrel::core::detachMemoryStream();
        ostrel::core::setLogLevel(ostrel::core::LOGSEVERITY_TRACE);
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    /// The lines so far, each without its time: "[error] message\n".
    std::string lines() const {
        static const std::regex time("(^|\n)[0-9]{2}:[0-9]{2}:[0-9]{2}:[0-9]{6} (?=\\[)");
        return std::regex_replace(ostrel::core::getMemoryStream()->str(), time, "$1");
    }
};
