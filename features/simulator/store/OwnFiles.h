#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "features/errors/Result.h"
#include "ostrel/core/FileDescriptor.h"
#include "ostrel/core/Status.h"

/// Opens the folders and files of simulated drives: those of the running user (or root) alone, and nothing that blocks,
/// grows without bound or is a link.
///
/// Errors: of the system with errno and the path. A folder of another user, or one that others may write, is 1/1
///         (EPERM); what is not a regular file is 1/22 (EINVAL), a file that is too large 1/27 (EFBIG).
namespace features::simulator {

/// `path` for the words alone. Missing permission is reported with what it needs.
ostrel::core::Status fileStatus(int error, const std::string& path);

enum class FolderMode {
    KEEP,     ///< readers leave no trace
    TIGHTEN,  ///< 0700 from now on: in a folder that others can open, they can look and hold locks
};
Result<ostrel::core::FileDescriptor> openOwnFolder(const std::string& path, FolderMode mode);
/// What openOwnFolder() checks, of a folder that is open.
ostrel::core::Status checkOwnFolder(int folder, const struct stat& info, const std::string& path, FolderMode mode);

/// The names in a folder, without "." and "..", in no order.
Result<std::vector<std::string>> listOwnFolder(int folder, const std::string& path);

bool isSameFile(const struct stat& left, const struct stat& right);
/// A regular file that is open.
struct OwnFile {
    ostrel::core::FileDescriptor descriptor;
    struct stat info{};  ///< as it was opened, or looked at last

    /// Whether the file that has this name in the folder now is the same one. Then it has been looked at.
    bool isNamed(int folder, const char* name);
};
/// Opens a file of a folder for reading.
Result<OwnFile> openOwnFile(int folder, const char* name, const std::string& path);
/// All of it; `path` for the words.
Result<std::string> readOwnFile(const OwnFile& file, const std::string& path, size_t maxBytes);
/// How many bytes were read, and why no more.
struct BytesRead {
    size_t count = 0;
    int error = 0;  ///< 0 or errno
};
/// Reads `size` bytes from `offset` on. Without an error fewer are read at the end of the file alone.
BytesRead readOwnBytes(int file, uint8_t* data, size_t size, uint64_t offset);

/// Opens a lock file, which is made when it is missing, mode 0600: no other user can open it and hold the lock.
Result<OwnFile> openLockFile(int folder, const char* name, const std::string& path);
enum class LockWait { YES, NO };
/// Takes the lock of a lock file. Held by another process and LockWait::NO: 1/11 (EWOULDBLOCK).
ostrel::core::Status takeLock(int lockFile, const std::string& path, LockWait wait);
/// Both in one. The lock lasts as long as the result is open.
Result<ostrel::core::FileDescriptor> lockOwnFile(int folder, const char* name, const std::string& path, LockWait wait);

}  // namespace features::simulator
