#pragma once

#include <sys/types.h>

#include <string>

#include "exporter/PrivateFolder.h"
#include "ostrel/core/FileDescriptor.h"

namespace exporter {

/// The file by which one process at a time reads a drive, also after the program that started it has ended: a process
/// that hangs in the kernel keeps its lock. Its content is the process that reads.
///
/// Opened by that process itself: a descriptor that others had inherited would keep the lock for them, too.
class ReaderLock {
public:
    /// Empty, or what is wrong.
    std::string open(const PrivateFolder& folder, const std::string& name);

    /// Waits a moment for another reader, which as a rule is done soon. False: it is still there. Writes the process
    /// into the file.
    bool acquire() const;
    /// The process that has the lock, or had it last; 0 where the file does not say.
    pid_t owner() const;

private:
    ostrel::core::FileDescriptor file_;
};

}  // namespace exporter
