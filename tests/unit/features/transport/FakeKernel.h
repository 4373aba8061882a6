#pragma once

#include <linux/nvme_ioctl.h>
#include <scsi/sg.h>
#include <sys/ioctl.h>

#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "features/transport/linux/KernelCalls.h"

/// The drivers of the nodes of a FakeMachine. By default every node opens, every command and request
/// succeeds, each controller is the one of `identity`, and a sleep takes no time but moves the clock. A test changes
/// what it is about:
///
///     machine.kernel->onOpen = [](const std::string& node) { return node == "/dev/nvme0" ? EACCES : 0; };
///     machine.kernel->onCommand = [](nvme_passthru_cmd& command) { command.result = 7; return 0x4002; };
///     machine.kernel->onRequest = [](unsigned long request) { return request == NVME_IOCTL_RESET ? -ENOTTY : 0; };
class FakeKernel : public features::transport::KernelCalls {
public:
    /// `root` is the folder that holds the machine's /dev.
    explicit FakeKernel(std::string root) : root_(std::move(root)) {}

    int open(const std::string& path, int flags) override;
    int ioctl(int descriptor, unsigned long request, void* argument) override;
    int makeNode(const std::string& path, mode_t mode, dev_t device) override;
    int unlink(const std::string& path) override;
    int stat(const std::string& path, struct stat& status) override;
    int stat(int descriptor, struct stat& status) override;
    long fileSystemType(const std::string& path) override;
    bool isCharacterDevice(const std::string& path) override;
    Clock::time_point now() override { return Clock::time_point() + slept; }
    void sleep(std::chrono::milliseconds time) override;

    /// Returns 0 or the errno of the open.
    std::function<int(const std::string& node)> onOpen = [](const std::string&) { return 0; };
    /// Returns the status field, or an errno below 0.
    std::function<int(nvme_passthru_cmd& command)> onCommand = [](nvme_passthru_cmd&) { return 0; };
    /// Of any request but a command: returns 0, or an errno below 0.
    std::function<int(unsigned long request)> onRequest = [](unsigned long) { return 0; };
    /// An ATA command by SG_IO: returns 0 or an errno below 0. By default each succeeds, with registers where they are
    /// asked for, and IDENTIFY DEVICE returns `ataIdentity`.
    std::function<int(sg_io_hdr& request)> onAta = [this](sg_io_hdr& request) { return answerAta(request); };
    std::vector<uint8_t> ataIdentity;  ///< 512 bytes
    /// Ends a request with sense data.
    static void endWithSense(sg_io_hdr& request, const std::vector<uint8_t>& sense);
    int answerAta(sg_io_hdr& request) const;
    /// Returns 0 or the errno of the mknod.
    std::function<int()> onMakeNode = [] { return 0; };
    /// The files that are nodes of devices, and their numbers; S_IFBLK or S_IFCHR.
    struct Device {
        mode_t type;
        dev_t number;
    };
    std::map<std::string, Device> devices;
    /// What a loop device is backed by: what it says of itself, or an errno.
    struct Loop {
        dev_t device;
        dev_t rdevice;
        int error = 0;
    };
    std::map<std::string, Loop> loops;
    /// What is mounted: "/sys", "/proc".
    std::set<std::string> mounted = {"/sys", "/proc"};
    /// Identify Controller of the controller of a node: its status field, and which drive it is by now.
    std::function<int(const std::string& node)> onIdentify = [](const std::string&) { return 0; };
    struct Identity {
        std::string serialNumber = "S1";
        std::string modelNumber = "M1";
        std::string subsystemName = "nqn.1";
        std::string firmware = "FW1";
    };
    Identity identity;
    /// Namespace identifiers of nodes whose names say another one.
    std::map<std::string, uint32_t> namespaces;
    /// After each sleep.
    std::function<void()> onSleep = [] {};

    /// What was called, in order: "open /dev/nvme0", "open /dev/nvme0n1 exclusive", "admin 06h /dev/nvme0",
    /// "io 02h /dev/nvme0n1", "who /dev/nvme0" (Identify Controller), "namespace /dev/nvme0n1", "reset /dev/nvme0",
    /// "subsystem reset ...", "rescan ...", "read partitions ...", "mknod /dev/TEMPORARY", "unlink ...",
    /// "loop status ...", "ata ECh /dev/sda".
    std::vector<std::string> calls;
    std::chrono::milliseconds slept{0};

private:
    std::string inMachine(const std::string& path) const;
    /// The same with a random name replaced.
    std::string shown(const std::string& path) const;
    int described(const std::string& node, int outcome, struct stat& status) const;
    /// By the name of the node or, where it is a temporary one, by its device number.
    Loop loopOf(const std::string& node) const;
    int answerIdentify(const std::string& node, const nvme_passthru_cmd& command);
    int answerNamespace(const std::string& node);

    std::string root_;
    std::map<int, std::string> nodes_;  ///< by descriptor
};
