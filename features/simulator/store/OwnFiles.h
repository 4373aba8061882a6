#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

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
ostrel::core::Status openOwnFolder(const std::string& path, FolderMode mode, ostrel::core::FileDescriptor& folder);

/// The names in a folder, without "." and "..", in no order.
ostrel::core::Status listOwnFolder(int folder, const std::string& path, std::vector<std::string>& names);

/// Opens a regular file of a folder for reading.
ostrel::core::Status openOwnFile(int folder, const char* name, const std::string& path,
                                 ostrel::core::FileDescriptor& file);
/// Reads from the present position to the end; `path` for the words.
ostrel::core::Status readOwnFile(int file, const std::string& path, size_t maxBytes, std::string& text);
/// Reads `size` bytes from `offset` on. 0 or errno; `count` is less than `size` at the end of the file alone.
int readOwnBytes(int file, uint8_t* data, size_t size, uint64_t offset, size_t& count);

enum class LockWait { YES, NO };
/// Takes the lock of a lock file, which is made when it is missing, mode 0600: no other user can open it and hold the
/// lock. It lasts as long as `lock` is open. Held by another process and LockWait::NO: 1/11 (EWOULDBLOCK).
ostrel::core::Status lockOwnFile(int folder, const char* name, const std::string& path, LockWait wait,
                                 ostrel::core::FileDescriptor& lock);

}  // namespace features::simulator
