#include <sys/stat.h>

#include <cerrno>

#include "features/transport/linux/ClaimReaders.h"
#include "features/transport/linux/Sysfs.h"

namespace features::transport {

namespace {

constexpr const char* CONFIGFS = "/kernel/config";

/// The folder of a target below configfs; empty when the kernel has none. A target that is loaded while configfs is not
/// mounted may export anything.
std::string targetFolder(const ClaimSearch& search, const char* module, const char* target) {
    LookErrors& errors = search.errors;
    const std::string folder = search.paths.sys + CONFIGFS + "/" + target;
    if (!listFolder(folder, errors).empty()) return folder;
    struct stat status{};
    const std::string loaded = search.paths.sys + "/module/" + module;
    if (search.paths.kernel->stat(loaded, status) == 0) {
        errors.add(folder, ENOENT, std::string(module) + " is loaded, but configfs is not mounted there");
    } else if (const int error = errno; error != ENOENT) {
        errors.add(loaded, error);
    }
    return {};
}

/// Adds the device to which `path` led the target. The kernel's own names of block devices are known from sysfs as
/// well: in a container the nodes may be missing.
void addExport(const ClaimSearch& search, const std::string& path, const std::string& user) {
    bool isFound = false;
    const auto add = [&](DeviceClaim::Kind kind, dev_t device) {
        search.claims.push_back({kind, device, user});
        isFound = true;
    };
    const size_t slash = path.rfind('/');
    if (slash != std::string::npos && path.substr(0, slash) == search.paths.dev) {
        const auto line = readLine(search.paths.sys + "/class/block" + path.substr(slash) + "/dev", search.errors);
        if (const auto number = line ? toDeviceNumber(*line) : std::nullopt) add(DeviceClaim::Kind::BLOCK, *number);
    }
    struct stat status{};
    if (search.paths.kernel->stat(path, status) < 0) {
        const int error = errno;
        if (!isFound) search.errors.add(path, error, user + " uses it, and it cannot be looked up");
        return;
    }
    if (S_ISCHR(status.st_mode)) return add(DeviceClaim::Kind::CHARACTER, status.st_rdev);
    // A file is on the device of its file system.
    add(DeviceClaim::Kind::BLOCK, S_ISBLK(status.st_mode) ? status.st_rdev : status.st_dev);
}

bool isEnabled(const ClaimSearch& search, const std::string& folder) {
    // Absent: the entry went away meanwhile.
    return readLine(folder + "/enable", search.errors).value_or("0") != "0";
}

/// The text between two others; absent when one of them is.
std::optional<std::string> between(const std::string& text, const std::string& before, const std::string& after) {
    const size_t from = text.find(before);
    if (from == std::string::npos) return std::nullopt;
    const size_t begin = from + before.size();
    const size_t end = text.find(after, begin);
    return end == std::string::npos ? std::nullopt : std::optional<std::string>(text.substr(begin, end - begin));
}

/// The backstores that are built on a device or a file, and where their "info" has its path.
struct BackstoreRow {
    const char* prefix;
    const char* before;
    const char* after;
};
constexpr BackstoreRow BACKSTORES[] = {
    {"fileio_", "File: ", "  Size: "},
    {"iblock_", "UDEV PATH: ", "  readonly: "},
};

void readBackstore(const ClaimSearch& search, const BackstoreRow& row, const std::string& folder) {
    if (!isEnabled(search, folder)) return;
    const std::string user = "the exports of the kernel's SCSI target (" + folder.substr(folder.rfind('/') + 1) + ")";
    const auto info = readAll(folder + "/info", search.errors);
    if (!info) return;
    if (const auto path = between(*info, row.before, row.after)) {
        addExport(search, *path, user);
    } else {
        search.errors.add(folder + "/info", EINVAL, "no path");
    }
}

}  // namespace

void readNvmeTargetClaims(const ClaimSearch& search) {
    const std::string root = targetFolder(search, "nvmet", "nvmet");
    if (root.empty()) return;
    const std::string subsystems = root + "/subsystems";
    for (const std::string& subsystem : listFolder(subsystems, search.errors)) {
        std::vector<std::string> folders{subsystems + "/" + subsystem + "/passthru"};
        const std::string namespaces = subsystems + "/" + subsystem + "/namespaces";
        for (const std::string& nsid : listFolder(namespaces, search.errors))
            folders.push_back(namespaces + "/" + nsid);
        for (const std::string& folder : folders) {
            if (!isEnabled(search, folder)) continue;
            const auto path = readLine(folder + "/device_path", search.errors);
            if (path) addExport(search, *path, "the exports of the kernel's NVMe target (" + subsystem + ")");
        }
    }
}

void readScsiTargetClaims(const ClaimSearch& search) {
    const std::string root = targetFolder(search, "target_core_mod", "target");
    if (root.empty()) return;
    const std::string core = root + "/core";
    for (const std::string& adapter : listFolder(core, search.errors)) {
        for (const BackstoreRow& row : BACKSTORES) {
            if (adapter.compare(0, std::string(row.prefix).size(), row.prefix) != 0) continue;
            for (const std::string& name : listFolder(core + "/" + adapter, search.errors)) {
                // Beside the backstores the adapter has files, all of one prefix.
                if (name.compare(0, 4, "hba_") != 0) readBackstore(search, row, core + "/" + adapter + "/" + name);
            }
        }
    }
}

}  // namespace features::transport
