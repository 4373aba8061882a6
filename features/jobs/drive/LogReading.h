#pragma once

#include <cstdint>

#include "features/jobs/base/LogSink.h"
#include "features/nvme/Drive.h"
#include "ostrel/core/Payload.h"
#include "ostrel/core/Status.h"

namespace features::jobs {

/// The first `bytes` bytes of a log page of the controller. An event that the page reports is not acknowledged:
/// another process may wait for it.
ostrel::core::Status readLog(nvme::Drive& drive, uint8_t lid, uint32_t bytes, ostrel::core::Payload& data);

/// Hands the bytes of a log page from `page.offset` up to `end` to the log, piece by piece. Whole dwords are read, and
/// of the last one only what belongs to the page counts.
ostrel::core::Status copyLog(nvme::Drive& drive, const nvme::LogPageRequest& page, uint64_t end, LogSink& log);

/// Whether the drive itself said no. Anything else that is no success is a transport error.
bool isRefusal(const ostrel::core::Status& status);

/// Whether the drive refused a log that it does not support.
bool isMissingLog(const nvme::Completion& completion);
/// `missing`, followed by the drive's own words, when its last command was refused for an unsupported log.
/// Other statuses stay as they are.
ostrel::core::Status missingLogAs(const ostrel::core::Status& status, const nvme::Drive& drive,
                                  const ostrel::core::Status& missing);

/// The SMART / Health Information log, 512 bytes.
ostrel::core::Status readSmartLog(nvme::Drive& drive, ostrel::core::Payload& data);

}  // namespace features::jobs
