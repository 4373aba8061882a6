#pragma once

#include <ostream>

#include "ostrel/interfaces/cli/cliframework/LogChannelBase.h"

namespace cli::framework {

/// Writes each message as a line "3: Entering tokenize" to a stream. The stream is not owned, outlives the channel and
/// does not throw.
class StreamChannel : public LogChannelBase {
public:
    explicit StreamChannel(std::ostream& stream) : stream_(&stream) {}
    void write(const LogMessage& message) override;

private:
    std::ostream* stream_;
};

}  // namespace cli::framework
