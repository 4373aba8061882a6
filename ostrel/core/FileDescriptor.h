#pragma once

#include <unistd.h>

#include <string_view>
#include <utility>

namespace ostrel::core {

/// Owns an open file descriptor and closes it. A caller that must know whether closing failed calls release() and
/// close(2).
class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
    ~FileDescriptor() {
        if (isOpen()) ::close(descriptor_);
    }
    FileDescriptor(FileDescriptor&& other) noexcept : descriptor_(other.release()) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(descriptor_, other.descriptor_);
        return *this;
    }

    bool isOpen() const { return descriptor_ >= 0; }
    int get() const { return descriptor_; }
    int release() { return std::exchange(descriptor_, -1); }

private:
    int descriptor_ = -1;
};

/// Writes all bytes, however many calls that takes. Returns 0 or the errno of the call that failed. Does not allocate.
int writeFully(int fileDescriptor, std::string_view bytes);

}  // namespace ostrel::core
