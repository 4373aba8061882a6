#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "features/errors/Result.h"
#include "ostrel/core/Payload.h"
#include "ostrel/core/Status.h"

namespace features::jobs {

/// What a feature C0h entry of the OCP Datacenter NVMe SSD Specification says.
struct ErrorInjection {
    uint16_t type = 0;  ///< 1 to FFFFh
    bool enabled = true;
    bool once = true;    ///< injected a single time; otherwise again and again
    uint16_t reads = 0;  ///< Read commands that are completed before
};

/// The entries that one command carries at most.
inline constexpr size_t MAX_ERROR_INJECTIONS = 127;
inline constexpr uint32_t ERROR_INJECTION_DATA_BYTES = 4096;

/// Reads a list as the command line has it: entries TYPE[:once|always|off[:READS]] with '~' between them, or "none".
/// TYPE is a number or a name (nvme::findErrorInjectionType()).
/// 10/252 for too many, 10/253 for one that is no entry, with a message that names it.
Result<std::vector<ErrorInjection>> readErrorInjections(const std::string& list);

/// Reads the XML file form: <ErrorInjections> with <ErrorInjection type="" repeat="" reads=""/>. Statuses as above, and
/// 10/54 for a file that cannot be read.
Result<std::vector<ErrorInjection>> readErrorInjectionFile(const std::string& path);

/// The feature's data structure, 4,096 bytes. At most MAX_ERROR_INJECTIONS entries.
ostrel::core::Payload errorInjectionData(const std::vector<ErrorInjection>& entries);

}  // namespace features::jobs
