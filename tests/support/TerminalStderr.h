#pragma once

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "ostrel/core/FileDescriptor.h"

/// A terminal of 100 columns in the place of standard error while it lives, in a process that wants to see progress.
class TerminalStderr {
public:
    TerminalStderr() : before_(dup(STDERR_FILENO)), master_(posix_openpt(O_RDWR | O_NOCTTY)) {
        (void)grantpt(master_.get());
        (void)unlockpt(master_.get());
        const ostrel::core::FileDescriptor terminal(open(ptsname(master_.get()), O_RDWR | O_NOCTTY));
        const winsize size = {24, 100, 0, 0};
        (void)ioctl(terminal.get(), TIOCSWINSZ, &size);
        dup2(terminal.get(), STDERR_FILENO);
        setenv("TERM", "xterm", 1);
        setenv("NIMBREL_PROGRESS", "stderr", 1);
    }
    ~TerminalStderr() {
        unsetenv("NIMBREL_PROGRESS");
        dup2(before_.get(), STDERR_FILENO);
    }
    TerminalStderr(const TerminalStderr&) = delete;
    TerminalStderr& operator=(const TerminalStderr&) = delete;

    /// What was written to it since the last call, waiting up to `waitMs` for the first of it.
    std::string output(int waitMs = 0) {
        std::string text;
        char buffer[4096];
        for (pollfd ready = {master_.get(), POLLIN, 0}; poll(&ready, 1, text.empty() ? waitMs : 0) == 1;) {
            const ssize_t count = read(master_.get(), buffer, sizeof buffer);
            if (count <= 0) break;
            text.append(buffer, static_cast<size_t>(count));
        }
        return text;
    }
    /// Waits for something to be written to it; false: nothing was within `maxMs`.
    bool awaitOutput(int maxMs) const {
        pollfd ready = {master_.get(), POLLIN, 0};
        return poll(&ready, 1, maxMs) == 1;
    }
    /// Stops its output, or lets it go on, as Control-S and Control-Q do.
    void stop(bool stopped) { (void)tcflow(STDERR_FILENO, stopped ? TCOOFF : TCOON); }

private:
    ostrel::core::FileDescriptor before_;
    ostrel::core::FileDescriptor master_;
};
