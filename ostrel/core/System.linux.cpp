#include "ostrel/core/System.h"

#include "ostrel/core/Globals.h"
#include "ostrel/core/ScopeTrace.h"
#include "ostrel/core/Strings.h"

namespace ostrel::core {

namespace {

// The host that the tool is made for; it keeps this name on every Linux.
constexpr char OPERATING_SYSTEM_NAME[] = "ESXi";

}  // namespace

std::string System::getName() {
    OSTREL_TRACE();
    return OPERATING_SYSTEM_NAME;
}

std::string System::getVersion() {
    OSTREL_TRACE();
    std::string version;
    callCommand("uname -r 2>/dev/null", version);
    version = version.substr(0, version.find('\n'));
    logMessage(LOGSEVERITY_INFO, "Kernel Version = ", version);
    return version;
}

int System::callCommand(const std::string& command, std::string& output) {
    OSTREL_TRACE();
    return core::callCommand(command, output);
}

void System::normalizePath(std::string& path) {
    OSTREL_TRACE();
    static const std::string remotePrefix = "/mnt/remote";
    replaceAll(path, remotePrefix, "");
}

std::string System::pathSeparator() {
    OSTREL_TRACE();
    return "/";
}
bool System::isWindows() {
    OSTREL_TRACE();
    return false;
}

bool System::isDevicePath(const std::string& path) {
    OSTREL_TRACE();
    std::string text = path;
    std::string deviceFolder = "/dev/";
    std::string adapter = "LSI";
    return contains(text, deviceFolder, true) || contains(text, adapter, true);
}

}  // namespace ostrel::core
