#include "features/library/Requester.h"

#include <unistd.h>

#include <cstdlib>

#include "ostrel/core/File.h"
#include "ostrel/core/Strings.h"

namespace features::library {

using namespace ostrel::core;

namespace {

/// The audit system's "no user logged in".
constexpr const char* NO_LOGIN = "4294967295";

std::string firstLine(const std::string& path) {
    std::string text;
    (void)readFile(path, SymbolicLink::FOLLOW, text);  // missing is said by the empty text
    return text.substr(0, text.find('\n'));
}

std::string sudoUid() {
    const char* const text = std::getenv("SUDO_UID");
    return text != nullptr && isInteger(text) ? text : "";
}

std::string terminal() {
    char name[64];
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (ttyname_r(stream, name, sizeof name) == 0) return name;
    }
    return "";
}

}  // namespace

Requester requesterOfThisProcess(const std::string& proc) {
    Requester requester;
    requester.uid = std::to_string(getuid());
    requester.sudoUid = sudoUid();
    const std::string login = firstLine(proc + "/self/loginuid");
    if (isInteger(login) && login != NO_LOGIN) requester.loginUid = login;
    requester.terminal = terminal();
    const std::string parent = std::to_string(getppid());
    const std::string name = firstLine(proc + "/" + parent + "/comm");
    requester.parent = name.empty() ? parent : parent + " " + name;
    return requester;
}

}  // namespace features::library
