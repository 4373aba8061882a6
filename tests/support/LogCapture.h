#pragma once

#include <sstream>
#include <string>
#include <vector>

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
        std::string lines;
        for (const std::string& line : list()) lines += line + '\n';
        return lines;
    }

    /// The same one by one, without line ends.
    std::vector<std::string> list() const {
        std::istringstream log(ostrel::core::getMemoryStream()->str());
        std::vector<std::string> lines;
        constexpr size_t TIME_LENGTH = sizeof "14:03:59:123456";
        for (std::string line; std::getline(log, line);) {
            const bool startsMessage = line.size() > TIME_LENGTH && line[TIME_LENGTH] == '[';
            lines.push_back(line.substr(startsMessage ? TIME_LENGTH : 0));
        }
        return lines;
    }
};
