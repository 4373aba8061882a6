#include "features/jobs/drive/Refusals.h"

#include <algorithm>

#include "features/jobs/drive/LogReading.h"
#include "features/jobs/support/StatusDetails.h"

namespace features::jobs {

using ostrel::core::Status;

Status mapNvmeStatus(const RefusalRow* rows, size_t count, Status (*otherwise)(), const Status& status,
                     const nvme::Drive& drive) {
    if (!isRefusal(status)) return status;
    const nvme::Completion& completion = drive.lastCompletion();
    const RefusalRow* const end = rows + count;
    const RefusalRow* const row =
        std::find_if(rows, end, [&](const RefusalRow& r) { return completion.is(r.type, r.code); });
    return withDetails(row == end ? otherwise() : row->meaning(), status.getMessage());
}

}  // namespace features::jobs
