#pragma once

#include <regex>
#include <string>

#include "ostrel/core/Logging.h"

/// Collects the debug log's lines of error level and above while it lives. One at a time, on the main thread.
class CapturedErrors {
public:
    CapturedErrors() {
        ostrel::core::initLogging();
        ostrel::core::setLogLevel(ostrel::core::LOGSEVERITY_ERROR);
        ostrel::core::clearMemoryStream();
        ostrel::core::attachMemoryStream();
        ostrel::core::enableLogging();
    }
    ~CapturedErrors() {
        ostrel::core::disableLogging();
        ostrel::core::detachMemoryStream();
        ostrel::core::setLogLevel(ostrel::core::LOGSEVERITY_TRACE);
    }
    CapturedErrors(const CapturedErrors&) = delete;
    CapturedErrors& operator=(const CapturedErrors&) = delete;

    /// The lines without their time stamps: "[error] message\n".
    std::string lines() const {
        static const std::regex stamp("(^|\n)[0-9]{2}:[0-9]{2}:[0-9]{2}:[0-9]{6} (?=\\[)");
        return std::regex_replace(ostrel::core::getMemoryStream()->str(), stamp, "$1");
    }
};
