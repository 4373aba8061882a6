#pragma once

#include <string>

#include "features/errors/Result.h"

namespace features::jobs {

/// What becomes of firmware modules whose origin is not verified. A wrong signature is refused under each policy.
enum class SignaturePolicy {
    NONE,         ///< they are used
    WARN,         ///< they are used, and the user is warned before the first byte goes to the drive
    SIGNED_ONLY,  ///< they are passed over
};

/// The policy of a module directory: the file "SignaturePolicy" in it, one line, "warn" or "signed only"; NONE without
/// it. 10/54 with the path and the reason for one that cannot be read or understood, or that other users can change:
/// it may have been meant to forbid something.
Result<SignaturePolicy> readSignaturePolicy(const std::string& directory);

}  // namespace features::jobs
