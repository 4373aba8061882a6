#include "ostrel/core/Globals.h"

#include <boost/filesystem.hpp>

#include <array>
#include <cstdio>
#include <memory>

#include "ostrel/core/Logging.h"
#include "ostrel/core/ScopeTrace.h"

namespace ostrel::core {

std::string getExecutablePath() {
    OSTREL_TRACE();
    boost::system::error_code error;
    const auto program = boost::filesystem::read_symlink("/proc/self/exe", error);
    if (error || !program.has_parent_path()) return "./";
    const std::string directory = program.parent_path().string();
    return directory == "/" ? directory : directory + '/';
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
