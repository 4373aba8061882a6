#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ostrel/core/Payload.h"

namespace features::nvme {

/// A structure laid out by hand, as a text file beside the tests says it:
///
///     # comment
///     size 64                # bytes; all zero where nothing else is said
///     dword0 0000FFFF        # of the completion, when it matters
///     4   01 0A              # offset and bytes
///     8   "text" 20          # offset and characters, padded with blanks to a length, or not padded
class Layout {
public:
    /// Reads layouts/NAME.layout. What cannot be read throws a std::runtime_error.
    explicit Layout(const std::string& name);

    /// Exactly these bytes, so that a sanitizer sees a read beyond their end.
    ostrel::core::Payload data() const { return firstBytes(bytes_.size()); }
    ostrel::core::Payload firstBytes(size_t count) const { return {bytes_.data(), count}; }
    size_t size() const { return bytes_.size(); }
    uint32_t dword0() const { return dword0_; }

private:
    void take(const std::string& line);
    void put(size_t offset, uint8_t byte);

    std::vector<uint8_t> bytes_;
    uint32_t dword0_ = 0;
};

}  // namespace features::nvme
