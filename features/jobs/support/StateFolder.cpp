#include "features/jobs/support/StateFolder.h"

#include <sys/stat.h>

#include <cerrno>

#include "features/errors/Result.h"
#include "ostrel/core/PathStatus.h"
#include "ostrel/core/TrustedFile.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

std::string& folderInUse() {
    static std::string folder = STATE_FOLDER;
    return folder;
}

}  // namespace

const std::string& stateFolder() {
    return folderInUse();
}

void useStateFolder(const std::string& path) {
    folderInUse() = path;
}

Status makeStateFolder(const std::string& path) {
    const size_t nameStart = path.rfind('/') + 1;
    const std::string name = path.substr(nameStart);
    TrustedFile above;
    RETURN_IF_FAILED(above.openFolder(path.substr(0, nameStart)));
    // No other user can exchange the new folder for a link: only this one, root and the tool's owner write above it.
    int error = ::mkdirat(above.descriptor().get(), name.c_str(), S_IRWXU) == 0 ? 0 : errno;
    if (error == 0 && ::fchmodat(above.descriptor().get(), name.c_str(), S_IRWXU, 0) != 0) error = errno;
    if (error != 0 && error != EEXIST) return pathStatus("make", path, error);
    return TrustedFile().openFolder(path);
}

}  // namespace features::jobs
