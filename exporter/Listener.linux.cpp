#include "exporter/Listener.h"

#include <fcntl.h>
#include <grp.h>
#include <poll.h>
#include <prometheus/collectable.h>
#include <prometheus/exposer.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "exporter/Exposition.h"
#include "ostrel/core/FileDescriptor.h"
#include "ostrel/core/SystemError.h"

namespace exporter {

using ostrel::core::FileDescriptor;
using ostrel::core::systemErrorText;
using ostrel::core::writeFully;

namespace {

// The user and group of what the system has no other for.
constexpr uid_t NO_USER = 65534;
constexpr gid_t NO_GROUP = 65534;
// A frame of the pipe is its length and a Collection as JSON.
constexpr uint64_t MAX_FRAME_BYTES = 256 << 20;

/// The newest run, for each request of a client.
class NewestRun : public prometheus::Collectable {
public:
    void replace(Collection&& collection) {
        const std::lock_guard<std::mutex> guard(mutex_);
        collection_ = std::move(collection);
    }
    std::vector<prometheus::MetricFamily> Collect() const override {
        const std::lock_guard<std::mutex> guard(mutex_);
        return toFamilies(collection_);
    }

private:
    mutable std::mutex mutex_{};
    Collection collection_{};
};

/// Empty, or what failed. After it the process cannot become root again, by whatever program it might run.
std::string dropPrivileges() {
    if (::setgroups(0, nullptr) != 0 || ::setresgid(NO_GROUP, NO_GROUP, NO_GROUP) != 0 ||
        ::setresuid(NO_USER, NO_USER, NO_USER) != 0)
        return "the rights of another user cannot be taken: " + systemErrorText(errno);
    if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) return "no_new_privs: " + systemErrorText(errno);
    if (::setresuid(0, 0, 0) == 0) return "root can be taken back";
    return "";
}

bool readFully(int file, void* data, std::size_t size) {
    auto* bytes = static_cast<char*>(data);
    while (size > 0) {
        const ssize_t count = ::read(file, bytes, size);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return false;
        bytes += count;
        size -= static_cast<std::size_t>(count);
    }
    return true;
}

std::optional<Collection> receive(int pipe) {
    std::size_t size = 0;
    if (!readFully(pipe, &size, sizeof size) || size > MAX_FRAME_BYTES) return std::nullopt;
    std::string text(size, '\0');
    if (!readFully(pipe, text.data(), size)) return std::nullopt;
    return collectionFromJson(text);
}

/// False: the process that listens has ended.
bool send(int pipe, const Collection& collection) {
    const std::string text = toJson(collection);
    const std::size_t size = text.size();
    return writeFully(pipe, {reinterpret_cast<const char*>(&size), sizeof size}) == 0 && writeFully(pipe, text) == 0;
}

void complain(const std::string& words) {
    (void)writeFully(STDERR_FILENO, "nimbrel-exporter: " + words + "\n");  // there is no further place
}

/// Listens as soon as there is something to serve, until the other process is gone.
void listenTo(int pipe, const std::string& address) {
    auto first = receive(pipe);
    if (!first) return;
    const auto newest = std::make_shared<NewestRun>();
    newest->replace(std::move(*first));
    prometheus::Exposer exposer({"listening_ports", address, "num_threads", "2", "request_timeout_ms", "5000"});
    exposer.RegisterCollectable(newest);
    while (auto next = receive(pipe)) newest->replace(std::move(*next));
}

[[noreturn]] void runListener(int pipe, const ListenerOptions& options, pid_t parent) {
    std::string error = dropPrivileges();
    // After the change of the user, which undoes it.
    if (error.empty() && (::prctl(PR_SET_PDEATHSIG, SIGTERM) != 0 || ::getppid() != parent)) ::_exit(EXIT_FAILURE);
    try {
        if (error.empty()) listenTo(pipe, options.address);
    } catch (const std::exception& failure) {
        error = std::string(failure.what()) + " (" + options.address + ")";
    }
    if (!error.empty()) complain(error);
    ::_exit(EXIT_FAILURE);
}

/// Waits until the next run is due. False: the process that listens has ended.
bool waitFor(int pipe, std::chrono::steady_clock::time_point due) {
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(due - std::chrono::steady_clock::now());
        pollfd polled = {pipe, 0, 0};
        const int ready = ::poll(&polled, 1, static_cast<int>(std::max<int64_t>(left.count(), 0)));
        if (ready > 0) return false;
        if (ready == 0) return true;
        if (errno != EINTR) return false;
    }
}

}  // namespace

std::string serve(const ListenerOptions& options, const std::function<Collection()>& collect) {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) return "pipe: " + systemErrorText(errno);
    FileDescriptor reading(ends[0]);
    const FileDescriptor writing(ends[1]);
    const pid_t parent = ::getpid();
    const pid_t listener = ::fork();
    if (listener < 0) return "no process could be started: " + systemErrorText(errno);
    if (listener == 0) {
        ::close(writing.get());  // or it would wait for itself
        runListener(reading.get(), options, parent);
    }
    reading = FileDescriptor();
    std::string error = "the process that listens has ended";
    if (::unshare(CLONE_NEWNET) != 0) {
        error = "no network namespace of its own: " + systemErrorText(errno);
        (void)::kill(listener, SIGTERM);
    } else {
        auto due = std::chrono::steady_clock::now();
        while (send(writing.get(), collect())) {
            due = std::max(due + std::chrono::seconds(options.intervalSeconds), std::chrono::steady_clock::now());
            if (!waitFor(writing.get(), due)) break;
        }
    }
    (void)::waitpid(listener, nullptr, 0);
    return error;
}

}  // namespace exporter
