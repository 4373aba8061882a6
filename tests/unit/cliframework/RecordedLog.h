#pragma once

#include <string>

#include "ostrel/interfaces/cli/cliframework/LogChannelBase.h"
#include "ostrel/interfaces/cli/cliframework/Logger.h"

namespace cli::framework {

/// Records the framework log while it lives: a line a message, without the functions' entries and exits.
class RecordedLog : public LogChannelBase {
public:
    RecordedLog() { Logger::getInstance().setChannel(this); }
    ~RecordedLog() override { Logger::getInstance().setChannel(nullptr); }

    void write(const LogMessage& message) override {
        const bool isTrace = message.message.rfind("Entering ", 0) == 0 || message.message.rfind("Exiting ", 0) == 0;
        if (!isTrace) lines += message.message + "\n";
    }

    std::string lines;
};

}  // namespace cli::framework
