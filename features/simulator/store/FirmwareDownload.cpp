#include "features/simulator/store/FirmwareDownload.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>

#include "features/nvme/Bytes.h"
#include "features/simulator/store/OwnFiles.h"
#include "ostrel/core/FileDescriptor.h"

namespace features::simulator {

using namespace nvme;
using ostrel::core::FileDescriptor;
using ostrel::core::Status;

namespace {

constexpr size_t HEAD_BYTES = 8;
/// More than the pieces of the largest image take.
constexpr off_t MAX_FILE_BYTES = 32 << 20;

/// How much of the file whole pieces take up.
size_t wholeBytes(const std::vector<uint8_t>& file) {
    size_t at = 0;
    while (file.size() - at >= HEAD_BYTES) {
        const uint64_t length = le32(file.data() + at + 4);
        if (length > file.size() - at - HEAD_BYTES) break;
        at += HEAD_BYTES + static_cast<size_t>(length);
    }
    return at;
}

Result<std::vector<uint8_t>> readFile(int file, const std::string& path) {
    struct stat info{};
    if (::fstat(file, &info) != 0) return fileStatus(errno, path);
    if (!S_ISREG(info.st_mode) || info.st_size > MAX_FILE_BYTES) return fileStatus(EFBIG, path);
    std::vector<uint8_t> bytes(static_cast<size_t>(info.st_size));
    const BytesRead read = readOwnBytes(file, bytes.data(), bytes.size(), 0);
    if (read.error != 0) return fileStatus(read.error, path);
    bytes.resize(read.count);
    return bytes;
}

}  // namespace

std::string FirmwareDownload::path() const {
    return folder_.path() + "/" + FILE_DOWNLOAD;
}

Result<std::vector<FirmwareDownload::Piece>> FirmwareDownload::pieces() const {
    std::vector<Piece> pieces;
    const FileDescriptor file(
        ::openat(folder_.descriptor(), FILE_DOWNLOAD, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!file.isOpen() && errno == ENOENT) return pieces;
    if (!file.isOpen()) return fileStatus(errno, path());
    TRY(const std::vector<uint8_t> bytes, readFile(file.get(), path()));
    const uint8_t* end = bytes.data() + wholeBytes(bytes);
    for (const uint8_t* at = bytes.data(); at != end;) {
        const uint8_t* data = at + HEAD_BYTES;
        pieces.push_back({le32(at), {data, data + le32(at + 4)}});
        at = data + le32(at + 4);
    }
    return pieces;
}

Status FirmwareDownload::append(uint32_t offset, const std::vector<uint8_t>& bytes) const {
    const FileDescriptor file(
        ::openat(folder_.descriptor(), FILE_DOWNLOAD, O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600));
    if (!file.isOpen()) return fileStatus(errno, path());
    TRY(const std::vector<uint8_t> before, readFile(file.get(), path()));
    const auto end = static_cast<off_t>(wholeBytes(before));
    if (::ftruncate(file.get(), end) != 0 || ::lseek(file.get(), end, SEEK_SET) < 0) return fileStatus(errno, path());
    std::vector<uint8_t> record(HEAD_BYTES);
    putLe32(record.data(), offset);
    putLe32(record.data() + 4, static_cast<uint32_t>(bytes.size()));
    record.insert(record.end(), bytes.begin(), bytes.end());
    const std::string_view text(reinterpret_cast<const char*>(record.data()), record.size());
    const int error = ostrel::core::writeFully(file.get(), text);
    return error == 0 ? Status() : fileStatus(error, path());
}

void FirmwareDownload::discard() const {
    if (::unlinkat(folder_.descriptor(), FILE_DOWNLOAD, 0) == 0 || errno == ENOENT) return;
    // One that cannot be removed is emptied: no piece of it is taken for one of the next image.
    const FileDescriptor emptied(::openat(folder_.descriptor(), FILE_DOWNLOAD,
                                          O_WRONLY | O_TRUNC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
}

}  // namespace features::simulator
