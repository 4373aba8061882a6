#pragma once

#include <cstdint>

#include "features/errors/Result.h"
#include "features/jobs/base/LogSink.h"
#include "features/nvme/CommandError.h"
#include "features/nvme/Drive.h"
#include "ostrel/core/Payload.h"
#include "ostrel/core/Status.h"

namespace features::jobs {

/// The first `bytes` bytes of a log page of the controller. An event that the page reports is not acknowledged:
/// another process may wait for it.
Result<ostrel::core::Payload, nvme::CommandError> readLog(nvme::Drive& drive, uint8_t lid, uint32_t bytes);

/// Hands the bytes of a log page from `page.offset` up to `end` to the log, piece by piece. Whole dwords are read, and
/// of the last one only what belongs to the page counts.
Result<void, nvme::CommandError> copyLog(nvme::Drive& drive, const nvme::LogPageRequest& page, uint64_t end,
                                         LogSink& log);

/// Whether the drive itself said no. Anything else that is no success is a transport error.
bool isRefusal(const ostrel::core::Status& status);

/// Whether the drive refused a log because it does not support it.
bool isMissingLog(const nvme::CommandError& error);
/// `missing`, followed by the drive's own words, when the drive refused a log because it does not support it. Other
/// errors stay as they are.
nvme::CommandError missingLogAs(const nvme::CommandError& error, const ostrel::core::Status& missing);

/// The SMART / Health Information log, 512 bytes.
Result<ostrel::core::Payload, nvme::CommandError> readSmartLog(nvme::Drive& drive);

}  // namespace features::jobs
