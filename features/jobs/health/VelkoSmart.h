#pragma once

#include <cstddef>

#include "features/nvme/Drive.h"
#include "ostrel/core/AttributeList.h"
#include "ostrel/core/Status.h"

namespace features::jobs {

/// Adds what the maker's Extended SMART log reports in its first `bytes` bytes, without replacing what `list` has.
/// Nothing on other makers' drives, which are not asked, and on a drive that does not support the log.
ostrel::core::Status addVelkoSmart(nvme::Drive& drive, size_t bytes, ostrel::core::AttributeList& list);

}  // namespace features::jobs
