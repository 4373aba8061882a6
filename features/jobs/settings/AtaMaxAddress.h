#pragma once

#include <string>

#include "features/ata/Drive.h"
#include "features/errors/Result.h"
#include "features/jobs/settings/MaximumLba.h"

namespace features::jobs {

/// Sets the last block of a SATA drive that the host can use, and returns what the drive reports then, in a sentence:
/// by the Accessible Max Address feature set (ACS-3), else by the Host Protected Area of older drives, for good. A
/// drive that has neither is 10/237, one that is said to have a native maximum below its size 10/33.
///
/// What lies after it is lost to the host, so that it goes through the safety gate, and partitions count. A drive takes
/// one change in a power cycle: the next one it aborts, which the words of the failure say.
Result<std::string> setAtaMaximumLba(ata::Drive& drive, const MaximumLba& wanted);

}  // namespace features::jobs
