#include "features/transport/linux/KernelCalls.h"

#include <fcntl.h>
#include <sys/ioctl.h>

#include <thread>

namespace features::transport {

int KernelCalls::open(const std::string& path, int flags) {
    return ::open(path.c_str(), flags | O_CLOEXEC);
}

int KernelCalls::ioctl(int descriptor, unsigned long request, void* argument) {
    return ::ioctl(descriptor, request, argument);
}

void KernelCalls::sleep(std::chrono::milliseconds time) {
    std::this_thread::sleep_for(time);
}

}  // namespace features::transport
