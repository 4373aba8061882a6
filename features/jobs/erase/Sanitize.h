#pragma once

#include <cstdint>
#include <string>

#include "features/errors/Result.h"
#include "features/jobs/base/Arguments.h"
#include "features/jobs/erase/Erasure.h"
#include "features/jobs/support/WaitClock.h"
#include "features/nvme/ControllerCapabilities.h"
#include "features/nvme/Drive.h"
#include "ostrel/core/Payload.h"
#include "ostrel/core/Status.h"

namespace features::jobs {

/// Values of Sanitize Action.
enum class SanitizeAction : uint8_t { EXIT_FAILURE_MODE = 1, BLOCK_ERASE = 2, OVERWRITE = 3, CRYPTO_ERASE = 4 };

/// What is asked of the Sanitize command.
struct SanitizeRequest {
    SanitizeAction action = SanitizeAction::BLOCK_ERASE;
    bool partitionsCount = true;
    bool unrestrictedExit = false;
    bool noDeallocate = false;
    bool invertPattern = false;
    uint8_t passes = 1;  ///< 1 to 16
    uint32_t pattern = 0;
    bool returnImmediately = false;
};

/// Reads the arguments of the type "Sanitize". One that the action does not have is refused (10/24), since the user
/// thinks that it counts.
Result<SanitizeRequest> readSanitizeRequest(const Arguments& arguments);

/// Sanitizes a drive, and follows the operation to its end in the Sanitize Status log, unless the user wants to go on
/// (NVMe Base Specification 1.4, sections 5.24 and 8.15).
///
/// The outcome is the drive's final word: an operation that failed is a failure. One that does not move for twice the
/// drive's own estimate and ten minutes is reported (10/226) and left to itself; a drive without an estimate has a day.
/// So is at once (10/226) a drive in the Media Verification state, which another host's operation can have left it in.
class Sanitize {
public:
    Sanitize(nvme::Drive& drive, const WaitClock& clock, Erasure& erasure)
        : drive_(drive), clock_(clock), erasure_(erasure) {}

    /// What was done, in a sentence.
    Result<std::string> run(const SanitizeRequest& request);

private:
    ostrel::core::Status checkGate() const;
    ostrel::core::Status checkController(const nvme::ControllerCapabilities& controller);
    ostrel::core::Status checkDeallocation();
    Result<ostrel::core::Payload> readState();
    ostrel::core::Status mediaVerification() const;
    ostrel::core::Status start();
    Result<std::string> follow(uint64_t estimateMs);
    Result<std::string> outcome(unsigned state) const;
    uint64_t estimateMs(const nvme::ControllerCapabilities& controller, const uint8_t* log) const;

    nvme::Drive& drive_;
    const WaitClock& clock_;
    Erasure& erasure_;
    SanitizeRequest request_;
};

}  // namespace features::jobs
