#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

/// What the debug log is built on: stamps a line with time and severity and writes it to the attached targets. There
/// are two, which write the same bytes, and a program or library links one of them:
///
///   LogCore.boost.cpp   Boost.Log; that of the programs
///   LogCore.plain.cpp   for a shared library, which can link no static Boost.Log (Debian builds it without -fPIC), and
///                       for which the loader of every process would look up two thousand symbols of a shared one
///
/// Errors:  std::bad_alloc, and from write() what a target throws.
/// Threads: write() from any; all others as Logging.h says of its own.
namespace ostrel::core::logcore {

/// Where lines go. No std::ostream: the shared library would have the whole of the C++ stream library in itself.
class LogTarget {
public:
    virtual ~LogTarget() = default;
    /// One line, with its end. Called by one thread at a time.
    virtual void write(std::string_view line) = 0;
};

/// Targets are compared by their address.
void addTarget(const std::shared_ptr<LogTarget>& target);
void removeTarget(const std::shared_ptr<LogTarget>& target);
/// Lines below this severity are dropped.
void setThreshold(uint32_t level);
/// Until disable(), or the end of the process: when the static objects here are destroyed, `atEnd` is called, after
/// which there is no write() any more.
void enable(void (*atEnd)());
void disable();

/// The severity is one of LogSeverity.
void write(uint32_t severity, const std::string& line);

}  // namespace ostrel::core::logcore
