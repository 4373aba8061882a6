#pragma once

#include <cstdint>
#include <string>

#include "features/ata/Drive.h"
#include "features/errors/Result.h"
#include "features/jobs/erase/Erasure.h"
#include "features/jobs/erase/Sanitize.h"
#include "features/jobs/support/WaitClock.h"
#include "ostrel/core/Status.h"

namespace features::jobs {

/// Sanitizes a SATA drive by BLOCK ERASE EXT or CRYPTO SCRAMBLE EXT, and follows the operation to its end with SANITIZE
/// STATUS EXT, unless the user wants to go on (ACS-4, SANITIZE DEVICE).
///
///   - Overwrite and the exit of the failure mode are refused (10/224), and the options of NVMe drives (10/24).
///   - A drive that is frozen (10/23), locked (10/163) or sanitized already (10/226) gets no command that erases.
///   - The outcome is the drive's own word: only "completed without error" is a success. What the drive does not
///   report,
///     since its registers are lost on the way, is an error, not an end.
///   - A reset of the link does not end the operation. A drive that does not answer for half a minute is reported and
///     left to itself, as is one that does not move for a day.
class AtaSanitize {
public:
    AtaSanitize(ata::Drive& drive, const WaitClock& clock, Erasure& erasure)
        : drive_(drive), clock_(clock), erasure_(erasure) {}

    /// What was done, in a sentence.
    Result<std::string> run(const SanitizeRequest& request);

private:
    ostrel::core::Status checkGate() const;
    ostrel::core::Status checkDrive();
    ostrel::core::Status checkState();
    ostrel::core::Status start();
    Result<std::string> follow();
    Result<std::string> outcome(const ata::SanitizeState& state) const;

    ata::Drive& drive_;
    const WaitClock& clock_;
    Erasure& erasure_;
    SanitizeRequest request_;
};

}  // namespace features::jobs
