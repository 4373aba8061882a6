#pragma once

#include <string>

#include "features/ata/Drive.h"
#include "features/errors/Result.h"
#include "features/jobs/erase/ErasePasswords.h"
#include "features/jobs/erase/Erasure.h"
#include "features/jobs/support/Notice.h"
#include "features/jobs/support/WaitClock.h"

namespace features::jobs {

/// What an erase of a SATA drive works with.
struct AtaEraseTools {
    const WaitClock& clock;
    const ErasePasswords& passwords;
    const Notice& notice;
    Erasure& erasure;
};

/// Deletes all user data of a SATA drive, and returns what was done, in a sentence: by the block erase of the sanitize
/// feature set, else by its crypto scramble, which need no password; on a drive that has neither, and on one
/// that an interrupted erase left with a password, by SecurityErase.
///
/// `partitionsCount`: of the safety gate.
Result<std::string> deleteUserData(ata::Drive& drive, bool partitionsCount, const AtaEraseTools& tools);

}  // namespace features::jobs
