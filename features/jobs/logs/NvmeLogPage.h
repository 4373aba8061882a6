#pragma once

#include <cstdint>

#include "features/errors/Result.h"
#include "features/jobs/base/LogSink.h"
#include "features/jobs/drive/DriveFacts.h"
#include "features/jobs/logs/NvmeLogRequest.h"
#include "features/nvme/CommandError.h"
#include "features/nvme/FieldTree.h"
#include "ostrel/core/Payload.h"
#include "ostrel/core/Status.h"

namespace features::jobs {

/// Reads of log page `lid` what is to be shown, as `request` says: without a number of dwords the length that the
/// decoder knows, of the telemetry and persistent event logs the header; what is not known gives 512 bytes.
///
/// The persistent event log is read in a reporting context of its own, or in the one that is there, unless the request
/// has a Log Specific Field. What the drive does not offer is 10/3, and nothing is sent (Offers.h).
///
/// An offset past the end is 10/36, a page of the maker by its name on another drive 10/3, and what is too long to be
/// decoded 1/27 or 1/12 before it is read (LogLimits.h).
Result<ostrel::core::Payload, nvme::CommandError> readLogPage(DriveFacts& facts, const NvmeLogRequest& request,
                                                              uint8_t lid);

/// The status of a log page of `bytes` bytes that is a header without data (EmptyLog.h); a success for all others.
ostrel::core::Status checkHasData(const nvme::Drive& drive, uint8_t lid, uint64_t bytes);

/// Hands the page to `log` as it comes, and without a number of dwords all that the page says it has. A page that is
/// longer when it is read than it was when its length was asked is read up to its new end.
Result<void, nvme::CommandError> copyLogPage(DriveFacts& facts, const NvmeLogRequest& request, uint8_t lid,
                                             LogSink& log);

/// The page decoded. What has no decoder, or does not begin at the page's beginning, as hexadecimal lines.
nvme::FieldTree showLogPage(DriveFacts& facts, uint8_t lid, uint64_t offset, const ostrel::core::Payload& data);

}  // namespace features::jobs
