#include "features/jobs/LogFolder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <system_error>

#include "features/jobs/StatusDetails.h"
#include "ostrel/core/ScopeTrace.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

constexpr unsigned MOST_FOLDERS = 1000;

std::string reason(const std::string& path, int error) {
    return "'" + path + "': " + std::generic_category().message(error) + ".";
}

/// Makes a folder of a name that is not taken, and changes `name` to that. 0 or errno.
int makeFolder(int parent, std::string& name) {
    const std::string wanted = name;
    for (unsigned number = 2; ::mkdirat(parent, name.c_str(), 0755) != 0; ++number) {
        if (errno != EEXIST || number > MOST_FOLDERS) return errno;
        name = wanted + "-" + std::to_string(number);
    }
    return 0;
}

bool isOurs(int folder) {
    struct stat properties = {};
    return ::fstat(folder, &properties) == 0 && properties.st_uid == ::geteuid();
}

}  // namespace

Status LogFolder::create(const std::string& parent, const std::string& name, LogFolder& folder) {
    OSTREL_TRACE();
    const FileDescriptor above(::open(parent.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!above.isOpen()) return withDetails(statuses::directoryNotFound(), reason(parent, errno));
    std::string made = name;
    const int error = makeFolder(above.get(), made);
    folder.path_ = parent + (parent.back() == '/' ? "" : "/") + made;
    if (error != 0) return withDetails(statuses::directoryCreationFailed(), reason(folder.path_, error));
    folder.folder_ =
        FileDescriptor(::openat(above.get(), made.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    // Somebody who may write into the folder above could have put another in its place.
    if (folder.folder_.isOpen() && isOurs(folder.folder_.get())) return Status();
    return withDetails(statuses::directoryCreationFailed(), reason(folder.path_, EPERM));
}

Status LogFolder::write(const std::string& name, const Payload& bytes) const {
    OSTREL_TRACE();
    File file(*this, name);
    Status status = file.begin(bytes.getSize());
    if (status.is(0, 0)) status = file.add(bytes.getData(), bytes.getSize());
    return status.is(0, 0) ? file.finish() : status;
}

LogFolder::File::~File() {
    // The folder is open, so that this is the file that was made, wherever its path leads now.
    if (file_.isOpen()) ::unlinkat(folder_.folder_.get(), name_.c_str(), 0);
}

Status LogFolder::File::begin(uint64_t) {
    OSTREL_TRACE();
    if (file_.isOpen())  // the log is read again
        return ::ftruncate(file_.get(), 0) == 0 && ::lseek(file_.get(), 0, SEEK_SET) == 0 ? Status() : failure(errno);
    const int flags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    file_ = FileDescriptor(::openat(folder_.folder_.get(), name_.c_str(), flags, 0644));
    return file_.isOpen() ? Status() : failure(errno);
}

Status LogFolder::File::add(const uint8_t* data, size_t bytes) {
    OSTREL_TRACE();
    const int error = writeFully(file_.get(), {reinterpret_cast<const char*>(data), bytes});
    return error == 0 ? Status() : failure(error);
}

Status LogFolder::File::finish() {
    OSTREL_TRACE();
    if (::fsync(file_.get()) != 0) return failure(errno);
    file_ = FileDescriptor();
    return Status();
}

Status LogFolder::File::failure(int error) const {
    return Status(CATEGORY_OS, static_cast<uint32_t>(error),
                  "System error. " + reason(folder_.path_ + "/" + name_, error));
}

std::string fileNameOf(const std::string& text, const std::string& absent) {
    OSTREL_TRACE();
    constexpr std::string_view KEPT = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.";
    std::string name;
    for (const char c : text) name += KEPT.find(c) == std::string_view::npos ? '_' : c;
    // No name of the file system's own, and none that is hidden.
    if (!name.empty() && name[0] == '.') name[0] = '_';
    return name.empty() ? absent : name;
}

}  // namespace features::jobs
