#include "features/transport/simulated/SimulatedDriveSource.h"

#include <climits>
#include <cstdlib>
#include <filesystem>

#include "features/simulator/controller/Controller.h"
#include "features/simulator/store/DriveFolder.h"
#include "features/simulator/store/DriveNodes.h"
#include "features/transport/simulated/SimulatedDeviceFinder.h"
#include "features/transport/simulated/SimulatedNamespaces.h"
#include "ostrel/core/File.h"

namespace features::transport {

using namespace ostrel::core;
namespace fs = std::filesystem;

namespace {

/// The target of a link, also when nothing is there, since the nodes are no files. Empty: nowhere.
fs::path withoutLinks(fs::path path) {
    constexpr int MAX_LINKS = 40;
    std::error_code error;
    for (int links = 0; fs::is_symlink(fs::symlink_status(path, error)); ++links) {
        if (links == MAX_LINKS) return {};
        const fs::path target = fs::read_symlink(path, error);
        if (error) return {};
        path = path.parent_path() / target;
    }
    return path;
}

/// For a text to which LookErrors adds the period.
std::string withoutPeriod(std::string sentence) {
    if (!sentence.empty() && sentence.back() == '.') sentence.pop_back();
    return sentence;
}

/// Links followed all the way; empty when nothing is there.
fs::path resolved(const fs::path& path) {
    char target[PATH_MAX];
    return ::realpath(path.c_str(), target) == nullptr ? fs::path() : fs::path(target);
}

}  // namespace

std::unique_ptr<DeviceFinder> SimulatedDriveSource::finder() const {
    return std::make_unique<SimulatedDeviceFinder>(folder_, clock_, locks_, scanErrors_);
}

std::optional<DriveLocation> SimulatedDriveSource::locate(const std::string& path, LookErrors& errors) const {
    const fs::path target = withoutLinks(path);
    const bool isNode = target.parent_path().filename() == "dev";
    const fs::path folder = resolved(isNode ? target.parent_path().parent_path() : target);
    const std::string name = folder.filename();
    if (folder.empty() || folder.parent_path() != resolved(folder_) || !simulator::DriveStore::isName(name) ||
        !isDirectory(folder))
        return std::nullopt;
    // The finder knows the drive by the folder's own name, whichever link the root is.
    const std::string drive = folder_ + "/" + name;
    const std::string node = target.filename();
    if (!isNode || node == fs::path(simulator::controllerNode(drive)).filename())
        return DriveLocation{simulator::controllerNode(drive), {}};
    const auto identity = simulator::DriveFolder::readIdentity(drive);
    if (identity && simulator::isSata(identity->description.model)) return std::nullopt;  // has one node
    simulator::Controller controller(drive, clock_);
    const AttachedNamespaces namespaces = attachedNamespaces(controller, drive, false);
    const Status& status = namespaces.status;
    if (failed(status)) errors.add(drive, static_cast<int>(status.getCode()), withoutPeriod(status.getMessage()));
    for (const HostNamespace& part : namespaces.found) {
        if (fs::path(part.node).filename() == node) return DriveLocation{simulator::controllerNode(drive), part.nsid};
    }
    return std::nullopt;
}

std::optional<DriveLocation> SimulatedDriveSource::bootDrive(const std::string&, LookErrors&) const {
    return std::nullopt;
}

}  // namespace features::transport
