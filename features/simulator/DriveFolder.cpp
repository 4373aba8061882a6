#include "features/simulator/DriveFolder.h"

#include <boost/crc.hpp>
#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <set>

#include "features/nvme/Bytes.h"
#include "features/simulator/Archive.h"
#include "ostrel/core/File.h"
#include "ostrel/core/ScopeTrace.h"

namespace features::simulator {

using namespace ostrel::core;
using nvme::le32;
using nvme::le64;
using nvme::putLe32;
using nvme::putLe64;

namespace {

// The state file: a head of 64 bytes, the archive of DriveState behind it.
//    0  8  magic            12  4  CRC-32 of the archive           24  8  revision of the active firmware
//    8  4  STATE_VERSION    16  8  length of the archive           60  4  CRC-32 of bytes 0 to 59
constexpr char MAGIC[] = "NBSIMST1";
constexpr size_t MAGIC_BYTES = 8;
constexpr size_t HEAD_BYTES = 64;
constexpr size_t OFFSET_FIRMWARE = 24;
constexpr size_t FIRMWARE_BYTES = 8;
constexpr size_t OFFSET_HEAD_CRC = 60;

uint32_t crc32(const uint8_t* data, size_t size) {
    boost::crc_32_type crc;
    crc.process_bytes(data, size);
    return crc.checksum();
}

Status systemStatus(int error, const std::string& path) {
    if (error == EACCES || error == EPERM) {
        return Status(CATEGORY_OS, static_cast<uint32_t>(error),
                      "System error. No permission for " + path + ": it needs the root user.");
    }
    return Status(CATEGORY_OS, static_cast<uint32_t>(error),
                  "System error. " + path + ": " + std::strerror(error) + ".");
}

Status damaged(const std::string& path, const std::string& how) {
    return Status(CATEGORY_OS, EBADMSG, "The state of the simulated drive is damaged: " + path + " " + how + ".");
}

/// Null: the head is good.
const char* checkHead(const uint8_t* head, size_t size) {
    if (size < HEAD_BYTES) return "is too short";
    if (std::memcmp(head, MAGIC, MAGIC_BYTES) != 0) return "is no state file";
    if (crc32(head, OFFSET_HEAD_CRC) != le32(head + OFFSET_HEAD_CRC)) return "has a wrong checksum";
    if (le32(head + 8) != STATE_VERSION) return "is of another version of this program";
    return nullptr;
}

/// Null: the state is good.
const char* parseState(const uint8_t* data, size_t size, DriveState& state) {
    if (const char* fault = checkHead(data, size)) return fault;
    if (le64(data + 16) != size - HEAD_BYTES) return "has a wrong length";
    if (crc32(data + HEAD_BYTES, size - HEAD_BYTES) != le32(data + 12)) return "has a wrong checksum";
    DriveState read;
    ArchiveReader reader(data + HEAD_BYTES, size - HEAD_BYTES);
    read.fields(reader);
    if (reader.isDamaged()) return "does not hold what its version says";
    state = std::move(read);
    return nullptr;
}

int64_t nanoseconds(const timespec& time) {
    return int64_t{time.tv_sec} * 1000000000 + time.tv_nsec;
}

Status readAll(int descriptor, const std::string& path, std::string& text) {
    text.clear();
    char piece[65536];
    for (;;) {
        const ssize_t count = ::read(descriptor, piece, sizeof piece);
        if (count == 0) return Status();
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return systemStatus(errno, path);
        text.append(piece, static_cast<size_t>(count));
    }
}

}  // namespace

std::vector<uint8_t> DriveFolder::stateBytes(DriveState& state) {
    ArchiveWriter writer;
    writer.bytes().resize(HEAD_BYTES);
    state.fields(writer);
    std::vector<uint8_t> bytes = std::move(writer.bytes());
    uint8_t* head = bytes.data();
    std::memcpy(head, MAGIC, MAGIC_BYTES);
    putLe32(head + 8, STATE_VERSION);
    putLe32(head + 12, crc32(head + HEAD_BYTES, bytes.size() - HEAD_BYTES));
    putLe64(head + 16, bytes.size() - HEAD_BYTES);
    const size_t slot = state.firmware.activeSlot;
    if (slot >= 1 && slot <= state.firmware.slots.size()) {
        const std::string& revision = state.firmware.slots[slot - 1];
        std::memcpy(head + OFFSET_FIRMWARE, revision.data(), std::min(revision.size(), FIRMWARE_BYTES));
    }
    putLe32(head + OFFSET_HEAD_CRC, crc32(head, OFFSET_HEAD_CRC));
    return bytes;
}

std::string DriveFolder::mediaName(uint32_t nsid, uint32_t generation) {
    return MEDIA_PREFIX + std::to_string(nsid) + "-" + std::to_string(generation);
}

std::string DriveFolder::mediaPath(uint32_t nsid, uint32_t generation) const {
    return path_ + "/" + mediaName(nsid, generation);
}

Status DriveFolder::begin() {
    OSTREL_TRACE();
    Status status = lock();
    if (status.is(0, 0)) status = loadDescription();
    if (status.is(0, 0)) status = loadState();
    if (status.is(0, 0)) {
        if (!isChecked_) removeLeftovers();
        isChecked_ = true;
        return status;
    }
    lock_ = FileDescriptor();
    folder_ = FileDescriptor();
    return status;
}

Status DriveFolder::lock() {
    OSTREL_TRACE();
    folder_ = FileDescriptor(::open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!folder_.isOpen()) return systemStatus(errno, path_);
    // Without a description there is no drive, and nothing is made in a folder that is none.
    if (::faccessat(folder_.get(), FILE_DESCRIPTION, F_OK, AT_SYMLINK_NOFOLLOW) != 0) {
        return systemStatus(errno, filePath(FILE_DESCRIPTION));
    }
    lock_ = FileDescriptor(
        ::openat(folder_.get(), FILE_LOCK, O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600));
    if (!lock_.isOpen()) return systemStatus(errno, filePath(FILE_LOCK));
    while (::flock(lock_.get(), LOCK_EX) != 0) {
        if (errno != EINTR) return systemStatus(errno, filePath(FILE_LOCK));
    }
    struct stat info {};
    // The drive was removed while this process waited.
    if (::fstat(lock_.get(), &info) != 0 || info.st_nlink == 0) return systemStatus(ENOENT, path_);
    return Status();
}

Status DriveFolder::readChanged(const char* name, KnownFile& known, std::string& text, bool& isRead) {
    OSTREL_TRACE();
    struct stat info {};
    if (::fstatat(folder_.get(), name, &info, AT_SYMLINK_NOFOLLOW) != 0) return systemStatus(errno, filePath(name));
    isRead = known.bytes != info.st_size || known.inode != info.st_ino || known.changedNs != nanoseconds(info.st_ctim);
    if (!isRead) return Status();
    known = KnownFile();
    FileDescriptor file(::openat(folder_.get(), name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!file.isOpen() || ::fstat(file.get(), &info) != 0) return systemStatus(errno, filePath(name));
    if (!S_ISREG(info.st_mode)) return systemStatus(EINVAL, filePath(name));
    const Status status = readAll(file.get(), filePath(name), text);
    if (!status.is(0, 0)) return status;
    known = KnownFile{std::move(file), info.st_ino, nanoseconds(info.st_ctim), info.st_size};
    return Status();
}

Status DriveFolder::loadDescription() {
    OSTREL_TRACE();
    std::string text;
    bool isRead = false;
    Status status = readChanged(FILE_DESCRIPTION, knownDescription_, text, isRead);
    if (!status.is(0, 0) || !isRead) return status;
    Description description;
    status = Description::parse(text, description);
    if (status.is(0, 0)) {
        description_ = std::move(description);
        return status;
    }
    knownDescription_ = KnownFile();
    return Status(CATEGORY_OS, status.getCode(), filePath(FILE_DESCRIPTION) + ": " + status.getMessage());
}

Status DriveFolder::loadState() {
    OSTREL_TRACE();
    isNew_ = false;
    std::string text;
    bool isRead = false;
    const Status status = readChanged(FILE_STATE, knownState_, text, isRead);
    if (status.is(CATEGORY_OS, ENOENT)) {
        state = DriveState();
        savedBytes_.clear();
        knownState_ = KnownFile();
        isNew_ = true;
        return Status();
    }
    if (!status.is(0, 0) || !isRead) return status;
    const auto* bytes = reinterpret_cast<const uint8_t*>(text.data());
    if (const char* fault = parseState(bytes, text.size(), state)) {
        knownState_ = KnownFile();
        return damaged(filePath(FILE_STATE), fault);
    }
    savedBytes_.assign(bytes, bytes + text.size());
    return Status();
}

Status DriveFolder::save() {
    OSTREL_TRACE();
    std::vector<uint8_t> bytes = stateBytes(state);
    if (bytes == savedBytes_) return Status();
    // The known file is looked at again before it counts: an error may come after the renaming.
    knownState_ = KnownFile();
    Status status = writeFileAtomically(filePath(FILE_STATE),
                                        std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
    if (!status.is(0, 0)) return status;
    savedBytes_ = std::move(bytes);
    isNew_ = false;
    FileDescriptor file(::openat(folder_.get(), FILE_STATE, O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    struct stat info {};
    if (file.isOpen() && ::fstat(file.get(), &info) == 0) {
        knownState_ = KnownFile{std::move(file), info.st_ino, nanoseconds(info.st_ctim), info.st_size};
    }
    return status;
}

Status DriveFolder::commit() {
    OSTREL_TRACE();
    const Status status = save();
    if (!status.is(0, 0)) {
        rollBack();
        return status;
    }
    lock_ = FileDescriptor();
    folder_ = FileDescriptor();
    return status;
}

void DriveFolder::rollBack() {
    OSTREL_TRACE();
    restore();
    lock_ = FileDescriptor();
    folder_ = FileDescriptor();
}

void DriveFolder::restore() {
    OSTREL_TRACE();
    if (savedBytes_.empty()) {
        state = DriveState();
    } else {
        (void)parseState(savedBytes_.data(), savedBytes_.size(), state);  // our own bytes: nothing can be wrong
    }
}

void DriveFolder::removeLeftovers() {
    OSTREL_TRACE();
    std::set<std::string> named;
    for (const auto& [nsid, part] : state.namespaces) named.insert(mediaName(nsid, part.mediaGeneration));
    const int descriptor = ::openat(folder_.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    DIR* listing = descriptor < 0 ? nullptr : ::fdopendir(descriptor);
    if (listing == nullptr) {
        FileDescriptor close(descriptor);
        return;  // leftovers cost room, nothing else
    }
    std::vector<std::string> leftovers;
    while (const dirent* entry = ::readdir(listing)) {
        const std::string name = entry->d_name;
        if (name.compare(0, std::strlen(MEDIA_PREFIX), MEDIA_PREFIX) == 0 && named.count(name) == 0) {
            leftovers.push_back(name);
        }
    }
    ::closedir(listing);
    for (const std::string& name : leftovers) (void)::unlinkat(folder_.get(), name.c_str(), 0);
}

Status DriveFolder::readIdentity(const std::string& path, Identity& identity) {
    OSTREL_TRACE();
    std::string text;
    const std::string descriptionPath = path + "/" + FILE_DESCRIPTION;
    Status status = readFile(descriptionPath, SymbolicLink::REFUSE, text);
    if (!status.is(0, 0)) return status;
    status = Description::parse(text, identity.description);
    if (!status.is(0, 0)) {
        return Status(CATEGORY_OS, status.getCode(), descriptionPath + ": " + status.getMessage());
    }
    const std::string statePath = path + "/" + FILE_STATE;
    const FileDescriptor file(::open(statePath.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!file.isOpen()) return errno == ENOENT ? Status() : systemStatus(errno, statePath);
    uint8_t head[HEAD_BYTES] = {};
    const ssize_t count = ::pread(file.get(), head, sizeof head, 0);
    if (count < 0) return systemStatus(errno, statePath);
    if (const char* fault = checkHead(head, static_cast<size_t>(count))) return damaged(statePath, fault);
    identity.firmware = nvme::shownText(head + OFFSET_FIRMWARE, FIRMWARE_BYTES);
    return Status();
}

}  // namespace features::simulator
