#include "features/simulator/store/DriveStore.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <new>
#include <string_view>
#include <utility>

#include "features/simulator/store/DriveCopy.h"
#include "features/simulator/store/DriveFolder.h"
#include "features/simulator/store/NewDrive.h"
#include "features/simulator/store/OwnFiles.h"
#include "ostrel/core/File.h"
#include "ostrel/core/FileDescriptor.h"
#include "ostrel/core/SignalBlock.h"

namespace features::simulator {

using namespace ostrel::core;

namespace {

/// Folders that are being made or removed begin with a dot, as no name does. So do snapshots.
constexpr const char* MAKING = ".making-";
constexpr const char* REMOVING = ".removing-";
constexpr const char* SNAPSHOT = ".snapshot-";

Status notAName(const std::string& name) {
    return Status(
        CATEGORY_OS, EINVAL,
        "\"" + name +
            "\" is not a valid name of a simulated drive: letters, digits, '-', '_' and '.', no '.' at first, "
            "64 characters at most.");
}

/// Takes the lock of a drive's folder; it lasts as long as `lock` is open.
Status lockDrive(const std::string& path, FileDescriptor& lock) {
    FileDescriptor folder;
    Status status = openOwnFolder(path, FolderMode::TIGHTEN, folder);
    if (failed(status)) return status;
    return lockOwnFile(folder.get(), FILE_LOCK, path + "/" + FILE_LOCK, LockWait::YES, lock);
}

bool begins(const std::string& name, const char* prefix) {
    return name.compare(0, std::strlen(prefix), prefix) == 0;
}

/// A new file, not synced yet.
Status writeFile(const std::string& path, std::string_view bytes) {
    const FileDescriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!file.isOpen()) return fileStatus(errno, path);
    const int error = writeFully(file.get(), bytes);
    return error == 0 ? Status() : fileStatus(error, path);
}

/// Drives that are being made or removed, by their folders: what an early end leaves of them vanishes, also where
/// memory runs out.
class PendingFolders {
public:
    explicit PendingFolders(size_t count) : paths(count) {}
    ~PendingFolders() {
        for (const std::string& path : paths)
            if (!path.empty()) removeFolder(path);
    }
    PendingFolders(const PendingFolders&) = delete;
    PendingFolders& operator=(const PendingFolders&) = delete;

    void keep() { paths.clear(); }

    std::vector<std::string> paths;

private:
    /// An unnamed one that is left is no drive, and the next command removes it.
    static void removeFolder(const std::string& path) {
        try {
            std::error_code ignored;
            std::filesystem::remove_all(path, ignored);
        } catch (const std::bad_alloc&) {
            // The same as for an error.
        }
    }
};

Status isDrive(const std::string& path) {
    struct stat info {};
    if (::lstat(path.c_str(), &info) != 0) return fileStatus(errno, path);
    return S_ISDIR(info.st_mode) ? Status() : fileStatus(ENOTDIR, path);
}

}  // namespace

bool DriveStore::isName(const std::string& name) {
    constexpr size_t MOST = 64;
    constexpr const char* ALLOWED = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_.";
    return !name.empty() && name.size() <= MOST && name[0] != '.' &&
           name.find_first_not_of(ALLOWED) == std::string::npos;
}

std::vector<std::string> DriveStore::names() const {
    std::vector<std::string> names;
    (void)list(names);  // see the header
    return names;
}

Status DriveStore::list(std::vector<std::string>& names) const {
    names.clear();
    DIR* listing = ::opendir(folder_.c_str());
    if (listing == nullptr) return errno == ENOENT ? Status() : fileStatus(errno, folder_);
    // The end of the folder and a failure differ in errno alone.
    for (errno = 0; const dirent* entry = ::readdir(listing); errno = 0) {
        const bool mayBeFolder = entry->d_type == DT_DIR || entry->d_type == DT_UNKNOWN;
        if (mayBeFolder && isName(entry->d_name)) names.emplace_back(entry->d_name);
    }
    const int error = errno;
    ::closedir(listing);
    std::sort(names.begin(), names.end(), [](const std::string& a, const std::string& b) {
        const int order = ::strverscmp(a.c_str(), b.c_str());
        return order != 0 ? order < 0 : a < b;
    });
    return error == 0 ? Status() : fileStatus(error, folder_);
}

