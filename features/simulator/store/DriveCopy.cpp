#include "features/simulator/store/DriveCopy.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <vector>

#include "features/simulator/store/CaptureFolder.h"
#include "features/simulator/store/DriveFolder.h"
#include "features/simulator/store/OwnFiles.h"
#include "ostrel/core/FileDescriptor.h"

namespace features::simulator {

using namespace ostrel::core;

namespace {

bool isLock(const std::string& name) {
    return name == FILE_LOCK || name == FILE_SERVED;
}

/// 0 or errno.
int writeBytes(int file, const uint8_t* data, size_t size, off_t offset) {
    while (size != 0) {
        const ssize_t count = ::pwrite(file, data, size, offset);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return errno;
        data += count;
        size -= static_cast<size_t>(count);
        offset += count;
    }
    return 0;
}

/// Copies the bytes [first, end). 0 or errno.
int copyBytes(int from, int to, off_t first, off_t end) {
    constexpr size_t PIECE_BYTES = 1 << 20;
    std::vector<uint8_t> piece(PIECE_BYTES);
    while (first < end) {
        const auto size = static_cast<size_t>(std::min<off_t>(end - first, PIECE_BYTES));
        const BytesRead read = readOwnBytes(from, piece.data(), size, static_cast<uint64_t>(first));
        if (read.error != 0) return read.error;
        if (read.count != size) return EIO;  // shorter than a moment ago
        if (const int error = writeBytes(to, piece.data(), size, first)) return error;
        first += static_cast<off_t>(size);
    }
    return 0;
}

/// 0 or errno.
int copyContents(int from, int to) {
    struct stat info{};
    if (::fstat(from, &info) != 0 || ::ftruncate(to, info.st_size) != 0) return errno;
    for (off_t end = 0; end < info.st_size;) {
        const off_t first = ::lseek(from, end, SEEK_DATA);
        if (first < 0) return errno == ENXIO ? 0 : errno;  // a hole to the end
        end = ::lseek(from, first, SEEK_HOLE);
        if (end < 0) return errno;
        const int error = copyBytes(from, to, first, end);
        if (error != 0) return error;
    }
    return 0;
}

}  // namespace

bool isDriveFile(const std::string& name) {
    const auto begins = [&](const char* start) { return name.compare(0, std::strlen(start), start) == 0; };
    return name == FILE_DESCRIPTION || name == FILE_STATE || name == FILE_LOCK || name == FILE_SERVED ||
           name == FILE_DOWNLOAD || begins(CAPTURE_PREFIX) || begins(MEDIA_PREFIX) || begins(LOG_PREFIX) ||
           begins(REPLACEMENT_PREFIX);
}

Status copyDrive(int from, const std::string& fromPath, int to, const std::string& toPath) {
    TRY(const std::vector<std::string> names, listOwnFolder(from, fromPath));
    for (const std::string& name : names) {
        const std::string path = fromPath + "/" + name;
        if (!isDriveFile(name)) {
            return Status(CATEGORY_OS, EINVAL, path + " is no file of a simulated drive. Nothing was copied.");
        }
        if (isLock(name)) continue;
        TRY(const OwnFile source, openOwnFile(from, name.c_str(), path));
        const FileDescriptor copy(::openat(to, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
        const int error = copy.isOpen() ? copyContents(source.descriptor.get(), copy.get()) : errno;
        if (error != 0) return fileStatus(error, toPath + "/" + name);
    }
    return Status();
}

}  // namespace features::simulator
