#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <array>
#include <cstddef>
#include <memory>
#include <mutex>

#include "features/simulator/store/OwnFiles.h"
#include "ostrel/core/FileDescriptor.h"

namespace features::simulator {

/// The open files of a simulated drive's folder.
struct DriveHandles {
    ostrel::core::FileDescriptor folder;
    struct stat folderInfo{};  ///< as it was opened
    OwnFile lock;
    OwnFile description;
    OwnFile state;
    /// A child has the same open files as its parent, and the same locks: it opens files of its own.
    pid_t process = 0;
};

/// Holds the open files of the drives that were used last, between their transactions: a process that sends several
/// commands to a drive opens its files once. What is in them may change meanwhile, and so may the files that have their
/// names: who takes them looks.
///
/// Ownership: files belong to the DriveFolder that kept them, and are closed when others need their place.
/// Threads:   any number at once.
class IdleHandles {
public:
    /// Those of this process. Lasts as long as one of its users.
    static std::shared_ptr<IdleHandles> ofProcess();

    /// `owner` has none here yet.
    void keep(const void* owner, DriveHandles handles) noexcept;
    /// All closed: there were none, or they are of the parent of this process.
    DriveHandles take(const void* owner) noexcept;

private:
    struct Entry {
        const void* owner = nullptr;
        DriveHandles handles;
    };
    // More than a request has threads, and few of the descriptors that a process may have.
    static constexpr size_t MAX_DRIVES = 12;

    std::mutex mutex_;
    std::array<Entry, MAX_DRIVES> entries_;
    size_t replaced_ = 0;  ///< the entry that is given up next, when all are taken
};

}  // namespace features::simulator
