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

#include "features/simulator/store/CaptureFolder.h"
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

/// Takes the lock of a drive's folder; it lasts as long as the result is open.
Result<FileDescriptor> lockDrive(const std::string& path) {
    TRY(const FileDescriptor folder, openOwnFolder(path, FolderMode::TIGHTEN));
    return lockOwnFile(folder.get(), FILE_LOCK, path + "/" + FILE_LOCK, LockWait::YES);
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

/// The files of a new drive, not synced yet.
Status writeNewDrive(const DriveStore::NewDrive& drive, const Clock& clock, const std::string& folder) {
    DriveState state = newState(drive.description, drive.description.clockMs.value_or(clock.nowMs()), drive.firmware);
    const std::vector<uint8_t> bytes = DriveFolder::stateBytes(state, 1);
    RETURN_IF_FAILED(writeFile(folder + "/" + FILE_DESCRIPTION, drive.description.toText()));
    if (drive.capture) RETURN_IF_FAILED(writeCapture(*drive.capture, folder));
    return writeFile(folder + "/" + FILE_STATE, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
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
    struct stat info{};
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

DriveStore::Listing DriveStore::list() const {
    DIR* listing = ::opendir(folder_.c_str());
    if (listing == nullptr) return {{}, errno == ENOENT ? Status() : fileStatus(errno, folder_)};
    std::vector<std::string> names;
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
    return {std::move(names), error == 0 ? Status() : fileStatus(error, folder_)};
}

Result<FileDescriptor> DriveStore::makeFolder() const {
    if (::mkdir(folder_.c_str(), 0700) != 0 && errno != EEXIST) return fileStatus(errno, folder_);
    return openOwnFolder(folder_, FolderMode::TIGHTEN);
}

Result<FileDescriptor> DriveStore::lock() const {
    TRY(const FileDescriptor folder, makeFolder());
    TRY(FileDescriptor lock, lockOwnFile(folder.get(), STORE_LOCK, folder_ + "/" + STORE_LOCK, LockWait::YES));
    RETURN_IF_FAILED(removeLeftovers(folder.get()));
    return lock;
}

/// Under the lock no drive is being made or removed: these are of processes that died over it.
Status DriveStore::removeLeftovers(int folder) const {
    TRY(const std::vector<std::string> names, listOwnFolder(folder, folder_));
    for (const std::string& name : names) {
        if (!begins(name, MAKING) && !begins(name, REMOVING)) continue;
        std::error_code error;
        std::filesystem::remove_all(pathOf(name), error);  // a link goes, what it names stays
        if (error) return fileStatus(error.value(), pathOf(name));
    }
    return Status();
}

/// An empty folder that is no drive yet.
Result<std::string> DriveStore::makeUnnamed() const {
    std::string folder = folder_ + "/" + MAKING + "XXXXXX";
    if (::mkdtemp(folder.data()) == nullptr) return fileStatus(errno, folder);
    return folder;  // moved, not copied: without memory the name of a folder that is there must not be lost
}

Status DriveStore::checkFree(const std::string& name) const {
    if (!isName(name)) return notAName(name);
    return pathExists(pathOf(name)) ? fileStatus(EEXIST, pathOf(name)) : Status();
}

Status DriveStore::create(const std::vector<NewDrive>& drives, const Clock& clock) const {
    TRY(const FileDescriptor folder, makeFolder());
    PendingFolders making(drives.size());
    for (size_t i = 0; i < drives.size(); ++i) {
        RETURN_IF_FAILED(checkFree(drives[i].name));
        TRY(making.paths[i], makeUnnamed());
        RETURN_IF_FAILED(writeNewDrive(drives[i], clock, making.paths[i]));
    }
    // One wait for the disk for all of them, before the first of them gets its name.
    if (::syncfs(folder.get()) != 0) return fileStatus(errno, folder_);
    const SignalBlock naming;  // all of them or none
    for (size_t i = 0; i < drives.size(); ++i) {
        std::string path = pathOf(drives[i].name);
        // Does not replace a folder that was made meanwhile: it is not empty.
        if (::rename(making.paths[i].c_str(), path.c_str()) != 0)
            return fileStatus(errno == ENOTEMPTY ? EEXIST : errno, path);
        making.paths[i] = std::move(path);
    }
    if (::fsync(folder.get()) != 0) return fileStatus(errno, folder_);
    making.keep();
    return Status();
}

Result<FileDescriptor> DriveStore::lockNamed(const std::string& name) const {
    if (!isName(name)) return notAName(name);
    RETURN_IF_FAILED(isDrive(pathOf(name)));
    return lockDrive(pathOf(name));
}

Status DriveStore::remove(const std::string& name) const {
    TRY(const FileDescriptor lock, lockNamed(name));
    if (pathExists(snapshotOf(name))) RETURN_IF_FAILED(discard(snapshotOf(name), name));
    return discard(pathOf(name), name);
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
    TRY(const FileDescriptor lock, lockNamed(name));
    return copyOver(pathOf(name), snapshotOf(name));
}

Status DriveStore::reset(const std::string& name) const {
    if (!isName(name)) return notAName(name);
    RETURN_IF_FAILED(isDrive(pathOf(name)));
    if (!pathExists(snapshotOf(name)))
        return Status(CATEGORY_OS, ENOENT, "There is no snapshot of the simulated drive \"" + name + "\".");
    TRY(const FileDescriptor lock, lockDrive(pathOf(name)));
    return copyOver(snapshotOf(name), pathOf(name));
}

/// Puts a copy of a drive's folder in the place of another, or where there is none.
Status DriveStore::copyOver(const std::string& from, const std::string& to) const {
    TRY(const FileDescriptor source, openOwnFolder(from, FolderMode::KEEP));
    PendingFolders making(1);
    std::string& copy = making.paths.front();
    TRY(copy, makeUnnamed());
    TRY(const FileDescriptor target, openOwnFolder(copy, FolderMode::KEEP));
    RETURN_IF_FAILED(copyDrive(source.get(), from, target.get(), copy));
    if (::syncfs(target.get()) != 0) return fileStatus(errno, copy);
    const SignalBlock naming;  // what has the copy's name is removed, be it the old folder or a copy without a place
    const unsigned flags = pathExists(to) ? RENAME_EXCHANGE : RENAME_NOREPLACE;
    if (::renameat2(AT_FDCWD, copy.c_str(), AT_FDCWD, to.c_str(), flags) != 0) return fileStatus(errno, to);
    if (flags == RENAME_NOREPLACE) making.keep();
    TRY(const FileDescriptor folder, openOwnFolder(folder_, FolderMode::KEEP));
    return ::fsync(folder.get()) != 0 ? fileStatus(errno, folder_) : Status();
}

Status DriveStore::describe(const std::string& name, const Description& description) const {
    TRY(const FileDescriptor lock, lockNamed(name));
    return writeFileAtomically(pathOf(name) + "/" + FILE_DESCRIPTION, description.toText());
}

}  // namespace features::simulator
