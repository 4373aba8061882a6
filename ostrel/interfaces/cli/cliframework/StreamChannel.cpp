#include "ostrel/interfaces/cli/cliframework/StreamChannel.h"

namespace cli::framework {

void StreamChannel::write(const LogMessage& message) {
    *stream_ << message.level << ": " << message.message << "\n";
}

}  // namespace cli::framework
