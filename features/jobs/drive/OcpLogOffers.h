#pragma once

#include "features/errors/Result.h"
#include "features/jobs/drive/DriveFacts.h"
#include "features/nvme/CommandError.h"
#include "features/nvme/OcpLogPages.h"

namespace features::jobs {

/// Whether a drive is known to have a log page of OCP: its list of log pages names it, or it has no list, and the
/// version of its OCP SMART log requires the page. Never on a drive that is not known to have the OCP SMART log itself.
Result<bool, nvme::CommandError> isOcpLogOffered(DriveFacts& facts, const nvme::OcpLogPageRow& row);

}  // namespace features::jobs
