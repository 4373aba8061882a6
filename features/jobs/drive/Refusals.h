#pragma once

#include <cstddef>

#include "features/nvme/CommandError.h"
#include "features/nvme/Drive.h"
#include "features/nvme/StatusCodes.h"
#include "ostrel/core/Status.h"

namespace features::jobs {

/// What the refusal of a command means where the catalogue has a status for it.
struct RefusalRow {
    nvme::StatusCode status;
    ostrel::core::Status (*meaning)();
};

/// The status of the row that fits the completion of a refused command, followed by the drive's own words; `otherwise`
/// where none fits, followed by the same. What is not a refusal stays as it is.
ostrel::core::Status mapNvmeStatus(const RefusalRow* rows, size_t count, ostrel::core::Status (*otherwise)(),
                                   const nvme::CommandError& error);

template <size_t COUNT>
ostrel::core::Status mapNvmeStatus(const RefusalRow (&rows)[COUNT], ostrel::core::Status (*otherwise)(),
                                   const nvme::CommandError& error) {
    return mapNvmeStatus(rows, COUNT, otherwise, error);
}

}  // namespace features::jobs
