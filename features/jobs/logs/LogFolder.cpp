#include "features/jobs/logs/LogFolder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>

#include "features/jobs/support/StatusDetails.h"
#include "ostrel/core/FileRules.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/SystemError.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

constexpr unsigned MAX_FOLDERS = 1000;

std::string reason(const std::string& path, int error) {
    return "'" + path + "': " + systemErrorText(error) + ".";
}

/// Makes a folder of a name that is not taken, and changes `name` to that. 0 or errno.
int makeFolder(int parent, std::string& name) {
    const std::string wanted = name;
    for (unsigned number = 2; ::mkdirat(parent, name.c_str(), 0700) != 0; ++number) {
        if (errno != EEXIST || number > MAX_FOLDERS) return errno;
        name = wanted + "-" + std::to_string(number);
    }
    return 0;
}

bool isOurs(int folder) {
    struct stat properties = {};
    return ::fstat(folder, &properties) == 0 && properties.st_uid == ::geteuid();
}

}  // namespace

Result<LogFolder> LogFolder::create(const std::string& parent, const std::string& name) {
    FileDescriptor above;
    if (const FileError error = openFolder(parent, above))
        return withDetails(statuses::directoryNotFound(), "'" + parent + "': " + error.text() + ".");
    std::string made = name;
    const int error = makeFolder(above.get(), made);
    LogFolder folder;
    folder.path_ = parent + (parent.back() == '/' ? "" : "/") + made;
    if (error != 0) return withDetails(statuses::directoryCreationFailed(), reason(folder.path_, error));
    folder.folder_ =
        FileDescriptor(::openat(above.get(), made.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    // A process that may write into the folder above could have put another in its place.
    if (folder.folder_.isOpen() && isOurs(folder.folder_.get())) return folder;
    return withDetails(statuses::directoryCreationFailed(), reason(folder.path_, EPERM));
}

Status LogFolder::createFile(const std::string& name, UserFile& file) const {
    return file.createIn(folder_.get(), path_, name);
}

Status LogFolder::write(const std::string& name, const Payload& bytes) const {
    UserFile file;
    RETURN_IF_FAILED(createFile(name, file));
    RETURN_IF_FAILED(file.write({reinterpret_cast<const char*>(bytes.getData()), bytes.getSize()}));
    return file.finish();
}

std::string fileNameOf(const std::string& text, const std::string& absent) {
    constexpr std::string_view KEPT = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.";
    std::string name;
    for (const char c : text) name += KEPT.find(c) == std::string_view::npos ? '_' : c;
    // No name of the file system's own, and none that is hidden.
    if (!name.empty() && name[0] == '.') name[0] = '_';
    return name.empty() ? absent : name;
}

}  // namespace features::jobs
