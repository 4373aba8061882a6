#include "ostrel/interfaces/cli/cliframework/TerminalWidth.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include "ostrel/interfaces/cli/cliframework/Trace.h"

namespace cli::framework {

std::size_t terminalWidth() {
    CLI_TRACE();
    // Standard input, not output: help that is piped into a pager still wraps for the terminal it is typed on.
    winsize size{};
    return ioctl(STDIN_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

}  // namespace cli::framework
