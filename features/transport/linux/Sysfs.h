#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "features/transport/LookErrors.h"
#include "features/transport/linux/LinuxPaths.h"

namespace features::transport {

/// Small reads of sysfs and its like. Paths are taken as they are; a test gives paths below a folder of its own.
///
/// Errors:  What does not exist, or vanishes while it is read, is absent. Any other failure is absent too, and goes
///          into `errors`: the caller decides what it means that nothing is known. Absence means nothing where the file
///          system is not mounted: isSysfs() and isProcfs().
/// Threads: no state.

/// The first line of a file, without blanks at its end.
std::optional<std::string> readLine(const std::string& path, LookErrors& errors);
/// A file with a decimal number. One with anything else is an error (EINVAL).
std::optional<uint64_t> readNumber(const std::string& path, LookErrors& errors);
/// The whole text of a file such as /proc/self/mountinfo, whose size the system does not report.
std::optional<std::string> readAll(const std::string& path, LookErrors& errors);
/// The names in a folder, without "." and "..", in byte order. After an error, those before it.
std::vector<std::string> listFolder(const std::string& path, LookErrors& errors);
/// The last component of the target of a link.
std::optional<std::string> linkName(const std::string& path, LookErrors& errors);

/// The path with all links followed; empty when it leads nowhere.
std::string resolvedPath(const std::string& path, LookErrors& errors);
/// The name of the disk that a partition is on; empty when it is gone.
std::string diskOfPartition(const LinuxPaths& paths, const std::string& partition, LookErrors& errors);

/// Whether sysfs or procfs is mounted where it belongs; otherwise an error.
bool isSysfs(const LinuxPaths& paths, LookErrors& errors);
bool isProcfs(const LinuxPaths& paths, LookErrors& errors);

}  // namespace features::transport
