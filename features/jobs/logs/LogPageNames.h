#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "features/nvme/Drive.h"
#include "features/nvme/LogPages.h"

namespace features::jobs {

/// How the one page is called that has no row of the standard. Only a drive whose page bears its GUID has it.
inline constexpr const char* OCP_SMART_NAME = "OCP SMART / Health Information Extended";
inline constexpr const char* OCP_SMART_SHORT_NAME = "ocp-smart";

/// The row of a log page on this drive: the standard's, or the maker's on a VELKO drive. Null where there is none.
const nvme::LogPageRow* findLogRow(const nvme::Drive& drive, uint8_t lid);
/// The identifier of a log page's name. In names only letters and digits count, without their case.
std::optional<uint8_t> findLogByName(const std::string& name);
/// "SMART / Health Information", or "Log Page 0xC5" for what has no name.
std::string logName(const nvme::Drive& drive, uint8_t lid);

}  // namespace features::jobs
