#include "ostrel/core/Globals.h"

#include <unistd.h>

#include <array>
#include <climits>
#include <cstdio>
#include <memory>
#include <string_view>

#include "ostrel/core/Logging.h"
#include "ostrel/core/ScopeTrace.h"

namespace ostrel::core {

std::string getExecutablePath() {
    OSTREL_TRACE();
    std::array<char, PATH_MAX> target = {};
    const ssize_t length = readlink("/proc/self/exe", target.data(), target.size());
    const std::string_view program(target.data(), length > 0 ? static_cast<size_t>(length) : 0);
    const size_t slash = program.rfind('/');
    return slash == std::string_view::npos ? "./" : std::string(program.substr(0, slash + 1));
}

int callCommand(const std::string& command, std::string& output) {
    OSTREL_TRACE();
    logMessage(LOGSEVERITY_INFO, "Making system call: ", command);
    const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
    if (!pipe) {
        logMessage(LOGSEVERITY_ERROR, "Unable to start a shell for the system call");  // popen() gives no sure reason
        return 0;
    }
    std::array<char, 4096> chunk;
    while (const size_t length = fread(chunk.data(), 1, chunk.size(), pipe.get())) output.append(chunk.data(), length);
    return 1;
}

std::string callCommandWithStderr(const std::string& command) {
    OSTREL_TRACE();
    std::string output;
    (void)callCommand(command + " 2>&1", output);  // a failure is logged and leaves the text empty
    return output;
}

std::string callCommandQuiet(const std::string& command) {
    OSTREL_TRACE();
    std::string output;
    (void)callCommand(command + " 2>/dev/null", output);  // as above
    return output;
}

}  // namespace ostrel::core
