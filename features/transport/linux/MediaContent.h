#pragma once

#include <string>

namespace features::transport {

/// What is on a block device, as far as libblkid knows its format: a file system, swap, a member of an array, a
/// partition table.
struct MediaContent {
    enum class Kind { NONE, KNOWN, UNREADABLE };
    Kind kind;
    /// KNOWN: "a file system (ext4, label 'data')"; UNREADABLE: the reason.
    std::string text;
};

/// Reads the device or image file that is open on `descriptor`; changes nothing.
///
/// The library is loaded at the first call: only commands that erase need it, and a system without it can do all the
/// rest. Without it nothing is readable.
MediaContent readMediaContent(int descriptor, const char* library = "libblkid.so.1");

}  // namespace features::transport
