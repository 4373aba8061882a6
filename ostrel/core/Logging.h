#pragma once

#include <atomic>
#include <charconv>
#include <cstdint>
#include <initializer_list>
#include <iosfwd>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>

/// The process-wide debug log: one text file, off until the start-up routine turns it on.
///
/// Lines:   "14:03:59:123456 [debug] message", each leaving in a single append to the file. Tool and feature library
///          each hold a copy of this code and may write to the same file; no line of either is lost or torn.
///          The lines end with main(): static objects log nothing more when they are destroyed.
/// Errors:  none is reported: a log that cannot be opened or written stays silent and the program runs on.
/// Threads: logMessage() from any thread that ends before static objects are destroyed, and before the library that
///          holds this code is unloaded. All other functions belong to the main thread, before other threads start or
///          after they ended.
namespace ostrel::core {

/// The values are those of boost::log::trivial::severity_level.
enum LogSeverity : uint32_t {
    LOGSEVERITY_TRACE = 0,
    LOGSEVERITY_DEBUG = 1,
    LOGSEVERITY_INFO = 2,
    LOGSEVERITY_WARNING = 3,
    LOGSEVERITY_ERROR = 4,
    LOGSEVERITY_FATAL = 5,
};

/// Brings the log to its initial state: off, threshold 0, nothing attached, the memory stream empty. Called before
/// anything that may log; a later call closes the file and detaches the streams.
void initLogging();

/// Names the file that openLogFile() opens. With `append` false it is emptied when it is opened. An open file is
/// closed and the new one opened at once.
void setLogFile(const std::string& name, bool append);

/// Opens the file and attaches it. Without a name it does nothing. Only a regular file is opened, and no symbolic
/// link is followed.
void openLogFile();

/// Detaches and closes the file.
void closeLogFile();

/// Empties (or creates) the file `name` ahead of the next openLogFile() of that name, which then leaves the contents
/// alone. For a log that other code in this process starts to append to before openLogFile() is called.
void truncateLogFile(const std::string& name);

void enableLogging();
void disableLogging();

/// std::clog as a further target of all lines.
void attachStdStream();
void detachStdStream();

/// A string stream as a further target of all lines. To be read only while no other thread logs.
void attachMemoryStream();
void detachMemoryStream();
void clearMemoryStream();
std::shared_ptr<std::ostringstream> getMemoryStream();

/// Lines below this severity are dropped.
void setLogLevel(uint32_t level);
uint32_t getLogLevel();

bool isFileLogging();
bool isStdStreamAttached();
bool isMemoryStreamAttached();

/// The file name of a source path: "Status.cpp" of "ostrel/core/Status.cpp".
std::string_view baseFileName(std::string_view path);
/// The text after the last ':' of a function name: "open" of "Connection::open".
std::string_view baseFunctionName(std::string_view function);

/// One piece of a log line: text or a whole number. Lives only inside a call of logMessage().
class LogPart {
public:
    LogPart(std::string_view text) : text_(text) {}  // NOLINT(google-explicit-constructor): reads as a stream of parts
    LogPart(const char* text) : text_(text) {}       // NOLINT(google-explicit-constructor): as above
    LogPart(const std::string& text) : text_(text) {}  // NOLINT(google-explicit-constructor): as above
    template <typename Number,
              typename = std::enable_if_t<std::is_integral_v<Number> && !std::is_same_v<Number, bool> &&
                                          !std::is_same_v<Number, char>>>
    LogPart(Number number)  // NOLINT(google-explicit-constructor): as above
        : text_(digits_, static_cast<size_t>(std::to_chars(digits_, digits_ + sizeof digits_, number).ptr - digits_)) {}
    LogPart(const LogPart&) = delete;
    LogPart& operator=(const LogPart&) = delete;

    std::string_view text() const { return text_; }

private:
    char digits_[20] = {};  // the longest: -9223372036854775808
    std::string_view text_;
};

/// Switched by enableLogging() and disableLogging() alone; kept here so that asking costs one comparison.
extern std::atomic<bool> loggingEnabled;
inline bool isLoggingEnabled() {
    return loggingEnabled.load(std::memory_order_relaxed);
}

/// Writes the joined parts as one line, on or off. Use logMessage().
void writeLogLine(LogSeverity severity, std::initializer_list<LogPart> parts) noexcept;

/// Writes one line made of all parts: logMessage(LOGSEVERITY_ERROR, "Unable to load ", name). While the log is off
/// this costs one comparison beside the evaluation of the arguments. Never throws: a line for which there is no
/// memory is dropped.
template <typename... Parts>
void logMessage(LogSeverity severity, const Parts&... parts) noexcept {
    if (isLoggingEnabled()) writeLogLine(severity, {LogPart(parts)...});
}

}  // namespace ostrel::core
