#pragma once

#include <ctime>
#include <functional>
#include <string>

#include "features/errors/Result.h"
#include "features/jobs/erase/ErasureRecord.h"
#include "features/jobs/support/StateFolder.h"
#include "ostrel/core/Device.h"
#include "ostrel/core/Status.h"

namespace features::jobs {

/// Where records of erases are kept: NAME.json and NAME.txt for each, with mode 0600, in a folder with mode 0700. No
/// record is ever removed, or replaced by that of another erase. docs/erasure-records.md describes them.
///
/// Errors: 10/194 for the folder, 10/168 for a file, with path and reason.
class ErasureRecords {
public:
    using Clock = std::function<std::time_t()>;

    /// The folder is below the state folder, which is made, too. The clock is that of the system.
    explicit ErasureRecords(
        std::string stateFolder = std::string(STATE_FOLDER), Clock clock = [] { return std::time(nullptr); })
        : stateFolder_(std::move(stateFolder)), clock_(std::move(clock)) {}

    std::time_t now() const { return clock_(); }
    /// A name that no record has: "MODEL,SERIAL,20260101T000000Z", and "-2" and so on after it where that is taken.
    /// The caller holds the drive's lock, so that no other process takes the same.
    Result<std::string> newName(const ostrel::core::Device& drive, std::time_t begin) const;
    /// Writes both forms; those that a former call wrote under this name are replaced.
    ostrel::core::Status save(const std::string& name, const ErasureRecord& record) const;

private:
    std::string folder() const { return stateFolder_ + "/erasures"; }
    ostrel::core::Status makeFolder() const;
    ostrel::core::Status write(const std::string& file, const std::string& text) const;

    std::string stateFolder_;
    Clock clock_;
};

}  // namespace features::jobs
