#include "ostrel/core/Logging.h"

#include <boost/core/null_deleter.hpp>
#include <boost/log/attributes/clock.hpp>
#include <boost/log/attributes/current_thread_id.hpp>
#include <boost/log/core.hpp>
#include <boost/log/expressions.hpp>
#include <boost/log/sinks/sync_frontend.hpp>
#include <boost/log/sinks/text_ostream_backend.hpp>
#include <boost/log/sources/severity_logger.hpp>
#include <boost/log/support/date_time.hpp>
#include <boost/log/trivial.hpp>
#include <boost/smart_ptr/make_shared.hpp>

#include <iostream>

#include "ostrel/core/LogFileStream.h"

namespace ostrel::core {

namespace expressions = boost::log::expressions;
namespace trivial = boost::log::trivial;

static_assert(static_cast<int>(LOGSEVERITY_TRACE) == trivial::trace);
static_assert(static_cast<int>(LOGSEVERITY_DEBUG) == trivial::debug);
static_assert(static_cast<int>(LOGSEVERITY_INFO) == trivial::info);
static_assert(static_cast<int>(LOGSEVERITY_WARNING) == trivial::warning);
static_assert(static_cast<int>(LOGSEVERITY_ERROR) == trivial::error);
static_assert(static_cast<int>(LOGSEVERITY_FATAL) == trivial::fatal);

std::atomic<bool> loggingEnabled{false};

namespace {

using Backend = boost::log::sinks::text_ostream_backend;
using Sink = boost::log::sinks::synchronous_sink<Backend>;
using Logger = boost::log::sources::severity_logger_mt<trivial::severity_level>;

struct LogState {
    std::string logFileName = "ostrel.log";
    std::string truncatedFileName;
    bool logAppend = true;
    boost::shared_ptr<LogFileStream> logFile;
    bool fileLogging = false;
    boost::shared_ptr<std::ostream> stdStream{&std::clog, boost::null_deleter()};
    bool stdStreamAttached = false;
    std::shared_ptr<std::ostringstream> memoryStream = std::make_shared<std::ostringstream>();
    boost::shared_ptr<std::ostream> memoryTarget{memoryStream.get(), boost::null_deleter()};
    bool memoryStreamAttached = false;
    uint32_t logLevel = LOGSEVERITY_TRACE;
    boost::shared_ptr<Sink> sink;
};

LogState& state() {
    static LogState theState;
    return theState;
}

Logger& logger() {
    static Logger theLogger;
    return theLogger;
}

void applyLogLevel(Sink& sink) {
    const auto level = static_cast<trivial::severity_level>(state().logLevel);
    sink.set_filter(expressions::attr<trivial::severity_level>("Severity") >= level);
}

struct LeaveCoreAtExit {
    ~LeaveCoreAtExit() {
        disableLogging();
        if (state().sink) boost::log::core::get()->remove_sink(state().sink);
    }
};

// Static objects of the program log when they are destroyed, and by then this file's own, or the library's thread-local
// data, may be gone. The record, which is empty, makes all of these exist before the static object here, which is
// therefore destroyed first. Where the library is shared, its core lives on after this code was unloaded.
void leaveCoreAtExit() {
    (void)logger().open_record(boost::log::keywords::severity = trivial::trace);
    static const LeaveCoreAtExit leave;
}

boost::shared_ptr<Sink> makeSink() {
    const auto made = boost::make_shared<Sink>();
    made->locked_backend()->auto_flush(true);
    made->set_formatter(expressions::stream
                        << expressions::format_date_time<boost::posix_time::ptime>("TimeStamp", "%H:%M:%S:%f") << " ["
                        << expressions::attr<trivial::severity_level>("Severity") << "] " << expressions::smessage);
    applyLogLevel(*made);
    return made;
}

// Made when it is first needed and not by initLogging(): most runs never log, and the library's core, its clocks and
// its formatter would be a good part of their time.
Sink& sink() {
    if (state().sink) return *state().sink;
    const auto made = makeSink();
    logger().add_attribute("TimeStamp", boost::log::attributes::local_clock());
    logger().add_attribute("ThreadID", boost::log::attributes::current_thread_id());
    leaveCoreAtExit();
    boost::log::core::get()->set_logging_enabled(false);
    // Last, since any line above can run out of memory: a core that is shared would keep a sink that nothing removes,
    // and call it after this code was unloaded.
    boost::log::core::get()->add_sink(made);
    state().sink = made;
    return *made;
}

void attach(const boost::shared_ptr<std::ostream>& stream) {
    sink().locked_backend()->add_stream(stream);
}
void detach(const boost::shared_ptr<std::ostream>& stream) {
    sink().locked_backend()->remove_stream(stream);
}

}  // namespace

void initLogging() {
    disableLogging();
    closeLogFile();
    detachStdStream();
    detachMemoryStream();
    clearMemoryStream();
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
    const auto file = boost::make_shared<LogFileStream>(state().logFileName, state().logAppend || isTruncated);
    if (!file->isOpen()) return;
    attach(file);
    state().logFile = file;
    state().fileLogging = true;
}

void closeLogFile() {
    if (!state().fileLogging) return;
    detach(state().logFile);
    state().logFile.reset();
    state().fileLogging = false;
}

void truncateLogFile(const std::string& name) {
    if (LogFileStream(name, false).isOpen()) state().truncatedFileName = name;
}

void enableLogging() {
    sink();
    boost::log::core::get()->set_logging_enabled(true);
    loggingEnabled.store(true, std::memory_order_relaxed);
}

void disableLogging() {
    loggingEnabled.store(false, std::memory_order_relaxed);
    if (state().sink) boost::log::core::get()->set_logging_enabled(false);
}

void attachStdStream() {
    if (state().stdStreamAttached) return;
    attach(state().stdStream);
    state().stdStreamAttached = true;
}

void detachStdStream() {
    if (!state().stdStreamAttached) return;
    detach(state().stdStream);
    state().stdStreamAttached = false;
}

void attachMemoryStream() {
    if (state().memoryStreamAttached) return;
    attach(state().memoryTarget);
    state().memoryStreamAttached = true;
}

void detachMemoryStream() {
    if (!state().memoryStreamAttached) return;
    detach(state().memoryTarget);
    state().memoryStreamAttached = false;
}

void clearMemoryStream() {
    state().memoryStream->str(std::string());
}
std::shared_ptr<std::ostringstream> getMemoryStream() {
    return state().memoryStream;
}

void setLogLevel(uint32_t level) {
    state().logLevel = level;
    if (state().sink) applyLogLevel(*state().sink);
}

uint32_t getLogLevel() {
    return state().logLevel;
}
bool isFileLogging() {
    return state().fileLogging;
}
bool isStdStreamAttached() {
    return state().stdStreamAttached;
}
bool isMemoryStreamAttached() {
    return state().memoryStreamAttached;
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
    BOOST_LOG_SEV(logger(), static_cast<trivial::severity_level>(severity)) << line;
} catch (...) {
    // The error cannot be reported anywhere, and a scope trace logs from a destructor.
}

}  // namespace ostrel::core
