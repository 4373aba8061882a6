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
using features::Result;
using ostrel::core::CATEGORY_OS;
using ostrel::core::FileDescriptor;
using ostrel::core::Status;

namespace {

/// Absolute, and without a '/' at its end, which would follow a link.
Result<std::string> absolutePath(const std::string& text) {
    std::error_code error;
    std::string path = std::filesystem::absolute(text, error).lexically_normal();
    if (error) return fileStatus(error.value(), text);
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    return path;
}

}  // namespace

Result<DriveStore> chooseStore(const std::optional<std::string>& chosen, bool mayMake) {
    if (!chosen) {
        if (::geteuid() == 0) return DriveStore();
        return Status(CATEGORY_OS, EPERM, "This needs the root user, or --folder with a folder of yours.");
    }
    TRY(const std::string path, absolutePath(*chosen));
    const auto folder = openOwnFolder(path, FolderMode::KEEP);
    if (!folder && folder.error().is(CATEGORY_OS, ENOENT) && mayMake) return DriveStore(path);
    if (!folder) return folder.error();
    TRY(const std::vector<std::string> names, listOwnFolder(folder->get(), path));
    if (names.empty() || std::find(names.begin(), names.end(), STORE_LOCK) != names.end()) return DriveStore(path);
    return Status(CATEGORY_OS, ENOTEMPTY, path + " holds something else: simulated drives take a folder of their own.");
}

}  // namespace simdrive
