#pragma once

#include "features/jobs/drive/DriveFacts.h"
#include "features/nvme/OcpLogPages.h"
#include "ostrel/core/Status.h"

namespace features::jobs {

/// Whether a drive is known to have a log page of OCP: its list of log pages names it, or it has no list, and the
/// version of its OCP SMART log requires the page. Never on a drive that is not known to have the OCP SMART log itself.
ostrel::core::Status isOcpLogOffered(DriveFacts& facts, const nvme::OcpLogPageRow& row, bool& isOffered);

}  // namespace features::jobs
