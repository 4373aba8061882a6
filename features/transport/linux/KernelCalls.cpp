#include "features/transport/linux/KernelCalls.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>

#include <thread>

namespace features::transport {

int KernelCalls::open(const std::string& path, int flags) {
    return ::open(path.c_str(), flags | O_CLOEXEC);
}

int KernelCalls::ioctl(int descriptor, unsigned long request, void* argument) {
    return ::ioctl(descriptor, request, argument);
}

long KernelCalls::fileSystemType(const std::string& path) {
    struct statfs info{};
    return ::statfs(path.c_str(), &info) == 0 ? static_cast<long>(info.f_type) : -1;
}

bool KernelCalls::isCharacterDevice(const std::string& path) {
    struct stat info{};
    return ::lstat(path.c_str(), &info) == 0 && S_ISCHR(info.st_mode);
}

int KernelCalls::makeNode(const std::string& path, mode_t mode, dev_t device) {
    return ::mknod(path.c_str(), mode, device);
}

int KernelCalls::unlink(const std::string& path) {
    return ::unlink(path.c_str());
}

int KernelCalls::stat(const std::string& path, struct stat& status) {
    return ::stat(path.c_str(), &status);
}

int KernelCalls::stat(int descriptor, struct stat& status) {
    return ::fstat(descriptor, &status);
}

void KernelCalls::sleep(std::chrono::milliseconds time) {
    std::this_thread::sleep_for(time);
}

}  // namespace features::transport
