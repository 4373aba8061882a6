#include "exporter/ReaderLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <thread>

#include "ostrel/core/SystemError.h"

namespace exporter {

using ostrel::core::FileDescriptor;

namespace {

constexpr std::chrono::milliseconds STEP{50};
constexpr int STEPS = 40;

}  // namespace

std::string ReaderLock::open(const PrivateFolder& folder, const std::string& name) {
    file_ = FileDescriptor(::openat(folder.descriptor().get(), name.c_str(),
                                    O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, S_IRUSR | S_IWUSR));
    return file_.isOpen() ? "" : folder.path() + "/" + name + ": " + ostrel::core::systemErrorText(errno);
}

bool ReaderLock::acquire() const {
    for (int step = 0; ::flock(file_.get(), LOCK_EX | LOCK_NB) != 0; ++step) {
        if (step == STEPS || errno != EWOULDBLOCK) return false;
        std::this_thread::sleep_for(STEP);
    }
    const std::string text = std::to_string(::getpid());
    // The content is for people who look for the process; without it owner() is 0.
    const bool isWritten = ::ftruncate(file_.get(), 0) == 0 && ::pwrite(file_.get(), text.data(), text.size(), 0) >= 0;
    (void)isWritten;
    return true;
}

pid_t ReaderLock::owner() const {
    char text[16] = {};
    const ssize_t count = ::pread(file_.get(), text, sizeof text - 1, 0);
    return count > 0 ? static_cast<pid_t>(std::strtol(text, nullptr, 10)) : 0;
}

}  // namespace exporter
