#include "ostrel/core/LogCore.h"

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

#include <algorithm>
#include <ostream>
#include <streambuf>
#include <utility>
#include <vector>

namespace ostrel::core::logcore {

namespace expressions = boost::log::expressions;
namespace trivial = boost::log::trivial;

namespace {

using Backend = boost::log::sinks::text_ostream_backend;
using Sink = boost::log::sinks::synchronous_sink<Backend>;
using Logger = boost::log::sources::severity_logger_mt<trivial::severity_level>;

/// Collects what Boost.Log writes of one line, until the flush that follows each.
class TargetStream : public std::ostream {
public:
    explicit TargetStream(const std::shared_ptr<LogTarget>& target) : std::ostream(nullptr), buffer_(target) {
        rdbuf(&buffer_);
    }

    const std::shared_ptr<LogTarget>& target() const { return buffer_.target; }

private:
    struct Buffer : std::streambuf {
        explicit Buffer(std::shared_ptr<LogTarget> lineTarget) : target(std::move(lineTarget)) {}

        int_type overflow(int_type character) override {
            if (!traits_type::eq_int_type(character, traits_type::eof()))
                pending.push_back(traits_type::to_char_type(character));
            return traits_type::not_eof(character);
        }
        std::streamsize xsputn(const char* text, std::streamsize length) override {
            pending.append(text, static_cast<size_t>(length));
            return length;
        }
        int sync() override {
            const std::string line = std::exchange(pending, {});
            target->write(line);
            return 0;
        }

        std::shared_ptr<LogTarget> target;
        std::string pending;
    };

    Buffer buffer_;
};

struct CoreState {
    uint32_t threshold = 0;
    void (*atEnd)() = nullptr;
    boost::shared_ptr<Sink> sink;
    std::vector<boost::shared_ptr<TargetStream>> streams;
};

CoreState& state() {
    static CoreState theState;
    return theState;
}

Logger& logger() {
    static Logger theLogger;
    return theLogger;
}

void applyThreshold(Sink& sink) {
    const auto level = static_cast<trivial::severity_level>(state().threshold);
    sink.set_filter(expressions::attr<trivial::severity_level>("Severity") >= level);
}

struct LeaveCoreAtExit {
    ~LeaveCoreAtExit() {
        if (state().atEnd != nullptr) state().atEnd();
        if (state().sink) boost::log::core::get()->remove_sink(state().sink);
    }
};

// Static objects of the program log when they are destroyed, and by then this file's own, or the library's thread-local
// data, may be gone. The record, which is empty, makes all of these exist before the static object here, which is
// therefore destroyed first.
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
    applyThreshold(*made);
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
    boost::log::core::get()->add_sink(made);
    state().sink = made;
    return *made;
}

}  // namespace

void addTarget(const std::shared_ptr<LogTarget>& target) {
    const auto stream = boost::make_shared<TargetStream>(target);
    state().streams.push_back(stream);
    sink().locked_backend()->add_stream(stream);
}

void removeTarget(const std::shared_ptr<LogTarget>& target) {
    auto& streams = state().streams;
    const auto found = std::find_if(streams.begin(), streams.end(),
                                    [&target](const auto& stream) { return stream->target() == target; });
    if (found == streams.end()) return;
    sink().locked_backend()->remove_stream(*found);
    streams.erase(found);
}

void setThreshold(uint32_t level) {
    state().threshold = level;
    if (state().sink) applyThreshold(*state().sink);
}

void enable(void (*atEnd)()) {
    state().atEnd = atEnd;
    (void)sink();
    boost::log::core::get()->set_logging_enabled(true);
}

void disable() {
    if (state().sink) boost::log::core::get()->set_logging_enabled(false);
}

void write(uint32_t severity, const std::string& line) {
    BOOST_LOG_SEV(logger(), static_cast<trivial::severity_level>(severity)) << line;
}

}  // namespace ostrel::core::logcore
