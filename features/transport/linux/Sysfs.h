#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace features::transport {

/// Small reads of sysfs and its like. Paths are taken as they are; a test gives paths below a folder of its own.
///
/// Errors:  what cannot be read is absent, never a guess.
/// Threads: no state.

/// The first line of a file, without blanks at its end.
std::optional<std::string> readLine(const std::string& path);
/// A file with a decimal number.
std::optional<uint64_t> readNumber(const std::string& path);
/// The whole text of a file such as /proc/self/mountinfo, whose size the system does not tell.
std::optional<std::string> readAll(const std::string& path);
/// The names in a folder, without "." and "..", in byte order.
std::vector<std::string> listFolder(const std::string& path);
/// The last part of what a link points to.
std::optional<std::string> linkName(const std::string& path);

}  // namespace features::transport
