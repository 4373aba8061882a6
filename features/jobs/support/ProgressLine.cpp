#include "features/jobs/support/ProgressLine.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <mutex>
#include <string_view>
#include <thread>

#include "ostrel/core/FileDescriptor.h"
#include "ostrel/core/TerminalLine.h"
#include "ostrel/interfaces/ostreli/interface/FeatureLibrary.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

using Clock = std::chrono::steady_clock;
constexpr auto INTERVAL = std::chrono::milliseconds(250);
constexpr unsigned UNKNOWN_PERCENT = 101;
constexpr uint64_t MS_PER_SECOND = 1000;

/// Whether a line is shown already.
std::atomic<bool> isTaken{false};

bool isWanted() {
    const char* wish = std::getenv(FEATURE_LIBRARY_PROGRESS_VARIABLE);
    return wish != nullptr && std::string_view(wish) == FEATURE_LIBRARY_PROGRESS_ON_STDERR &&
           hasTerminalLine(STDERR_FILENO);
}

/// "1:02:03"
std::string timeText(uint64_t milliseconds) {
    const uint64_t seconds = milliseconds / MS_PER_SECOND;
    char minutes[8];
    (void)std::snprintf(minutes, sizeof minutes, ":%02u:%02u", static_cast<unsigned>(seconds / 60 % 60),
                        static_cast<unsigned>(seconds % 60));  // it fits
    return std::to_string(seconds / 3600) + minutes;
}

std::string visible(std::string text) {
    std::replace_if(text.begin(), text.end(), [](char c) { return c < 0x20 || c > 0x7E; }, '?');
    return text;
}

}  // namespace

class ProgressLine::Display {
public:
    Display(const std::string& operation, uint64_t estimateMs)
        : operation_(visible(operation)), estimateMs_(estimateMs), thread_(&Display::run, this) {}
    ~Display() {
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            hasEnded_ = true;
        }
        changed_.notify_one();
        thread_.join();
        // What cannot be taken away stays: the operation is not held up for it.
        if (!shown_.empty()) (void)drawTerminalLine(STDERR_FILENO, "");
    }
    Display(const Display&) = delete;
    Display& operator=(const Display&) = delete;

    void update(unsigned percent) { percent_ = percent; }

private:
    void run() {
        std::unique_lock<std::mutex> lock(mutex_);
        while (!changed_.wait_for(lock, INTERVAL, [this] { return hasEnded_; })) {
            std::string text = lineText();
            if (text != shown_ && drawTerminalLine(STDERR_FILENO, text)) shown_ = std::move(text);
        }
    }

    std::string lineText() const {
        const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin_).count();
        const unsigned percent = percent_;
        std::string text = operation_ + ": ";
        if (percent != UNKNOWN_PERCENT) text += std::to_string(percent) + " %, ";
        text += timeText(static_cast<uint64_t>(elapsed)) + " elapsed";
        if (estimateMs_ != 0) text += ", the drive estimates " + timeText(estimateMs_);
        return text;
    }

    const std::string operation_;
    const uint64_t estimateMs_;
    const Clock::time_point begin_ = Clock::now();
    std::atomic<unsigned> percent_{UNKNOWN_PERCENT};
    std::mutex mutex_;
    std::condition_variable changed_;
    bool hasEnded_ = false;
    std::string shown_;   // of the thread, until it has ended
    std::thread thread_;  // the last member: it begins when the others are there
};

ProgressLine::ProgressLine(const std::string& operation, uint64_t estimateMs) {
    if (!isWanted() || isTaken.exchange(true)) return;
    try {
        display_ = std::make_unique<Display>(operation, estimateMs);
    } catch (const std::exception&) {
        // No thread, or no memory for one: the operation is worth more than its line.
        isTaken = false;
    }
}

ProgressLine::~ProgressLine() {
    if (display_ == nullptr) return;
    display_.reset();
    isTaken = false;
}

void ProgressLine::update(uint64_t done, uint64_t all) {
    if (display_ == nullptr || all == 0) return;
    const double share = static_cast<double>(done) / static_cast<double>(all);
    display_->update(static_cast<unsigned>(std::clamp(share, 0.0, 1.0) * 100));
}

}  // namespace features::jobs
