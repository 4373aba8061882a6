#include "features/simulator/logs/Snapshot.h"

#include <boost/crc.hpp>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "features/simulator/store/Archive.h"
#include "ostrel/core/FileDescriptor.h"

namespace features::simulator {

using ostrel::core::FileDescriptor;

namespace {

/// More than any capture takes.
constexpr uint64_t MAX_BYTES = 4 << 20;

/// What the state knows of the file.
struct SnapshotFile {
    uint8_t slot = 1;
    uint64_t bytes = 0;
    uint32_t checksum = 0;

    template <class A>
    void fields(A& archive) {
        archive(slot, bytes, checksum);
    }
};

uint32_t crc32(const std::vector<uint8_t>& bytes) {
    boost::crc_32_type crc;
    crc.process_bytes(bytes.data(), bytes.size());
    return crc.checksum();
}

std::optional<SnapshotFile> readRecord(const DriveState& state, const std::string& name) {
    const auto bytes = state.extensions.find(name);
    if (bytes == state.extensions.end()) return std::nullopt;
    ArchiveReader reader(bytes->second.data(), bytes->second.size());
    SnapshotFile file;
    file.fields(reader);
    return reader.isDamaged() ? std::nullopt : std::optional(file);
}

bool writeAll(int descriptor, const std::vector<uint8_t>& bytes) {
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    return ostrel::core::writeFully(descriptor, text) == 0 && ::fdatasync(descriptor) == 0;
}

std::optional<std::vector<uint8_t>> readAll(int descriptor, size_t size) {
    std::vector<uint8_t> bytes(size);
    for (size_t at = 0; at < bytes.size();) {
        const ssize_t count = ::read(descriptor, bytes.data() + at, bytes.size() - at);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return std::nullopt;
        at += static_cast<size_t>(count);
    }
    return bytes;
}

}  // namespace

std::optional<std::vector<uint8_t>> Snapshot::read() const {
    const std::optional<SnapshotFile> known = readRecord(context_.state, name_);
    if (!known) return std::nullopt;
    const FileDescriptor file(::openat(context_.folder.descriptor(), fileName(known->slot).c_str(),
                                       O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat info{};
    // The size is checked first, before memory is taken for it; a sparse file has any size.
    if (known->bytes > MAX_BYTES || !file.isOpen() || ::fstat(file.get(), &info) != 0 ||
        static_cast<uint64_t>(info.st_size) != known->bytes) {
        return std::nullopt;
    }
    std::optional<std::vector<uint8_t>> bytes = readAll(file.get(), static_cast<size_t>(known->bytes));
    return bytes && crc32(*bytes) == known->checksum ? bytes : std::nullopt;
}

bool Snapshot::write(const std::vector<uint8_t>& bytes) {
    // Without a record there is no older one to spare.
    const SnapshotFile older = readRecord(context_.state, name_).value_or(SnapshotFile());
    SnapshotFile file{static_cast<uint8_t>(1 - (older.slot & 1)), bytes.size(), crc32(bytes)};
    const FileDescriptor descriptor(::openat(context_.folder.descriptor(), fileName(file.slot).c_str(),
                                             O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600));
    if (!descriptor.isOpen() || !writeAll(descriptor.get(), bytes)) return false;
    ArchiveWriter writer;
    file.fields(writer);
    context_.state.extensions[name_] = writer.take();
    return true;
}

void Snapshot::remove() {
    context_.state.extensions.erase(name_);
    // The files are left to be overwritten: whether the state is saved is not known yet.
    for (const uint8_t slot : {uint8_t{0}, uint8_t{1}}) {
        context_.afterSave.emplace_back([folder = context_.folder.descriptor(), name = fileName(slot)] {
            (void)::unlinkat(folder, name.c_str(), 0);  // a leftover costs room, nothing else
        });
    }
}

}  // namespace features::simulator
