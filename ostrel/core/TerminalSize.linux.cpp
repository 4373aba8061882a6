#include "ostrel/core/TerminalSize.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include "ostrel/core/ScopeTrace.h"

namespace ostrel::core {

int getTerminalSize(TerminalSize& size) {
    OSTREL_TRACE();
    size = TerminalSize();
    winsize answer = {};
    if (ioctl(STDIN_FILENO, TIOCGWINSZ, &answer) != 0) return -1;
    size.rows = answer.ws_row;
    size.columns = answer.ws_col;
    return 0;
}

}  // namespace ostrel::core
