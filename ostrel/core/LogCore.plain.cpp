#include "ostrel/core/LogCore.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <ctime>
#include <mutex>
#include <vector>

namespace ostrel::core::logcore {
namespace {

constexpr const char* SEVERITIES[] = {"trace", "debug", "info", "warning", "error", "fatal"};

struct Core {
    ~Core() {
        if (atEnd != nullptr) atEnd();
    }

    std::mutex mutex;  // of the streams and what is written to them
    std::vector<std::shared_ptr<std::ostream>> streams;
    std::atomic<uint32_t> threshold{0};
    std::atomic<bool> enabled{false};
    void (*atEnd)() = nullptr;
};

Core& core() {
    static Core theCore;
    return theCore;
}

/// The time of day on this machine, as in "14:03:59:123456".
std::string timeStamp() {
    timespec now = {};
    (void)clock_gettime(CLOCK_REALTIME, &now);  // cannot fail for this clock
    std::tm local = {};
    (void)localtime_r(&now.tv_sec, &local);  // what it cannot convert stays 0
    char text[64] = {};
    const int length = std::snprintf(text, sizeof text, "%02d:%02d:%02d:%06ld", local.tm_hour, local.tm_min,
                                     local.tm_sec, now.tv_nsec / 1000);
    return std::string(text, static_cast<size_t>(length));
}

}  // namespace

void addStream(const std::shared_ptr<std::ostream>& stream) {
    const std::lock_guard<std::mutex> lock(core().mutex);
    core().streams.push_back(stream);
}

void removeStream(const std::shared_ptr<std::ostream>& stream) {
    const std::lock_guard<std::mutex> lock(core().mutex);
    auto& streams = core().streams;
    streams.erase(std::remove(streams.begin(), streams.end(), stream), streams.end());
}

void setThreshold(uint32_t level) {
    core().threshold = level;
}

void enable(void (*atEnd)()) {
    core().atEnd = atEnd;
    core().enabled = true;
}

void disable() {
    core().enabled = false;
}

void write(uint32_t severity, const std::string& line) {
    if (!core().enabled || severity < core().threshold) return;
    const std::lock_guard<std::mutex> lock(core().mutex);
    std::string text = timeStamp() + " [" + SEVERITIES[severity] + "] " + line;
    if (text.back() != '\n') text += '\n';
    for (const auto& stream : core().streams) *stream << text << std::flush;
}

}  // namespace ostrel::core::logcore
