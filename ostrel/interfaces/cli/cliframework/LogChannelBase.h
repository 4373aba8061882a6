#pragma once

#include "ostrel/interfaces/cli/cliframework/LogMessage.h"

namespace cli::framework {

/// Where the messages of the framework log go. write() must not throw: trace objects call it while they are destroyed.
class LogChannelBase {
public:
    virtual ~LogChannelBase() = default;
    virtual void write(const LogMessage& message) = 0;
};

}  // namespace cli::framework
