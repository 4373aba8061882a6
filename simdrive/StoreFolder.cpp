#include "simdrive/StoreFolder.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "features/simulator/store/OwnFiles.h"
#include "ostrel/core/FileDescriptor.h"

namespace simdrive {

using namespace features::simulator;
using ostrel::core::CATEGORY_OS;
using ostrel::core::FileDescriptor;
using ostrel::core::Status;

namespace {

/// Absolute, and without a '/' at its end, which would follow a link.
Status absolutePath(const std::string& text, std::string& path) {
    std::error_code error;
    path = std::filesystem::absolute(text, error).lexically_normal();
    if (error) return fileStatus(error.value(), text);
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    return Status();
}

}  // namespace

Status chooseStore(const std::optional<std::string>& chosen, bool mayMake, DriveStore& store) {
    if (!chosen) {
        return ::geteuid() == 0
                   ? Status()
                   : Status(CATEGORY_OS, EPERM, "This needs the root user, or --folder with a folder of yours.");
    }
    std::string path;
    Status status = absolutePath(*chosen, path);
    if (failed(status)) return status;
    store = DriveStore(path);
    FileDescriptor folder;
    status = openOwnFolder(path, FolderMode::KEEP, folder);
    if (status.is(CATEGORY_OS, ENOENT) && mayMake) return Status();
    std::vector<std::string> names;
    if (succeeded(status)) status = listOwnFolder(folder.get(), path, names);
    if (failed(status)) return status;
    if (names.empty() || std::find(names.begin(), names.end(), STORE_LOCK) != names.end()) return status;
    return Status(CATEGORY_OS, ENOTEMPTY, path + " holds something else: simulated drives take a folder of their own.");
}

}  // namespace simdrive