Status DriveStore::makeFolder(FileDescriptor& folder) const {
    if (::mkdir(folder_.c_str(), 0700) != 0 && errno != EEXIST) return fileStatus(errno, folder_);
    return openOwnFolder(folder_, FolderMode::TIGHTEN, folder);
}

Status DriveStore::lock(FileDescriptor& lock) const {
    FileDescriptor folder;
    Status status = makeFolder(folder);
    if (succeeded(status)) {
        status = lockOwnFile(folder.get(), STORE_LOCK, folder_ + "/" + STORE_LOCK, LockWait::YES, lock);
    }
    return succeeded(status) ? removeLeftovers(folder.get()) : status;
}

/// Under the lock no drive is being made or removed: these are of processes that died over it.
Status DriveStore::removeLeftovers(int folder) const {
    std::vector<std::string> names;
    Status status = listOwnFolder(folder, folder_, names);
    if (failed(status)) return status;
    for (const std::string& name : names) {
        if (!begins(name, MAKING) && !begins(name, REMOVING)) continue;
        std::error_code error;
        std::filesystem::remove_all(pathOf(name), error);  // a link goes, what it names stays
        if (error) return fileStatus(error.value(), pathOf(name));
    }
    return Status();
}

/// An empty folder that is no drive yet.
Status DriveStore::makeUnnamed(std::string& making) const {
    std::string folder = folder_ + "/" + MAKING + "XXXXXX";
    making.reserve(folder.size());  // once the folder is there, its name must not be lost
    if (::mkdtemp(folder.data()) == nullptr) return fileStatus(errno, folder);
    making = folder;
    return Status();
}

