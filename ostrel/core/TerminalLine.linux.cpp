#include "ostrel/core/TerminalLine.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>

#include "ostrel/core/FileDescriptor.h"
#include "ostrel/core/ScopeTrace.h"

namespace ostrel::core {
namespace {

constexpr size_t USUAL_COLUMNS = 80;

/// The last column stays free: a character there makes some terminals wrap.
size_t usableColumns(int descriptor) {
    OSTREL_TRACE();
    winsize size = {};
    const bool isKnown = ::ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col != 0;
    return (isKnown ? size.ws_col : USUAL_COLUMNS) - 1;
}

/// A process in the background that writes to its terminal may be stopped for it, in the middle of its work.
bool isInBackground(int descriptor) {
    OSTREL_TRACE();
    const pid_t foreground = ::tcgetpgrp(descriptor);
    return foreground > 0 && foreground != ::getpgrp();
}

bool takesText(int descriptor) {
    OSTREL_TRACE();
    pollfd terminal = {descriptor, POLLOUT, 0};
    return ::poll(&terminal, 1, 0) == 1 && (terminal.revents & POLLOUT) != 0;
}

}  // namespace

bool hasTerminalLine(int descriptor) {
    OSTREL_TRACE();
    const char* kind = std::getenv("TERM");
    return kind != nullptr && std::string_view(kind) != "dumb" && ::isatty(descriptor) == 1;
}

// Without a scope trace: it is called many times, and would fill a debug log.
bool drawTerminalLine(int descriptor, const std::string& text) {
    OSTREL_TRACE();
    if (isInBackground(descriptor) || !takesText(descriptor)) return false;
    // In one write: another thread's line cannot come in between.
    return writeFully(descriptor,
                      std::string(CLEAR_TERMINAL_LINE) + text.substr(0, usableColumns(descriptor)) + "\r") == 0;
}

}  // namespace ostrel::core
