#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>

#include "ostrel/core/FileDescriptor.h"
#include "ostrel/core/Status.h"

namespace features::jobs {

/// A file without a name that holds a pattern in which every word holds its address, so that a block that is stored, or
/// read, at the wrong place is a mismatch too. Since it has no name, nothing of the user's can be in its way, and
/// nothing is left of it, however the process ends.
///
/// Units: bytes, multiples of UNIT_BYTES.
/// Errors: 10/104, 10/168 or 10/54 (create, write, read), 0/87 without memory; the message names folder and reason.
class PatternFile {
public:
    static constexpr size_t UNIT_BYTES = size_t{1024} * 1024;

    using Report = std::function<void(uint64_t bytes)>;
    /// `number` makes the pattern of one file different from that of the next. `report` is called with the bytes that
    /// were written or compared since its last call.
    explicit PatternFile(
        uint64_t number, Report report = [](uint64_t) {})
        : number_(number), report_(std::move(report)) {}

    ostrel::core::Status create(const std::string& folder);
    /// Writes the pattern, and has the drive store it.
    ostrel::core::Status write(uint64_t bytes);
    struct Comparison {
        uint64_t blocks = 0;  ///< of 4,096 bytes that differ, or that the drive cannot read (EIO)
        uint64_t first = 0;   ///< the offset of the first of them
    };
    /// Reads it back from the drive and not from memory.
    ostrel::core::Status compare(Comparison& comparison);

    int descriptor() const { return file_.get(); }

private:
    void fill(uint64_t offset, uint8_t* unit) const;
    int readAt(uint64_t offset, uint8_t* bytes, size_t size) const;
    int compareUnit(uint64_t offset, const uint8_t* expected, uint8_t* unit, Comparison& comparison) const;
    ostrel::core::Status failure(int error, const char* what, const ostrel::core::Status& kind) const;

    uint64_t number_;
    Report report_;
    uint64_t bytes_ = 0;
    std::string folder_;
    ostrel::core::FileDescriptor file_;
};

struct DataIntegrityResult {
    uint64_t bytes = 0;       ///< written and read back
    uint64_t mismatches = 0;  ///< blocks of 4,096 bytes
    uint64_t firstOffset = 0;
    ostrel::core::Status failure;  ///< why the check was not completed
};

/// Writes patterns to new files in `folder` and reads them back: at most `maxBytes`, and at most half of what the file
/// system has free. The files are gone when it returns, and also when the process is killed.
DataIntegrityResult checkDataIntegrity(const std::string& folder, uint64_t maxBytes);

}  // namespace features::jobs
