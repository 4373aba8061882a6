#include "exporter/Children.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <exception>
#include <stdexcept>
#include <thread>
#include <utility>

#include "ostrel/core/FileDescriptor.h"
#include "ostrel/core/SystemError.h"

namespace exporter {

using ostrel::core::FileDescriptor;
using Clock = std::chrono::steady_clock;

namespace {

constexpr int EXIT_BUSY = 75;
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define RESERVES_TERABYTES 1
#elif defined(__has_feature)
#define RESERVES_TERABYTES (__has_feature(address_sanitizer) || __has_feature(thread_sanitizer))
#else
#define RESERVES_TERABYTES 0
#endif
#if RESERVES_TERABYTES
constexpr rlim_t MAX_ADDRESS_SPACE = RLIM_INFINITY;  // a sanitizer does
#else
constexpr rlim_t MAX_ADDRESS_SPACE = rlim_t{1} << 30;
#endif
// For a process that was killed to be gone.
constexpr std::chrono::milliseconds GRACE{200};
constexpr std::chrono::milliseconds STEP{5};

struct Child {
    std::size_t task;
    pid_t pid;
    FileDescriptor pipe;
    Clock::time_point deadline;
    std::string text{};
};

[[noreturn]] void runChild(const ChildTask& task, const PrivateFolder& locks, int pipe, pid_t parent) {
    const struct rlimit noCore = {0, 0};
    const struct rlimit memory = {MAX_ADDRESS_SPACE, MAX_ADDRESS_SPACE};
    if (::prctl(PR_SET_PDEATHSIG, SIGKILL) != 0 || ::getppid() != parent) ::_exit(EXIT_FAILURE);
    (void)::setrlimit(RLIMIT_CORE, &noCore);  // limits that are lower already suffice
    (void)::setrlimit(RLIMIT_AS, &memory);
    int status = EXIT_SUCCESS;
    std::string text;
    try {
        ReaderLock lock;
        text = lock.open(locks, task.lock);
        if (!text.empty()) throw std::runtime_error(text);
        if (!lock.acquire()) ::_exit(EXIT_BUSY);
        text = task.work();
    } catch (const std::exception& error) {
        text = error.what();
        status = EXIT_FAILURE;
    }
    if (ostrel::core::writeFully(pipe, text) != 0) status = EXIT_FAILURE;
    ::_exit(status);
}

/// The status of a process that ends now or has ended; -1 where it does not end.
int reap(pid_t pid) {
    const auto end = Clock::now() + GRACE;
    int status = 0;
    pid_t reaped = ::waitpid(pid, &status, WNOHANG);
    while (reaped == 0 && Clock::now() < end) {
        std::this_thread::sleep_for(STEP);
        reaped = ::waitpid(pid, &status, WNOHANG);
    }
    return reaped == pid ? status : -1;
}

/// Processes that did not end in time. Ended, each would stay as a zombie, and a listener runs for months.
std::vector<pid_t>& unreaped() {
    static std::vector<pid_t> pids;
    return pids;
}

void reapLate() {
    std::vector<pid_t>& pids = unreaped();
    pids.erase(
        std::remove_if(pids.begin(), pids.end(), [](pid_t pid) { return ::waitpid(pid, nullptr, WNOHANG) != 0; }),
        pids.end());
}

ChildOutcome stuck(pid_t pid, const std::string& words) {
    unreaped().push_back(pid);
    return {ChildEnd::STUCK, words};
}

ChildOutcome outcomeOf(Child& child) {
    const int status = reap(child.pid);
    if (status == -1) return stuck(child.pid, "its process " + std::to_string(child.pid) + " does not end");
    if (WIFEXITED(status) && WEXITSTATUS(status) == EXIT_SUCCESS) return {ChildEnd::ANSWERED, std::move(child.text)};
    if (WIFEXITED(status) && WEXITSTATUS(status) == EXIT_BUSY) return {ChildEnd::BUSY, ""};
    if (!child.text.empty()) return {ChildEnd::FAILED, std::move(child.text)};
    const bool isSignal = WIFSIGNALED(status);
    return {ChildEnd::FAILED, (isSignal ? "its process was ended by signal " : "its process ended with status ") +
                                  std::to_string(isSignal ? WTERMSIG(status) : WEXITSTATUS(status))};
}

/// Kills a child and says why.
ChildOutcome killed(const Child& child, const std::string& reason) {
    (void)::kill(child.pid, SIGKILL);  // of a child that was not waited for: it exists
    if (reap(child.pid) != -1) return {ChildEnd::TIMED_OUT, reason};
    return stuck(child.pid, reason + ", and its process " + std::to_string(child.pid) + " cannot be killed");
}

class Children {
public:
    Children(const std::vector<ChildTask>& tasks, const PrivateFolder& locks, const ChildLimits& limits)
        : tasks_(tasks), locks_(locks), limits_(limits) {}

