#include "ostrel/core/FileDescriptor.h"

#include <poll.h>

#include <cerrno>

namespace ostrel::core {

// Without a trace: the last words of a process that is out of memory go through here.
int writeFully(int fileDescriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(fileDescriptor, bytes.data(), bytes.size());
        const int error = errno;
        if (written >= 0) {
            bytes.remove_prefix(static_cast<size_t>(written));
        } else if (error == EAGAIN) {
            // Another process that shares the pipe or terminal made it non-blocking.
            pollfd writable{fileDescriptor, POLLOUT, 0};
            (void)::poll(&writable, 1, -1);  // whatever it returns, the next write reports the error
        } else if (error != EINTR) {
            return error;
        }
    }
    return 0;
}

}  // namespace ostrel::core
