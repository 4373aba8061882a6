#include "simdrive/Commands.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <random>
#include <set>

#include "features/simulator/controller/Controller.h"
#include "features/simulator/sata/SataDrive.h"
#include "features/simulator/store/DriveCopy.h"
#include "features/simulator/store/DriveFolder.h"
#include "features/simulator/store/OwnFiles.h"
#include "ostrel/core/File.h"
#include "ostrel/core/FileDescriptor.h"
#include "simdrive/DriveRow.h"
#include "simdrive/capture/CaptureCommand.h"

namespace simdrive {

using namespace features::simulator;
using features::Result;
using namespace ostrel::core;

namespace {

Status refused(int error, const std::string& message) {
    return Status(CATEGORY_OS, static_cast<uint32_t>(error), message);
}

std::string randomSerial() {
    static constexpr char DIGITS[] = "0123456789ABCDEFGHJKLMNPQRSTVWXYZ";
    std::random_device random;
    std::uniform_int_distribution<size_t> digit(0, std::strlen(DIGITS) - 1);
    std::string serial = "SIM";
    for (int i = 0; i < 9; ++i) serial += DIGITS[digit(random)];
    return serial;
}

std::set<std::string> takenSerials(const DriveStore& store, const std::vector<std::string>& names) {
    std::set<std::string> taken;
    for (const std::string& name : names) {
        const auto identity = DriveFolder::readIdentity(store.pathOf(name));
        // A damaged drive has no serial number that it could share.
        if (identity && identity->firmware) taken.insert(identity->description.serialNumber);
    }
    return taken;
}

/// NAME-1, NAME-2, ... past those that are taken, or NAME alone.
std::vector<std::string> newNames(const std::vector<std::string>& existing, const std::vector<std::string>& wanted,
                                  const CreateOptions& options) {
    if (options.count == 1 && !wanted.empty()) return {wanted[0]};
    const std::string model = options.capture ? "capture" : modelText(options.drive.description.model);
    const std::string stem = wanted.empty() ? model : wanted[0];
    const std::set<std::string> taken(existing.begin(), existing.end());
    std::vector<std::string> names;
    for (uint64_t number = 1; names.size() < options.count; ++number) {
        const std::string name = stem + "-" + std::to_string(number);
        if (taken.count(name) == 0) names.push_back(name);
    }
    return names;
}

/// Adds it to `taken`.
Result<std::string> newSerial(const CreateOptions& options, uint64_t number, std::set<std::string>& taken) {
    std::string serial;
    if (options.serial) {
        serial = *options.serial + (options.count == 1 ? "" : "-" + std::to_string(number));
    } else {
        do serial = randomSerial();
        while (taken.count(serial) != 0);
    }
    if (!taken.insert(serial).second)
        return refused(EEXIST, "Another simulated drive has the serial number " + serial + ".");
    return serial;
}

/// Nothing is removed from a folder that holds anything else than a drive's files.
Status checkFiles(const FileDescriptor& folder, const std::string& path) {
    TRY(const std::vector<std::string> names, listOwnFolder(folder.get(), path));
    for (const std::string& name : names) {
        struct stat info{};
        const bool isRegular =
            ::fstatat(folder.get(), name.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(info.st_mode);
        if (!isRegular || !isDriveFile(name)) {
            std::string message = path;
            message.append("/").append(name).append(" is no file of a simulated drive. Nothing was changed.");
            return refused(EINVAL, message);
        }
    }
    return Status();
}

/// Makes no lock file, which would be left where the removal fails: closed when there is none. The store's lock is
/// held: no `serve` begins now.
Result<FileDescriptor> lockIfServed(const FileDescriptor& folder, const std::string& path) {
    struct stat info{};
    if (::fstatat(folder.get(), FILE_SERVED, &info, AT_SYMLINK_NOFOLLOW) == 0) return lockServed(folder, path);
    if (errno != ENOENT) return fileStatus(errno, path + "/" + FILE_SERVED);
    return FileDescriptor();
}

/// Of a drive that is about to lose its files: it is not served, as long as the result is held, and nothing else is in
/// its folder.
Result<FileDescriptor> lockIdle(const DriveStore& store, const std::string& name) {
    TRY(const std::string path, findDrive(store, name));
    TRY(const FileDescriptor folder, openOwnFolder(path, FolderMode::TIGHTEN));
    RETURN_IF_FAILED(checkFiles(folder, path));
    auto lock = lockIfServed(folder, path);
    if (!lock && isHeld(lock.error())) return refused(EBUSY, "The drive \"" + name + "\" is being served.");
    return lock;
}

Status removeDrive(const DriveStore& store, const std::string& name) {
    TRY(const FileDescriptor lock, lockIdle(store, name));
    return store.remove(name);
}

std::string faultList(const Description& description) {
    const std::vector<Fault> faults = faultsOf(description);
    std::string text;
    for (const auto& [key, value] : faults) text.append(key).append(" = ").append(value).append("\n");
    return text.empty() ? "No faults.\n" : text;
}

/// Those that the options set; after "clear" and which, their values that mean none.
Result<std::vector<Fault>> faultsToSet(const std::vector<std::string>& words, const FaultOptions& options) {
    if (words.size() == 1) return options.faults;
    if (words[1] != "clear" || !options.faults.empty()) {
        return refused(EINVAL, "After the name: options that set faults, or \"clear\" and which.");
    }
    const std::vector<Fault> none = noFaults();
    if (words.size() == 2) return none;
    std::vector<Fault> faults;
    for (size_t i = 2; i < words.size(); ++i) {
        const auto found = std::find_if(none.begin(), none.end(), [&](auto& each) { return each.first == words[i]; });
        if (found == none.end()) return refused(EINVAL, "There is no fault \"" + words[i] + "\".");
        faults.push_back(*found);
    }
    return faults;
}

std::string madeText(const std::vector<DriveStore::NewDrive>& drives) {
    std::string text;
    for (const DriveStore::NewDrive& drive : drives) {
        text.append("Made ").append(drive.name).append(": ").append(modelText(drive.description.model)).append(", ");
        text.append(sizeText(drive.description.sizeBytes)).append(", serial number ");
        text.append(drive.description.serialNumber);
        text.append(drive.description.hasTwoControllers ? ", two controllers\n" : "\n");
    }
    return text;
}

std::string jsonOfAll(const DriveStore& store, const std::vector<DriveStore::NewDrive>& drives) {
    std::vector<DriveRow> rows;
    rows.reserve(drives.size());
    for (const DriveStore::NewDrive& drive : drives) rows.push_back(readRow(store, drive.name));
    return jsonOf(rows);
}

Outcome createAll(const DriveStore& store, const std::vector<std::string>& names, const CreateOptions& options) {
    TRY(const FileDescriptor lock, store.lock());
    const DriveStore::Listing existing = store.list();
    RETURN_IF_FAILED(existing.status);
    std::set<std::string> taken = takenSerials(store, existing.names);
    std::vector<DriveStore::NewDrive> drives;
    for (const std::string& name : newNames(existing.names, names, options)) {
        DriveStore::NewDrive drive = options.drive;
        drive.name = name;
        TRY(drive.description.serialNumber, newSerial(options, drives.size() + 1, taken));
        // The bounds of size and serial number are those of the description.
        RETURN_IF_FAILED(Description::parse(drive.description.toText()));
        drives.push_back(drive);
    }
    RETURN_IF_FAILED(store.create(drives, SystemClock()));
    return {0, options.wantsJson ? jsonOfAll(store, drives) : madeText(drives), ""};
}

/// Those of a capture are what it says: the options of the others are not for it.
Result<CreateOptions> withCapture(const CreateOptions& options) {
    if (!options.capture) return options;
    const CreateOptions defaults;
    const bool hasOthers = options.count != 1 || options.serial || !options.drive.firmware.empty() ||
                           options.drive.description.toText() != defaults.drive.description.toText();
    if (hasOthers) return refused(EINVAL, "--from takes the drive as it was captured: no other option but --json.");
    CreateOptions captured = options;
    TRY(captured.drive, driveOfCapture(*options.capture));
    captured.serial = captured.drive.description.serialNumber;
    return captured;
}

}  // namespace

Result<std::string> findDrive(const DriveStore& store, const std::string& name) {
    if (!DriveStore::isName(name)) return refused(EINVAL, "\"" + name + "\" is not a valid name of a simulated drive.");
    std::string path = store.pathOf(name);
    struct stat info{};
    const bool isFolder = ::lstat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
    const bool isDrive =
        isFolder && ::lstat((path + "/" + FILE_DESCRIPTION).c_str(), &info) == 0 && S_ISREG(info.st_mode);
    if (!isDrive) return refused(ENOENT, "There is no simulated drive \"" + name + "\".");
    return path;
}

Result<FileDescriptor> lockServed(const FileDescriptor& folder, const std::string& path) {
    return lockOwnFile(folder.get(), FILE_SERVED, path + "/" + FILE_SERVED, LockWait::NO);
}

bool isHeld(const Status& status) {
    return status.is(CATEGORY_OS, EWOULDBLOCK);
}

Outcome create(const DriveStore& store, const std::vector<std::string>& names, const CreateOptions& given) {
    const auto options = withCapture(given);
    if (!options) return Outcome::failed(options.error().getMessage());
    return createAll(store, names, *options);
}

Outcome list(const DriveStore& store, bool wantsJson) {
    const DriveStore::Listing listed = store.list();
    RETURN_IF_FAILED(listed.status);  // none, or some, is not all
    std::vector<DriveRow> rows;
    int exitStatus = 0;
    for (const std::string& name : listed.names) {
        rows.push_back(readRow(store, name));
        if (failed(rows.back().status)) exitStatus = EXIT_FAILED;  // a list with a hole is no whole one
    }
    if (wantsJson) return {exitStatus, jsonOf(rows), ""};
    return {exitStatus, rows.empty() ? "There are no simulated drives.\n" : tableOf(rows), ""};
}

Outcome remove(const DriveStore& store, const std::vector<std::string>& names) {
    TRY(const FileDescriptor lock, store.lock());
    std::string removed;
    for (const std::string& name : names) {
        const Status status = removeDrive(store, name);
        if (failed(status)) return {EXIT_FAILED, removed, status.getMessage()};
        removed += "Removed " + name + "\n";
    }
    return {0, removed, ""};
}

Outcome snapshot(const DriveStore& store, const std::string& name) {
    TRY(const FileDescriptor lock, store.lock());
    RETURN_IF_FAILED(findDrive(store, name));
    RETURN_IF_FAILED(store.snapshot(name));
    return {0, "Kept " + name + " as it is\n", ""};
}

Outcome reset(const DriveStore& store, const std::string& name) {
    TRY(const FileDescriptor lock, store.lock());
    TRY(const FileDescriptor served, lockIdle(store, name));
    RETURN_IF_FAILED(store.reset(name));
    return {0, "Reset " + name + " to its snapshot\n", ""};
}

Outcome powerCycle(const DriveStore& store, const std::string& name) {
    TRY(const FileDescriptor lock, store.lock());
    TRY(const std::string path, findDrive(store, name));
    TRY(const DriveFolder::Identity identity, DriveFolder::readIdentity(path));
    const SystemClock clock;
    const Status status = isSata(identity.description.model) ? sata::SataDrive(path, clock).powerCycle()
                                                             : Controller(path, clock).reset(ResetKind::SUBSYSTEM);
    if (failed(status)) return Outcome::failed(status.getMessage());
    return {0, "Power-cycled " + name + "\n", ""};
}

Outcome fault(const DriveStore& store, const std::vector<std::string>& words, const FaultOptions& options) {
    const auto faults = faultsToSet(words, options);
    if (!faults) return Outcome::misused(faults.error().getMessage());
    TRY(const FileDescriptor lock, store.lock());
    TRY(const std::string path, findDrive(store, words[0]));
    TRY(const FileDescriptor folder, openOwnFolder(path, FolderMode::TIGHTEN));
    TRY(std::string text, DriveFolder::readDescription(folder.get(), path));
    for (const Fault& each : *faults) text = withFault(text, each);
    TRY(const Description description, Description::parse(text));
    if (!faults->empty()) RETURN_IF_FAILED(writeFileAtomically(path + "/" + FILE_DESCRIPTION, text));
    if (!options.wantsJson) return {0, faultList(description), ""};
    const DriveRow row = readRow(store, words[0]);
    return {succeeded(row.status) ? 0 : EXIT_FAILED, jsonOf(row) + "\n", ""};
}

}  // namespace simdrive
