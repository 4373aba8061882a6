#pragma once

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

/// The names in a folder, without "." and "..", in no order.
Result<std::vector<std::string>> listOwnFolder(int folder, const std::string& path);

/// Opens a regular file of a folder for reading.
Result<ostrel::core::FileDescriptor> openOwnFile(int folder, const char* name, const std::string& path);
/// Reads from the present position to the end; `path` for the words.
Result<std::string> readOwnFile(int file, const std::string& path, size_t maxBytes);
/// How many bytes were read, and why no more.
struct BytesRead {
    size_t count = 0;
    int error = 0;  ///< 0 or errno
};
/// Reads `size` bytes from `offset` on. Without an error fewer are read at the end of the file alone.
BytesRead readOwnBytes(int file, uint8_t* data, size_t size, uint64_t offset);

enum class LockWait { YES, NO };
/// Takes the lock of a lock file, which is made when it is missing, mode 0600: no other user can open it and hold the
/// lock. It lasts as long as the result is open. Held by another process and LockWait::NO: 1/11 (EWOULDBLOCK).
Result<ostrel::core::FileDescriptor> lockOwnFile(int folder, const char* name, const std::string& path, LockWait wait);

}  // namespace features::simulator
