#pragma once

#include <vector>

#include "features/ata/Drive.h"
#include "features/jobs/erase/EraseMethod.h"
#include "features/jobs/erase/Erasure.h"
#include "features/nvme/CommandError.h"
#include "features/nvme/Drive.h"

namespace features::jobs {

/// What the drive says of itself, for the record of an erase. What it does not report is empty.
ErasedDrive describe(nvme::Drive& drive);
ErasedDrive describe(ata::Drive& drive);

/// Whether the drive may have begun the erase whose command failed. It may unless it has refused the command: an error
/// of the transport or of the path, of the media or within the drive, and an abort say nothing of how far it came.
bool mayHaveBegun(const nvme::CommandError& error);

/// What the drive says of its erase: the Sanitize Status log, the result of SANITIZE STATUS EXT, or word 128 of
/// IDENTIFY DEVICE; nothing after Format NVM, which has no log of its own. What cannot be read is a fact, too.
std::vector<ErasureRecord::Fact> reported(nvme::Drive& drive, EraseMethod method);
std::vector<ErasureRecord::Fact> reported(ata::Drive& drive, EraseMethod method);

}  // namespace features::jobs
