// The targets of the log that are streams (LogStreams.h).

#include "ostrel/core/Logging.h"

#include <iostream>
#include <sstream>
#include <utility>

#include "ostrel/core/LogCore.h"
#include "ostrel/core/LogStreams.h"

namespace ostrel::core {

namespace {

class StreamTarget : public logcore::LogTarget {
public:
    explicit StreamTarget(std::shared_ptr<std::ostream> stream) : stream_(std::move(stream)) {}

    void write(std::string_view line) override { *stream_ << line << std::flush; }

private:
    std::shared_ptr<std::ostream> stream_;
};

struct Attachment {
    explicit Attachment(const std::shared_ptr<std::ostream>& stream) : target(std::make_shared<StreamTarget>(stream)) {}

    void attach() {
        if (!isAttached) logcore::addTarget(target);
        isAttached = true;
    }
    void detach() {
        if (isAttached) logcore::removeTarget(target);
        isAttached = false;
    }

    std::shared_ptr<StreamTarget> target;
    bool isAttached = false;
};

struct Streams {
    Streams() { resetLogStreams = reset; }

    static void reset() {
        detachStdStream();
        detachMemoryStream();
        clearMemoryStream();
    }

    std::shared_ptr<std::ostringstream> memory = std::make_shared<std::ostringstream>();
    Attachment stdAttachment{std::shared_ptr<std::ostream>(std::shared_ptr<void>(), &std::clog)};  // not owned
    Attachment memoryAttachment{memory};
};

Streams& streams() {
    static Streams theStreams;
    return theStreams;
}

}  // namespace

void attachStdStream() {
    streams().stdAttachment.attach();
}

void detachStdStream() {
    streams().stdAttachment.detach();
}

void attachMemoryStream() {
    streams().memoryAttachment.attach();
}

void detachMemoryStream() {
    streams().memoryAttachment.detach();
}

void clearMemoryStream() {
    streams().memory->str(std::string());
}
std::shared_ptr<std::ostringstream> getMemoryStream() {
    return streams().memory;
}

bool isStdStreamAttached() {
    return streams().stdAttachment.isAttached;
}
bool isMemoryStreamAttached() {
    return streams().memoryAttachment.isAttached;
}

}  // namespace ostrel::core
