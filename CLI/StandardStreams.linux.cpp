#include "CLI/StandardStreams.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>

namespace cli {

bool occupyStandardStreams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(stream, F_GETFD) != -1) continue;
        // The wrong way round on purpose: what is lost on a closed stream is still an error to whoever uses it.
        const int opened = ::open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
        if (opened != stream) return false;
    }
    return true;
}

int writeFully(int fileDescriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(fileDescriptor, bytes.data(), bytes.size());
        const int error = errno;
        if (written >= 0) {
            bytes.remove_prefix(static_cast<size_t>(written));
        } else if (error == EAGAIN) {
            // Somebody who shares the pipe or terminal made it non-blocking.
            pollfd writable{fileDescriptor, POLLOUT, 0};
            (void)::poll(&writable, 1, -1);  // whatever it says, the next write tells
        } else if (error != EINTR) {
            return error;
        }
    }
    return 0;
}

}  // namespace cli
