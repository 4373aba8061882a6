#include "ostrel/core/LogFile.h"

#include <fcntl.h>
#include <sys/stat.h>

#include "ostrel/core/FileRules.h"

namespace ostrel::core {

namespace {

// Two steps, since the file may turn out to be none that may be emptied. O_NONBLOCK: opening a pipe must not wait for
// its reader; on a regular file it means nothing. 0600: the command line, which is logged, may hold a PSID.
FileDescriptor openRegularFile(const std::string& name, bool append) {
    const size_t nameStart = name.rfind('/') + 1;  // 0 without a '/'
    FileDescriptor folder;
    if (openFolder(name.substr(0, nameStart), folder)) return FileDescriptor();
    FileDescriptor file(::openat(folder.get(), name.c_str() + nameStart,
                                 O_WRONLY | O_CREAT | O_APPEND | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600));
    struct stat about = {};
    struct stat above = {};
    if (!file.isOpen() || ::fstat(file.get(), &about) != 0 || !S_ISREG(about.st_mode)) return FileDescriptor();
    // Another user's file would hand him the log.
    if (::fstat(folder.get(), &above) != 0 || checkExistingFile(about, above)) return FileDescriptor();
    if (!append && ::ftruncate(file.get(), 0) != 0) return FileDescriptor();
    return file;
}

}  // namespace

LogFile::LogFile(const std::string& name, bool append) : file_(openRegularFile(name, append)) {}

void LogFile::write(std::string_view line) {
    // The kernel takes a line whole unless the disk fills up or it is above 2 GiB. What it does not take is dropped.
    (void)writeFully(file_.get(), line);
}

}  // namespace ostrel::core
