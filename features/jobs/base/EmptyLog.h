#pragma once

#include <cstdint>
#include <string>

#include "features/jobs/support/StatusDetails.h"
#include "ostrel/core/Status.h"

namespace features::jobs {

/// A log that has a header and no data is a failure for who wants it as a file, which would replace one that holds the
/// drive's last data.
struct EmptyLog {
    uint64_t bytes;                    ///< that the log has then
    ostrel::core::Status (*status)();  ///< of the catalogue

    /// Its status for a log of no more bytes, a success otherwise.
    ostrel::core::Status check(const std::string& driveName, uint64_t logBytes) const {
        if (logBytes > bytes) return ostrel::core::Status();
        return withDetails(status(), "The log of drive " + driveName + " has a header and no data.");
    }
};

}  // namespace features::jobs
