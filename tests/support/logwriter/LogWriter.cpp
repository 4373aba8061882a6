// A shared library with a copy of the logging core of its own, as the feature library has one.
#include <string>

#include "ostrel/core/Logging.h"

extern "C" {

[[gnu::visibility("default")]] void openLibraryLog(const char* path) {
    ostrel::core::initLogging();
    ostrel::core::setLogFile(path, true);
    ostrel::core::openLogFile();
    ostrel::core::enableLogging();
}

[[gnu::visibility("default")]] void writeLibraryLine(const char* text) {
    ostrel::core::logMessage(ostrel::core::LOGSEVERITY_INFO, text);
}

[[gnu::visibility("default")]] void closeLibraryLog() {
    ostrel::core::disableLogging();
    ostrel::core::closeLogFile();
}

}  // extern "C"
