#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <chrono>
#include <string>

namespace features::transport {

/// The system calls on device nodes, and the time that passes between them. Everything that opens a node or asks the
/// NVMe driver goes through it, so that a test takes the kernel's place.
///
/// Deriving: a test overrides what it answers itself; each operation here is the kernel's own.
/// Errors:   as in the manual pages: -1, and the reason in errno.
/// Threads:  any number at once.
class KernelCalls {
public:
    using Clock = std::chrono::steady_clock;

    virtual ~KernelCalls() = default;

    /// open(2); the descriptor is always closed on exec.
    virtual int open(const std::string& path, int flags);
    /// ioctl(2); `argument` is a pointer, or null for a request without one.
    virtual int ioctl(int descriptor, unsigned long request, void* argument);
    /// mknod(2).
    virtual int makeNode(const std::string& path, mode_t mode, dev_t device);
    virtual int unlink(const std::string& path);
    /// stat(2) and fstat(2).
    virtual int stat(const std::string& path, struct stat& status);
    virtual int stat(int descriptor, struct stat& status);

    /// The type that statfs(2) gives of the file system at `path`; -1 when it cannot.
    virtual long fileSystemType(const std::string& path);
    /// Whether a character device is at `path`; not one that a link leads to.
    virtual bool isCharacterDevice(const std::string& path);

    virtual Clock::time_point now() { return Clock::now(); }
    virtual void sleep(std::chrono::milliseconds time);
};

}  // namespace features::transport
