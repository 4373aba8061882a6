#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "features/errors/Result.h"
#include "ostrel/core/Status.h"

namespace features::jobs {

/// A drive's wear at the moment from which on its workload is judged.
struct EnduranceBaseline {
    int64_t timeSeconds = 0;      ///< since 1970, UTC
    unsigned percentageUsed = 0;  ///< of the drive's life; 255 is the most that drives report
    /// Decimal; a unit is 512,000 bytes. Empty: not known, some SATA drives do not count it.
    std::string dataUnitsWritten;
};

/// The baselines of all drives, one small file for each serial number. They outlive the process; a file is replaced as
/// a whole or not at all, and nothing is ever followed out of the folder.
///
/// Errors: 10/54 (also for a damaged file) and 10/168 with path and reason, 10/194 for the folder; a serial number that
///         is empty is 10/34.
class EnduranceBaselines {
public:
    explicit EnduranceBaselines(std::string folder) : folder_(std::move(folder)) {}

    /// Empty when the drive has none.
    Result<std::optional<EnduranceBaseline>> load(const std::string& serialNumber) const;
    /// Makes the folder where it is missing.
    ostrel::core::Status save(const std::string& serialNumber, const EnduranceBaseline& baseline) const;

    /// "S1.endurance". Bytes that are no letter, digit or '-' become "%20", so that no serial number leads out of the
    /// folder, and two never to the same file.
    static std::string fileName(const std::string& serialNumber);

private:
    Result<std::string> pathOf(const std::string& serialNumber) const;

    std::string folder_;
};

}  // namespace features::jobs