    std::vector<ChildOutcome> run() {
        reapLate();
        outcomes_.resize(tasks_.size());
        std::size_t next = 0;
        while (next < tasks_.size() || !running_.empty()) {
            while (next < tasks_.size() && running_.size() < limits_.parallel) start(next++);
            if (!running_.empty()) look();
        }
        return std::move(outcomes_);
    }

private:
    void start(std::size_t task) {
        std::array<int, 2> ends{};
        if (::pipe2(ends.data(), O_CLOEXEC) != 0) return fail(task, errno);
        FileDescriptor reading(ends[0]);
        const FileDescriptor writing(ends[1]);
        const pid_t parent = ::getpid();
        const pid_t pid = ::fork();
        if (pid == 0) runChild(tasks_[task], locks_, writing.get(), parent);
        if (pid < 0) return fail(task, errno);
        running_.push_back({task, pid, std::move(reading), Clock::now() + limits_.time});
    }

    void fail(std::size_t task, int error) {
        outcomes_[task] = {ChildEnd::FAILED, "no process could be started: " + ostrel::core::systemErrorText(error)};
    }

    /// Waits for the next result or deadline, and takes what has ended out of those that run.
    void look() {
        std::vector<pollfd> polled;
        auto wait = limits_.time;
        for (const Child& child : running_) {
            polled.push_back({child.pipe.get(), POLLIN, 0});
            wait = std::min(wait, std::chrono::ceil<std::chrono::milliseconds>(child.deadline - Clock::now()));
        }
        // An error, EINTR above all, is a round without results.
        if (::poll(polled.data(), polled.size(), static_cast<int>(std::max<int64_t>(wait.count(), 0))) < 0) return;
        for (std::size_t i = polled.size(); i-- > 0;) {
            if (hasEnded(running_[i], polled[i].revents != 0))
                running_.erase(running_.begin() + static_cast<std::ptrdiff_t>(i));
        }
    }

    bool hasEnded(Child& child, bool isReadable) {
        if (isReadable && !readMore(child)) {
            outcomes_[child.task] = outcomeOf(child);
        } else if (child.text.size() > limits_.resultBytes) {
            outcomes_[child.task] = killed(child, "its result is too long");
        } else if (Clock::now() >= child.deadline) {
            outcomes_[child.task] = killed(child, "no answer within " + std::to_string(limits_.time.count()) + " ms");
        } else {
            return false;
        }
        return true;
    }

    /// False at the end.
    static bool readMore(Child& child) {
        std::array<char, 65536> bytes{};
        const ssize_t count = ::read(child.pipe.get(), bytes.data(), bytes.size());
        if (count > 0) child.text.append(bytes.data(), static_cast<std::size_t>(count));
        return count > 0 || (count < 0 && errno == EINTR);
    }

    const std::vector<ChildTask>& tasks_;
    const PrivateFolder& locks_;
    const ChildLimits limits_;
    std::vector<Child> running_{};
    std::vector<ChildOutcome> outcomes_{};
};

}  // namespace

std::vector<ChildOutcome> runChildren(const std::vector<ChildTask>& tasks, const PrivateFolder& locks,
                                      const ChildLimits& limits) {
    return Children(tasks, locks, limits).run();
}

}  // namespace exporter
