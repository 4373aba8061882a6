#include "features/transport/simulated/SimulatedDriveSource.h"

#include <climits>
#include <cstdlib>
#include <filesystem>

#include "features/simulator/Controller.h"
#include "features/transport/simulated/SimulatedDeviceFinder.h"
#include "features/transport/simulated/SimulatedNamespaces.h"
#include "ostrel/core/File.h"
#include "ostrel/core/ScopeTrace.h"

namespace features::transport {

using namespace ostrel::core;
namespace fs = std::filesystem;

namespace {

/// Where links lead to. The last component need not be there, since a namespace is no file; links to it are followed
/// all the same. Empty: nowhere.
std::string resolved(fs::path path) {
    constexpr int MOST_LINKS = 40;
    std::error_code error;
    for (int links = 0; fs::is_symlink(fs::symlink_status(path, error)); ++links) {
        if (links == MOST_LINKS) return {};
        const fs::path target = fs::read_symlink(path, error);
        if (error) return {};
        path = path.parent_path() / target;
    }
    char target[PATH_MAX];
    if (::realpath(path.c_str(), target) != nullptr) return target;
    const fs::path parent = path.has_parent_path() ? path.parent_path() : fs::path(".");
    if (::realpath(parent.c_str(), target) == nullptr) return {};
    return std::string(target) + "/" + path.filename().string();
}

}  // namespace

std::unique_ptr<DeviceFinder> SimulatedDriveSource::finder() const {
    OSTREL_TRACE();
    return std::make_unique<SimulatedDeviceFinder>(folder_, clock_);
}

std::optional<DriveLocation> SimulatedDriveSource::locate(const std::string& path) const {
    OSTREL_TRACE();
    char root[PATH_MAX];
    if (::realpath(folder_.c_str(), root) == nullptr) return std::nullopt;
    const fs::path target = resolved(path);
    const bool isDrive = target.parent_path() == root;
    const fs::path folder = isDrive ? target : target.parent_path();
    const std::string name = folder.filename();
    if (folder.parent_path() != root || !simulator::DriveStore::isName(name) || !isDirectory(folder))
        return std::nullopt;
    // The finder knows the drive by the folder's own name, whichever link the root is.
    const std::string drive = folder_ + "/" + name;
    if (isDrive) return DriveLocation{drive, {}};
    simulator::Controller controller(drive, clock_);
    std::vector<HostNamespace> namespaces;
    (void)attachedNamespaces(controller, drive, namespaces);  // what cannot be read is not found
    for (const HostNamespace& part : namespaces) {
        if (fs::path(part.node).filename() == target.filename()) return DriveLocation{drive, part.nsid};
    }
    return std::nullopt;
}

std::optional<DriveLocation> SimulatedDriveSource::bootDrive(const std::string&) const {
    OSTREL_TRACE();
    return std::nullopt;
}

}  // namespace features::transport
