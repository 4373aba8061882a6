#include "CLI/StandardStreams.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <initializer_list>
#include <iterator>

namespace cli {

bool occupyStandardStreams() {
    // All three at once: nothing is reported of streams that are open, unless the other end of a pipe is closed.
    pollfd streams[] = {{STDIN_FILENO, 0, 0}, {STDOUT_FILENO, 0, 0}, {STDERR_FILENO, 0, 0}};
    if (::poll(streams, std::size(streams), 0) == 0) return true;
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(stream, F_GETFD) != -1) continue;
        // The wrong way round on purpose: what is lost on a closed stream is still an error to the code that uses it.
        const int opened = ::open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
        if (opened != stream) return false;
    }
    return true;
}

}  // namespace cli
