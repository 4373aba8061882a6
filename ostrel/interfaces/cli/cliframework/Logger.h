#pragma once

#include <cstdint>
#include <sstream>
#include <string>

#include "ostrel/interfaces/cli/cliframework/LogMessage.h"

namespace cli::framework {

class LogChannelBase;

/// The framework's own log, one object for the process. Without a channel everything it gets is dropped, which is how
/// the tool runs; callers ask hasChannel() before they build a message.
///
/// It is a stream: write a text into it, set the level, and flush() sends the text as one message.
/// Ownership: the channel is not owned and is taken off (setChannel(nullptr)) before it dies.
/// Threads:   main thread only.
class Logger : public std::ostringstream {
public:
    static Logger& getInstance();

    /// The one comparison that a silent log costs.
    static bool hasChannel() { return channel_ != nullptr; }

    void log(uint32_t level, const std::string& message);
    void logTrace(const std::string& message, const std::string& file, uint32_t line);

    /// Sends what was written into the stream as one message of getLevel() and leaves the stream empty and good.
    void flush();

    /// Sends a message that is already made; does not allocate.
    void dispatch(const LogMessage& message) const;

    LogChannelBase* getChannel() const { return channel_; }
    void setChannel(LogChannelBase* channel) { channel_ = channel; }
    uint32_t getLevel() const { return level_; }
    void setLevel(uint32_t level) { level_ = level; }
    uint32_t getThreshold() const { return threshold_; }
    void setThreshold(uint32_t threshold) { threshold_ = threshold; }

private:
    Logger() = default;

    // Static, so that a trace object can ask for it during static initialisation without building the stream.
    static inline LogChannelBase* channel_ = nullptr;
    uint32_t level_ = LOG_LEVEL_TRACE;      ///< Level of the next flush().
    uint32_t threshold_ = LOG_LEVEL_TRACE;  ///< The highest level that passes.
};

}  // namespace cli::framework
