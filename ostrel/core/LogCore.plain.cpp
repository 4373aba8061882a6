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

    std::mutex mutex;  // of the targets and what is written to them
    std::vector<std::shared_ptr<LogTarget>> targets;
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

void addTarget(const std::shared_ptr<LogTarget>& target) {
    const std::lock_guard<std::mutex> lock(core().mutex);
    core().targets.push_back(target);
}

void removeTarget(const std::shared_ptr<LogTarget>& target) {
    const std::lock_guard<std::mutex> lock(core().mutex);
    auto& targets = core().targets;
    targets.erase(std::remove(targets.begin(), targets.end(), target), targets.end());
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
    for (const auto& target : core().targets) target->write(text);
}

}  // namespace ostrel::core::logcore
