#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "ostrel/core/Logging.h"

/// The debug log in memory, from `level` on, for as long as the object lives.
class MemoryLog {
public:
    explicit MemoryLog(ostrel::core::LogSeverity level = ostrel::core::LOGSEVERITY_TRACE) {
        ostrel::core::initLogging();
        ostrel::core::clearMemoryStream();
        ostrel::core::attachMemoryStream();
        ostrel::core::setLogLevel(level);
        ostrel::core::enableLogging();
    }
    ~MemoryLog() {
        ostrel::core::disableLogging();
        ostrel::core::detachMemoryStream();
        ostrel::core::clearMemoryStream();
        ostrel::core::setLogLevel(ostrel::core::LOGSEVERITY_TRACE);
    }
    MemoryLog(const MemoryLog&) = delete;
    MemoryLog& operator=(const MemoryLog&) = delete;

    /// The lines with their severity but without their time. To be asked for when no other thread logs.
    std::vector<std::string> lines() const {
        std::vector<std::string> lines;
        std::istringstream text(ostrel::core::getMemoryStream()->str());
        for (std::string line; std::getline(text, line);) lines.push_back(line.substr(line.find('[')));
        return lines;
    }
};
