#include "ostrel/core/Logging.h"

#include "ostrel/core/LogCore.h"
#include "ostrel/core/LogFile.h"
#include "ostrel/core/LogStreams.h"

namespace ostrel::core {

std::atomic<bool> loggingEnabled{false};
void (*resetLogStreams)() = nullptr;

namespace {

struct LogState {
    std::string logFileName = "ostrel.log";
    std::string truncatedFileName;
    bool logAppend = true;
    std::shared_ptr<LogFile> logFile;
    bool fileLogging = false;
    uint32_t logLevel = LOGSEVERITY_TRACE;
};

LogState& state() {
    static LogState theState;
    return theState;
}

}  // namespace

void initLogging() {
    disableLogging();
    closeLogFile();
    if (resetLogStreams != nullptr) resetLogStreams();
    setLogLevel(LOGSEVERITY_TRACE);
    state().truncatedFileName.clear();
}

void setLogFile(const std::string& name, bool append) {
    const bool wasOpen = state().fileLogging;
    if (wasOpen) closeLogFile();
    state().logFileName = name;
    state().logAppend = append;
    if (wasOpen) openLogFile();
}

void openLogFile() {
    if (state().logFileName.empty()) return;
    closeLogFile();
    const bool isTruncated = state().truncatedFileName == state().logFileName;
    state().truncatedFileName.clear();
    const auto file = std::make_shared<LogFile>(state().logFileName, state().logAppend || isTruncated);
    if (!file->isOpen()) return;
    logcore::addTarget(file);
    state().logFile = file;
    state().fileLogging = true;
}

void closeLogFile() {
    if (!state().fileLogging) return;
    logcore::removeTarget(state().logFile);
    state().logFile.reset();
    state().fileLogging = false;
}

void truncateLogFile(const std::string& name) {
    if (LogFile(name, false).isOpen()) state().truncatedFileName = name;
}

void enableLogging() {
    logcore::enable(disableLogging);
    loggingEnabled.store(true, std::memory_order_relaxed);
}

void disableLogging() {
    loggingEnabled.store(false, std::memory_order_relaxed);
    logcore::disable();
}

void setLogLevel(uint32_t level) {
    state().logLevel = level;
    logcore::setThreshold(level);
}

uint32_t getLogLevel() {
    return state().logLevel;
}
bool isFileLogging() {
    return state().fileLogging;
}

std::string_view baseFileName(std::string_view path) {
    return path.substr(path.rfind('/') + 1);
}
std::string_view baseFunctionName(std::string_view function) {
    return function.substr(function.rfind(':') + 1);
}

void writeLogLine(LogSeverity severity, std::initializer_list<LogPart> parts) noexcept try {
    std::string line;
    for (const LogPart& part : parts) line.append(part.text());
    logcore::write(severity, line);
} catch (...) {
    // The error cannot be reported anywhere, and a scope trace logs from a destructor.
}

}  // namespace ostrel::core
