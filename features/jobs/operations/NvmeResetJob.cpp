#include "features/jobs/operations/NvmeResetJob.h"

#include "features/errors/Result.h"
#include "features/jobs/drive/ControllerReset.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace features::jobs {

using ostrel::core::Status;

NvmeResetJob::NvmeResetJob() : CloneableJob(ostrel::interfaces::ostreli::JOB_NVME_RESET, "NVMe Reset") {}

Status NvmeResetJob::actOnDrive(nvme::Drive& drive, const Arguments&, DriveOutput& out) {
    RETURN_IF_FAILED(resetController(drive));
    TRY(const std::string revision, runningFirmware(drive));
    out.addStatus(title(), Status(0, 0, "The controller was reset. It is ready and runs firmware " + revision + "."));
    return Status();
}

}  // namespace features::jobs