Status DriveStore::make(const NewDrive& drive, const Clock& clock, std::string& making) const {
    if (!isName(drive.name)) return notAName(drive.name);
    if (pathExists(pathOf(drive.name))) return fileStatus(EEXIST, pathOf(drive.name));
    const Status made = makeUnnamed(making);
    if (failed(made)) return made;
    const std::string& folder = making;
    DriveState state = newState(drive.description, drive.description.clockMs.value_or(clock.nowMs()), drive.firmware);
    const std::vector<uint8_t> bytes = DriveFolder::stateBytes(state, 1);
    Status status = writeFile(folder + "/" + FILE_DESCRIPTION, drive.description.toText());
    if (failed(status)) return status;
    return writeFile(folder + "/" + FILE_STATE, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

Status DriveStore::create(const std::vector<NewDrive>& drives, const Clock& clock) const {
    FileDescriptor folder;
    Status status = makeFolder(folder);
    if (failed(status)) return status;
    PendingFolders making(drives.size());
    for (size_t i = 0; i < drives.size() && succeeded(status); ++i) status = make(drives[i], clock, making.paths[i]);
    // One wait for the disk for all of them, before the first of them gets its name.
    if (succeeded(status) && ::syncfs(folder.get()) != 0) status = fileStatus(errno, folder_);
    const SignalBlock naming;  // all of them or none
    for (size_t i = 0; i < drives.size() && succeeded(status); ++i) {
        std::string path = pathOf(drives[i].name);
        // Does not replace a folder that was made meanwhile: it is not empty.
        if (::rename(making.paths[i].c_str(), path.c_str()) != 0)
            status = fileStatus(errno == ENOTEMPTY ? EEXIST : errno, path);
        else
            making.paths[i] = std::move(path);
    }
    if (succeeded(status) && ::fsync(folder.get()) != 0) status = fileStatus(errno, folder_);
    if (succeeded(status)) making.keep();
    return status;
}

Status DriveStore::remove(const std::string& name) const {
    if (!isName(name)) return notAName(name);
    Status status = isDrive(pathOf(name));
    if (failed(status)) return status;
    FileDescriptor lock;
    status = lockDrive(pathOf(name), lock);
    if (failed(status)) return status;
    if (pathExists(snapshotOf(name))) status = discard(snapshotOf(name), name);
    return succeeded(status) ? discard(pathOf(name), name) : status;
}

/// Removes a folder. It is out of sight at once; what is left of it, should this process die, is no drive.
Status DriveStore::discard(const std::string& path, const std::string& name) const {
    PendingFolders pending(1);
    std::string& removing = pending.paths.front();
    std::string hidden = folder_ + "/" + REMOVING + name + "-" + std::to_string(::getpid());
    if (::rename(path.c_str(), hidden.c_str()) != 0) return fileStatus(errno, path);
    removing = std::move(hidden);
    std::error_code error;
    std::filesystem::remove_all(removing, error);
    // Once more: the drive is gone already, and a passing error would leave its files.
    if (error) std::filesystem::remove_all(removing, error);
    return error ? fileStatus(error.value(), removing) : Status();
}

std::string DriveStore::snapshotOf(const std::string& name) const {
    return folder_ + "/" + SNAPSHOT + name;
}

Status DriveStore::snapshot(const std::string& name) const {
    if (!isName(name)) return notAName(name);
    Status status = isDrive(pathOf(name));
    if (failed(status)) return status;
    FileDescriptor lock;
    status = lockDrive(pathOf(name), lock);
    return succeeded(status) ? copyOver(pathOf(name), snapshotOf(name)) : status;
}

Status DriveStore::reset(const std::string& name) const {
    if (!isName(name)) return notAName(name);
    Status status = isDrive(pathOf(name));
    if (succeeded(status) && !pathExists(snapshotOf(name))) {
        status = Status(CATEGORY_OS, ENOENT, "There is no snapshot of the simulated drive \"" + name + "\".");
    }
    if (failed(status)) return status;
    FileDescriptor lock;
    status = lockDrive(pathOf(name), lock);
    return succeeded(status) ? copyOver(snapshotOf(name), pathOf(name)) : status;
}

/// Puts a copy of a drive's folder in the place of another, or where there is none.
Status DriveStore::copyOver(const std::string& from, const std::string& to) const {
    FileDescriptor source;
    Status status = openOwnFolder(from, FolderMode::KEEP, source);
    PendingFolders making(1);
    std::string& copy = making.paths.front();
    if (succeeded(status)) status = makeUnnamed(copy);
    FileDescriptor target;
    if (succeeded(status)) status = openOwnFolder(copy, FolderMode::KEEP, target);
    if (succeeded(status)) status = copyDrive(source.get(), from, target.get(), copy);
    if (succeeded(status) && ::syncfs(target.get()) != 0) status = fileStatus(errno, copy);
    if (failed(status)) return status;
    const SignalBlock naming;  // what has the copy's name is removed, be it the old folder or a copy without a place
    const unsigned flags = pathExists(to) ? RENAME_EXCHANGE : RENAME_NOREPLACE;
    if (::renameat2(AT_FDCWD, copy.c_str(), AT_FDCWD, to.c_str(), flags) != 0) return fileStatus(errno, to);
    if (flags == RENAME_NOREPLACE) making.keep();
    FileDescriptor folder;
    status = openOwnFolder(folder_, FolderMode::KEEP, folder);
    return succeeded(status) && ::fsync(folder.get()) != 0 ? fileStatus(errno, folder_) : status;
}

Status DriveStore::describe(const std::string& name, const Description& description) const {
    if (!isName(name)) return notAName(name);
    Status status = isDrive(pathOf(name));
    if (failed(status)) return status;
    FileDescriptor lock;
    status = lockDrive(pathOf(name), lock);
    if (failed(status)) return status;
    return writeFileAtomically(pathOf(name) + "/" + FILE_DESCRIPTION, description.toText());
}

}  // namespace features::simulator
