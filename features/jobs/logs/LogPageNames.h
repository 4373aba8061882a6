#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "features/jobs/drive/DriveFacts.h"
#include "features/nvme/Drive.h"
#include "features/nvme/LogPages.h"

namespace features::jobs {

/// The row of a log page on this drive: the standard's, or the maker's on a VELKO drive. Null where there is none.
const nvme::LogPageRow* findLogRow(const nvme::Drive& drive, uint8_t lid);
/// The same, or OCP's on a drive that is known to have the OCP SMART log; asked for an identifier of OCP's alone.
const nvme::LogPageRow* findLogRow(DriveFacts& facts, uint8_t lid);
/// The identifier of a log page's name. In names only letters and digits count, without their case.
std::optional<uint8_t> findLogByName(const std::string& name);
/// "SMART / Health Information", or "Log Page 0xC5" for what has no name.
std::string logName(const nvme::LogPageRow* row, uint8_t lid);

}  // namespace features::jobs
