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

/// Files that were to replace others when their process died.
constexpr const char* REPLACEMENT_PREFIX = ".nimbrel-";

bool begins(const std::string& name, const char* prefix) {
    return name.compare(0, std::strlen(prefix), prefix) == 0;
}

// The state file: a head of 64 bytes, the archive of DriveState behind it.
//    0  8  magic            12  4  CRC-32 of the archive           24  8  revision of the active firmware
//    8  4  STATE_VERSION    16  8  length of the archive           32  8  counts the files that were written
//                                                                  60  4  CRC-32 of bytes 0 to 59
constexpr char MAGIC[] = "NBSIMST1";
constexpr size_t MAGIC_BYTES = 8;
constexpr size_t HEAD_BYTES = 64;
constexpr size_t OFFSET_FIRMWARE = 24;
constexpr size_t FIRMWARE_BYTES = 8;
constexpr size_t OFFSET_SEQUENCE = 32;
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

Status readAll(int descriptor, const std::string& path, std::string& text) {
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

std::vector<uint8_t> DriveFolder::stateBytes(DriveState& state, uint64_t sequence) {
    ArchiveWriter writer;
    writer.bytes().resize(HEAD_BYTES);
    state.fields(writer);
    std::vector<uint8_t> bytes = std::move(writer.bytes());
    uint8_t* head = bytes.data();
    std::copy_n(MAGIC, MAGIC_BYTES, head);
    putLe32(head + 8, STATE_VERSION);
    putLe32(head + 12, crc32(head + HEAD_BYTES, bytes.size() - HEAD_BYTES));
    putLe64(head + 16, bytes.size() - HEAD_BYTES);
    putLe64(head + OFFSET_SEQUENCE, sequence);
    const std::string& revision = state.firmware.running;
    std::copy_n(revision.begin(), std::min(revision.size(), FIRMWARE_BYTES), head + OFFSET_FIRMWARE);
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

FileDescriptor DriveFolder::openFile(const char* name, Status& status) const {
    OSTREL_TRACE();
    FileDescriptor file(::openat(folder_.get(), name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat info {};
    if (!file.isOpen() || ::fstat(file.get(), &info) != 0) {
        status = systemStatus(errno, filePath(name));
    } else if (!S_ISREG(info.st_mode)) {
        status = systemStatus(EINVAL, filePath(name));
    }
    return status.is(0, 0) ? std::move(file) : FileDescriptor();
}

Status DriveFolder::loadDescription() {
    OSTREL_TRACE();
    Status status;
    const FileDescriptor file = openFile(FILE_DESCRIPTION, status);
    std::string text;
    if (status.is(0, 0)) status = readAll(file.get(), filePath(FILE_DESCRIPTION), text);
    // An empty file is none that was read before: it lacks what a description must have.
    const bool isKnown = !text.empty() && text == descriptionText_;
    if (!status.is(0, 0) || isKnown) return status;
    Description description;
    status = Description::parse(text, description);
    if (!status.is(0, 0)) {
        return Status(CATEGORY_OS, status.getCode(), filePath(FILE_DESCRIPTION) + ": " + status.getMessage());
    }
    description_ = std::move(description);
    descriptionText_ = std::move(text);
    return status;
}

Status DriveFolder::loadState() {
    OSTREL_TRACE();
    Status status;
    const FileDescriptor file = openFile(FILE_STATE, status);
    isNew_ = status.is(CATEGORY_OS, ENOENT);
    if (isNew_) {
        savedBytes_.clear();
        return hasMedia() ? damaged(filePath(FILE_STATE), "is missing, and media are there") : Status();
    }
    if (!status.is(0, 0)) return status;
    uint8_t head[HEAD_BYTES];
    const bool isKnown = savedBytes_.size() > HEAD_BYTES && ::pread(file.get(), head, sizeof head, 0) == sizeof head &&
                         std::memcmp(head, savedBytes_.data(), sizeof head) == 0;
    if (isKnown) return status;
    std::string text;
    status = readAll(file.get(), filePath(FILE_STATE), text);
    if (!status.is(0, 0)) return status;
    const auto* bytes = reinterpret_cast<const uint8_t*>(text.data());
    if (const char* fault = parseState(bytes, text.size(), state)) return damaged(filePath(FILE_STATE), fault);
    savedBytes_.assign(bytes, bytes + text.size());
    return status;
}

Status DriveFolder::save() {
    OSTREL_TRACE();
    const uint64_t sequence = savedBytes_.empty() ? 0 : le64(savedBytes_.data() + OFFSET_SEQUENCE);
    std::vector<uint8_t> bytes = stateBytes(state, sequence + 1);
    const bool isSame = bytes.size() == savedBytes_.size() &&
                        std::equal(bytes.begin() + HEAD_BYTES, bytes.end(), savedBytes_.begin() + HEAD_BYTES);
    if (isSame) return Status();
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    Status status = writeFileAtomically(filePath(FILE_STATE), text);
    if (!status.is(0, 0)) return status;
    savedBytes_ = std::move(bytes);
    isNew_ = false;
    return status;
}

Status DriveFolder::commit() {
    OSTREL_TRACE();
    Status status = save();
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

std::vector<std::string> DriveFolder::files() const {
    OSTREL_TRACE();
    std::vector<std::string> names;
    const int descriptor = ::openat(folder_.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    DIR* listing = descriptor < 0 ? nullptr : ::fdopendir(descriptor);
    if (listing == nullptr) {
        const FileDescriptor closing(descriptor);
        return names;
    }
    while (const dirent* entry = ::readdir(listing)) names.emplace_back(entry->d_name);
    ::closedir(listing);
    return names;
}

bool DriveFolder::hasMedia() const {
    OSTREL_TRACE();
    const std::vector<std::string> names = files();
    return std::any_of(names.begin(), names.end(), [](const std::string& name) { return begins(name, MEDIA_PREFIX); });
}

void DriveFolder::removeLeftovers() {
    OSTREL_TRACE();
    std::set<std::string> named;
    for (const auto& [nsid, part] : state.namespaces) named.insert(mediaName(nsid, part.mediaGeneration));
    for (const std::string& name : files()) {
        const bool isOldMedia = begins(name, MEDIA_PREFIX) && named.count(name) == 0;
        // One that stays costs room, nothing else.
        if (isOldMedia || begins(name, REPLACEMENT_PREFIX)) (void)::unlinkat(folder_.get(), name.c_str(), 0);
    }
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
