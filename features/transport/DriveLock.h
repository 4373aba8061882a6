#pragma once

#include <mutex>
#include <string>

#include "features/errors/Result.h"
#include "ostrel/core/FileDescriptor.h"
#include "ostrel/core/Status.h"

namespace features::transport {

/// Where the lock files are, one a drive. They are never removed: a process that opens a file just as another removes
/// it would hold a lock that no other process can see.
inline constexpr const char* DRIVE_LOCKS = "/run/nimbrel";

/// The lock of a drive: one process of this library at a time changes it. Advisory: it keeps no other program away.
///
/// The lock is flock(2) on a file named after the drive, which holds the process id of its owner. The kernel releases
/// it when the process ends, however that happens; a child that runs another program does not inherit it.
///
/// acquire() may be nested: as many release() calls as acquire() calls release the lock.
///
/// Errors:  11/9 with the process id when another process, or another object of this one, holds the lock: it is not
///          waited for. 10/104 with path and reason when the folder or the file cannot be made, is a link, belongs
///          to another user or can be changed by other users.
/// Threads: any number at once.
class DriveLock {
public:
    /// The folder is made, 0700, when the first lock is wanted; the one above it must be there.
    explicit DriveLock(std::string folder = DRIVE_LOCKS) : folder_(std::move(folder)) {}

    /// `drive` is the NVMe Qualified Name of the NVM subsystem, or whatever else no two drives have in common.
    ostrel::core::Status acquire(const std::string& drive);
    void release();

    /// The file's name: the drive's, in which each byte that does not suit a file name is a '_', and a hash of it,
    /// since two names may now be one.
    static std::string fileName(const std::string& drive);

private:
    ostrel::core::Status lockFile(const std::string& name);
    Result<ostrel::core::FileDescriptor> openFolder() const;
    Result<ostrel::core::FileDescriptor> openFile(const std::string& path, const std::string& name) const;

    std::string folder_;
    std::mutex mutex_;
    ostrel::core::FileDescriptor file_;
    unsigned holders_ = 0;
};

}  // namespace features::transport
