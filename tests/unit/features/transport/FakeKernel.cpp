#include "tests/unit/features/transport/FakeKernel.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <linux/loop.h>
#include <linux/magic.h>
#include <unistd.h>

#include <algorithm>
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

std::string FakeKernel::shown(const std::string& path) const {
    const std::string node = inMachine(path);
    return node.compare(0, 13, "/dev/.nimbrel") == 0 ? "/dev/TEMPORARY" : node;
}

int FakeKernel::makeNode(const std::string& path, mode_t mode, dev_t device) {
    calls.push_back("mknod " + shown(path));
    if (const int error = onMakeNode(); error != 0) return answered(-error);
    const int file = ::open(path.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, mode & 0777);
    if (file < 0) return -1;
    devices[inMachine(path)] = {mode & S_IFMT, device};
    return ::close(file);
}

int FakeKernel::unlink(const std::string& path) {
    calls.push_back("unlink " + shown(path));
    return KernelCalls::unlink(path);
}

int FakeKernel::described(const std::string& node, int outcome, struct stat& status) const {
    const auto device = devices.find(node);
    if (outcome == 0 && device != devices.end()) {
        status.st_mode = device->second.type | (status.st_mode & 0777);
        status.st_rdev = device->second.number;
    }
    return outcome;
}

int FakeKernel::stat(const std::string& path, struct stat& status) {
    std::error_code missing;  // the path itself is as good then
    const std::string node = std::filesystem::canonical(path, missing).string();
    return described(inMachine(missing ? path : node), KernelCalls::stat(path, status), status);
}

int FakeKernel::stat(int descriptor, struct stat& status) {
    return described(nodes_.at(descriptor), KernelCalls::stat(descriptor, status), status);
}

int FakeKernel::open(const std::string& path, int flags) {
    const std::string node = inMachine(path);
    calls.push_back("open " + shown(path) + ((flags & O_EXCL) != 0 ? " exclusive" : ""));
    if (const int error = onOpen(node); error != 0) return answered(-error);
    // O_EXCL is defined for block devices alone; the machine's nodes are files.
    const int descriptor = ::open(path.c_str(), (flags & ~O_EXCL) | O_CLOEXEC);
    if (descriptor >= 0) nodes_[descriptor] = node;
    return descriptor;
}

FakeKernel::Loop FakeKernel::loopOf(const std::string& node) const {
    if (const auto known = loops.find(node); known != loops.end()) return known->second;
    const auto opened = devices.find(node);
    for (const auto& [name, loop] : loops) {
        const auto device = devices.find(name);
        if (opened != devices.end() && device != devices.end() && device->second.number == opened->second.number)
            return loop;
    }
    return {0, 0, ENOTTY};  // no loop device
}

int FakeKernel::ioctl(int descriptor, unsigned long request, void* argument) {
    const std::string node = " " + shown(nodes_.at(descriptor));
    if (request == LOOP_GET_STATUS64) {
        calls.push_back("loop status" + node);
        const Loop loop = loopOf(nodes_.at(descriptor));
        static_cast<loop_info64*>(argument)->lo_device = loop.device;
        static_cast<loop_info64*>(argument)->lo_rdevice = loop.rdevice;
        return answered(-loop.error);
    }
    if (request == SG_IO) {
        auto& header = *static_cast<sg_io_hdr*>(argument);
        char opcode[16];
        (void)std::snprintf(opcode, sizeof opcode, "ata %02Xh", header.cmdp[14]);  // it fits
        calls.push_back(opcode + node);
        return answered(onAta(header));
    }
    if (request == NVME_IOCTL_ID) return answerNamespace(node);
    if (request != NVME_IOCTL_ADMIN_CMD && request != NVME_IOCTL_IO_CMD) {
        calls.push_back(requestName(request) + node);
        return answered(onRequest(request));
    }
    auto& command = *static_cast<nvme_passthru_cmd*>(argument);
    if (request == NVME_IOCTL_ADMIN_CMD && command.opcode == 0x06 && command.cdw10 == 0x01)
        return answerIdentify(node, command);
    calls.push_back(commandName(request == NVME_IOCTL_ADMIN_CMD ? "admin" : "io", command) + node);
    return answered(onCommand(command));
}

void FakeKernel::endWithSense(sg_io_hdr& request, const std::vector<uint8_t>& sense) {
    request.status = 2;
    request.driver_status = 8;
    request.sb_len_wr = static_cast<unsigned char>(std::min<std::size_t>(sense.size(), request.mx_sb_len));
    std::copy_n(sense.begin(), request.sb_len_wr, request.sbp);
}

int FakeKernel::answerAta(sg_io_hdr& request) const {
    constexpr unsigned char CK_COND = 0x20;
    if (request.cmdp[14] == 0xEC && request.dxfer_len == ataIdentity.size())
        std::copy(ataIdentity.begin(), ataIdentity.end(), static_cast<uint8_t*>(request.dxferp));
    if ((request.cmdp[2] & CK_COND) != 0)
        endWithSense(request, {0x72, 1, 0, 0x1D, 0, 0, 0, 14, 9, 12, 0, 0, 0, 0, 0, 0, 0, 0x4F, 0, 0xC2, 0, 0x50});
    return 0;
}

int FakeKernel::answerIdentify(const std::string& node, const nvme_passthru_cmd& command) {
    calls.push_back("who" + node);
    auto* data = reinterpret_cast<uint8_t*>(command.addr);
    const auto put = [data](std::size_t offset, const std::string& text, std::size_t bytes, uint8_t padding) {
        std::fill_n(data + offset, bytes, padding);
        std::copy(text.begin(), text.end(), data + offset);
    };
    const int outcome = onIdentify(node.substr(1));
    if (outcome == 0 && command.data_len == 4096) {
        put(4, identity.serialNumber, 20, ' ');
        put(24, identity.modelNumber, 40, ' ');
        put(64, identity.firmware, 8, ' ');
        put(768, identity.subsystemName, 256, 0);
    }
    return answered(outcome);
}

int FakeKernel::answerNamespace(const std::string& node) {
    calls.push_back("namespace" + node);
    if (const int outcome = onRequest(NVME_IOCTL_ID); outcome < 0) return answered(outcome);
    const auto known = namespaces.find(node.substr(1));
    return known != namespaces.end() ? static_cast<int>(known->second) : std::stoi(node.substr(node.rfind('n') + 1));
}

void FakeKernel::sleep(std::chrono::milliseconds time) {
    slept += time;
    onSleep();
}
