#include "features/simulator/store/DriveFolder.h"

#include <boost/crc.hpp>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <set>
#include <utility>

#include "features/nvme/Bytes.h"
#include "features/simulator/store/Archive.h"
#include "features/simulator/store/Extension.h"
#include "features/simulator/store/OwnFiles.h"
#include "ostrel/core/File.h"

namespace features::simulator {

using namespace ostrel::core;
using nvme::le32;
using nvme::le64;
using nvme::putLe32;
using nvme::putLe64;

namespace {

bool begins(const std::string& name, const char* prefix) {
    return name.compare(0, std::strlen(prefix), prefix) == 0;
}

// The state file: a head of 64 bytes, the archive of DriveState after it.
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

// Far more than any description or state takes.
constexpr size_t MAX_DESCRIPTION_BYTES = 64 << 10;
constexpr size_t MAX_STATE_BYTES = 16 << 20;

uint32_t crc32(const uint8_t* data, size_t size) {
    boost::crc_32_type crc;
    crc.process_bytes(data, size);
    return crc.checksum();
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

/// Whether a file has this text, which is not empty, and nothing more.
bool holds(const OwnFile& file, const std::string& text) {
    if (text.empty() || static_cast<uint64_t>(file.info.st_size) != text.size()) return false;
    std::vector<uint8_t> bytes(text.size() + 1);
    const BytesRead read = readOwnBytes(file.descriptor.get(), bytes.data(), bytes.size(), 0);
    return read.error == 0 && read.count == text.size() && std::memcmp(bytes.data(), text.data(), text.size()) == 0;
}

/// Null: so is what follows it.
const char* checkFile(const uint8_t* data, size_t size) {
    if (const char* fault = checkHead(data, size)) return fault;
    if (le64(data + 16) != size - HEAD_BYTES) return "has a wrong length";
    if (crc32(data + HEAD_BYTES, size - HEAD_BYTES) != le32(data + 12)) return "has a wrong checksum";
    return nullptr;
}

/// Reads what follows the head, which is not looked at; empty: it is damaged.
std::optional<DriveState> readArchive(const uint8_t* data, size_t size) {
    std::optional<DriveState> state(std::in_place);
    ArchiveReader reader(data + HEAD_BYTES, size - HEAD_BYTES);
    state->fields(reader);
    if (reader.isDamaged()) return std::nullopt;
    if (state->extensions.count(ControllerState::NAME) != 0) {
        state->other = readExtension<ControllerState>(*state);
        state->extensions.erase(ControllerState::NAME);
    }
    return state;
}

/// Of the description's file: with its path.
Status wrongDescription(const Status& error, const std::string& path) {
    return Status(CATEGORY_OS, error.getCode(), path + ": " + error.getMessage());
}

/// What follows the head of the state file.
template <class Archive>
void putState(DriveState& state, Archive& archive) {
    const uint16_t controllerId = state.controllerId;
    state.turnTo(1);
    if (state.other) writeExtension(state, *state.other);
    state.fields(archive);
    state.extensions.erase(ControllerState::NAME);
    state.turnTo(controllerId);
}

/// The state file but for its head, which is all zeros.
std::vector<uint8_t> archiveOf(DriveState& state) {
    ArchiveWriter writer;
    writer.skip(HEAD_BYTES);
    putState(state, writer);
    return writer.take();
}

/// Whether a state file is that of the state, but for its head.
bool holdsState(const std::vector<uint8_t>& file, DriveState& state) {
    if (file.size() <= HEAD_BYTES) return false;
    ArchiveComparison comparison(file.data() + HEAD_BYTES, file.size() - HEAD_BYTES);
    putState(state, comparison);
    return comparison.isSame();
}

void fillHead(std::vector<uint8_t>& bytes, const DriveState& state, uint64_t sequence) {
    uint8_t* head = bytes.data();
    std::copy_n(MAGIC, MAGIC_BYTES, head);
    putLe32(head + 8, STATE_VERSION);
    putLe32(head + 12, crc32(head + HEAD_BYTES, bytes.size() - HEAD_BYTES));
    putLe64(head + 16, bytes.size() - HEAD_BYTES);
    putLe64(head + OFFSET_SEQUENCE, sequence);
    const std::string& revision = state.firmware.running;
    std::copy_n(revision.begin(), std::min(revision.size(), FIRMWARE_BYTES), head + OFFSET_FIRMWARE);
    putLe32(head + OFFSET_HEAD_CRC, crc32(head, OFFSET_HEAD_CRC));
}

/// The revision that the head of a state has. `path`: of the state.
Result<std::string> readFirmware(int folder, const std::string& path) {
    const auto file = openOwnFile(folder, FILE_STATE, path);
    if (!file && file.error().is(CATEGORY_OS, ENOENT)) return std::string();
    if (!file) return file.error();
    uint8_t head[HEAD_BYTES] = {};
    const BytesRead read = readOwnBytes(file->descriptor.get(), head, sizeof head, 0);
    if (read.error != 0) return fileStatus(read.error, path);
    if (const char* fault = checkHead(head, read.count)) return damaged(path, fault);
    return nvme::shownText(head + OFFSET_FIRMWARE, FIRMWARE_BYTES);
}

}  // namespace

std::vector<uint8_t> DriveFolder::stateBytes(DriveState& state, uint64_t sequence) {
    std::vector<uint8_t> bytes = archiveOf(state);
    fillHead(bytes, state, sequence);
    return bytes;
}

std::string DriveFolder::mediaName(uint32_t nsid, uint32_t generation) {
    return MEDIA_PREFIX + std::to_string(nsid) + "-" + std::to_string(generation);
}

Status DriveFolder::begin() {
    handles_ = idle_->take(this);
    Status status = lock();
    if (succeeded(status)) status = loadDescription();
    if (succeeded(status)) status = loadState();
    if (failed(status)) handles_ = DriveHandles();
    return status;
}

Status DriveFolder::lock() {
    for (;;) {
        if (!handles_.lock.descriptor.isOpen()) RETURN_IF_FAILED(openFiles());
        RETURN_IF_FAILED(takeLock(handles_.lock.descriptor.get(), filePath(FILE_LOCK), LockWait::YES));
        TRY(const bool isStillCurrent, isCurrent());
        if (isStillCurrent) return Status();
        handles_ = DriveHandles();
    }
}

Status DriveFolder::openFiles() {
    handles_.process = ::getpid();
    TRY(handles_.folder, openOwnFolder(path_, FolderMode::TIGHTEN));
    // Without a description there is no drive, and nothing is made in a folder that is none.
    const int folder = handles_.folder.get();
    TRY(handles_.description, openOwnFile(folder, FILE_DESCRIPTION, filePath(FILE_DESCRIPTION)));
    TRY(handles_.lock, openLockFile(folder, FILE_LOCK, filePath(FILE_LOCK)));
    return ::fstat(folder, &handles_.folderInfo) == 0 ? Status() : fileStatus(errno, path_);
}

Result<bool> DriveFolder::isCurrent() const {
    struct stat folder{};
    struct stat lock{};
    const bool areThere = ::lstat(path_.c_str(), &folder) == 0 &&
                          ::fstatat(handles_.folder.get(), FILE_LOCK, &lock, AT_SYMLINK_NOFOLLOW) == 0;
    if (!areThere && errno != ENOENT) return fileStatus(errno, path_);
    if (!areThere || !isSameFile(folder, handles_.folderInfo) || !isSameFile(lock, handles_.lock.info)) return false;
    RETURN_IF_FAILED(checkOwnFolder(handles_.folder.get(), folder, path_, FolderMode::TIGHTEN));
    return true;
}

Result<std::string> DriveFolder::readDescription(int folder, const std::string& path) {
    const std::string name = path + "/" + FILE_DESCRIPTION;
    TRY(const OwnFile file, openOwnFile(folder, FILE_DESCRIPTION, name));
    return readOwnFile(file, name, MAX_DESCRIPTION_BYTES);
}

Status DriveFolder::loadDescription() {
    const int folder = handles_.folder.get();
    OwnFile& file = handles_.description;
    const std::string path = filePath(FILE_DESCRIPTION);
    if (!file.isNamed(folder, FILE_DESCRIPTION)) {
        TRY(file, openOwnFile(folder, FILE_DESCRIPTION, path));
    }
    if (holds(file, descriptionText_)) return Status();
    TRY(std::string text, readOwnFile(file, path, MAX_DESCRIPTION_BYTES));
    auto description = Description::parse(text);
    if (!description) return wrongDescription(description.error(), path);
    description_ = *std::move(description);
    descriptionText_ = std::move(text);
    return Status();
}

Status DriveFolder::loadState() {
    const int folder = handles_.folder.get();
    OwnFile& file = handles_.state;
    if (!file.isNamed(folder, FILE_STATE)) {
        auto opened = openOwnFile(folder, FILE_STATE, filePath(FILE_STATE));
        isNew_ = !opened && opened.error().is(CATEGORY_OS, ENOENT);
        if (isNew_) {
            savedBytes_.clear();
            state = DriveState();
            return checkNew();
        }
        if (!opened) return opened.error();
        file = *std::move(opened);
    }
    if (isKnownState(file)) return Status();
    TRY(const std::string text, readOwnFile(file, filePath(FILE_STATE), MAX_STATE_BYTES));
    TRY(state, parseState(text));
    savedBytes_.assign(text.begin(), text.end());
    return Status();
}

Result<DriveState> DriveFolder::parseState(const std::string& bytes) const {
    const auto* data = reinterpret_cast<const uint8_t*>(bytes.data());
    if (const char* fault = checkFile(data, bytes.size())) return damaged(filePath(FILE_STATE), fault);
    std::optional<DriveState> read = readArchive(data, bytes.size());
    if (!read) return damaged(filePath(FILE_STATE), "does not hold what its version says");
    const char* part = check_(*read);
    if (part == nullptr && read->other) {
        read->turnTo(2);
        part = check_(*read);
    }
    if (part != nullptr) return damaged(filePath(FILE_STATE), std::string("has impossible contents: ") + part);
    return *std::move(read);
}

/// By its head, which has the checksum of the rest.
bool DriveFolder::isKnownState(const OwnFile& file) const {
    if (savedBytes_.size() <= HEAD_BYTES) return false;
    uint8_t head[HEAD_BYTES];
    const BytesRead read = readOwnBytes(file.descriptor.get(), head, sizeof head, 0);
    return read.error == 0 && read.count == sizeof head && std::memcmp(head, savedBytes_.data(), sizeof head) == 0;
}

Status DriveFolder::save() {
    if (holdsState(savedBytes_, state)) return Status();  // most commands change nothing
    std::vector<uint8_t> bytes = archiveOf(state);
    const uint64_t sequence = savedBytes_.empty() ? 0 : le64(savedBytes_.data() + OFFSET_SEQUENCE);
    fillHead(bytes, state, sequence + 1);
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    RETURN_IF_FAILED(writeFileAtomically(filePath(FILE_STATE), text));
    savedBytes_ = std::move(bytes);
    isNew_ = false;
    if (!isChecked_) removeLeftovers();
    isChecked_ = true;
    return Status();
}

Status DriveFolder::commit() {
    Status status = save();
    if (failed(status)) {
        rollBack();
        return status;
    }
    endTransaction();
    return status;
}

void DriveFolder::rollBack() {
    restore();
    endTransaction();
}

void DriveFolder::endTransaction() noexcept {
    DriveHandles handles = std::exchange(handles_, DriveHandles());
    if (::flock(handles.lock.descriptor.get(), LOCK_UN) == 0) idle_->keep(this, std::move(handles));
}

void DriveFolder::abandon() noexcept {
    if (!handles_.folder.isOpen()) return;  // opened before the lock
    // There may be no memory to restore the state: the next begin() reads it again.
    savedBytes_.clear();
    handles_ = DriveHandles();
}

void DriveFolder::restore() {
    if (savedBytes_.empty()) {
        state = DriveState();
    } else {
        // Checked when they were read, or written by this object: nothing can be wrong.
        state = readArchive(savedBytes_.data(), savedBytes_.size()).value();
    }
}

/// A drive without a state is new. One that has media lost its state, and a new one would give the media up.
Status DriveFolder::checkNew() const {
    TRY(const std::vector<std::string> names, listOwnFolder(handles_.folder.get(), path_));
    const bool hasMedia =
        std::any_of(names.begin(), names.end(), [](const std::string& name) { return begins(name, MEDIA_PREFIX); });
    return hasMedia ? damaged(filePath(FILE_STATE), "is missing, and media are there") : Status();
}

void DriveFolder::removeLeftovers() {
    std::set<std::string> named;
    for (const auto& [nsid, part] : state.namespaces) named.insert(mediaName(nsid, part.mediaGeneration));
    const auto names = listOwnFolder(handles_.folder.get(), path_);
    if (!names) return;  // what was not found now is removed another time
    for (const std::string& name : *names) {
        const bool isOldMedia = begins(name, MEDIA_PREFIX) && named.count(name) == 0;
        // One that stays costs room, nothing else.
        if (isOldMedia || begins(name, REPLACEMENT_PREFIX)) (void)::unlinkat(handles_.folder.get(), name.c_str(), 0);
    }
}

void DriveFolder::expect(const Identity& identity) {
    description_ = identity.description;
    descriptionText_ = identity.descriptionText;
}

Result<DriveFolder::Identity> DriveFolder::readIdentity(const std::string& path) {
    TRY(const FileDescriptor folder, openOwnFolder(path, FolderMode::KEEP));
    TRY(std::string text, readDescription(folder.get(), path));
    auto description = Description::parse(text);
    if (!description) return wrongDescription(description.error(), path + "/" + FILE_DESCRIPTION);
    return Identity{std::move(text), *std::move(description), readFirmware(folder.get(), path + "/" + FILE_STATE)};
}

}  // namespace features::simulator
