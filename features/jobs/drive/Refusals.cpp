#include "features/jobs/drive/Refusals.h"

#include <algorithm>

#include "features/jobs/drive/LogReading.h"
#include "features/jobs/support/StatusDetails.h"

namespace features::jobs {

using ostrel::core::Status;

Status mapNvmeStatus(const RefusalRow* rows, size_t count, Status (*otherwise)(), const nvme::CommandError& error) {
    if (!isRefusal(error.status)) return error.status;
    const RefusalRow* const end = rows + count;
    const RefusalRow* const row =
        std::find_if(rows, end, [&](const RefusalRow& r) { return error.completion.is(r.status); });
    return withDetails(row == end ? otherwise() : row->meaning(), error.status.getMessage());
}

}  // namespace features::jobs
