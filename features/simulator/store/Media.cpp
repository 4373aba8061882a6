#include "features/simulator/store/Media.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>

#include "features/simulator/store/Model.h"
#include "features/simulator/store/OwnFiles.h"

namespace features::simulator {

using ostrel::core::FileDescriptor;

namespace {

constexpr uint64_t PAGE_BYTES = 4096;
constexpr uint64_t STAT_BLOCK_BYTES = 512;

int readAt(int file, uint8_t* data, size_t size, uint64_t offset) {
    const BytesRead read = readOwnBytes(file, data, size, offset);
    // After the end of the file nothing was written.
    if (read.error == 0) std::memset(data + read.count, 0, size - read.count);
    return read.error;
}

int writeAt(int file, const uint8_t* data, size_t size, uint64_t offset) {
    while (size != 0) {
        const ssize_t count = ::pwrite(file, data, size, static_cast<off_t>(offset));
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return errno;
        data += count;
        size -= static_cast<size_t>(count);
        offset += static_cast<uint64_t>(count);
    }
    return 0;
}

int writeZeros(int file, uint64_t offset, uint64_t size) {
    const std::vector<uint8_t> zeros(static_cast<size_t>(std::min<uint64_t>(size, 1 << 20)));
    while (size != 0) {
        const auto piece = static_cast<size_t>(std::min<uint64_t>(size, zeros.size()));
        if (const int error = writeAt(file, zeros.data(), piece, offset)) return error;
        offset += piece;
        size -= piece;
    }
    return 0;
}

/// The file does not grow: what lies after its end is zero anyhow.
int punch(int file, uint64_t offset, uint64_t size) {
    struct stat info{};
    if (::fstat(file, &info) != 0) return errno;
    const auto end = static_cast<uint64_t>(info.st_size);
    if (offset >= end || size == 0) return 0;
    size = std::min(size, end - offset);
    const int mode = FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE;
    while (::fallocate(file, mode, static_cast<off_t>(offset), static_cast<off_t>(size)) != 0) {
        if (errno == EINTR) continue;
        return errno == EOPNOTSUPP ? writeZeros(file, offset, size) : errno;
    }
    return 0;
}

}  // namespace

Media::Layout Media::layoutOf(const NamespaceState& part) const {
    const LbaFormat& format = modelOf(folder_.description().model).formats[part.format];
    const uint32_t dataBytes = uint32_t{1} << format.dataShift;
    const uint64_t end = part.size * dataBytes;
    return {dataBytes, format.metadataBytes, (end + PAGE_BYTES - 1) / PAGE_BYTES * PAGE_BYTES};
}

Media::Opened Media::open(uint32_t nsid, bool create) {
    const std::string name = DriveFolder::mediaName(nsid, folder_.state.namespaces.at(nsid).mediaGeneration);
    const auto known = files_.find(name);
    struct stat info{};
    // A file without a name is of a drive that was removed, and made again since.
    const bool isThere = known != files_.end() && ::fstat(known->second.get(), &info) == 0 && info.st_nlink != 0;
    if (isThere) return {known->second.get(), 0};
    if (known != files_.end()) files_.erase(known);
    // A format, perhaps in another process, has made media obsolete that are still open here.
    for (auto file = files_.begin(); file != files_.end();) {
        const bool isNamed =
            std::any_of(folder_.state.namespaces.begin(), folder_.state.namespaces.end(), [&file](const auto& part) {
                return DriveFolder::mediaName(part.first, part.second.mediaGeneration) == file->first;
            });
        file = isNamed ? std::next(file) : files_.erase(file);
    }
    const int flags = O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | (create ? O_CREAT : 0);
    FileDescriptor file(::openat(folder_.descriptor(), name.c_str(), flags, 0600));
    if (!file.isOpen()) return {-1, errno == ENOENT && !create ? 0 : errno};
    if (::fstat(file.get(), &info) != 0 || !S_ISREG(info.st_mode)) return {-1, EIO};  // something else has its name
    return {files_.emplace(name, std::move(file)).first->second.get(), 0};
}

int Media::read(uint32_t nsid, uint64_t first, uint32_t blocks, bool withMetadata, std::vector<uint8_t>& data) {
    const Layout layout = layoutOf(folder_.state.namespaces.at(nsid));
    const size_t dataBytes = layout.dataBytes;
    const size_t metadataBytes = withMetadata ? layout.metadataBytes : 0;
    data.assign(blocks * (dataBytes + metadataBytes), 0);
    const auto [file, openError] = open(nsid, false);
    if (file < 0) return openError;
    if (metadataBytes == 0) return readAt(file, data.data(), data.size(), first * dataBytes);
    int error = 0;
    for (uint32_t i = 0; i < blocks && error == 0; ++i) {
        uint8_t* at = data.data() + i * (dataBytes + metadataBytes);
        error = readAt(file, at, dataBytes, (first + i) * dataBytes);
        if (error == 0) {
            error = readAt(file, at + dataBytes, metadataBytes, layout.metadataStart + (first + i) * metadataBytes);
        }
    }
    return error;
}

int Media::write(uint32_t nsid, uint64_t first, uint32_t blocks, bool withMetadata, const std::vector<uint8_t>& data) {
    const Layout layout = layoutOf(folder_.state.namespaces.at(nsid));
    const size_t dataBytes = layout.dataBytes;
    const auto [file, openError] = open(nsid, true);
    if (file < 0) return openError;
    if (layout.metadataBytes == 0) return writeAt(file, data.data(), data.size(), first * dataBytes);
    const size_t metadataBytes = layout.metadataBytes;
    const size_t step = dataBytes + (withMetadata ? metadataBytes : 0);
    const std::vector<uint8_t> none(metadataBytes);
    int error = 0;
    for (uint32_t i = 0; i < blocks && error == 0; ++i) {
        const uint8_t* at = data.data() + i * step;
        error = writeAt(file, at, dataBytes, (first + i) * dataBytes);
        const uint8_t* metadata = withMetadata ? at + dataBytes : none.data();
        if (error == 0)
            error = writeAt(file, metadata, metadataBytes, layout.metadataStart + (first + i) * metadataBytes);
    }
    return error;
}

int Media::flush(uint32_t nsid) {
    const auto [file, openError] = open(nsid, false);
    if (file < 0) return openError;
    // The folder too: the file may be new in it.
    return ::fsync(file) != 0 || ::fsync(folder_.descriptor()) != 0 ? errno : 0;
}

int Media::deallocate(const BlockRange& range) {
    const auto part = folder_.state.namespaces.find(range.nsid);
    if (part == folder_.state.namespaces.end()) return 0;
    const auto [file, openError] = open(range.nsid, false);
    if (file < 0) return openError;
    const Layout layout = layoutOf(part->second);
    const int error = punch(file, range.first * layout.dataBytes, range.count * layout.dataBytes);
    if (error != 0 || layout.metadataBytes == 0) return error;
    return punch(file, layout.metadataStart + range.first * layout.metadataBytes, range.count * layout.metadataBytes);
}

uint64_t Media::blocksInUse(uint32_t nsid) {
    const NamespaceState& part = folder_.state.namespaces.at(nsid);
    const std::string name = DriveFolder::mediaName(nsid, part.mediaGeneration);
    struct stat info{};
    if (::fstatat(folder_.descriptor(), name.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0) return 0;
    const uint64_t bytes = static_cast<uint64_t>(info.st_blocks) * STAT_BLOCK_BYTES;
    return std::min(part.capacity, bytes / layoutOf(part).dataBytes);
}

void Media::forget(const std::string& mediaName) {
    files_.erase(mediaName);
    // A file that stays is a leftover, and removed as one.
    (void)::unlinkat(folder_.descriptor(), mediaName.c_str(), 0);
}

}  // namespace features::simulator
