#include "features/jobs/health/scan/DataIntegrity.h"

#include <fcntl.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "features/jobs/support/ProgressLine.h"
#include "features/jobs/support/StatusDetails.h"
#include "ostrel/core/Payload.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/SystemError.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

constexpr size_t BLOCK_BYTES = 4096;
/// Some file systems take no larger file than 4 GiB - 1.
constexpr uint64_t FILE_BYTES = uint64_t{1} << 30;

/// Scatters its argument over all bits (a well-known mixer, SplitMix64).
uint64_t scattered(uint64_t value) {
    value += 0x9E3779B97F4A7C15;
    value = (value ^ value >> 30) * 0xBF58476D1CE4E5B9;
    value = (value ^ value >> 27) * 0x94D049BB133111EB;
    return value ^ value >> 31;
}

/// A new file that has no name, or loses it before anything is written. -1 and errno on failure.
int openUnnamed(const std::string& folder, int flags) {
    const int file = ::open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC | flags, 0600);
    // EISDIR: of a kernel that does not know it; EOPNOTSUPP: of a file system.
    if (file >= 0 || (errno != EOPNOTSUPP && errno != EISDIR)) return file;
    std::string name = folder + "/.nimbrel-XXXXXX";
    const int named = ::mkostemp(name.data(), O_CLOEXEC | flags);
    if (named >= 0) ::unlink(name.c_str());
    return named;
}

/// All of it; 0 or errno. A file that ends before that gives EIO.
template <typename Transfer>
int transferAll(Transfer transfer, size_t bytes) {
    for (size_t done = 0; done < bytes;) {
        const ssize_t count = transfer(done);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return errno;
        if (count == 0) return EIO;
        done += static_cast<size_t>(count);
    }
    return 0;
}

}  // namespace

Status PatternFile::create(const std::string& folder) {
    folder_ = folder;
    int file = openUnnamed(folder, O_DIRECT);
    if (file < 0 && errno == EINVAL) file = openUnnamed(folder, 0);  // no direct way on this file system
    if (file < 0) return failure(errno, "create a file", statuses::fileCreationFailed());
    file_ = FileDescriptor(file);
    return Status();
}

Status PatternFile::write(uint64_t bytes) {
    Payload unit(UNIT_BYTES);
    if (unit.getSize() != UNIT_BYTES) return statuses::mallocFailed();
    for (bytes_ = 0; bytes_ < bytes; bytes_ += UNIT_BYTES) {
        fill(bytes_, unit.getData());
        const int error = transferAll(
            [&](size_t done) {
                return ::pwrite(file_.get(), unit.getData() + done, UNIT_BYTES - done,
                                static_cast<off_t>(bytes_ + done));
            },
            UNIT_BYTES);
        if (error != 0) return failure(error, "write", statuses::fileWriteFailed());
        report_(UNIT_BYTES);
    }
    return ::fsync(file_.get()) == 0 ? Status() : failure(errno, "write", statuses::fileWriteFailed());
}

Status PatternFile::compare(Comparison& comparison) {
    Payload expected(UNIT_BYTES);
    Payload unit(UNIT_BYTES);
    if (expected.getSize() != UNIT_BYTES || unit.getSize() != UNIT_BYTES) return statuses::mallocFailed();
    // Direct reads go past the memory anyway; what is not direct must not be answered from there.
    (void)::posix_fadvise(file_.get(), 0, 0, POSIX_FADV_DONTNEED);
    for (uint64_t at = 0; at < bytes_; at += UNIT_BYTES) {
        fill(at, expected.getData());
        const int error = compareUnit(at, expected.getData(), unit.getData(), comparison);
        if (error != 0) return failure(error, "read", statuses::fileReadFailed());
        report_(UNIT_BYTES);
    }
    return Status();
}

int PatternFile::readAt(uint64_t offset, uint8_t* bytes, size_t size) const {
    return transferAll(
        [&](size_t done) { return ::pread(file_.get(), bytes + done, size - done, static_cast<off_t>(offset + done)); },
        size);
}

int PatternFile::compareUnit(uint64_t offset, const uint8_t* expected, uint8_t* unit, Comparison& comparison) const {
    const int whole = readAt(offset, unit, UNIT_BYTES);
    if (whole != 0 && whole != EIO) return whole;
    for (size_t block = 0; block < UNIT_BYTES; block += BLOCK_BYTES) {
        const int error = whole == 0 ? 0 : readAt(offset + block, unit + block, BLOCK_BYTES);
        if (error != 0 && error != EIO) return error;
        if (error == 0 && std::memcmp(unit + block, expected + block, BLOCK_BYTES) == 0) continue;
        if (comparison.blocks++ == 0) comparison.first = offset + block;
    }
    return 0;
}

void PatternFile::fill(uint64_t offset, uint8_t* unit) const {
    const uint64_t base = scattered(number_ + 1);
    for (size_t i = 0; i < UNIT_BYTES; i += sizeof(uint64_t)) {
        const uint64_t word = scattered(base ^ (offset + i));
        std::memcpy(unit + i, &word, sizeof word);
    }
}

Status PatternFile::failure(int error, const char* what, const Status& kind) const {
    return withDetails(kind, std::string("Cannot ") + what + " in " + folder_ + ": " + systemErrorText(error) + ".");
}

DataIntegrityResult checkDataIntegrity(const std::string& folder, uint64_t maxBytes) {
    DataIntegrityResult result;
    struct statvfs space = {};
    if (::statvfs(folder.c_str(), &space) != 0) {
        const int error = errno;
        result.failure = withDetails(statuses::fileReadFailed(), folder + ": " + systemErrorText(error) + ".");
        return result;
    }
    const uint64_t half = uint64_t{space.f_bavail} * space.f_frsize / 2;
    uint64_t left = std::min(maxBytes, half) / PatternFile::UNIT_BYTES * PatternFile::UNIT_BYTES;
    if (left == 0)
        result.failure =
            withDetails(statuses::partitionWithoutFreeSpace(), "There is no room for a file in " + folder + ".");
    ProgressLine line("Data integrity scan of " + folder);
    uint64_t done = 0;
    const auto report = [&line, &done, all = 2 * left](uint64_t bytes) { line.update(done += bytes, all); };
    std::vector<PatternFile> files;
    for (uint64_t bytes = 0; succeeded(result.failure) && left != 0; left -= bytes) {
        bytes = std::min(left, FILE_BYTES);
        files.emplace_back(files.size(), report);
        result.failure = files.back().create(folder);
        if (succeeded(result.failure)) result.failure = files.back().write(bytes);
        if (succeeded(result.failure)) result.bytes += bytes;
    }
    for (size_t i = 0; succeeded(result.failure) && i < files.size(); ++i) {
        PatternFile::Comparison comparison;
        result.failure = files[i].compare(comparison);
        if (comparison.blocks != 0 && result.mismatches == 0) result.firstOffset = i * FILE_BYTES + comparison.first;
        result.mismatches += comparison.blocks;
    }
    return result;
}

}  // namespace features::jobs
