#include "tests/unit/features/transport/FakeKernel.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <linux/magic.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>

namespace {

constexpr struct {
    unsigned long request;
    const char* name;
} REQUESTS[] = {
    {NVME_IOCTL_RESET, "reset"},
    {NVME_IOCTL_SUBSYS_RESET, "subsystem reset"},
    {NVME_IOCTL_RESCAN, "rescan"},
    {BLKRRPART, "read partitions"},
};

std::string requestName(unsigned long request) {
    for (const auto& row : REQUESTS) {
        if (row.request == request) return row.name;
    }
    return "request " + std::to_string(request);
}

std::string commandName(const char* queue, const nvme_passthru_cmd& command) {
    char text[32];
    (void)std::snprintf(text, sizeof text, "%s %02Xh", queue, command.opcode);  // 32 bytes are enough
    return text;
}

int answered(int outcome) {
    if (outcome >= 0) return outcome;
    errno = -outcome;
    return -1;
}

}  // namespace

std::string FakeKernel::inMachine(const std::string& path) const {
    return path.compare(0, root_.size(), root_) == 0 ? path.substr(root_.size()) : path;
}

long FakeKernel::fileSystemType(const std::string& path) {
    const std::string place = inMachine(path);
    if (mounted.count(place) == 0) return TMPFS_MAGIC;
    return place == "/proc" ? PROC_SUPER_MAGIC : SYSFS_MAGIC;
}

/// The nodes of a machine are plain files.
bool FakeKernel::isCharacterDevice(const std::string& path) {
    return std::filesystem::is_regular_file(std::filesystem::symlink_status(path));
}

int FakeKernel::open(const std::string& path, int flags) {
    const std::string node = inMachine(path);
    calls.push_back("open " + node + ((flags & O_EXCL) != 0 ? " exclusive" : ""));
    if (const int error = onOpen(node); error != 0) return answered(-error);
    // O_EXCL is defined for block devices alone; the machine's nodes are files.
    const int descriptor = ::open(path.c_str(), (flags & ~O_EXCL) | O_CLOEXEC);
    if (descriptor >= 0) nodes_[descriptor] = node;
    return descriptor;
}

int FakeKernel::ioctl(int descriptor, unsigned long request, void* argument) {
    const std::string node = " " + nodes_.at(descriptor);
    if (request != NVME_IOCTL_ADMIN_CMD && request != NVME_IOCTL_IO_CMD) {
        calls.push_back(requestName(request) + node);
        return answered(onRequest(request));
    }
    auto& command = *static_cast<nvme_passthru_cmd*>(argument);
    calls.push_back(commandName(request == NVME_IOCTL_ADMIN_CMD ? "admin" : "io", command) + node);
    return answered(onCommand(command));
}

void FakeKernel::sleep(std::chrono::milliseconds time) {
    slept += time;
    onSleep();
}
