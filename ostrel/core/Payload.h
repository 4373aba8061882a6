#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace ostrel::core {

/// A byte buffer that starts on a page boundary, so that it can be handed to a device without a copy.
///
/// Ownership: copies share one buffer, and it lives until the last copy is gone. Writes through one copy, also through
///            a const one's sibling, are seen by all.
/// Errors:    a buffer that cannot be allocated, or that is larger than 4 GiB - 1, logs at fatal level and is null:
///            size 0, data null. A caller that asked for n > 0 bytes checks getSize().
/// Threads:   the reference count is atomic, the bytes are not protected.
class Payload {
public:
    /// No buffer: size 0, data null.
    Payload() = default;
    /// `size` bytes that are not cleared.
    explicit Payload(uint64_t size);
    /// A copy of `size` bytes at `data`; no buffer when `data` is null.
    Payload(const void* data, uint64_t size);

    uint8_t* getData();
    const uint8_t* getData() const;
    uint32_t getSize() const;

    /// Throws the Status 0/14, "Request is out of bounds.", when `index` is not below the size.
    uint8_t& at(size_t index);
    const uint8_t& at(size_t index) const;

private:
    struct BufferImplementation;
    std::shared_ptr<BufferImplementation> buffer_;
};

}  // namespace ostrel::core
