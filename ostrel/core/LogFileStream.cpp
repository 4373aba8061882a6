#include "ostrel/core/LogFileStream.h"

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

LogFileStream::LogFileStream(const std::string& name, bool append) : std::ostream(nullptr) {
    buffer_.file_ = openRegularFile(name, append);
    rdbuf(&buffer_);
}

LogFileStream::Buffer::int_type LogFileStream::Buffer::overflow(int_type character) {
    if (!traits_type::eq_int_type(character, traits_type::eof()))
        pending_.push_back(traits_type::to_char_type(character));
    return traits_type::not_eof(character);
}

std::streamsize LogFileStream::Buffer::xsputn(const char* text, std::streamsize length) {
    pending_.append(text, static_cast<size_t>(length));
    return length;
}

int LogFileStream::Buffer::sync() {
    // The kernel takes a line whole unless the disk fills up or it is above 2 GiB. What it does not take is dropped.
    (void)writeFully(file_.get(), pending_);
    pending_.clear();
    return 0;
}

}  // namespace ostrel::core
